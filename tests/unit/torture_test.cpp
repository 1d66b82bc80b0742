// Every operation and every road of reception with every platform call failing in turn, once and for ever
// after: no crash, no leak, no lock left held, no misuse of the platform, and no secret left in memory that
// was given back.
#include <cstring>
#include <functional>
#include <memory>
#include <ostream>

#include "support/channel_test.h"
#include "support/delete_watch.h"
#include "support/every_fault.h"
#include "support/secret_search.h"

namespace QuorTest {
namespace {

constexpr const char* kSecretUser = "operator";
// base64 of kSecretUser, a colon and kSecretPassword.
constexpr const char* kSecretLogin = "b3BlcmF0b3I6WnE3PWNhbmFyeSNYdzl+VnU1JUtqMytQYjgmTm0y";
constexpr unsigned kTraceEverything = 255;

struct Operation {
    const char* name;
    std::function<void()> prepare;
    std::function<void()> run;
};

// What a failing test prints as its parameter.
void PrintTo(const Operation& operation, std::ostream* os) {
    *os << operation.name;
}

AiKelBasic& Kel() {
    return Access::Kel();
}

TagQuorAiKelLoginInfo SecretLogin() {
    TagQuorAiKelLoginInfo info = LoginInfo();
    Put(info.userName, kSecretUser);
    return info;
}

void Dispose(unsigned event, unsigned linkId, unsigned linkType, const std::string& text) {
    std::string data = text;
    AiKelBasic::KelBasicDisposeMsg(event, linkId, linkType, data.data());
}

// A frame on a destination arrives after the topic was subscribed.
Operation Reception(const char* name, TagQuorAiSubId id, const char* destination, const std::string& body) {
    return {name,
            [=] {
                const TagQuorAiSubscribeInfo info = SubscribeInfo(id);
                Kel().KelBasicExecuteSubscribeFunc(&info);
                Put(Access::State().deviceId, kUri);
                Access::LinkId() = 71;
            },
            [=] { Dispose(QuorAiEngine::KelEventReceive, 71, 0, MessageFrame(destination, body)); }};
}

Operation Subscription(const char* name, TagQuorAiSubId id) {
    return {name, [] {},
            [=] {
                const TagQuorAiSubscribeInfo info = SubscribeInfo(id);
                Kel().KelBasicExecuteSubscribeFunc(&info);
            }};
}

void WantEverything() {
    Put(Access::State().uuid, kConfId);
    Put(Access::State().deviceId, kUri);
    Put(Access::State().confKey, kToken);
    Put(Access::State().srcLang, "en-US");
    Put(Access::State().dstLang, "fr-FR");
    for (const unsigned id : {0U, 1U, 2U, 3U, 4U, 5U, 8U, 9U, 15U}) {
        Kel().KelBasicAddSubsEvent(static_cast<TagQuorAiSubId>(id));
    }
}

void SubscribeEverything() {
    WantEverything();
    Kel().KelBasicExecuteAllSubFunc();
}

Operation Creation(const char* name, unsigned linkType, const char* readyMade, const char* domain) {
    return {name, [=] { Fake().plainTextByDomain[domain] = kSecretPassword; },
            [=] {
                // Not on the stack, which is searched afterwards.
                const auto info = std::make_unique<TagQuorAiKelLoginInfo>(SecretLogin());
                info->linkType = linkType;
                Put(info->wsCode, readyMade);
                Kel().KelBasicCreateWebsocket(info.get());
            }};
}

// What builds the credentials, alone: no later call covers what it leaves on the stack.
Operation StartUpRecord() {
    return {"StartUpRecord", [] { Fake().plainTextByDomain["QuorUIConf"] = kSecretPassword; },
            [] {
                const auto ws = std::make_unique<TagQuorOmNmsWebsocketInfo>();
                const auto info = std::make_unique<TagQuorAiKelLoginInfo>(SecretLogin());
                Access::SetWsInfo(*ws, info.get());
            }};
}

std::vector<Operation> SubscribeOperations() {
    return {Subscription("SubscribeCheckin", AI_SUB_ID_CHECKIN),
            Subscription("SubscribeCaption", AI_SUB_ID_CAPTION),
            Subscription("SubscribeTranslation", AI_SUB_ID_TRANSLATION),
            Subscription("SubscribeConfCtrl", AI_SUB_ID_CONF_CTRL),
            Subscription("SubscribeConfSite", AI_SUB_ID_CONF_SITE),
            Subscription("SubscribeOverlay", AI_SUB_ID_CAPTION_OVERLAY),
            Subscription("CapabilityReport", AI_SUB_ID_ABILITY_REPORT),
            Subscription("SubscribeLargeModel", AI_SUB_ID_LLM_RESULT_KEL),
            Subscription("SubscribeManager", AI_SUB_ID_LLM_RESULT_MANAGER),
            Subscription("SubscribeNothing", AI_SUB_ID_FACE_PHOTO),
            {"Recovery", WantEverything, [] { Kel().KelBasicExecuteAllSubFunc(); }},
            {"Unsubscribe", SubscribeEverything, [] { Kel().KelStompUnSubscribeService(AI_SUB_ID_CAPTION); }},
            {"AddSubsEvent", [] {}, [] { Kel().KelBasicAddSubsEvent(AI_SUB_ID_CAPTION); }},
            {"DeleteSubsEvent", WantEverything, [] { Kel().KelBasicDeleteSubsEvent(AI_SUB_ID_CAPTION); }}};
}

std::vector<Operation> SessionOperations() {
    const auto timerRuns = [] {
        SubscribeEverything();
        Access::StartTimer();
        Access::LinkId() = 71;
    };
    return {{"UpdateLogin", [] {}, [] { Kel().UpdateKelLoginInfo(SecretLogin()); }},
            Creation("Create", 0, "", "QuorUIConf"),
            Creation("CreateWithTheSecondDomain", 0, "", "QuorUILogin"),
            Creation("CreateWithReadyMadeCode", 0, kSecretLogin, "QuorUIConf"),
            Creation("CreateManager", 1, "", "QuorUIConf"),
            {"Destroy", timerRuns, [] { Kel().KelBasicDestroyWebsocket(); }},
            {"Connect", [] {}, [] { Dispose(QuorAiEngine::KelEventConnect, 71, 0, ""); }},
            {"ConnectManager", [] {}, [] { Dispose(QuorAiEngine::KelEventConnect, 72, 1, ""); }},
            {"Disconnect", [] {}, [] { Dispose(QuorAiEngine::KelEventDisconnect, 71, 0, ""); }},
            {"TenMinuteReport", timerRuns, [] {
                 if (Access::TimerId() != nullptr) {
                     Fake().FireTimer(Access::TimerId());
                 }
             }}};
}

std::vector<Operation> ReceptionOperations() {
    return {
        Reception("ReceiveCheckin", AI_SUB_ID_CHECKIN, kCheckinDestination,
                  CheckinBody({CheckinFields().Text(), CheckinFields().Text()})),
        Reception("ReceiveCaption", AI_SUB_ID_CAPTION, kCaptionDestination, CaptionFields().Text()),
        Reception("ReceiveTranslation", AI_SUB_ID_TRANSLATION, kCaptionDestination,
                  TranslationFields().Text()),
        Reception("ReceiveConfCtrl", AI_SUB_ID_CONF_CTRL, kConfCtrlDestination,
                  ConfCtrlBody(ConfCtrlState())),
        Reception("ReceiveSites", AI_SUB_ID_CONF_SITE, kSiteDestination, SitesBody("3", SiteElements(3))),
        Reception("ReceiveOverlay", AI_SUB_ID_CAPTION_OVERLAY, kOverlayDestination, OverlayFields().Text()),
        Reception("ReceiveReply", AI_SUB_ID_ABILITY_REPORT, kReportDestination, "{\"result\":0}"),
        Reception("ReceiveLargeModel", AI_SUB_ID_LLM_RESULT_KEL, kLlmDestination, "{\"text\":\"x\"}"),
        Reception("ReceiveUnknown", AI_SUB_ID_CAPTION, "/nobody", "{}"),
        Reception("ReceiveBroken", AI_SUB_ID_CAPTION, kCaptionDestination, "{\"text\":"),
        {"ReceiveManager", [] { Access::ManagerLinkId() = 72; },
         [] { Dispose(QuorAiEngine::KelEventReceive, 72, 1, "text"); }}};
}

std::vector<Operation> RequestOperations() {
    return {{"LargeModelRequest", [] {},
             [] {
                 QuorAiModelParams params = ModelParams();
                 Kel().KelSendLLMRequest(&params);
             }},
            {"ManagerLargeModelRequest", [] {},
             [] {
                 QuorAiModelParams params = ModelParams();
                 Kel().ManagerSendLLMRequest(&params);
             }},
            {"AttachAndDetach", [] {},
             [] {
                 auto another = std::make_shared<RecordingObserver>();
                 Kel().Attach(another);
                 Kel().Detach(another.get());
                 Kel().Detach(another.get());
             }}};
}

std::vector<Operation> AllOperations() {
    std::vector<Operation> all;
    for (const auto& group :
         {SubscribeOperations(), SessionOperations(), ReceptionOperations(), RequestOperations()}) {
        all.insert(all.end(), group.begin(), group.end());
    }
    return all;
}

class TortureTest : public ChannelTest, public ::testing::WithParamInterface<Operation> {
protected:
    // A fresh channel, prepared without faults.
    void Prepare() {
        Access::Reset();
        Fake().Reset();
        Fake().traceLevel = kTraceEverything;
        Kel().KelBasicGenerateSubscribeMap();
        Kel().Attach(observer);
        GetParam().prepare();
        Fake().ClearRecords();
        observer->results.clear();
    }

    void ExpectClean(const std::string& where) const {
        EXPECT_EQ(Fake().LocksHeld(), 0U) << where;
        EXPECT_THAT(Fake().violations, IsEmpty()) << where;
        EXPECT_EQ(Fake().LiveCJsonBlocks(), 0U) << where;
        EXPECT_EQ(Fake().LiveStrdups(), 0U) << where;
        CheckLogArguments();
        m_search.ExpectNothingFreed(where);
        Fake().ClearFaults();
        Access::Reset();
        EXPECT_EQ(Fake().LiveBlocks().size(), 0U) << where;
    }

    SecretSearch m_search{{kSecretPassword, kSecretLogin}};
};

TEST_P(TortureTest, EveryCallFailsInTurn) {
    const unsigned faults = ForEveryFault([this] { Prepare(); }, [] { GetParam().run(); },
                                          [this](const std::string& where) { ExpectClean(where); });
    RecordProperty("faults", static_cast<int>(faults));
}

TEST_P(TortureTest, NothingFails) {
    Prepare();
    GetParam().run();
    ExpectClean(GetParam().name);
}

INSTANTIATE_TEST_SUITE_P(All, TortureTest, ::testing::ValuesIn(AllOperations()),
                         [](const auto& test) { return std::string(test.param.name); });

// The operations that handle credentials.
using SecretTest = TortureTest;

TEST_P(SecretTest, NothingOfThePasswordStays) {
    Prepare();
    m_search.Run(GetParam().run);
    m_search.ExpectNothingLeft("success");
    ExpectClean("success");
}

TEST_P(SecretTest, NothingOfThePasswordStaysWhateverFails) {
    const auto prepare = [this] {
        Prepare();
        Fake().plainResidueOnFailure = kSecretPassword;
    };
    ForEveryFault(
        prepare, [this] { m_search.Run(GetParam().run); },
        [this](const std::string& where) {
            m_search.ExpectNothingLeft(where);
            ExpectClean(where);
        });
}

// The searches above prove something only if they find what is there.
TEST_F(ChannelTest, SearchesNoticeWipesThatDoNotHappen) {
    const Operation fill = StartUpRecord();
    fill.prepare();
    Fake().wipesDoNothing = true;
    StackProbe probe;
    probe.Run(fill.run);
    EXPECT_FALSE(probe.Find(kSecretPassword).empty());
    ASSERT_EQ(Fake().freedBlocks.size(), 1U);
    EXPECT_NE(Fake().freedBlocks[0].contentAtFree.find(kSecretLogin), std::string::npos);
    const std::string password = kSecretPassword;
    const DeleteWatch watch(password);
    { const std::string copy = password + password; }
    EXPECT_GE(watch.Hits(), 1U);
}

INSTANTIATE_TEST_SUITE_P(Create, SecretTest,
                         ::testing::Values(StartUpRecord(), Creation("Create", 0, "", "QuorUIConf"),
                                           Creation("CreateWithTheSecondDomain", 0, "", "QuorUILogin"),
                                           Creation("CreateManager", 1, "", "QuorUIConf"),
                                           Creation("CreateWithReadyMadeCode", 0, kSecretLogin,
                                                    "QuorUIConf")),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace QuorTest
