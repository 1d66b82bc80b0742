#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <set>
#include <string>
#include <string_view>

#include "quor_platform/key_management.h"
#include "quor_platform_linux/host.h"
#include "tests/platform_linux/support/own_stack.h"
#include "tests/platform_linux/support/temporary_folder.h"
#include "tests/platform_linux/support/threads.h"

namespace {

using quor_platform::CreateKeyFile;
using quor_platform::kMaxSecretBytes;
using quor_platform::LastFailure;
using quor_platform::SealSecret;
using quor_platform::SetKeyFile;
using quor_platform::Stage;
using testing::HasSubstr;

constexpr char kDomain[] = "QuorUIConf";
constexpr char kOtherDomain[] = "QuorUILogin";

struct Opened {
    unsigned int result = 0;
    std::string text;
};

Opened Open(const char* domain, std::string_view sealed) {
    char plain[QUOR_OM_KEYM_PLAIN_CAPACITY];
    std::memset(plain, 'o', sizeof plain);
    unsigned int length = 99;
    Opened opened;
    opened.result =
        QuorOmKeymDecrypt(domain, sealed.data(), static_cast<unsigned int>(sealed.size()), plain, &length);
    opened.text = std::string(plain, strnlen(plain, sizeof plain));
    EXPECT_EQ(opened.text.size(), length);
    return opened;
}

class Keys : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(CreateKeyFile(m_keyFile)) << LastFailure().text;
        SetKeyFile(m_keyFile);
    }
    void TearDown() override { SetKeyFile(""); }

    static void ExpectRefused(const char* domain, std::string_view sealed, const char* why) {
        const Opened opened = Open(domain, sealed);
        EXPECT_NE(opened.result, 0U) << why;
        EXPECT_EQ(opened.text, "");
        EXPECT_EQ(LastFailure().stage, Stage::kKey);
        EXPECT_THAT(LastFailure().text, HasSubstr(why));
    }

    TemporaryFolder m_folder;
    std::string m_keyFile = m_folder.File("key");
};

TEST_F(Keys, OpenWhatWasSealedForTheDomain) {
    for (const std::string& secret : {std::string("a"), std::string("pass word \xE4\xB8\xAD"),
                                      std::string(100, 'x'), std::string(kMaxSecretBytes, 'y')}) {
        const std::string sealed = SealSecret(kDomain, secret);
        ASSERT_NE(sealed, "") << LastFailure().text;
        EXPECT_EQ(sealed.substr(0, 3), "q1.");
        if (secret.size() > 8) {  // shorter ones may come up by chance
            EXPECT_EQ(sealed.find(secret), std::string::npos);
        }
        const Opened opened = Open(kDomain, sealed);
        EXPECT_EQ(opened.result, 0U);
        EXPECT_EQ(opened.text, secret);
    }
}

TEST_F(Keys, SealTheSameSecretDifferentlyEachTime) {
    EXPECT_NE(SealSecret(kDomain, "secret"), SealSecret(kDomain, "secret"));
}

TEST_F(Keys, TheLongestSealedTextFillsAFieldOf624) {
    EXPECT_EQ(SealSecret(kDomain, std::string(kMaxSecretBytes, 'x')).size(), 623U);
    EXPECT_EQ(SealSecret(kDomain, std::string(kMaxSecretBytes + 1, 'x')), "");
    EXPECT_EQ(LastFailure().stage, Stage::kKey);
    EXPECT_THAT(LastFailure().text, HasSubstr("1 to 437 bytes"));
}

TEST_F(Keys, SealNoEmptySecretAndNoNul) {
    EXPECT_EQ(SealSecret(kDomain, ""), "");
    EXPECT_EQ(SealSecret(kDomain, std::string("a\0b", 3)), "");
    EXPECT_THAT(LastFailure().text, HasSubstr("NUL"));
}

TEST_F(Keys, ATextOpensInNoOtherDomain) {
    const std::string sealed = SealSecret(kDomain, "secret");
    ExpectRefused(kOtherDomain, sealed, "another domain");
    ExpectRefused("QuorUIConf2", sealed, "another domain");
    EXPECT_NE(LastFailure().text.find("secret"), 0U);
}

TEST_F(Keys, ATextOpensWithNoOtherKey) {
    const std::string sealed = SealSecret(kDomain, "secret");
    const std::string other = m_folder.File("other");
    ASSERT_TRUE(CreateKeyFile(other));
    SetKeyFile(other);
    ExpectRefused(kDomain, sealed, "key file");
    SetKeyFile(m_keyFile);
    EXPECT_EQ(Open(kDomain, sealed).text, "secret");
}

TEST_F(Keys, AnyChangedCharacterIsNoticed) {
    const std::string sealed = SealSecret(kDomain, "secret");
    for (std::size_t i = 0; i < sealed.size(); ++i) {
        std::string changed = sealed;
        changed[i] = changed[i] == 'A' ? 'B' : 'A';
        EXPECT_NE(Open(kDomain, changed).result, 0U) << i;
    }
}

TEST_F(Keys, CutAndForeignTextsAreRefused) {
    const std::string sealed = SealSecret(kDomain, "secret");
    for (std::size_t size = 0; size < sealed.size(); ++size) {
        EXPECT_NE(Open(kDomain, sealed.substr(0, size)).result, 0U) << size;
    }
    ExpectRefused(kDomain, "plain password", "not sealed");
    ExpectRefused(kDomain, "", "not sealed");
    ExpectRefused(kDomain, "q1.", "damaged");
    ExpectRefused(kDomain, "q1.AAAA", "damaged");
    ExpectRefused(kDomain, "q1." + std::string(36, 'A') + "AA==", "damaged");  // nonce and tag of nothing
    ExpectRefused(kDomain, sealed + "\n", "damaged");
    ExpectRefused(kDomain, std::string(100000, 'A'), "too long");
}

TEST_F(Keys, TheTextNeedNotBeTerminated) {
    const std::string sealed = SealSecret(kDomain, "secret");
    GuardedBuffer memory(sealed.size());
    EXPECT_EQ(Open(kDomain, {memory.Place(sealed), sealed.size()}).text, "secret");
}

TEST_F(Keys, APlainTextBufferAsLongAsTheSealedTextIsEnough) {
    for (const std::size_t size : {std::size_t{1}, std::size_t{100}, kMaxSecretBytes}) {
        const std::string secret(size, 's');
        const std::string sealed = SealSecret(kDomain, secret);
        GuardedBuffer memory(sealed.size());
        char* const plain = memory.Last(sealed.size());
        unsigned int length = 0;
        EXPECT_EQ(QuorOmKeymDecrypt(kDomain, sealed.data(), static_cast<unsigned int>(sealed.size()), plain,
                                    &length),
                  0U);
        EXPECT_EQ(plain, secret);
    }
}

TEST_F(Keys, ASealedTextHasAtMost1024Characters) {
    ExpectRefused(kDomain, "q1." + std::string(1021, 'A'), "damaged");
    ExpectRefused(kDomain, "q1." + std::string(1020, 'A'), "another domain");  // looked at, and not genuine
    ExpectRefused(kDomain, "q1." + std::string(1022, 'A'), "too long");
}

TEST_F(Keys, NullArgumentsAreRefused) {
    char plain[QUOR_OM_KEYM_PLAIN_CAPACITY] = "old";
    unsigned int length = 9;
    EXPECT_NE(QuorOmKeymDecrypt(nullptr, "q1.", 3, plain, &length), 0U);
    EXPECT_STREQ(plain, "");
    EXPECT_EQ(length, 0U);
    EXPECT_NE(QuorOmKeymDecrypt(kDomain, nullptr, 3, plain, &length), 0U);
    length = 9;
    EXPECT_NE(QuorOmKeymDecrypt(kDomain, "q1.", 3, nullptr, &length), 0U);
    EXPECT_EQ(length, 0U);
    EXPECT_NE(QuorOmKeymDecrypt(kDomain, "q1.", 3, plain, nullptr), 0U);
}

TEST_F(Keys, DomainsHaveANameOfBoundedLength) {
    EXPECT_EQ(SealSecret("", "secret"), "");
    EXPECT_EQ(SealSecret(std::string(65, 'd'), "secret"), "");
    EXPECT_THAT(LastFailure().text, HasSubstr("domain"));
    const std::string longest(64, 'd');
    EXPECT_EQ(Open(longest.c_str(), SealSecret(longest, "secret")).text, "secret");
    ExpectRefused("", SealSecret(kDomain, "secret"), "domain");
    // Not terminated within the limit: no more of it is read.
    GuardedBuffer memory(65);
    ExpectRefused(memory.Place(std::string(65, 'd')), SealSecret(kDomain, "secret"), "domain");
}

TEST_F(Keys, NothingOpensWithoutAKeyFile) {
    const std::string sealed = SealSecret(kDomain, "secret");
    SetKeyFile("");
    ExpectRefused(kDomain, sealed, "no key file is set");
    EXPECT_EQ(SealSecret(kDomain, "secret"), "");
    SetKeyFile(m_folder.File("missing"));
    ExpectRefused(kDomain, sealed, "missing");
    EXPECT_EQ(LastFailure().systemError, ENOENT);
}

TEST_F(Keys, AKeyFileHasToBePrivateRegularAndOfTheRightSize) {
    const std::string sealed = SealSecret(kDomain, "secret");
    for (const mode_t mode : {0640U, 0604U, 0610U, 0601U, 0660U, 0777U}) {
        ASSERT_EQ(chmod(m_keyFile.c_str(), mode), 0);
        ExpectRefused(kDomain, sealed, "chmod 600");
    }
    ASSERT_EQ(chmod(m_keyFile.c_str(), 0400), 0);
    EXPECT_EQ(Open(kDomain, sealed).text, "secret");
    for (const std::size_t size : {0U, 1U, 31U, 33U, 64U}) {
        const std::string path = m_folder.File("size" + std::to_string(size));
        TemporaryFolder::Write(path, std::string(size, 'k'));
        ASSERT_EQ(chmod(path.c_str(), 0600), 0);
        SetKeyFile(path);
        ExpectRefused(kDomain, sealed, "32 bytes");
    }
    SetKeyFile(m_folder.Path().string());
    ExpectRefused(kDomain, sealed, "no regular file");
    const std::string pipe = m_folder.File("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    SetKeyFile(pipe);
    ExpectRefused(kDomain, sealed, "no regular file");
    SetKeyFile("/dev/zero");
    ExpectRefused(kDomain, sealed, "no regular file");
}

TEST_F(Keys, AKeyFileOfAnotherUserIsRefused) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give a file away";
    }
    const std::string sealed = SealSecret(kDomain, "secret");
    ASSERT_EQ(chown(m_keyFile.c_str(), 12345, 12345), 0);
    ExpectRefused(kDomain, sealed, "another user");
}

TEST_F(Keys, CreateMakesAPrivateFileAndReplacesNothing) {
    const std::string path = m_folder.File("new");
    const mode_t before = umask(0);
    EXPECT_TRUE(CreateKeyFile(path));
    umask(before);
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
    EXPECT_EQ(status.st_size, 32);
    EXPECT_EQ(status.st_nlink, 1U);
    const std::string content = TemporaryFolder::Read(path);
    EXPECT_NE(content, TemporaryFolder::Read(m_keyFile));
    EXPECT_FALSE(CreateKeyFile(path));
    EXPECT_EQ(LastFailure().stage, Stage::kKey);
    EXPECT_EQ(LastFailure().systemError, EEXIST);
    EXPECT_EQ(TemporaryFolder::Read(path), content);
    EXPECT_FALSE(CreateKeyFile(m_folder.File("missing/key")));
    EXPECT_EQ(LastFailure().systemError, ENOENT);
    EXPECT_FALSE(CreateKeyFile(""));
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(m_folder.Path())) {
        names.insert(entry.path().filename().string());
    }
    EXPECT_EQ(names, (std::set<std::string>{"key", "new"})) << "nothing temporary stays";
}

// Secrets and keys as they would lie on a stack that nobody wiped.
TEST_F(Keys, LeaveNothingOnTheStack) {
    static const std::string secret = "a secret to be found";
    struct Work {
        std::string sealed;
        char plain[QUOR_OM_KEYM_PLAIN_CAPACITY];
        static void* Seal(void* work) {
            static_cast<Work*>(work)->sealed = SealSecret(kDomain, secret);
            return nullptr;
        }
        static void* Open(void* argument) {
            auto* work = static_cast<Work*>(argument);
            unsigned int length = 0;
            EXPECT_EQ(QuorOmKeymDecrypt(kDomain, work->sealed.data(),
                                        static_cast<unsigned int>(work->sealed.size()), work->plain, &length),
                      0U);
            return nullptr;
        }
    } work;
    const std::string master = TemporaryFolder::Read(m_keyFile);
    OwnStack stack;
    stack.Run(Work::Seal, &work);
    EXPECT_FALSE(stack.Holds(secret));
    EXPECT_FALSE(stack.Holds(master));
    stack.Run(Work::Open, &work);
    EXPECT_STREQ(work.plain, secret.c_str());
    EXPECT_FALSE(stack.Holds(secret));
    EXPECT_FALSE(stack.Holds(master));
}

TEST_F(Keys, AreUsableFromManyThreads) {
    const std::string sealed = SealSecret(kDomain, "secret");
    RunInThreads(4, [&](int) {
        for (int round = 0; round < 50; ++round) {
            EXPECT_EQ(Open(kDomain, sealed).text, "secret");
            EXPECT_NE(SealSecret(kOtherDomain, "other"), "");
            SetKeyFile(m_keyFile);
        }
    });
}

TEST(Random, FillsAllAndNeverTheSame) {
    std::set<std::string> seen;
    for (const unsigned int size : {16U, 257U, 5000U}) {
        for (int round = 0; round < 3; ++round) {
            std::string bytes(size + 1, 'o');
            ASSERT_EQ(QuorOmKeymGenRealRandom(reinterpret_cast<unsigned char*>(bytes.data()), size), 0);
            EXPECT_EQ(bytes[size], 'o');
            EXPECT_TRUE(seen.insert(bytes).second);
        }
    }
    // Every byte of a buffer gets its own value sooner or later.
    std::set<std::size_t> changed;
    for (int round = 0; round < 64 && changed.size() < 4; ++round) {
        unsigned char bytes[4] = {};
        ASSERT_EQ(QuorOmKeymGenRealRandom(bytes, sizeof bytes), 0);
        for (std::size_t i = 0; i < 4; ++i) {
            if (bytes[i] != 0) {
                changed.insert(i);
            }
        }
    }
    EXPECT_EQ(changed.size(), 4U);
}

TEST(Random, RefusesNull) {
    EXPECT_NE(QuorOmKeymGenRealRandom(nullptr, 4), 0);
    unsigned char nothing = 7;
    EXPECT_EQ(QuorOmKeymGenRealRandom(&nothing, 0), 0);
    EXPECT_EQ(nothing, 7);
}

}  // namespace
