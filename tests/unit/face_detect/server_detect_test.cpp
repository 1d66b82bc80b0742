#include <string>
#include <utility>

#include "quor_platform/http.h"
#include "support/face_detect_test.h"

namespace QuorTest {
namespace {

using Header = std::pair<std::string, std::string>;

// base64 of "operator" and of kFacePassword.
const Header kAccountHeader("authAccount", "b3BlcmF0b3I=");
const Header kPasswordHeader("authPassword", "ZmFjZS1wYXNzd29yZA==");
constexpr std::size_t kHeadersSize = 1152;

HttpAnswer Status(unsigned long status) {
    HttpAnswer answer;
    answer.status = status;
    return answer;
}

class ServerDetectTest : public FaceDetectTest {
protected:
    ServerDetectTest() { Start(); }

    static void Configure(const std::string& list) {
        TagQuorAiFaceServerInfo info = Config(list);
        EXPECT_EQ(Face().SetCloudFaceSrvInfo(info), 0);
    }
    static std::string ValidUrl() { return Detector::Info().url; }
    static int ProbeSlot() { return Detector::Probe(&Detector::Slot(0), "operator", kSealedFacePassword); }
    static void UseSlot() { Detector::Slot(0) = SlotOf("10.1.1.1", "https://", 8443); }
};

TEST_F(ServerDetectTest, TheProbeAsItGoesOut) {
    Network().holdAnswers = true;
    Configure("http://10.1.1.1:8080");
    ASSERT_EQ(Network().requests.size(), 1U);
    const HttpRequest& request = Network().requests[0];
    EXPECT_FALSE(request.synchronous);
    EXPECT_EQ(request.method, 3U);
    EXPECT_EQ(request.url, "http://10.1.1.1:8080/eua/face/v1/version");
    EXPECT_THAT(request.headers, ElementsAre(kAccountHeader, kPasswordHeader));
    EXPECT_FALSE(request.body.has_value());
    EXPECT_EQ(request.userData, &Detector::Slot(0));
    EXPECT_EQ(request.locksHeld, 0U);
    ASSERT_EQ(Fake().decrypts.size(), 1U);
    EXPECT_EQ(Fake().decrypts[0].cipherText, kSealedFacePassword);
}

TEST_F(ServerDetectTest, APortIsPrintedWithoutSign) {
    Network().holdAnswers = true;
    Configure("10.1.1.1:-1");
    EXPECT_EQ(Network().requests.at(0).url, "https://10.1.1.1:4294967295/eua/face/v1/version");
}

TEST_F(ServerDetectTest, TheCandidateThatAnswersIsValid) {
    Network().onRequest = [](const HttpRequest& request) {
        return Status(request.url.find("10.1.1.2") != std::string::npos ? 200 : 404);
    };
    Configure("10.1.1.1;10.1.1.2:8443");
    EXPECT_THAT(Logs(), ElementsAre(FI("<GetServerUrlList> address num = 2."),
                                    FI("<RestartServerDetectTimer> Start Timer Succeed.")));
    tagAI_FACE_S_EUA_SERVER_INFO valid = {};
    EXPECT_EQ(Face().GetValidFaceSrvInfo(valid), 0);
    EXPECT_STREQ(valid.url, "https://10.1.1.2");
    EXPECT_EQ(valid.port, 8443U);
    EXPECT_STREQ(valid.account, "operator");
    EXPECT_STREQ(valid.password, kSealedFacePassword);
}

TEST_F(ServerDetectTest, HostNamesAreNeverProbed) {
    Configure("face.example.org;10.1.1.2;fe80::1");
    ASSERT_EQ(Network().requests.size(), 1U);
    EXPECT_THAT(Logs(), ElementsAre(FI("<GetServerUrlList> address num = 3."),
                                    FE("<AiFaceDoServerDetect> ParseHostPort failed. 3-0"),
                                    FE("<AiFaceDoServerDetect> ParseHostPort failed. 3-2"),
                                    FI("<RestartServerDetectTimer> Start Timer Succeed.")));
    EXPECT_EQ(ValidUrl(), "https://10.1.1.2");
}

// Of ";10.1.1.1" the first slot is probed, which is empty, and not the one that was parsed.
TEST_F(ServerDetectTest, AnEmptyItemHidesTheCandidateBehindIt) {
    Configure(";10.1.1.1");
    EXPECT_THAT(Network().requests, IsEmpty());
    EXPECT_THAT(Logs(),
                ElementsAre(FE("<GetURLAndPort> empty url"), FI("<GetServerUrlList> address num = 1."),
                            FE("<ParseHostPort> uriStr is invalid."),
                            FE("<AiFaceDoServerDetect> ParseHostPort failed. 1-0"),
                            FI("<RestartServerDetectTimer> Start Timer Succeed.")));
}

TEST_F(ServerDetectTest, EveryCandidateIsTriedWhateverBecomesOfTheOthers) {
    Network().holdAnswers = true;
    Fake().FailCall(Fn::HttpAsynSend, 1);
    Fake().SetFailResult(Fn::HttpAsynSend, 102);
    Configure("10.1.1.1;10.1.1.2");
    EXPECT_EQ(Network().requests.size(), 2U);
    EXPECT_THAT(Logs(), ElementsAre(FI("<GetServerUrlList> address num = 2."),
                                    FE("<HttpServerConnectingDetect> AiCommonHttpAsynSend ret 102."),
                                    FE("<AiFaceDoServerDetect> HttpServerConnectingDetect failed. 2-0"),
                                    FI("<RestartServerDetectTimer> Start Timer Succeed.")));
}

TEST_F(ServerDetectTest, TheLastAnswerWins) {
    Network().holdAnswers = true;
    Configure("10.1.1.1;10.1.1.2;10.1.1.3");
    Network().Complete(2, Status(200));
    EXPECT_EQ(ValidUrl(), "https://10.1.1.3");
    Network().Complete(0, Status(302));
    EXPECT_EQ(ValidUrl(), "https://10.1.1.1");
    Network().Complete(1, Status(401));
    EXPECT_EQ(ValidUrl(), "https://10.1.1.1");
}

TEST_F(ServerDetectTest, ARunIsTraced) {
    Fake().traceLevel = 3;
    Network().script = {Status(302), Status(401)};
    Configure("10.1.1.1:8443;10.1.1.2");
    EXPECT_THAT(TraceTexts(),
                ElementsAre("<AiFaceDoServerDetect> do Server dectect, serverNum = 2",
                            "<FaceServerDetectRspNotify> IN.",
                            "<SetValidFaceSrvInfo> Set m_faceServerInfo url to ****, port to 8443",
                            "<FaceServerDetectRspNotify> IN.",
                            "<FaceServerDetectRspNotify> detect error code : 0, 401."));
    Fake().ClearRecords();
    Fake().traceLevel = 2;
    Detector::Run(true);
    EXPECT_THAT(TraceTexts(), IsEmpty());
}

TEST_F(ServerDetectTest, TheAddressOfTheValidServiceIsNeverLogged) {
    Fake().traceLevel = 255;
    Configure("10.1.1.1");
    ASSERT_EQ(ValidUrl(), "https://10.1.1.1");
    for (const LogLine& line : Logs()) {
        EXPECT_EQ(line.text.find("10.1.1.1"), std::string::npos) << line;
    }
    for (const TraceLine& line : Fake().traces) {
        EXPECT_EQ(line.whole.find("10.1.1.1"), std::string::npos) << line.whole;
    }
}

// ---- The clock ----

TEST_F(ServerDetectTest, AClockThatFailsStopsTheRun) {
    Fake().FailCall(Fn::TimeOfDay, 1);
    EXPECT_EQ(Detector::Run(true), -1);
    EXPECT_THAT(Logs(), ElementsAre(UE("<GetSystemUptime> gettimeofday failed!"),
                                    FE("<AiFaceDoServerDetect> Get system up time failed.")));
    EXPECT_EQ(LiveTimer(), nullptr);
    EXPECT_EQ(Detector::LastDetectTime(), 0);
}

TEST_F(ServerDetectTest, AnUnforcedRunNeedsThirtySecondsAndForcedOnesDoNot) {
    Configure("10.1.1.1");
    const long start = Network().timeOfDaySec;
    EXPECT_EQ(Detector::LastDetectTime(), start);
    Fake().ClearRecords();
    for (const long later : {0L, 10L, 29L}) {
        Network().timeOfDaySec = start + later;
        EXPECT_EQ(Detector::Run(false), -1);
    }
    const LogLine early = FE("<AiFaceDoServerDetect> not reach 30s");
    EXPECT_THAT(Logs(), ElementsAre(early, early, early));
    EXPECT_THAT(Network().requests, IsEmpty());
    Network().timeOfDaySec = start + 30;
    EXPECT_EQ(Detector::Run(false), 0);
    EXPECT_EQ(Network().requests.size(), 1U);
    EXPECT_EQ(Detector::LastDetectTime(), start + 30);
    EXPECT_EQ(Detector::Run(true), 0);
    EXPECT_EQ(Network().requests.size(), 2U);
}

// Whole seconds: 29.9 seconds after the last run are 29.
TEST_F(ServerDetectTest, FractionsOfASecondDoNotCount) {
    Network().timeOfDayUsec = 0;
    Configure("10.1.1.1");
    Network().timeOfDaySec += 29;
    Network().timeOfDayUsec = 999999;
    EXPECT_EQ(Detector::Run(false), -1);
}

TEST_F(ServerDetectTest, AClockThatWasSetBackRefusesUntilItCaughtUp) {
    Configure("10.1.1.1");
    const long start = Network().timeOfDaySec;
    Network().timeOfDaySec = start - 3600;
    EXPECT_EQ(Detector::Run(false), -1);
    EXPECT_EQ(Logs().back(), FE("<AiFaceDoServerDetect> not reach 30s"));
    Network().timeOfDaySec = start + 29;
    EXPECT_EQ(Detector::Run(false), -1);
    Network().timeOfDaySec = start - 3600;
    Configure("10.1.1.1");
    Network().timeOfDaySec = start - 3570;
    EXPECT_EQ(Detector::Run(false), 0) << "a new configuration forced a run in between";
}

// ---- One probe ----

TEST_F(ServerDetectTest, NullArguments) {
    UseSlot();
    EXPECT_EQ(Detector::Probe(nullptr, "a", "p"), -1);
    EXPECT_EQ(Detector::Probe(&Detector::Slot(0), nullptr, "p"), -1);
    EXPECT_EQ(Detector::Probe(&Detector::Slot(0), "a", nullptr), -1);
    EXPECT_THAT(Logs(), ElementsAre(FE("Null ptr."), FE("Null ptr."), FE("Null ptr.")));
}

TEST_F(ServerDetectTest, AUrlThatDoesNotFit) {
    Detector::Slot(0) = SlotOf(std::string(224, '1'), "https://", 443);
    EXPECT_EQ(ProbeSlot(), -1) << "8 + 224 + 4 + 20 characters";
    EXPECT_THAT(Logs(), ElementsAre(FE("<HttpServerConnectingDetect> sprintf_s ret -1.")));
    Detector::Slot(0) = SlotOf(std::string(223, '1'), "https://", 443);
    EXPECT_EQ(ProbeSlot(), 0);
}

TEST_F(ServerDetectTest, HeadersThatCannotBeMade) {
    UseSlot();
    Fake().FailCall(Fn::Base64Encode, 1);
    EXPECT_EQ(ProbeSlot(), -1);
    EXPECT_EQ(Logs().back(), FE("<FillDetectHeader> GenerateHeaderAccount failed !!!"));
    Fake().ClearRecords();
    Fake().FailCall(Fn::Decrypt, 1);
    EXPECT_EQ(ProbeSlot(), -1);
    EXPECT_THAT(Logs(), ElementsAre(UE("<GenerateHeaderPwd> failed: Decrypt euaPassword failed."),
                                    FE("<FillDetectHeader> GenerateHeaderPwd failed !!!")));
    EXPECT_TRUE(Wiped(kHeadersSize, "authAccount"));
    EXPECT_THAT(Network().requests, IsEmpty());
}

TEST_F(ServerDetectTest, UnterminatedCredentialsAreReadToTheirEndOnly) {
    TagQuorAiFaceServerInfo info = Config("10.1.1.1");
    FillWhole(info.account, 'a');
    FillWhole(info.password, 'p');
    EXPECT_EQ(Face().SetCloudFaceSrvInfo(info), 0);
    ASSERT_EQ(Fake().decrypts.size(), 1U);
    EXPECT_EQ(Fake().decrypts[0].cipherText, std::string(1024, 'p'));
    EXPECT_EQ(Network().requests.at(0).headers.at(0).second.size(), 344U) << "base64 of 256 bytes";
}

TEST_F(ServerDetectTest, ARecordThatCannotBeClearedStopsTheProbe) {
    UseSlot();
    Fake().boundedFault = [](const BoundedCall& call) {
        return call.fn == Fn::MemsetS && call.count == sizeof(tagHTTP_S_ASYN_SEND_PARAM);
    };
    EXPECT_EQ(ProbeSlot(), -1);
    EXPECT_THAT(Logs(), ElementsAre(FE("<HttpServerConnectingDetect> memset_s error!")));
    EXPECT_THAT(Network().requests, IsEmpty());
    EXPECT_TRUE(Wiped(kHeadersSize, "authAccount"));
}

TEST_F(ServerDetectTest, TheHeadersAreWipedWhateverTheSendReturned) {
    UseSlot();
    for (const bool fails : {false, true}) {
        Fake().ClearRecords();
        if (fails) {
            Fake().FailCall(Fn::HttpAsynSend, 1);
        }
        EXPECT_EQ(ProbeSlot(), fails ? -1 : 0);
        EXPECT_TRUE(Wiped(kHeadersSize, "authAccount"));
    }
}

TEST_F(ServerDetectTest, HeadersThatCannotBeWipedFailTheProbeAndAreGoneAllTheSame) {
    UseSlot();
    Fake().boundedFault = [](const BoundedCall& call) {
        return call.fn == Fn::MemsetS && call.count == kHeadersSize;
    };
    Fake().FailCall(Fn::HttpAsynSend, 1);
    EXPECT_EQ(ProbeSlot(), -1);
    EXPECT_THAT(Logs(), ElementsAre(FE("<FaceServerDetectRspNotify> pstHttpRsp is nullptr."),
                                    FE("<HttpServerConnectingDetect> memset_s error!")));
    EXPECT_EQ(Network().requests.size(), 1U);
}

TEST_F(ServerDetectTest, WithoutTransportEveryProbeFails) {
    HttpAccess::Reset();
    Configure("10.1.1.1");
    EXPECT_THAT(Logs(), ElementsAre(FI("<GetServerUrlList> address num = 1."),
                                    UE("<GetConfigParam> m_pstTlsPram is nullptr!"),
                                    UE("<aiCommonHttpAsynSend> GetConfigParam error!"),
                                    FE("<HttpServerConnectingDetect> AiCommonHttpAsynSend ret -1."),
                                    FE("<AiFaceDoServerDetect> HttpServerConnectingDetect failed. 1-0"),
                                    FI("<RestartServerDetectTimer> Start Timer Succeed.")));
    EXPECT_NE(LiveTimer(), nullptr);
}

// ---- Answers ----

class ProbeAnswerTest : public ServerDetectTest {
protected:
    ProbeAnswerTest() {
        Network().holdAnswers = true;
        UseSlot();
        Detector::Slot(1) = SlotOf("10.9.9.9", "http://", 80);
        Detector::SetValid(Detector::Slot(1));
        EXPECT_EQ(ProbeSlot(), 0);
        Fake().logs.clear();
    }

    // The result of the callback for an answer; every path releases the handle once, as the fixture checks.
    static unsigned Answer(const HttpAnswer& answer) {
        Network().Complete(0, answer);
        return Network().requests.at(0).callbackResult;
    }
};

TEST_F(ProbeAnswerTest, Status200And302AreGood) {
    EXPECT_EQ(Answer(Status(200)), 0U);
    EXPECT_EQ(ValidUrl(), "https://10.1.1.1");
    EXPECT_EQ(Detector::Info().port, 8443U);
    ProbeSlot();
    Detector::SetValid(Detector::Slot(1));
    Network().Complete(1, Status(302));
    EXPECT_EQ(ValidUrl(), "https://10.1.1.1");
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(ProbeAnswerTest, NoOtherStatusIsAndTheValidServiceStays) {
    for (const unsigned long status : {204UL, 201UL, 301UL, 307UL, 401UL, 404UL, 500UL, 4294967496UL}) {
        Network().Complete(Network().requests.size() - 1, Status(status));
        EXPECT_EQ(Network().requests.back().callbackResult, 0U) << status;
        EXPECT_EQ(ValidUrl(), "http://10.9.9.9") << status;
        EXPECT_EQ(Detector::Info().port, 80U) << status;
        ProbeSlot();
    }
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(ProbeAnswerTest, TransportResult200CountsAsNone) {
    HttpAnswer answer = Status(200);
    answer.result = 200;
    answer.alsoRecord = true;
    EXPECT_EQ(Answer(answer), 0U);
    EXPECT_EQ(ValidUrl(), "https://10.1.1.1");
}

TEST_F(ProbeAnswerTest, AnotherTransportResultIsAFailureOfTheProbe) {
    Fake().traceLevel = 3;
    HttpAnswer answer = Status(200);
    answer.result = 102;
    answer.alsoRecord = true;
    EXPECT_EQ(Answer(answer), 0U);
    EXPECT_EQ(ValidUrl(), "http://10.9.9.9");
    EXPECT_THAT(TraceTexts(), ElementsAre("<FaceServerDetectRspNotify> IN.",
                                          "<FaceServerDetectRspNotify> detect error code : 102, 200."));
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(ProbeAnswerTest, NoAnswer) {
    HttpAnswer answer;
    answer.result = 103;
    EXPECT_EQ(Answer(answer), 0xFFFFFFFFU);
    EXPECT_THAT(Logs(), ElementsAre(FE("<FaceServerDetectRspNotify> pstHttpRsp is nullptr.")));
    EXPECT_EQ(ValidUrl(), "http://10.9.9.9");
}

unsigned AnswerWithoutSlot(unsigned long handle, EN_HTTP_ERRORCODE error, tagST_HTTP_RSP* rsp, void*) {
    return Detector::Answered(handle, error, rsp, nullptr);
}

TEST_F(ProbeAnswerTest, NoSlot) {
    tagHTTP_S_ASYN_SEND_PARAM param = {};
    param.url = "https://10.1.1.1";
    param.method = QUOR_HTTP_METHOD_GET;
    param.callback = AnswerWithoutSlot;
    EXPECT_EQ(Detector::Protocol().AiCommonHttpAsynSend(&param), 0U);
    Network().Complete(1, Status(200));
    EXPECT_EQ(Network().requests.at(1).callbackResult, 0xFFFFFFFFU);
    EXPECT_THAT(Logs(), ElementsAre(FE("<FaceServerDetectRspNotify> serverAddrInfo is nullptr.")));
}

TEST_F(ProbeAnswerTest, AUrlThatDoesNotFitKeepsTheValidService) {
    Detector::Slot(0) = SlotOf(std::string(248, '1'), "https://", 443);
    EXPECT_EQ(Answer(Status(200)), 0xFFFFFFFFU);
    EXPECT_THAT(Logs(), ElementsAre(FE("<SetValidFaceSrvInfo> sprintf_s failed."),
                                    FE("<FaceServerDetectRspNotify> SetValidFaceSrvInfo failed.")));
    EXPECT_EQ(ValidUrl(), "http://10.9.9.9");
    EXPECT_EQ(Fake().LocksHeld(), 0U);
    Detector::Slot(0) = SlotOf(std::string(247, '1'), "https://", 443);
    EXPECT_EQ(Detector::SetValid(Detector::Slot(0)), 0);
    EXPECT_EQ(ValidUrl().size(), 255U);
}

// A late answer is that of the slot, whatever was configured there meanwhile.
TEST_F(ProbeAnswerTest, AnAnswerAfterAReconfigurationMakesTheNewTextValid) {
    Detector::Slot(0) = SlotOf("10.7.7.7", "https://", 77);
    EXPECT_EQ(Answer(Status(200)), 0U);
    EXPECT_EQ(ValidUrl(), "https://10.7.7.7");
}

TEST_F(ProbeAnswerTest, AnAnswerAfterTheEndFindsNothing) {
    EXPECT_EQ(Detector::Stop(true), 0);
    EXPECT_EQ(Answer(Status(200)), 0U);
    EXPECT_EQ(ValidUrl(), "");
    EXPECT_EQ(Detector::Info().port, 0U);
}

}  // namespace
}  // namespace QuorTest
