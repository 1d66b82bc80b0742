#include "conference_channel/session.h"

#include <cstring>
#include <type_traits>

#include "conference_channel/liveness.h"
#include "support/channel_test.h"

namespace QuorTest {
namespace {

using QuorAiEngine::nodeToTimeMap;

constexpr const char* kPassword = "pA55-w0rd-of-the-terminal";
// base64 of "alice:pA55-w0rd-of-the-terminal".
constexpr const char* kCode = "YWxpY2U6cEE1NS13MHJkLW9mLXRoZS10ZXJtaW5hbA==";

class SessionTest : public ChannelTest {
protected:
    SessionTest() { Fake().plainTextByDomain["QuorUIConf"] = kPassword; }

    unsigned SetInfo() {
        std::memset(static_cast<void*>(&m_ws), 0xEE, sizeof(m_ws));
        return Access::SetWsInfo(m_ws, &m_login);
    }
    unsigned Create() { return Kel().KelBasicCreateWebsocket(&m_login); }
    static unsigned AuthCode(const char* user, const char* password, char*& code, unsigned& codeLen) {
        std::string u = user;
        std::string p = password;
        return Access::CreateAuthCode(u.data(), p.data(), code, codeLen);
    }
    // Fails the bounded calls of fn whose destination has that capacity.
    static void FailBounded(Fn fn, std::size_t capacity) {
        Fake().boundedFault = [=](const BoundedCall& c) { return c.fn == fn && c.destMax == capacity; };
    }
    // Whether some wipe covered size bytes that began with text.
    static bool Wiped(std::size_t size, const std::string& text) {
        for (const WipeRecord& wipe : Fake().wipes) {
            if (wipe.sizeBytes == size && wipe.before.compare(0, text.size(), text) == 0) {
                return true;
            }
        }
        return false;
    }
    static void ExpectNothingOfTheSecretInFreedBlocks() {
        for (const BlockRecord& block : Fake().freedBlocks) {
            EXPECT_EQ(block.contentAtFree.find(std::string(kCode).substr(0, 8)), std::string::npos);
            EXPECT_EQ(block.contentAtFree.find(kPassword), std::string::npos);
        }
    }

    TagQuorAiKelLoginInfo m_login = LoginInfo();
    TagQuorOmNmsWebsocketInfo m_ws;
};

// ---- State ----

TEST_F(SessionTest, InstanceIsOne) {
    EXPECT_EQ(AiKelBasic::GetInstance(), AiKelBasic::GetInstance());
}

TEST_F(SessionTest, UpdateStoresTheWholeLoginRecord) {
    EXPECT_EQ(Kel().UpdateKelLoginInfo(m_login), 0U);
    EXPECT_EQ(std::memcmp(&Access::State().loginInfo, &m_login, sizeof(m_login)), 0);
    EXPECT_THAT(Logs(), IsEmpty());
    EXPECT_EQ(AiKelBasic::KelGetBasicInfo(), &Access::State()) << "the state itself, no copy";
}

TEST_F(SessionTest, UpdateFails) {
    Fake().FailCall(Fn::MemcpyS, 1);
    EXPECT_EQ(Kel().UpdateKelLoginInfo(m_login), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelLoginInfoUpdate> failed: memcpy kelLoginInfo failed")));
}

// ---- The start-up record ----

TEST_F(SessionTest, StartUpRecordOfAConferenceLink) {
    Put(Access::State().uuid, kConfId);
    EXPECT_EQ(SetInfo(), 0U);
    EXPECT_EQ(m_ws.connectParam, 20U);
    EXPECT_EQ(m_ws.port, 8443U);
    EXPECT_STREQ(m_ws.separator, "\n");
    EXPECT_STREQ(m_ws.serverAddr, "conf.example.org");
    EXPECT_STREQ(m_ws.url, "/conf-portal/websocket");
    EXPECT_STREQ(m_ws.wsCode, kCode);
    EXPECT_STREQ(m_ws.confCtrlToken, kConfId) << "the conference id, not a token";
    EXPECT_EQ(m_ws.reserved0, 0U);
    EXPECT_EQ(m_ws.isManagerLink, 0U);
    EXPECT_EQ(m_ws.reserved1, 1U);
    EXPECT_EQ(m_ws.reserved2, 0U);
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(SessionTest, ReadyMadeCodeNeverTouchesTheKeyService) {
    Put(m_login.wsCode, "cmVhZHktbWFkZQ==");
    EXPECT_EQ(SetInfo(), 0U);
    EXPECT_STREQ(m_ws.wsCode, "cmVhZHktbWFkZQ==");
    EXPECT_EQ(Fake().CountOf(Fn::Decrypt), 0U);
    EXPECT_EQ(Fake().CountOf(Fn::Base64Encode), 0U);
}

TEST_F(SessionTest, ManagerLinkHasNoCodeEvenWhenOneIsGiven) {
    m_login.linkType = 1;
    Put(m_login.wsCode, "cmVhZHktbWFkZQ==");
    EXPECT_EQ(SetInfo(), 0U);
    EXPECT_EQ(m_ws.isManagerLink, 1U);
    EXPECT_EQ(Fake().CountOf(Fn::Decrypt), 0U);
    const std::string untouched(sizeof(m_ws.wsCode), '\xEE');
    EXPECT_EQ(std::string(m_ws.wsCode, sizeof(m_ws.wsCode)), untouched) << "the field is not written";
    EXPECT_EQ(m_ws.connectParam, 20U);
    EXPECT_EQ(m_ws.reserved1, 1U);
}

TEST_F(SessionTest, CopiesFailInTheOrderAddressUrlTokenSeparator) {
    const std::vector<std::string> texts = {"<KelBasicSetWSInfo> failed: strcpy_s ServerAddr failed ",
                                            "<KelBasicSetWSInfo> failed: strcpy_s url failed ",
                                            "<KelBasicSetWSInfo> failed: strcpy_s confCtrlToken failed ",
                                            "<KelBasicSetWSInfo> failed: strcpy_s confCtrlToken failed "};
    for (unsigned i = 0; i < texts.size(); ++i) {
        Fake().ClearRecords();
        Fake().FailCall(Fn::StrcpyS, i + 1);
        EXPECT_EQ(SetInfo(), 1U);
        EXPECT_THAT(Logs(), ElementsAre(E(texts[i]))) << i;
        EXPECT_EQ(m_ws.reserved1, 1U) << "set first";
        EXPECT_EQ(m_ws.connectParam, 0xEEEEEEEEU) << "set last";
        EXPECT_EQ(m_ws.port, 0xEEEEEEEEU) << "set last";
        EXPECT_EQ(m_ws.isManagerLink, 0xEEEEEEEEU);
    }
    EXPECT_EQ(Fake().CountOf(Fn::Decrypt), 0U);
}

TEST_F(SessionTest, CopiesHaveTheCapacitiesOfTheFields) {
    SetInfo();
    std::vector<std::size_t> capacities;
    for (const BoundedCall& call : Fake().boundedCalls) {
        if (call.fn == Fn::StrcpyS) {
            capacities.push_back(call.destMax);
        }
    }
    EXPECT_THAT(capacities, ElementsAre(257U, 257U, 256U, 257U, 256U));
}

TEST_F(SessionTest, UnterminatedFieldsAreRefused) {
    m_login.port = 0;  // the byte after the address is a zero: reading on would find an end
    FillWhole(m_login.serverAddr);
    EXPECT_EQ(SetInfo(), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelBasicSetWSInfo> failed: strcpy_s ServerAddr failed ")));
    m_login = LoginInfo();
    Fake().ClearRecords();
    FillWhole(m_login.wsCode);
    EXPECT_EQ(SetInfo(), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelBasicSetWSInfo> failed: strcpy_s wsCode failed ")));
    m_login = LoginInfo();
    Fake().ClearRecords();
    FillWhole(Access::State().uuid);
    EXPECT_EQ(SetInfo(), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelBasicSetWSInfo> failed: strcpy_s confCtrlToken failed ")));
}

TEST_F(SessionTest, UnterminatedPasswordIsReadToItsCapacity) {
    FillWhole(m_login.kelPassWord, 'c');
    SetInfo();
    ASSERT_FALSE(Fake().decrypts.empty());
    EXPECT_EQ(Fake().decrypts[0].cipherText, std::string(624, 'c'));
}

TEST_F(SessionTest, PasswordIsOpenedUnderTheConferenceDomain) {
    SetInfo();
    ASSERT_EQ(Fake().decrypts.size(), 1U);
    EXPECT_EQ(Fake().decrypts[0].domain, "QuorUIConf");
    EXPECT_EQ(Fake().decrypts[0].cipherText, "sealed-password-text");
    EXPECT_EQ(Fake().decrypts[0].plainLenOnEntry, 0U);
    EXPECT_TRUE(Fake().decrypts[0].plainZeroOnEntry);
}

TEST_F(SessionTest, PasswordIsOpenedUnderTheLoginDomainNext) {
    Fake().plainTextByDomain.clear();
    Fake().plainTextByDomain["QuorUILogin"] = kPassword;
    Fake().plainResidueOnFailure = "what a failed attempt left behind, longer than the password";
    EXPECT_EQ(SetInfo(), 0U);
    ASSERT_EQ(Fake().decrypts.size(), 2U);
    EXPECT_EQ(Fake().decrypts[1].domain, "QuorUILogin");
    EXPECT_EQ(Fake().decrypts[1].plainLenOnEntry, 0U);
    EXPECT_TRUE(Fake().decrypts[1].plainZeroOnEntry);
    EXPECT_STREQ(m_ws.wsCode, kCode);
    EXPECT_THAT(Logs(), IsEmpty()) << "the first failure is no error";
}

TEST_F(SessionTest, PasswordThatDoesNotOpenUnderEitherDomain) {
    Fake().plainTextByDomain.clear();
    Fake().plainResidueOnFailure = kPassword;
    EXPECT_EQ(SetInfo(), 1U);
    EXPECT_EQ(Fake().decrypts.size(), 2U);
    EXPECT_THAT(Logs(), ElementsAre(E("<AiMeetingMainGetKelInfo> failed: Decrypt kelPassWord failed.")));
    EXPECT_TRUE(Wiped(624, kPassword)) << "what the key service left is wiped on every path";
}

TEST_F(SessionTest, PlaintextAndCodeAreWipedOnSuccess) {
    EXPECT_EQ(SetInfo(), 0U);
    EXPECT_TRUE(Wiped(624, kPassword));
    EXPECT_TRUE(Wiped(256, std::string("alice:") + kPassword));
    EXPECT_TRUE(Wiped(std::strlen(kCode), kCode));
    EXPECT_EQ(Fake().CountOf(Fn::Base64Free), 0U);
    ASSERT_EQ(Fake().freedBlocks.size(), 1U) << "released with the accounted heap's free";
    EXPECT_EQ(Fake().freedBlocks[0].contentAtFree, std::string(std::strlen(kCode) + 1, '\0'));
    EXPECT_EQ(Fake().freedBlocks[0].freeModule, kKelModule);
}

TEST_F(SessionTest, CodeThatCannotBeBuilt) {
    Fake().FailCall(Fn::Base64Encode, 1);
    EXPECT_EQ(SetInfo(), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelCreateWsAuthCode> failed: QUOR_BASE64Encode failed"),
                                    E("<KelBasicSetWSInfo> failed: KelCreateWsAuthCode failed ")));
    EXPECT_TRUE(Wiped(624, kPassword));
    EXPECT_TRUE(Wiped(256, std::string("alice:") + kPassword));
}

TEST_F(SessionTest, CodeThatDoesNotCopyIsWipedAndReleased) {
    Fake().boundedFault = [](const BoundedCall& c) { return c.fn == Fn::StrcpyS && c.SourceIs(kCode); };
    EXPECT_EQ(SetInfo(), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelBasicSetWSInfo> failed: strcpy_s wsCode failed ")));
    EXPECT_TRUE(Wiped(624, kPassword));
    EXPECT_TRUE(Wiped(std::strlen(kCode), kCode));
    ASSERT_EQ(Fake().freedBlocks.size(), 1U);
    ExpectNothingOfTheSecretInFreedBlocks();
}

TEST_F(SessionTest, LongestCredentialHas189Bytes) {
    Put(m_login.userName, std::string(100, 'u'));
    Fake().plainTextByDomain["QuorUIConf"] = std::string(88, 'p');
    EXPECT_EQ(SetInfo(), 0U);
    EXPECT_EQ(std::strlen(m_ws.wsCode), 252U);
    Fake().ClearRecords();
    Fake().plainTextByDomain["QuorUIConf"] = std::string(89, 'p');
    EXPECT_EQ(SetInfo(), 1U) << "256 characters of base64 leave no room for the terminator";
    EXPECT_THAT(Logs(), ElementsAre(E("<KelBasicSetWSInfo> failed: strcpy_s wsCode failed ")));
    Fake().ClearRecords();
    Fake().plainTextByDomain["QuorUIConf"] = std::string(155, 'p');
    EXPECT_EQ(SetInfo(), 1U) << "256 characters do not fit the formatted text";
    EXPECT_THAT(Logs(), ElementsAre(E("<KelCreateWsAuthCode> failed: sprintf_s failed"),
                                    E("<KelBasicSetWSInfo> failed: KelCreateWsAuthCode failed ")));
    EXPECT_TRUE(Wiped(624, std::string(155, 'p')));
}

TEST_F(SessionTest, PlaintextThatFillsItsBufferIsRefused) {
    Fake().plainTextByDomain["QuorUIConf"] = std::string(623, 'p');
    EXPECT_EQ(SetInfo(), 1U);
    EXPECT_EQ(Logs().front(), E("<KelCreateWsAuthCode> failed: sprintf_s failed"));
    EXPECT_TRUE(Wiped(624, std::string(623, 'p')));
}

TEST_F(SessionTest, PasswordMayHoldColonsAndPercentSigns) {
    Fake().plainTextByDomain["QuorUIConf"] = "a:b%s%n";
    EXPECT_EQ(SetInfo(), 0U);
    EXPECT_STREQ(m_ws.wsCode, "YWxpY2U6YTpiJXMlbg==");
}

// ---- The authorisation code ----

TEST_F(SessionTest, AuthCodeNeedsBothInputs) {
    char* code = nullptr;
    unsigned len = 0;
    char text[] = "x";
    EXPECT_EQ(Access::CreateAuthCode(nullptr, text, code, len), 1U);
    EXPECT_EQ(Access::CreateAuthCode(text, nullptr, code, len), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelCreateWsAuthCode> failed: input is nullptr"),
                                    E("<KelCreateWsAuthCode> failed: input is nullptr")));
}

TEST_F(SessionTest, AuthCodeIsTheBase64OfUserColonPassword) {
    char* code = nullptr;
    unsigned len = 0;
    EXPECT_EQ(AuthCode("alice", "secret-8", code, len), 0U);
    EXPECT_STREQ(code, "YWxpY2U6c2VjcmV0LTg=");
    EXPECT_EQ(len, 20U);
    EXPECT_TRUE(Wiped(256, "alice:secret-8"));
    OSMemTypeFreeMon(code, 1, "test");
}

TEST_F(SessionTest, AuthCodeWipesItsTextWhenFormattingFails) {
    char* code = nullptr;
    unsigned len = 0;
    EXPECT_EQ(AuthCode("alice", std::string(250, 's').c_str(), code, len), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelCreateWsAuthCode> failed: sprintf_s failed")));
    EXPECT_EQ(code, nullptr);
    EXPECT_EQ(Fake().CountOf(Fn::Base64Encode), 0U);
    EXPECT_GE(Fake().CountOf(Fn::MemsetS), 1U);
}

TEST_F(SessionTest, AuthCodeIsReleasedWipedWhenTheWipeOfItsTextFails) {
    Fake().boundedFault = [](const BoundedCall& c) {
        return c.fn == Fn::MemsetS && c.destMax == 256 && std::memcmp(c.dest, "alice:", 6) == 0;
    };
    char* code = nullptr;
    unsigned len = 0;
    EXPECT_EQ(AuthCode("alice", "secret-8", code, len), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelCreateWsAuthCode> failed: memset token failed")));
    EXPECT_EQ(code, nullptr);
    EXPECT_EQ(len, 0U);
    ASSERT_EQ(Fake().freedBlocks.size(), 1U);
    EXPECT_EQ(Fake().freedBlocks[0].contentAtFree, std::string(21, '\0'));
}

TEST_F(SessionTest, AuthCodeEncodeAndWipeBothFail) {
    Fake().FailCall(Fn::Base64Encode, 1);
    Fake().boundedFault = [](const BoundedCall& c) {
        return c.fn == Fn::MemsetS && c.destMax == 256 && std::memcmp(c.dest, "alice:", 6) == 0;
    };
    char* code = nullptr;
    unsigned len = 0;
    EXPECT_EQ(AuthCode("alice", "secret-8", code, len), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelCreateWsAuthCode> failed: QUOR_BASE64Encode failed"),
                                    E("<KelCreateWsAuthCode> failed: memset token failed")));
    EXPECT_EQ(code, nullptr);
}

// ---- Opening the link ----

TEST_F(SessionTest, CreateNeedsALoginRecord) {
    EXPECT_EQ(Kel().KelBasicCreateWebsocket(nullptr), 1U);
    EXPECT_THAT(Logs(), ElementsAre(I("<KelBasicCreateWebsocket> in"),
                                    E("<KelBasicCreateWebsocket> failed: kelLoginInfo is nullptr")));
}

TEST_F(SessionTest, CreateStartsTheLinkThenTheTimer) {
    nodeToTimeMap["/x"] = 5;
    EXPECT_EQ(Create(), 0U);
    EXPECT_THAT(Logs(), ElementsAre(I("<KelBasicCreateWebsocket> in"), I("<StartSubAliveTimer> succeed"),
                                    I("<KelBasicCreateWebsocket> success")));
    EXPECT_THAT(Fake().Trail({Fn::ModuleLog}),
                ElementsAre("Decrypt", "Base64Encode", "HeapFree", "WsStartUp", "CreateTimer", "StartTimer"));
    ASSERT_EQ(Fake().startUps.size(), 1U);
    EXPECT_STREQ(Fake().startUps[0].wsCode, kCode);
    EXPECT_STREQ(Fake().startUps[0].serverAddr, "conf.example.org");
    EXPECT_EQ(Access::LinkId(), 0U) << "the connect event sets it";
    EXPECT_TRUE(nodeToTimeMap.empty());
    EXPECT_TRUE(Wiped(256, kCode)) << "the code in the start-up record goes too";
}

TEST_F(SessionTest, CreateDoesNotStoreTheLoginRecord) {
    Create();
    EXPECT_STREQ(Access::State().loginInfo.serverAddr, "");
}

TEST_F(SessionTest, CreateOfAManagerLinkStoresItsIdAtOnce) {
    m_login.linkType = 1;
    Fake().startUpLinkId = 88;
    EXPECT_EQ(Create(), 0U);
    EXPECT_EQ(Access::ManagerLinkId(), 88U);
    EXPECT_EQ(Access::LinkId(), 0U);
    EXPECT_EQ(Fake().startUps[0].isManagerLink, 1U);
}

TEST_F(SessionTest, CreateFailsWithTheStartUpRecord) {
    Fake().plainTextByDomain.clear();
    EXPECT_EQ(Create(), 1U);
    EXPECT_THAT(Logs(), ElementsAre(I("<KelBasicCreateWebsocket> in"),
                                    E("<AiMeetingMainGetKelInfo> failed: Decrypt kelPassWord failed."),
                                    E("<KelBasicCreateWebsocket> failed: set srvInfo failed")));
    EXPECT_THAT(Fake().startUps, IsEmpty());
}

TEST_F(SessionTest, CreateFailsWhenTheStartUpFails) {
    nodeToTimeMap["/x"] = 5;
    Fake().FailCall(Fn::WsStartUp, 1);
    Fake().SetFailResult(Fn::WsStartUp, 401);
    EXPECT_EQ(Create(), 1U);
    EXPECT_EQ(Logs().back(),
              E("<KelBasicCreateWebsocket>: QuorOmNmsWebsocketStartUp errCode 401 or linkId = 0"));
    EXPECT_EQ(Fake().CountOf(Fn::CreateTimer), 0U);
    EXPECT_EQ(nodeToTimeMap.size(), 1U);
    EXPECT_TRUE(Wiped(256, kCode));
    EXPECT_TRUE(Wiped(624, kPassword));
}

TEST_F(SessionTest, StartUpWithoutALinkIdIsAFailure) {
    Fake().startUpLinkId = 0;
    m_login.linkType = 1;
    EXPECT_EQ(Create(), 1U);
    EXPECT_EQ(Logs().back(),
              E("<KelBasicCreateWebsocket>: QuorOmNmsWebsocketStartUp errCode 0 or linkId = 0"));
    EXPECT_EQ(Access::ManagerLinkId(), 0U);
    EXPECT_EQ(Fake().CountOf(Fn::WsDestroy), 0U);
}

TEST_F(SessionTest, FailedTimerDoesNotFailTheCreation) {
    nodeToTimeMap["/x"] = 5;
    Fake().FailCall(Fn::CreateTimer, 1);
    EXPECT_EQ(Create(), 0U);
    EXPECT_THAT(Logs(), ElementsAre(I("<KelBasicCreateWebsocket> in"),
                                    E("<StartSubAliveTimer> failed: Start timer failed"),
                                    E("<KelBasicCreateWebsocket> failed: StartSubAliveTimer failed"),
                                    I("<KelBasicCreateWebsocket> success")));
    EXPECT_TRUE(nodeToTimeMap.empty());
}

TEST_F(SessionTest, ConnectEventMayArriveWhileTheLinkIsCreated) {
    Watch();
    Fake().onStartUp = [](const TagQuorOmNmsWebsocketInfo&) {
        AiKelBasic::KelBasicDisposeMsg(QuorAiEngine::KelEventConnect, 71, 0, nullptr);
    };
    EXPECT_EQ(Create(), 0U);
    EXPECT_EQ(Access::LinkId(), 71U);
    EXPECT_EQ(observer->results.size(), 1U);
}

// ---- Closing the link ----

TEST_F(SessionTest, DestroyWithoutALinkDoesNothing) {
    Create();
    nodeToTimeMap["/x"] = 5;
    Fake().ClearRecords();
    EXPECT_EQ(Kel().KelBasicDestroyWebsocket(), 0U);
    EXPECT_THAT(Logs(), ElementsAre(I("<KelBasicDestroyWebsocket> in"),
                                    I("<KelBasicDestroyWebsocket>: m_kelBasicInfo.wslinkId is 0")));
    EXPECT_EQ(Fake().CountOf(Fn::StopTimer), 0U);
    EXPECT_EQ(nodeToTimeMap.size(), 1U);
    EXPECT_NE(Access::TimerId(), nullptr);
}

TEST_F(SessionTest, DestroyClosesTheConferenceLinkOnly) {
    Create();
    Connect();
    Access::ManagerLinkId() = kManagerLink;
    Access::OmNmsInit() = true;
    nodeToTimeMap["/x"] = 5;
    Fake().ClearRecords();
    EXPECT_EQ(Kel().KelBasicDestroyWebsocket(), 0U);
    EXPECT_THAT(Logs(),
                ElementsAre(I("<KelBasicDestroyWebsocket> in"),
                            G("Ai destroy websocket connection with server succeed."),
                            I("<StopSubAliveTimer> succeed"), I("<KelBasicDestroyWebsocket> success")));
    EXPECT_THAT(Fake().Trail({Fn::ModuleLog}),
                ElementsAre("WsDestroy", "GeneralLog", "StopTimer", "FreeTimer"));
    EXPECT_THAT(Fake().destroyedLinks, ElementsAre(kLink));
    EXPECT_EQ(Access::LinkId(), 0U);
    EXPECT_EQ(Access::ManagerLinkId(), kManagerLink);
    EXPECT_FALSE(Access::OmNmsInit());
    EXPECT_TRUE(nodeToTimeMap.empty());
    EXPECT_EQ(Access::TimerId(), nullptr);
}

TEST_F(SessionTest, RefusedDestroyKeepsTheState) {
    Create();
    Connect();
    Access::OmNmsInit() = true;
    nodeToTimeMap["/x"] = 5;
    Fake().ClearRecords();
    Fake().FailCall(Fn::WsDestroy, 1);
    Fake().SetFailResult(Fn::WsDestroy, 12);
    EXPECT_EQ(Kel().KelBasicDestroyWebsocket(), 1U);
    EXPECT_THAT(Logs(), ElementsAre(I("<KelBasicDestroyWebsocket> in"),
                                    E("<KelBasicDestroyWebsocket>: QuorOmNmsWebsocketDestory errCode 12")));
    EXPECT_EQ(Access::LinkId(), kLink);
    EXPECT_TRUE(Access::OmNmsInit());
    EXPECT_EQ(nodeToTimeMap.size(), 1U);
    EXPECT_NE(Access::TimerId(), nullptr);
}

TEST_F(SessionTest, RegistrationsAndCredentialsSurviveADestroy) {
    Subscribe(AI_SUB_ID_CONF_CTRL);
    Kel().UpdateKelLoginInfo(m_login);
    Connect();
    Kel().KelBasicDestroyWebsocket();
    EXPECT_EQ(Access::Nodes().size(), 1U);
    EXPECT_EQ(Access::Alive().size(), 1U);
    EXPECT_STREQ(Access::State().loginInfo.kelPassWord, "sealed-password-text");
}

// ---- The close notice ----

TEST_F(SessionTest, CloseNoticeByteForByte) {
    Access::CloseNotify();
    std::string expected(168, '\0');
    expected.replace(48, 4, std::string("\x3F\x00\x60\x00", 4));
    expected.replace(56, 9, "ai_proc_m");
    expected.replace(72, 12, "srvConClient");
    EXPECT_THAT(Fake().messages, ElementsAre(expected));
    EXPECT_THAT(Logs(), ElementsAre(I("<KelBasicCloseNotify>: succeed")));
}

TEST_F(SessionTest, CloseNoticeCopiesTheNamesWithTheirTerminators) {
    Access::CloseNotify();
    std::vector<std::pair<std::size_t, std::size_t>> copies;
    for (const BoundedCall& call : Fake().boundedCalls) {
        if (call.fn == Fn::MemcpyS) {
            copies.emplace_back(call.destMax, call.count);
        }
    }
    EXPECT_THAT(copies, ElementsAre(std::make_pair(16U, 10U), std::make_pair(16U, 13U)));
}

TEST_F(SessionTest, CloseNoticeIsNotSentWhenANameDoesNotCopy) {
    for (unsigned n = 1; n <= 2; ++n) {
        Fake().ClearRecords();
        Fake().FailCall(Fn::MemcpyS, n);
        Access::CloseNotify();
        EXPECT_THAT(Logs(), ElementsAre(E("<SendAsynInfo> failed: call memcpy_s failed.")));
        EXPECT_THAT(Fake().messages, IsEmpty());
    }
}

TEST_F(SessionTest, CloseNoticeThatIsRefusedIsLoggedInHexadecimal) {
    Fake().FailCall(Fn::MsgSend, 1);
    Fake().SetFailResult(Fn::MsgSend, 0xABC);
    Access::CloseNotify();
    EXPECT_THAT(Logs(), ElementsAre(E("<KelBasicCloseNotify> failed: call OsMsgAsynSend return abc.")));
}

// ---- Callbacks and layouts ----

TEST_F(SessionTest, LoginCallbacksDoNothing) {
    using Callback = void (*)(unsigned int, void*);
    const Callback channel = QuorAiEngine::LoginCallbackFun;
    const Callback http = QuorAiEngine::LoginCallbackFunc;
    channel(1, nullptr);
    http(1, nullptr);
    EXPECT_THAT(Fake().Trail(), IsEmpty());
}

TEST_F(SessionTest, RecordLayouts) {
    EXPECT_EQ(sizeof(TagQuorAiKelLoginInfo), 1768U);
    EXPECT_EQ(sizeof(TagQuorAiKelBasicInfo), 2540U);
    EXPECT_EQ(sizeof(TagQuorOmNmsWebsocketInfo), 1308U);
    EXPECT_EQ(offsetof(TagQuorOmNmsWebsocketInfo, separator), 8U);
    EXPECT_EQ(offsetof(TagQuorOmNmsWebsocketInfo, serverAddr), 265U);
    EXPECT_EQ(offsetof(TagQuorOmNmsWebsocketInfo, url), 522U);
    EXPECT_EQ(offsetof(TagQuorOmNmsWebsocketInfo, wsCode), 779U);
    EXPECT_EQ(offsetof(TagQuorOmNmsWebsocketInfo, confCtrlToken), 1035U);
    EXPECT_EQ(offsetof(TagQuorOmNmsWebsocketInfo, isManagerLink), 1296U);
}

}  // namespace
}  // namespace QuorTest
