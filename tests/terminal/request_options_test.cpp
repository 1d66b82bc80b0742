#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "command_line.h"
#include "commands.h"
#include "exit_codes.h"

namespace quor_terminal {
namespace {

using Words = std::vector<std::string>;

const Words kServer = {"--server", "conf.example.org:443", "--conference", "900123", "--token-file", "token"};

Words operator+(Words words, const Words& more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

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

const Words kMatch = {"avmatch", "--user-id", "u", "--site", "s", "--start", "10", "--end", "20"};

TEST(RequestOptions, Participants) {
    const ParsedCommandLine parsed =
        Parse(Words{"participants"} + kServer +
              Words{"--json", "--timeout", "5", "--dns-server", "192.0.2.1", "--dns-server", "[::1]:5353"});
    ASSERT_EQ(parsed.run, &RunParticipants) << parsed.error;
    const RequestOptions& options = parsed.options.participants;
    EXPECT_EQ(options.server.host, "conf.example.org");
    EXPECT_EQ(options.server.port, 443U);
    EXPECT_EQ(options.conference, "900123");
    EXPECT_EQ(options.dnsServers, (Words{"192.0.2.1", "[::1]:5353"}));
    EXPECT_EQ(options.timeoutSeconds, 5);
    EXPECT_TRUE(options.json);
    EXPECT_FALSE(options.progress);
}

TEST(RequestOptions, WhatAllRequestsNeed) {
    const Words all[] = {{"participants"},      {"signin", "list"},
                         {"signin", "history"}, {"signin", "report", "a=A"},
                         {"account", "a"},      kMatch};
    for (const Words& words : all) {
        EXPECT_NE(Parse(words + kServer).run, nullptr) << words[0];
        ExpectUsageError(words + Words{"--conference", "1", "--token-file", "t"}, "--server");
        ExpectUsageError(words + Words{"--server", "a:1", "--token-file", "t"}, "--conference");
        ExpectUsageError(words + Words{"--server", "a:1", "--conference", "1"}, "token is missing");
        ExpectUsageError(words + Words{"--server", "a:1", "--conference", "a/b", "--token-file", "t"},
                         "--conference holds");
        ExpectUsageError(words + kServer + Words{"--dns-server", "localhost"}, "--dns-server localhost");
        ExpectUsageError(words + kServer + Words{"--timeout", "0"}, "--timeout");
        ExpectUsageError(words + kServer + Words{"--insecure-lab"}, "--insecure-lab");
    }
}

TEST(RequestOptions, WhoTakesAnIpv6Address) {
    const Words server = {"--server", "[::1]:443", "--conference", "1", "--token-file", "t"};
    for (const Words& words :
         {Words{"participants"}, Words{"signin", "report", "a=A"}, Words{"account", "a"}}) {
        EXPECT_NE(Parse(words + server).run, nullptr) << words[0];
    }
    for (const Words& words : {Words{"signin", "list"}, Words{"signin", "history"}, kMatch}) {
        ExpectUsageError(words + server, "not IPv6");
    }
}

TEST(RequestOptions, SigninLists) {
    ParsedCommandLine parsed = Parse(Words{"signin", "list"} + kServer + Words{"--page", "3", "--size", "7"});
    ASSERT_EQ(parsed.run, &RunSignin) << parsed.error;
    EXPECT_EQ(parsed.options.signin.action, SigninOptions::Action::kList);
    EXPECT_EQ(parsed.options.signin.list.page, 3U);
    EXPECT_EQ(parsed.options.signin.list.size, 7U);
    EXPECT_FALSE(parsed.options.signin.list.notCheckedIn);
    parsed = Parse(Words{"signin", "history"} + kServer + Words{"--all", "--not-checked-in"});
    ASSERT_EQ(parsed.run, &RunSignin) << parsed.error;
    EXPECT_EQ(parsed.options.signin.action, SigninOptions::Action::kHistory);
    EXPECT_TRUE(parsed.options.signin.history.all);
    EXPECT_TRUE(parsed.options.signin.history.notCheckedIn);
    EXPECT_EQ(parsed.options.signin.history.size, 32U);
    ExpectUsageError(Words{"signin", "list"} + kServer + Words{"--page", "0"}, "--page");
    ExpectUsageError(Words{"signin", "list"} + kServer + Words{"--size", "33"}, "--size");
    ExpectUsageError(Words{"signin", "list"} + kServer + Words{"--all", "--page", "2"}, "--all");
    ExpectUsageError({"signin"}, "subcommand");
    ExpectUsageError({"signin", "other"}, "subcommand");
}

TEST(RequestOptions, SigninReport) {
    const ParsedCommandLine parsed =
        Parse(Words{"signin", "report", "anna=Anna=Berg", "b=\xE6\x9E\x97"} + kServer);
    ASSERT_EQ(parsed.run, &RunSignin) << parsed.error;
    EXPECT_EQ(parsed.options.signin.action, SigninOptions::Action::kReport);
    const SigninReportOptions& report = parsed.options.signin.report;
    ASSERT_EQ(report.people.size(), 2U);
    EXPECT_EQ(report.people[0].account, "anna");
    EXPECT_EQ(report.people[0].name, "Anna=Berg");
    EXPECT_EQ(report.people[1].name, "\xE6\x9E\x97");
    EXPECT_EQ(report.type, "normal");
    ExpectUsageError(Words{"signin", "report"} + kServer, "people");
    ExpectUsageError(Words{"signin", "report", "anna"} + kServer, "ACCOUNT=NAME");
    ExpectUsageError(Words{"signin", "report", "=Anna"} + kServer, "an account wants 1 to 255 bytes");
    ExpectUsageError(Words{"signin", "report", "anna="} + kServer, "a name wants 1 to 255 bytes");
    ExpectUsageError(Words{"signin", "report", "a=A", "a=B"} + kServer, "twice");
    ExpectUsageError(Words{"signin", "report", "a=A\nB"} + kServer, "control character");
    ExpectUsageError(Words{"signin", "report", "a=A", "--type", std::string(32, 't')} + kServer, "--type");
}

TEST(RequestOptions, Account) {
    const ParsedCommandLine parsed = Parse(Words{"account", "anna", "ben"} + kServer);
    ASSERT_EQ(parsed.run, &RunAccount) << parsed.error;
    EXPECT_EQ(parsed.options.account.accounts, (Words{"anna", "ben"}));
    ExpectUsageError(Words{"account"} + kServer, "accounts");
    ExpectUsageError(Words{"account", std::string(256, 'a')} + kServer, "1 to 255 bytes");
}

TEST(RequestOptions, Match) {
    const ParsedCommandLine parsed = Parse(
        kMatch + kServer + Words{"--face-id", "-3", "--doa", "-1.5", "--score", "0.25", "--rect", "1,2,3,4"});
    ASSERT_EQ(parsed.run, &RunMatch) << parsed.error;
    const MatchOptions& match = parsed.options.match;
    EXPECT_EQ(match.userId, "u");
    EXPECT_EQ(match.site, "s");
    EXPECT_EQ(match.startMs, 10);
    EXPECT_EQ(match.endMs, 20);
    EXPECT_EQ(match.faceId, -3);
    EXPECT_EQ(match.doa, -1.5F);
    EXPECT_EQ(match.score, 0.25F);
    EXPECT_EQ(match.rect, (std::vector<int>{1, 2, 3, 4}));
    ExpectUsageError(kMatch + kServer + Words{"--rect", "1,2,3"}, "--rect");
    ExpectUsageError(
        Words{"avmatch", "--user-id", "u", "--site", "s", "--start", "3", "--end", "2"} + kServer,
        "--start and --end");
    ExpectUsageError(Words{"avmatch", "--user-id", "", "--site", "s", "--start", "1", "--end", "2"} + kServer,
                     "--user-id");
}

TEST(RequestOptions, HelpOfNestedSubcommands) {
    for (const Words& words : {Words{"signin", "report", "--help"}, Words{"help", "signin", "report"}}) {
        const ParsedCommandLine parsed = Parse(words);
        EXPECT_EQ(parsed.exitCode, kExitOk) << parsed.error;
        EXPECT_NE(parsed.output.find("Usage: quor-terminal signin report [OPTIONS]"), std::string::npos)
            << parsed.output;
        EXPECT_NE(parsed.output.find("ACCOUNT=NAME"), std::string::npos);
    }
    EXPECT_NE(Parse({"help", "signin"}).output.find("history"), std::string::npos);
    ExpectUsageError({"help", "signin", "nothing"}, "there is no subcommand 'signin nothing'");
    ExpectUsageError({"signin", "list", "--size", "99"}, "quor-terminal signin list --help");
}

}  // namespace
}  // namespace quor_terminal
