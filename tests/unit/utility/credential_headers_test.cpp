// The two headers that carry credentials.
#include <cstring>
#include <functional>
#include <memory>

#include "support/delete_watch.h"
#include "support/http_test.h"
#include "support/stack_probe.h"

namespace QuorTest {
namespace {

constexpr unsigned kFailed = 0xFFFFFFFFU;
constexpr const char* kPassword = "Zq7=canary#Xw9~Vu5%Kj3+Pb8&Nm2";
// base64 of kPassword.
constexpr const char* kCode = "WnE3PWNhbmFyeSNYdzl+VnU1JUtqMytQYjgmTm0y";
constexpr const char* kSealed = "sealed-by-the-terminal";

class CredentialTest : public HttpTest {
protected:
    CredentialTest() { Fake().plainTextByDomain["QuorUIConf"] = kPassword; }

    // Off the stack, which tests search.
    tagHTTP_HEADER& Header() { return *m_header; }
    unsigned Account(const char* account, unsigned maxLen = 256) {
        return HttpProtocol::GenerateHeaderAccount(Header(), account, maxLen);
    }
    unsigned Pwd(const char* sealed = kSealed, unsigned maxLen = 1024) {
        return HttpProtocol::GenerateHeaderPwd(Header(), sealed, maxLen);
    }
    void UseOpenedText(const std::string& text) { Fake().plainTextByDomain["QuorUIConf"] = text; }
    // Fails the wipes of size bytes. They do nothing then: what is gone was overwritten by other means.
    static void FailWipes(std::size_t size) {
        Fake().wipesDoNothing = true;
        Fake().boundedFault = [=](const BoundedCall& c) { return c.fn == Fn::MemsetS && c.count == size; };
    }
    static void ExpectFreedBlocksHoldNoSecret() {
        for (const BlockRecord& block : Fake().freedBlocks) {
            for (const char* secret : {kPassword, kCode}) {
                const auto* data = reinterpret_cast<const unsigned char*>(block.contentAtFree.data());
                EXPECT_THAT(FindPieces(data, block.contentAtFree.size(), secret, 8), IsEmpty());
            }
        }
    }

    std::unique_ptr<tagHTTP_HEADER> m_header = std::make_unique<tagHTTP_HEADER>();
};

// ---- Account ----

TEST_F(CredentialTest, AccountHeader) {
    EXPECT_EQ(Account("operator"), 0U);
    EXPECT_STREQ(Header().name, "authAccount");
    EXPECT_STREQ(Header().value, "b3BlcmF0b3I=");
    EXPECT_THAT(Logs(), IsEmpty());
    EXPECT_TRUE(Wiped(13, "b3BlcmF0b3I=")) << "over the length that counts the terminator";
}

TEST_F(CredentialTest, AnAccountIsReadToItsEndOrTheMaximum) {
    const char account[] = {'o', 'p', 'e', 'r', 'a', 't', 'o', 'r'};
    EXPECT_EQ(Account(account, 8), 0U);
    EXPECT_STREQ(Header().value, "b3BlcmF0b3I=");
    EXPECT_EQ(Account("operator", 3), 0U);
    EXPECT_STREQ(Header().value, "b3Bl");
}

TEST_F(CredentialTest, AnAccountOf381BytesIsTheLongest) {
    EXPECT_EQ(Account(std::string(381, 'a').c_str(), 1024), 0U);
    EXPECT_EQ(std::strlen(Header().value), 508U);
    for (const std::size_t length : {382U, 383U, 384U, 1000U}) {
        Fake().ClearRecords();
        EXPECT_EQ(Account(std::string(length, 'a').c_str(), 1024), kFailed);
        EXPECT_THAT(Logs(), ElementsAre(UE("<GenerateHeaderAccount> cp str auth account header fail")));
        EXPECT_TRUE(Wiped((length + 2) / 3 * 4 + 1, "YWFh"));
    }
}

TEST_F(CredentialTest, AccountNameCannotBeCopied) {
    Fake().FailCall(Fn::StrcpyS, 1);
    EXPECT_EQ(Account("operator"), kFailed);
    EXPECT_THAT(Logs(), ElementsAre(UE("<GenerateHeaderAccount> cp str auth header fail")));
    EXPECT_EQ(Fake().CountOf(Fn::Base64Encode), 0U);
}

TEST_F(CredentialTest, AnEmptyOrMissingAccountCannotBeEncoded) {
    EXPECT_EQ(Account(""), kFailed);
    EXPECT_THAT(Logs(), ElementsAre(US("<AiUtilityCovert2Base64> QUOR_BASE64Encode pIn failed."),
                                    UE("<GenerateHeaderAccount> create auth account base64  fail")));
    Fake().ClearRecords();
    EXPECT_EQ(Account(nullptr), kFailed);
    EXPECT_THAT(Logs(), ElementsAre(UE("<GenerateHeaderAccount> create auth account base64  fail")));
    EXPECT_STREQ(Header().name, "authAccount") << "written before everything else";
}

TEST_F(CredentialTest, AnAccountWithoutMemoryForItsCode) {
    Fake().FailCall(Fn::NothrowNew, 1);
    EXPECT_EQ(Account("operator"), kFailed);
    EXPECT_THAT(Logs(), ElementsAre(UE("<GenerateHeaderAccount> create auth account base64  fail")));
}

TEST_F(CredentialTest, AccountCodeCannotBeWiped) {
    FailWipes(13);
    EXPECT_EQ(Account("operator"), kFailed) << "although the header is complete";
    EXPECT_THAT(Logs(), ElementsAre(UE("<GenerateHeaderAccount> clear authAccountBase64 fail")));
    EXPECT_STREQ(Header().value, "b3BlcmF0b3I=");
}

TEST_F(CredentialTest, AccountCodeCanNeitherBeCopiedNorWiped) {
    FailWipes(513);
    EXPECT_EQ(Account(std::string(384, 'a').c_str(), 1024), kFailed);
    EXPECT_THAT(Logs(), ElementsAre(UE("<GenerateHeaderAccount> cp str auth account header fail"),
                                    UE("<GenerateHeaderAccount> clear authAccountBase64 fail")));
}

// ---- Password ----

TEST_F(CredentialTest, PasswordHeader) {
    EXPECT_EQ(Pwd(), 0U);
    EXPECT_STREQ(Header().name, "authPassword");
    EXPECT_STREQ(Header().value, kCode);
    EXPECT_THAT(Logs(), IsEmpty());
    ASSERT_EQ(Fake().decrypts.size(), 1U);
    EXPECT_EQ(Fake().decrypts[0].domain, "QuorUIConf");
    EXPECT_EQ(Fake().decrypts[0].cipherText, kSealed);
    EXPECT_EQ(Fake().decrypts[0].plainLenOnEntry, 0U);
    EXPECT_TRUE(Fake().decrypts[0].plainZeroOnEntry);
    EXPECT_TRUE(Wiped(1024, kPassword));
    EXPECT_TRUE(Wiped(41, kCode));
    ExpectFreedBlocksHoldNoSecret();
}

TEST_F(CredentialTest, ThePasswordInClearIsGoneBeforeItsCodeIsUsed) {
    EXPECT_EQ(Pwd(), 0U);
    std::vector<std::size_t> sizes;
    for (const WipeRecord& wipe : Fake().wipes) {
        sizes.push_back(wipe.sizeBytes);
    }
    EXPECT_THAT(sizes, ElementsAre(40U, 1024U, 41U)) << "the encoder's text, the plaintext, the array";
}

TEST_F(CredentialTest, ASealedTextIsReadToItsEndOrTheMaximum) {
    EXPECT_EQ(Pwd(kSealed, 6), 0U);
    EXPECT_EQ(Fake().decrypts.at(0).cipherText, "sealed");
    EXPECT_EQ(Pwd(nullptr), 0U) << "the key service decides what no text opens to";
    EXPECT_EQ(Fake().decrypts.at(1).cipherText, "");
}

TEST_F(CredentialTest, NoMoreIsOpenedThanTheBufferForThePasswordHolds) {
    EXPECT_EQ(Pwd(std::string(2000, 's').c_str(), 4096), 0U);
    EXPECT_EQ(Fake().decrypts.at(0).cipherText.size(), 1024U);
}

TEST_F(CredentialTest, OnlyOneDomainIsTried) {
    Fake().plainTextByDomain.clear();
    Fake().plainTextByDomain["QuorUILogin"] = kPassword;
    EXPECT_EQ(Pwd(), kFailed);
    EXPECT_THAT(Logs(), ElementsAre(UE("<GenerateHeaderPwd> failed: Decrypt euaPassword failed.")));
    EXPECT_EQ(Fake().decrypts.size(), 1U);
}

TEST_F(CredentialTest, AFailedOpeningLeavesTheValueAndNothingOfThePassword) {
    Put(Header().value, "before");
    Fake().FailCall(Fn::Decrypt, 1);
    Fake().plainResidueOnFailure = kPassword;
    EXPECT_EQ(Pwd(), kFailed);
    EXPECT_STREQ(Header().name, "authPassword");
    EXPECT_STREQ(Header().value, "before");
    EXPECT_TRUE(Wiped(1024, kPassword)) << "without a log line";
    EXPECT_EQ(Logs().size(), 1U);
    EXPECT_EQ(Fake().CountOf(Fn::Base64Encode), 0U);
}

TEST_F(CredentialTest, ThePasswordEndsAtItsTerminatorWhateverLengthWasReported) {
    UseOpenedText(std::string("abc\0def", 7));
    EXPECT_EQ(Pwd(), 0U);
    EXPECT_STREQ(Header().value, "YWJj");
}

// Then the password ends where its buffer does, one byte before.
TEST_F(CredentialTest, APasswordWithoutTerminatorIsReadToItsBuffersEndOnly) {
    UseOpenedText(std::string(1024, 'a'));
    Fake().plainTextHasEnd = false;
    EXPECT_EQ(Pwd(std::string(1024, 's').c_str()), kFailed);
    EXPECT_THAT(Logs(), ElementsAre(UE("<GenerateHeaderPwd> cp str auth pwd header fail")));
    EXPECT_TRUE(Wiped(1024, std::string(1023, 'a')));
    EXPECT_TRUE(Wiped(1365, "YWFh")) << "the code of 1023 bytes";
}

TEST_F(CredentialTest, PasswordNameCannotBeCopied) {
    Fake().FailCall(Fn::StrcpyS, 1);
    EXPECT_EQ(Pwd(), kFailed);
    EXPECT_THAT(Logs(), ElementsAre(UE("<GenerateHeaderPwd> cp str auth pwd header fail")));
    EXPECT_EQ(Fake().CountOf(Fn::Decrypt), 0U);
}

TEST_F(CredentialTest, PlaintextBufferCannotBeCleared) {
    Fake().FailCall(Fn::MemsetS, 1);
    EXPECT_EQ(Pwd(), kFailed);
    EXPECT_THAT(Logs(), ElementsAre(UE("<GenerateHeaderPwd> failed: memset_s decryptPwd failed.")));
    EXPECT_EQ(Fake().CountOf(Fn::Decrypt), 0U);
}

TEST_F(CredentialTest, PlaintextCannotBeWipedAfterItsEncoding) {
    Fake().FailCall(Fn::MemsetS, 3);  // the first clears the buffer, the second wipes the encoder's text
    EXPECT_EQ(Pwd(), kFailed);
    EXPECT_THAT(Logs(), ElementsAre(UE("<GenerateHeaderPwd> failed: memset_s decryptPwd to clear failed.")));
    EXPECT_STREQ(Header().value, "");
    EXPECT_TRUE(Wiped(41, kCode)) << "the code that was ready";
}

TEST_F(CredentialTest, PasswordThatCannotBeEncodedIsWipedFirst) {
    Fake().FailCall(Fn::Base64Encode, 1);
    EXPECT_EQ(Pwd(), kFailed);
    EXPECT_THAT(Logs(), ElementsAre(US("<AiUtilityCovert2Base64> QUOR_BASE64Encode pIn failed."),
                                    UE("create auth pwd base64  fail")));
    EXPECT_TRUE(Wiped(1024, kPassword));
}

TEST_F(CredentialTest, AnEmptyPasswordCannotBeEncoded) {
    UseOpenedText("");
    EXPECT_EQ(Pwd(), kFailed);
    EXPECT_EQ(Logs().back(), UE("create auth pwd base64  fail"));
}

TEST_F(CredentialTest, APasswordOf381BytesIsTheLongestAndTheTextIsThatOfTheName) {
    UseOpenedText(std::string(381, 'a'));
    EXPECT_EQ(Pwd(), 0U);
    for (const std::size_t length : {382U, 383U, 384U}) {
        Fake().ClearRecords();
        UseOpenedText(std::string(length, 'a'));
        EXPECT_EQ(Pwd(), kFailed);
        EXPECT_THAT(Logs(), ElementsAre(UE("<GenerateHeaderPwd> cp str auth pwd header fail")));
        EXPECT_TRUE(Wiped(513, "YWFh"));
    }
}

TEST_F(CredentialTest, PasswordCodeCannotBeWiped) {
    FailWipes(41);
    EXPECT_EQ(Pwd(), kFailed);
    EXPECT_THAT(Logs(), ElementsAre(UE("<GenerateHeaderPwd> clear auth pwd base64 fail")));
}

TEST_F(CredentialTest, PasswordCodeCanNeitherBeCopiedNorWiped) {
    UseOpenedText(std::string(384, 'a'));
    FailWipes(513);
    EXPECT_EQ(Pwd(), kFailed);
    EXPECT_THAT(Logs(), ElementsAre(UE("<GenerateHeaderPwd> cp str auth pwd header fail"),
                                    UE("<GenerateHeaderPwd> clear auth pwd base64 fail")));
}

// ---- Nothing stays ----

// Runs work on a stack of its own and looks for the password and its code: there, and in the memory given
// back.
void RunAndSearch(const std::function<void()>& work, const std::string& where) {
    static const std::string password = kPassword;
    static const std::string code = kCode;
    for (const std::string* secret : {&password, &code}) {
        StackProbe probe;
        const DeleteWatch watch(*secret);
        probe.Run(work);
        EXPECT_EQ(watch.Hits(), 0U) << where;
        EXPECT_THAT(probe.Find(password), IsEmpty()) << where;
        EXPECT_THAT(probe.Find(code), IsEmpty()) << where;
    }
}

TEST_F(CredentialTest, NothingOfThePasswordStaysAfterSuccess) {
    RunAndSearch([this] { EXPECT_EQ(Pwd(), 0U); }, "success");
    RunAndSearch([this] { EXPECT_EQ(Account(kPassword), 0U); }, "account");
    ExpectFreedBlocksHoldNoSecret();
}

TEST_F(CredentialTest, NothingOfThePasswordStaysWhateverFails) {
    unsigned broken = 0;
    for (std::size_t i = 0; i < kFnCount; ++i) {
        const Fn fn = static_cast<Fn>(i);
        for (const FailMode mode : {FailMode::kOnce, FailMode::kFromThenOn}) {
            for (unsigned nth = 1; nth < 50; ++nth) {
                Fake().Reset();
                UseOpenedText(kPassword);
                Fake().plainResidueOnFailure = kPassword;
                bool hit = false;
                const std::string where = std::string(FnName(fn)) + " " + std::to_string(nth);
                RunAndSearch(
                    [&] {
                        Fake().FailCall(fn, nth, mode);
                        Pwd();
                        hit = Fake().FaultHit(fn);
                    },
                    where);
                ExpectFreedBlocksHoldNoSecret();
                CheckClean(where);
                if (!hit) {
                    break;
                }
                ++broken;
            }
        }
    }
    EXPECT_GT(broken, 10U);
}

// The searches above prove something only if they find what is there.
TEST_F(CredentialTest, SearchesNoticeWipesThatDoNotHappen) {
    Fake().wipesDoNothing = true;
    const std::string password = kPassword;
    StackProbe probe;
    const DeleteWatch watch(password);
    probe.Run([this] { Pwd(); });
    EXPECT_FALSE(probe.Find(password).empty());
    ASSERT_EQ(Fake().freedBlocks.size(), 1U);
    EXPECT_NE(Fake().freedBlocks[0].contentAtFree.find(kCode), std::string::npos);
}

}  // namespace
}  // namespace QuorTest
