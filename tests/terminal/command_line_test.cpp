#include "command_line.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "commands.h"
#include "exit_codes.h"

namespace quor_terminal {
namespace {

ParsedCommandLine Parse(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "quor-terminal");
    std::vector<const char*> argv;
    argv.reserve(arguments.size());
    for (const std::string& argument : arguments) {
        argv.push_back(argument.c_str());
    }
    return ParseCommandLine(static_cast<int>(argv.size()), argv.data());
}

std::vector<std::string> Captions(const std::vector<std::string>& more) {
    std::vector<std::string> arguments = {
        "captions",        "--server", "conf.example.org:443", "--conference", "900123", "--user", "anna",
        "--password-file", "pw",       "--token-file",         "token"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

void ExpectUsageError(const std::vector<std::string>& arguments, const std::string& part) {
    const ParsedCommandLine parsed = Parse(arguments);
    EXPECT_EQ(parsed.run, nullptr);
    EXPECT_EQ(parsed.exitCode, kExitUsage);
    EXPECT_NE(parsed.error.find(part), std::string::npos) << parsed.error;
    EXPECT_EQ(parsed.error.rfind("quor-terminal: ", 0), 0U) << parsed.error;
    EXPECT_EQ(parsed.output, "");
}

TEST(CommandLine, CaptionsWithEverythingItNeeds) {
    const ParsedCommandLine parsed = Parse(Captions({"--translate", "zh-CN", "--json", "--duration", "1.5"}));
    ASSERT_EQ(parsed.run, &RunCaptions) << parsed.error;
    const ShowOptions& options = parsed.options.captions;
    EXPECT_EQ(options.server.host, "conf.example.org");
    EXPECT_EQ(options.server.port, 443U);
    EXPECT_EQ(options.language, "en-US");
    EXPECT_EQ(options.translation, "zh-CN");
    EXPECT_TRUE(options.json);
    EXPECT_EQ(options.durationSeconds, 1.5);
    EXPECT_FALSE(options.insecureLab);
}

TEST(CommandLine, Seal) {
    const ParsedCommandLine parsed = Parse({"seal", "--key-file", "k", "--domain", "QuorUIConf"});
    ASSERT_EQ(parsed.run, &RunSeal) << parsed.error;
    ExpectUsageError({"seal", "--key-file", "k", "--domain", "Other"}, "--domain");
    ExpectUsageError({"seal", "--domain", "QuorUIConf"}, "--key-file");
}

TEST(CommandLine, HelpAndVersion) {
    for (const auto& arguments : std::vector<std::vector<std::string>>{{"help"}, {"--help"}, {"-h"}}) {
        const ParsedCommandLine parsed = Parse(arguments);
        EXPECT_EQ(parsed.exitCode, kExitOk);
        EXPECT_NE(parsed.output.find("captions"), std::string::npos);
        EXPECT_NE(parsed.output.find("Exit status"), std::string::npos);
    }
    for (const auto& arguments : std::vector<std::vector<std::string>>{
             {"help", "captions"}, {"captions", "--help"}, {"captions", "-h"}}) {
        EXPECT_NE(Parse(arguments).output.find("--translate"), std::string::npos);
    }
    for (const auto& arguments : std::vector<std::vector<std::string>>{{"version"}, {"--version"}}) {
        EXPECT_EQ(Parse(arguments).output.rfind("quor-terminal 1.", 0), 0U);
    }
}

TEST(CommandLine, HelpFitsEightyColumnsOrNearly) {
    const std::string help = Parse({"help", "captions"}).output;
    for (std::size_t start = 0; start < help.size();) {
        const std::size_t end = help.find('\n', start);
        EXPECT_LE(end - start, 120U) << help.substr(start, end - start);
        start = end + 1;
    }
}

TEST(CommandLine, UnknownThings) {
    ExpectUsageError({}, "a subcommand is missing");
    ExpectUsageError({"sing"}, "sing");
    ExpectUsageError({"help", "sing"}, "there is no subcommand 'sing'");
    ExpectUsageError(Captions({"--loud"}), "--loud");
    ExpectUsageError(Captions({"extra"}), "extra");
}

TEST(CommandLine, MissingThings) {
    ExpectUsageError({"captions"}, "--server");
    ExpectUsageError({"captions", "--server", "h:1"}, "--conference");
    ExpectUsageError({"captions", "--server", "h:1", "--conference", "c"}, "who are you?");
    ExpectUsageError({"captions", "--server", "h:1", "--conference", "c", "--user", "u"},
                     "password is missing");
    ExpectUsageError(
        {"captions", "--server", "h:1", "--conference", "c", "--user", "u", "--password-file", "p"},
        "token is missing");
    ExpectUsageError({"captions", "--server", "h:1", "--conference", "c", "--user", "u",
                      "--sealed-password-file", "p", "--token-file", "t"},
                     "--key-file");
}

TEST(CommandLine, ContradictoryThings) {
    ExpectUsageError(Captions({"--sealed-password-file", "x"}), "--password-file");
    ExpectUsageError(Captions({"--code-file", "x"}), "--password-file");
    ExpectUsageError(Captions({"--token", "x"}), "--token-file");
    ExpectUsageError(Captions({"--ca-file", "a", "--ca-dir", "b"}), "--ca-");
    ExpectUsageError(Captions({"--translate", "en-US"}), "spoken language");
}

TEST(CommandLine, BadValues) {
    ExpectUsageError(Captions({"--duration", "0"}), "--duration");
    ExpectUsageError(Captions({"--duration", "soon"}), "--duration");
    ExpectUsageError(Captions({"--log-level", "4"}), "--log-level");
    ExpectUsageError(Captions({"--trace", "5"}), "--trace");
    ExpectUsageError(Captions({"--lang", "en US"}), "--lang holds a blank");
    ExpectUsageError(Captions({"--translate", std::string(64, 'z')}), "--translate is longer than 63 bytes");
}

TEST(CommandLine, TextsThatNoTopicCanHold) {
    const auto withConference = [](std::size_t length) {
        return std::vector<std::string>{"captions",
                                        "--server",
                                        "h:1",
                                        "--conference",
                                        std::string(length, 'c'),
                                        "--user",
                                        "u",
                                        "--password-file",
                                        "p",
                                        "--token",
                                        "t"};
    };
    EXPECT_EQ(Parse(withConference(191)).run, &RunCaptions);
    ExpectUsageError(withConference(192), "--conference is longer than 191 bytes");
    std::vector<std::string> both = withConference(191);
    both.insert(both.end(), {"--translate", std::string(36, 'z')});
    ExpectUsageError(both, "too long for a topic");
}

TEST(CommandLine, UserNameWithColonIsRefused) {
    ExpectUsageError({"captions", "--server", "h:1", "--conference", "c", "--user", "a:b", "--password-file",
                      "p", "--token", "t"},
                     "colon");
}

TEST(ServerAddress, Accepted) {
    ServerAddress address;
    std::string message;
    ASSERT_TRUE(ParseServerAddress("conf.example.org:443", address, message));
    EXPECT_EQ(address.host, "conf.example.org");
    ASSERT_TRUE(ParseServerAddress("127.0.0.1:1", address, message));
    EXPECT_EQ(address.port, 1U);
    ASSERT_TRUE(ParseServerAddress("[::1]:65535", address, message));
    EXPECT_EQ(address.host, "::1");
    EXPECT_EQ(address.port, 65535U);
}

TEST(ServerAddress, Refused) {
    ServerAddress address;
    std::string message;
    for (const char* text : {"", ":", "host", "host:", ":443", "host:0", "host:65536", "host:99999999999",
                             "host:4x3", "host:+443", "host: 443", "::1", "::1:443", "[]:443", "[::1:443",
                             "[::1]443", "https://host:443", "a b:443", "user@host:443"}) {
        message.clear();
        EXPECT_FALSE(ParseServerAddress(text, address, message)) << text;
        EXPECT_NE(message.find("--server"), std::string::npos) << text;
    }
    EXPECT_FALSE(ParseServerAddress(std::string(256, 'h') + ":443", address, message));
}

}  // namespace
}  // namespace quor_terminal
