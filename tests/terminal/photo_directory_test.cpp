#include "photo_directory.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "process.h"

namespace quor_terminal {
namespace {

using Bytes = std::vector<unsigned char>;

Bytes BytesOf(const std::string& text) {
    return {text.begin(), text.end()};
}

const Bytes kJpeg = BytesOf("\xFF\xD8\xFF rest");
const Bytes kOther = BytesOf("something");

TEST(SafeFileName, NeverLeavesTheDirectory) {
    EXPECT_EQ(SafeFileName("anna.berg-1@x_y"), "anna.berg-1@x_y");
    EXPECT_EQ(SafeFileName("../../etc/passwd"), "_.._.._etc_passwd");
    EXPECT_EQ(SafeFileName("/etc/passwd"), "_etc_passwd");
    EXPECT_EQ(SafeFileName(".."), "_..");
    EXPECT_EQ(SafeFileName("."), "_.");
    EXPECT_EQ(SafeFileName(""), "_");
    EXPECT_EQ(SafeFileName("-rf"), "_-rf");
    EXPECT_EQ(SafeFileName(std::string("a\0b\n\x1b[2J\xE6\x9E\x97", 11)), "a_b___2J___");
    EXPECT_EQ(SafeFileName(std::string(4000, 'a')), std::string(127, 'a'));
}

TEST(PhotoExtension, ByTheFirstBytes) {
    EXPECT_STREQ(PhotoExtension(kJpeg), ".jpg");
    EXPECT_STREQ(PhotoExtension(BytesOf("\x89PNG\r\n\x1A\n")), ".png");
    EXPECT_STREQ(PhotoExtension(BytesOf("\x89PNG\r\n\x1A")), ".bin");
    EXPECT_STREQ(PhotoExtension(BytesOf("\xFF\xD8")), ".bin");
    EXPECT_STREQ(PhotoExtension({}), ".bin");
}

class PhotoDirectoryTest : public testing::Test {
protected:
    bool Save(const std::string& id, const Bytes& bytes, bool replace = false) {
        message.clear();
        return photos.Save(id, bytes, replace, file, message);
    }
    std::set<std::string> Files() const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(directory.File(""))) {
            names.insert(std::filesystem::relative(entry.path(), directory.File("")).string());
        }
        return names;
    }

    TemporaryDirectory directory;
    PhotoDirectory photos;
    std::string file;
    std::string message;
};

TEST_F(PhotoDirectoryTest, IsMadeWhenItIsMissing) {
    EXPECT_TRUE(photos.Open(directory.File("new"), message)) << message;
    EXPECT_TRUE(Save("anna", kJpeg)) << message;
    EXPECT_EQ(file, directory.File("new/anna.jpg"));
    EXPECT_EQ(ReadWholeFile(file), std::string(kJpeg.begin(), kJpeg.end()));
    EXPECT_EQ(Files(), (std::set<std::string>{"new", "new/anna.jpg"}));
    PhotoDirectory deep;
    EXPECT_FALSE(deep.Open(directory.File("no/such"), message));
    EXPECT_NE(message.find("no/such: No such file"), std::string::npos) << message;
    WriteWholeFile(directory.File("plain"), "text");
    EXPECT_FALSE(deep.Open(directory.File("plain"), message));
    EXPECT_NE(message.find("Not a directory"), std::string::npos) << message;
}

TEST_F(PhotoDirectoryTest, ReplacesNothingUnlessItIsWanted) {
    ASSERT_TRUE(photos.Open(directory.File(""), message)) << message;
    WriteWholeFile(directory.File("anna.bin"), "before");
    EXPECT_FALSE(Save("anna", kOther));
    EXPECT_EQ(message, directory.File("anna.bin") + " is there already; --force replaces it");
    EXPECT_EQ(ReadWholeFile(directory.File("anna.bin")), "before");
    EXPECT_EQ(Files(), std::set<std::string>{"anna.bin"});
    PhotoDirectory again;
    ASSERT_TRUE(again.Open(directory.File(""), message)) << message;
    EXPECT_TRUE(again.Save("anna", kOther, true, file, message)) << message;
    EXPECT_EQ(ReadWholeFile(directory.File("anna.bin")), "something");
    EXPECT_EQ(Files(), std::set<std::string>{"anna.bin"});
}

TEST_F(PhotoDirectoryTest, TwoOfOneRunNeverShareAName) {
    ASSERT_TRUE(photos.Open(directory.File(""), message)) << message;
    for (const char* const id : {"a/b", "a?b", "a_b"}) {
        EXPECT_TRUE(Save(id, BytesOf(id), true)) << message;
    }
    EXPECT_EQ(Files(), (std::set<std::string>{"a_b.bin", "a_b-2.bin", "a_b-3.bin"}));
    EXPECT_EQ(ReadWholeFile(directory.File("a_b.bin")), "a/b");
    EXPECT_EQ(ReadWholeFile(directory.File("a_b-3.bin")), "a_b");
}

// What a link points at stays as it is, wherever that is.
TEST_F(PhotoDirectoryTest, WritesThroughNoLink) {
    std::filesystem::create_directory(directory.File("out"));
    WriteWholeFile(directory.File("outside"), "before");
    std::filesystem::create_symlink(directory.File("outside"), directory.File("out/anna.bin"));
    ASSERT_TRUE(photos.Open(directory.File("out"), message)) << message;
    EXPECT_FALSE(Save("anna", kOther));
    EXPECT_TRUE(photos.Save("ben", kOther, true, file, message)) << message;
    PhotoDirectory again;
    ASSERT_TRUE(again.Open(directory.File("out"), message)) << message;
    EXPECT_TRUE(again.Save("anna", kOther, true, file, message)) << message;
    EXPECT_EQ(ReadWholeFile(directory.File("outside")), "before");
    EXPECT_FALSE(std::filesystem::is_symlink(directory.File("out/anna.bin")));
    EXPECT_EQ(ReadWholeFile(directory.File("out/anna.bin")), "something");
}

TEST_F(PhotoDirectoryTest, ALeftOverOfAnotherRunIsInNobodysWay) {
    ASSERT_TRUE(photos.Open(directory.File(""), message)) << message;
    const std::string leftOver = ".quor-photo-" + std::to_string(getpid()) + "-0";
    WriteWholeFile(directory.File(leftOver), "before");
    EXPECT_TRUE(Save("anna", kOther)) << message;
    EXPECT_EQ(ReadWholeFile(directory.File("anna.bin")), "something");
    EXPECT_EQ(ReadWholeFile(directory.File(leftOver)), "before");
}

TEST_F(PhotoDirectoryTest, ADirectoryThatCannotBeWritten) {
    ASSERT_TRUE(photos.Open(directory.File("gone"), message)) << message;
    std::filesystem::remove(directory.File("gone"));
    EXPECT_FALSE(Save("anna", kOther));
    EXPECT_NE(message.find("gone/anna.bin: No such file"), std::string::npos) << message;
}

}  // namespace
}  // namespace quor_terminal
