#include "picture_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

#include "process.h"

namespace quor_terminal {
namespace {

class PictureFileTest : public testing::Test {
protected:
    void ExpectRefused(const std::string& path, const std::string& part) {
        std::vector<unsigned char> bytes;
        std::string message;
        EXPECT_FALSE(ReadPictureFile(path, 4, bytes, message));
        EXPECT_EQ(message.rfind(path + ": ", 0), 0U) << message;
        EXPECT_NE(message.find(part), std::string::npos) << message;
        EXPECT_TRUE(bytes.empty());
    }

    TemporaryDirectory directory;
};

TEST_F(PictureFileTest, StandsBehindTheHead) {
    const std::string text("picture\0bytes", 13);
    WriteWholeFile(directory.File("picture"), text);
    std::vector<unsigned char> bytes;
    std::string message;
    ASSERT_TRUE(ReadPictureFile(directory.File("picture"), 4, bytes, message)) << message;
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), std::string(4, '\0') + text);
}

TEST_F(PictureFileTest, WhatIsNoPicture) {
    ExpectRefused(directory.File("missing"), "No such file");
    ExpectRefused(directory.File("."), "no file with a picture");
    WriteWholeFile(directory.File("empty"), "");
    ExpectRefused(directory.File("empty"), "the file is empty");
    // Nobody writes to it, and nobody waits for that.
    ASSERT_EQ(mkfifo(directory.File("pipe").c_str(), 0600), 0);
    ExpectRefused(directory.File("pipe"), "no file with a picture");
}

// A hole in a file takes no room on the disk, and it is refused before it is read.
TEST_F(PictureFileTest, MoreThanTheLibraryTakes) {
    WriteWholeFile(directory.File("big"), "x");
    std::filesystem::resize_file(directory.File("big"), kLongestPicture + 1);
    ExpectRefused(directory.File("big"), "1600000001 bytes; the library takes at most 1600000000");
}

}  // namespace
}  // namespace quor_terminal
