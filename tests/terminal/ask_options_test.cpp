// The command lines of 'watch' and 'ask'.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ask_request.h"
#include "command_line.h"
#include "commands.h"
#include "exit_codes.h"

namespace quor_terminal {
namespace {

using Words = std::vector<std::string>;

ParsedCommandLine Parse(Words arguments) {
    arguments.insert(arguments.begin(), "quor-terminal");
    std::vector<const char*> argv;
    argv.reserve(arguments.size());
    for (const std::string& argument : arguments) {
        argv.push_back(argument.c_str());
    }
    return ParseCommandLine(static_cast<int>(argv.size()), argv.data());
}

void ExpectUsageError(const Words& arguments, const std::string& part) {
    const ParsedCommandLine parsed = Parse(arguments);
    EXPECT_EQ(parsed.run, nullptr);
    EXPECT_EQ(parsed.exitCode, kExitUsage);
    EXPECT_NE(parsed.error.find(part), std::string::npos) << parsed.error;
}

Words With(Words words, const Words& more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

Words OnConference(const std::string& subcommand, const Words& more) {
    return With({subcommand, "--server", "h:1", "--conference", "900123", "--user", "anna", "--password-file",
                 "pw", "--token-file", "token"},
                more);
}

Words Ask(const Words& more) {
    return OnConference("ask", more);
}

Words AskManager(const Words& more) {
    return With({"ask", "--link", "manager", "--server", "h:1"}, more);
}

TEST(WatchCommandLine, TheTerminalIsCalledByItsUriUnlessItHasAnId) {
    ParsedCommandLine parsed = Parse(OnConference("watch", {"--uri", "sip:room7@example.org"}));
    ASSERT_EQ(parsed.run, &RunWatch) << parsed.error;
    EXPECT_EQ(parsed.options.watch.uri, "sip:room7@example.org");
    EXPECT_EQ(parsed.options.watch.terminal, "sip:room7@example.org");
    parsed = Parse(OnConference("watch", {"--uri", "sip:room7@example.org", "--terminal", "room7"}));
    ASSERT_EQ(parsed.run, &RunWatch) << parsed.error;
    EXPECT_EQ(parsed.options.watch.terminal, "room7");
    EXPECT_EQ(parsed.options.watch.conference, "900123");
    EXPECT_TRUE(parsed.options.captions.conference.empty());
}

TEST(WatchCommandLine, WithoutAUriThereIsOneOfUserAndMachine) {
    for (const char* subcommand : {"watch", "captions"}) {
        const ParsedCommandLine parsed = Parse(OnConference(subcommand, {}));
        const ShowOptions& options = parsed.run == &RunWatch ? parsed.options.watch : parsed.options.captions;
        EXPECT_EQ(options.uri.rfind("sip:anna@", 0), 0U) << options.uri;
        EXPECT_GT(options.uri.size(), sizeof("sip:anna@") - 1);
    }
    Words odd = OnConference("watch", {});
    odd[6] = "Ann Ötker/7";
    const ParsedCommandLine parsed = Parse(odd);
    ASSERT_EQ(parsed.run, &RunWatch) << parsed.error;
    EXPECT_EQ(parsed.options.watch.uri.rfind("sip:Ann---tker-7@", 0), 0U) << parsed.options.watch.uri;
}

TEST(WatchCommandLine, IdsThatNoTopicCanHold) {
    ExpectUsageError(OnConference("watch", {"--uri", std::string(256, 'u')}), "--uri is longer than 255");
    ExpectUsageError(OnConference("watch", {"--uri", std::string(192, 'u')}), "give --terminal");
    EXPECT_EQ(Parse(OnConference("watch", {"--uri", std::string(192, 'u'), "--terminal", "t"})).run,
              &RunWatch);
    ExpectUsageError(OnConference("watch", {"--terminal", std::string(192, 't')}), "--terminal is longer");
    ExpectUsageError(OnConference("watch", {"--terminal", "room 7"}), "--terminal holds a blank");
    ExpectUsageError(OnConference("captions", {"--terminal", "t"}), "--terminal");
}

TEST(AskCommandLine, OnTheConferenceLinkWithDefaults) {
    const ParsedCommandLine parsed = Parse(Ask({"What is up?"}));
    ASSERT_EQ(parsed.run, &RunAsk) << parsed.error;
    const AskOptions& options = parsed.options.ask;
    EXPECT_EQ(options.text, "What is up?");
    EXPECT_EQ(options.kind, 0U);
    EXPECT_FALSE(options.managerLink);
    EXPECT_EQ(options.model, 0U);
    EXPECT_EQ(options.round, 1U);
    EXPECT_EQ(options.sequenceNumber, 0U);
    EXPECT_EQ(options.answerTimeoutSeconds, 120);
    EXPECT_FALSE(options.json);
}

TEST(AskCommandLine, EveryKindByNameAndByNumber) {
    for (unsigned int value = 0; value < kRequestKindCount; ++value) {
        for (const std::string& kind : {std::string(KindOf(value).name), std::to_string(value)}) {
            const ParsedCommandLine parsed = Parse(Ask({"text", "--kind", kind, "--seq", "5"}));
            ASSERT_EQ(parsed.run, &RunAsk) << kind << parsed.error;
            EXPECT_EQ(parsed.options.ask.kind, value);
            EXPECT_EQ(parsed.options.ask.sequenceNumber, 5U);
        }
    }
    ExpectUsageError(Ask({"text", "--kind", "19"}), "--kind 19 is no kind of request; --help lists them");
    ExpectUsageError(Ask({"text", "--kind", "POEM"}), "--kind POEM is no kind of request");
}

TEST(AskCommandLine, TheManagerLinkWantsNeitherAccountNorTokenNorConference) {
    const ParsedCommandLine parsed =
        Parse(AskManager({"hello", "--model", "deepseek-r1", "--round", "3", "--answer-timeout", "2.5"}));
    ASSERT_EQ(parsed.run, &RunAsk) << parsed.error;
    EXPECT_TRUE(parsed.options.ask.managerLink);
    EXPECT_EQ(parsed.options.ask.model, 1U);
    EXPECT_EQ(parsed.options.ask.round, 3U);
    EXPECT_EQ(parsed.options.ask.answerTimeoutSeconds, 2.5);
}

TEST(AskCommandLine, ErrorsSayWhatToGive) {
    ExpectUsageError({"ask", "hello", "--server", "h:1"}, "Give --conference, or ask on the manager link");
    ExpectUsageError({"ask", "hello", "--server", "h:1", "--conference", "c"}, "who are you? Give --user");
    ExpectUsageError(Ask({}), "what do you want to ask? FREE_CHAT wants a text");
    ExpectUsageError(Ask({"x", "--kind", "FREE_CHAT_STOP"}), "FREE_CHAT_STOP wants its number with --seq");
    ExpectUsageError(AskManager({"x", "--model", "3"}), "--model 3 is no model; there are 0 DeepSeek-V3");
    ExpectUsageError(Ask({"x", "--link", "other"}), "--link");
    ExpectUsageError(Ask({"x", "--answer-timeout", "0"}), "--answer-timeout");
    ExpectUsageError(Ask({"x", "--uri", std::string(250, 'u')}), "too long for a topic of 255 bytes");
    ExpectUsageError({"ask", "hello"}, "--server");
}

TEST(AskCommandLine, TheLongestTopicOfAnswersIsOf255Bytes) {
    const std::size_t room = 255 - (sizeof("/topic/chat/") - 1) - std::string("900123").size() - 1;
    EXPECT_EQ(Parse(Ask({"x", "--uri", std::string(room, 'u')})).run, &RunAsk);
    ExpectUsageError(Ask({"x", "--uri", std::string(room + 1, 'u')}), "too long for a topic");
}

TEST(AskCommandLine, SummaryMinutesAndStopsNeedNoText) {
    for (const char* kind : {"MEETING_SUMMARY", "MEETING_MINUTES", "MODEL_CONFIG"}) {
        EXPECT_EQ(Parse(Ask({"--kind", kind})).run, &RunAsk) << kind;
    }
    EXPECT_EQ(Parse(Ask({"--kind", "meeting-chat-stop", "--seq", "7"})).run, &RunAsk);
}

TEST(AskCommandLine, TheHelpListsEveryKindWithItsNumber) {
    const ParsedCommandLine parsed = Parse({"ask", "--help"});
    EXPECT_EQ(parsed.exitCode, kExitOk);
    EXPECT_NE(parsed.output.find(KindList()), std::string::npos) << parsed.output;
    EXPECT_NE(Parse({"help"}).output.find("watch"), std::string::npos);
    EXPECT_NE(Parse({"help", "watch"}).output.find("--terminal"), std::string::npos);
}

}  // namespace
}  // namespace quor_terminal
