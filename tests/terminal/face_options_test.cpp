#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "command_line.h"
#include "commands.h"
#include "exit_codes.h"

namespace quor_terminal {
namespace {

using Words = std::vector<std::string>;

const Words kService = {"--server", "10.1.1.1:8443;10.1.1.2", "--account",
                        "terminal", "--password-file",        "pw"};

Words operator+(Words words, const Words& more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

ParsedCommandLine Parse(Words arguments) {
    arguments.insert(arguments.begin(), {"quor-terminal", "face"});
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

TEST(FaceOptions, Detect) {
    const ParsedCommandLine parsed =
        Parse(Words{"detect"} + kService + Words{"--watch", "--for", "2.5", "--json"});
    ASSERT_EQ(parsed.run, &RunFace) << parsed.error;
    EXPECT_EQ(parsed.options.face.action, FaceOptions::Action::kDetect);
    const FaceDetectOptions& options = parsed.options.face.detect;
    ASSERT_EQ(options.candidates.size(), 2U);
    EXPECT_EQ(options.candidates[0].url, "https://10.1.1.1:8443");
    EXPECT_EQ(options.candidates[1].port, 443U);
    EXPECT_EQ(options.user, "terminal");
    EXPECT_TRUE(options.watch);
    EXPECT_EQ(options.forSeconds, 2.5);
    EXPECT_TRUE(options.json);
    EXPECT_FALSE(options.all);
    EXPECT_EQ(options.timeoutSeconds, 30);
    EXPECT_TRUE(Parse(Words{"detect"} + kService + Words{"--all"}).options.face.detect.all);
    ExpectUsageError(Words{"detect"} + kService + Words{"--all", "--watch"}, "--all");
    ExpectUsageError(Words{"detect"} + kService + Words{"--for", "2"}, "--watch");
    ExpectUsageError(Words{"detect"} + kService + Words{"--watch", "--for", "0"}, "--for");
}

TEST(FaceOptions, Identify) {
    const ParsedCommandLine parsed = Parse(Words{"identify", "a picture.jpg"} + kService);
    ASSERT_EQ(parsed.run, &RunFace) << parsed.error;
    EXPECT_EQ(parsed.options.face.action, FaceOptions::Action::kIdentify);
    EXPECT_EQ(parsed.options.face.identify.picture, "a picture.jpg");
    EXPECT_EQ(parsed.options.face.identify.candidates.size(), 2U);
    EXPECT_EQ(parsed.options.face.identify.timeoutSeconds, 120);
    ExpectUsageError(Words{"identify"} + kService, "picture");
}

TEST(FaceOptions, Photos) {
    const ParsedCommandLine parsed =
        Parse(Words{"photos", "anna", "ben", "--out", "dir", "--by-photo-id", "--force"} + kService);
    ASSERT_EQ(parsed.run, &RunFace) << parsed.error;
    EXPECT_EQ(parsed.options.face.action, FaceOptions::Action::kPhotos);
    const FacePhotosOptions& options = parsed.options.face.photos;
    EXPECT_EQ(options.ids, (Words{"anna", "ben"}));
    EXPECT_EQ(options.directory, "dir");
    EXPECT_TRUE(options.byPhotoId);
    EXPECT_TRUE(options.force);
    const Words out = Words{"--out", "dir"} + kService;
    ExpectUsageError(Words{"photos"} + out, "ids");
    ExpectUsageError(Words{"photos", "anna"} + kService, "--out");
    ExpectUsageError(Words{"photos", "anna", "--out", ""} + kService, "--out");
    ExpectUsageError(Words{"photos", "a", "b", "a"} + out, "the id a is there twice");
    for (const char* const id : {"a,b", "a/b", "a?", "a#b", "a%20", "a&b", "a\\b", "a b", "\xC3\xA9"}) {
        ExpectUsageError(Words{"photos", id} + out, "no place in a URL's path");
    }
    ExpectUsageError(Words{"photos", ""} + out, "an id wants 1 to 127 bytes");
    ExpectUsageError(Words{"photos", std::string(128, 'a')} + out, "an id wants 1 to 127 bytes");
}

TEST(FaceOptions, AsManyIdsAsOneRequestTakes) {
    const Words out = Words{"--out", "dir"} + kService;
    Words twelve = {"photos"};
    for (char id = 'a'; id < 'a' + 12; ++id) {
        twelve.emplace_back(1, id);
    }
    EXPECT_EQ(Parse(twelve + out).run, &RunFace);
    ExpectUsageError(twelve + Words{"m"} + out, "at most 12 ids");
}

// 255 characters of URL: 21 of "https://10.1.1.1:8443", 24 of the path with users, the rest for ids.
TEST(FaceOptions, IdsThatDoNotFitTheUrl) {
    const Words out = Words{"--out", "dir"} + kService;
    const std::string longest(127, 'a');
    const std::string rest(255 - 21 - 24 - 127 - 1, 'b');
    EXPECT_EQ(Parse(Words{"photos", longest} + out).run, &RunFace);
    EXPECT_EQ(Parse(Words{"photos", longest, rest} + out).run, &RunFace);
    ExpectUsageError(Words{"photos", longest, rest + "b"} + out, "ask for fewer at a time");
    ExpectUsageError(Words{"photos", longest, std::string(127, 'b')} + out,
                     "255 characters long with the commas between them; a request has room for 210");
    // "photos" is a character longer than "users".
    ExpectUsageError(Words{"photos", "--by-photo-id", longest, rest} + out, "has room for 209");
}

TEST(FaceOptions, WhatAllOfThemNeed) {
    const Words account = {"--account", "a", "--password-file", "pw"};
    const Words server = {"--server", "10.1.1.1"};
    for (const Words& words :
         {Words{"detect"}, Words{"identify", "picture"}, Words{"photos", "anna", "--out", "dir"}}) {
        EXPECT_EQ(Parse(words + kService).run, &RunFace) << words[0];
        ExpectUsageError(words + account, "--server");
        ExpectUsageError(words + account + Words{"--server", "face.example.org"}, "looks up no names");
        ExpectUsageError(words + server + Words{"--password-file", "pw"}, "--account");
        ExpectUsageError(words + server + Words{"--account", "", "--password-file", "pw"}, "--account");
        ExpectUsageError(words + server + Words{"--account", std::string(256, 'a'), "--password-file", "pw"},
                         "--account wants 1 to 255 bytes");
        ExpectUsageError(words + server + Words{"--account", "a"}, "the password is missing");
        ExpectUsageError(words + server + Words{"--account", "a", "--sealed-password-file", "s"},
                         "--key-file");
        ExpectUsageError(words + kService + Words{"--sealed-password-file", "s"}, "--password-file");
        ExpectUsageError(words + kService + Words{"--insecure-lab"}, "--insecure-lab");
        ExpectUsageError(words + kService + Words{"--timeout", "0"}, "--timeout");
    }
    ExpectUsageError({}, "subcommand");
    ExpectUsageError({"other"}, "subcommand");
}

TEST(FaceOptions, HelpNamesTheGrammar) {
    const ParsedCommandLine parsed = Parse({"photos", "--help"});
    EXPECT_EQ(parsed.exitCode, kExitOk);
    EXPECT_NE(parsed.output.find("Usage: quor-terminal face photos [OPTIONS]"), std::string::npos)
        << parsed.output;
    EXPECT_NE(parsed.output.find("dotted IPv4 addresses only"), std::string::npos) << parsed.output;
}

}  // namespace
}  // namespace quor_terminal
