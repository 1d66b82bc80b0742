#include <cstring>

#include "support/channel_test.h"

namespace QuorTest {
namespace {

constexpr const char* kBody = "{\n\t\"supportOverlayPause\":\t1\n}";

class CapabilityReportTest : public ChannelTest {
protected:
    CapabilityReportTest() { Connect(); }
    int Run() { return Kel().KelStompAiAbilityReport(&m_info); }
    static void FailSource(Fn fn, const std::string& source) {
        Fake().boundedFault = [=](const BoundedCall& c) {
            return c.fn == fn && c.destMax == 256 && c.SourceIs(source.c_str());
        };
    }
    // The nth memcpy_s into a record of that capacity.
    static void FailCopy(std::size_t capacity) {
        Fake().boundedFault = [=](const BoundedCall& c) {
            return c.fn == Fn::MemcpyS && c.destMax == capacity;
        };
    }
    static LogLine BodyDone() { return I("<KelSetAbilityReportBody> success."); }

    TagQuorAiSubscribeInfo m_info = SubscribeInfo(AI_SUB_ID_ABILITY_REPORT);
};

constexpr const char* kBuildFailed = "<:KelStompAiAbilityReport>: KelSetAiSubCaptionHeader failed!";

TEST_F(CapabilityReportTest, FrameByteForByte) {
    EXPECT_EQ(Run(), 0);
    ASSERT_EQ(Fake().frames.size(), 1U);
    EXPECT_EQ(Fake().frames[0].fn, Fn::WsSend);
    TagQuorOmNmsWebsocketStompFrame expected;
    std::memset(&expected, 0, sizeof(expected));
    expected.linkId = kLink;
    expected.frameKind = 2;
    expected.headerNum = 4;
    const std::vector<std::pair<const char*, const char*>> headers = {
        {"destination", kReportDestination}, {"token", kToken}, {"conferenceId", kConfId}, {"uri", kUri}};
    for (std::size_t i = 0; i < headers.size(); ++i) {
        Put(expected.headers[i].headerName, headers[i].first);
        Put(expected.headers[i].headerVal, headers[i].second);
    }
    Put(expected.body, kBody);
    EXPECT_EQ(std::memcmp(&Fake().frames[0].frame, &expected, sizeof(expected)), 0);
    EXPECT_STREQ(Fake().frames[0].frame.body, kBody);
}

TEST_F(CapabilityReportTest, HasNeitherEntryNorSuccessLine) {
    Run();
    EXPECT_THAT(Logs(), ElementsAre(BodyDone()));
}

TEST_F(CapabilityReportTest, StoresTheUriAndRegistersTheReply) {
    Run();
    EXPECT_STREQ(Access::State().deviceId, kUri);
    EXPECT_THAT(Access::NodeTexts(), ElementsAre("5:/terminal/parameter"));
    EXPECT_EQ(Access::Nodes()[0]->handler, Access::kReport);
}

TEST_F(CapabilityReportTest, RegistersTheServiceOfTheRequest) {
    m_info.subId = AI_SUB_ID_FACE_PHOTO;
    Run();
    EXPECT_THAT(Access::NodeTexts(), ElementsAre("12:/terminal/parameter"));
}

TEST_F(CapabilityReportTest, TheBodyIsGivenBackBeforeTheFrameIsSent) {
    Run();
    EXPECT_THAT(Fake().Trail({Fn::ModuleLog}), ElementsAre("HeapAlloc", "HeapAlloc", "HeapFree", "WsSend"));
    EXPECT_EQ(Fake().freedBlocks.at(0).sizeBytes, std::strlen(kBody) + 1);
    EXPECT_EQ(Fake().LiveCJsonBlocks(), 0U);
}

TEST_F(CapabilityReportTest, NullRecord) {
    EXPECT_EQ(Kel().KelStompAiAbilityReport(nullptr), 1);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelStompAiAbilityReport>: subInfo is nullptr!")));
}

TEST_F(CapabilityReportTest, UriThatDoesNotFitIsReportedWithABorrowedTextAndTheOldOneIsLost) {
    Put(Access::State().deviceId, "before");
    FillWhole(m_info.uri);
    EXPECT_EQ(Run(), 1);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelStompSubscribeAiCaption>: strncpy_s uuid failed!")));
    EXPECT_STREQ(Access::State().deviceId, "");
    EXPECT_THAT(Fake().frames, IsEmpty());
}

TEST_F(CapabilityReportTest, RecordsThatDoNotZeroShareOneText) {
    for (unsigned nth = 1; nth <= 2; ++nth) {
        Fake().ClearRecords();
        Fake().boundedFault = [nth, seen = 0U](const BoundedCall& c) mutable {
            return c.fn == Fn::MemsetS && c.destMax >= 512 && ++seen == nth;
        };
        EXPECT_EQ(Run(), 1);
        EXPECT_THAT(Logs(), ElementsAre(E("<KelStompAiAbilityReport>: memset_s stmFrame failed!")));
    }
    EXPECT_STREQ(Access::State().deviceId, kUri) << "stored before, and kept";
    EXPECT_THAT(Access::Nodes(), IsEmpty());
}

TEST_F(CapabilityReportTest, HeadersThatDoNotBuild) {
    Fake().FailCall(Fn::SprintfS, 1);
    EXPECT_EQ(Run(), 1);
    Fake().FailCall(Fn::SprintfS, 2);
    EXPECT_EQ(Run(), 1);
    FailSource(Fn::StrcpyS, kConfId);
    EXPECT_EQ(Run(), 1);
    // The uri is copied into the channel state first, into the header next.
    Fake().boundedFault = [seen = 0](const BoundedCall& c) mutable {
        return c.fn == Fn::StrcpyS && c.SourceIs(kUri) && ++seen == 2;
    };
    EXPECT_EQ(Run(), 1);
    EXPECT_THAT(
        Logs(),
        ElementsAre(E("<KelSetAbilityReportHeader>: sprintf_s destination val failed!"), E(kBuildFailed),
                    E("<KelSetAbilityReportHeader>: sprintf_s token val failed!"), E(kBuildFailed),
                    E("<KelSetAbilityReportHeader>: strcpy conf id val failed!"), E(kBuildFailed),
                    E("<KelSetAbilityReportHeader>: strcpy uri failed!"), E(kBuildFailed)));
    EXPECT_THAT(Access::Nodes(), IsEmpty());
    EXPECT_THAT(Fake().frames, IsEmpty());
}

TEST_F(CapabilityReportTest, UnterminatedFieldsAreRefused) {
    FillWhole(m_info.token);
    EXPECT_EQ(Run(), 1);
    m_info = SubscribeInfo(AI_SUB_ID_ABILITY_REPORT);
    FillWhole(m_info.confId);
    EXPECT_EQ(Run(), 1);
    EXPECT_THAT(Logs(),
                ElementsAre(E("<KelSetAbilityReportHeader>: sprintf_s token val failed!"), E(kBuildFailed),
                            E("<KelSetAbilityReportHeader>: strcpy conf id val failed!"), E(kBuildFailed)));
}

TEST_F(CapabilityReportTest, HeaderBuilderNeedsARecord) {
    Access::StringList names;
    Access::StringList values;
    EXPECT_EQ(Access::Build(Access::kReportHeader, nullptr, names, values), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelSetAbilityReportHeader>: input is nullptr!")));
}

TEST_F(CapabilityReportTest, HeaderThatDoesNotCopy) {
    Fake().boundedFault = [](const BoundedCall& c) { return c.fn == Fn::StrcpyS && c.SourceIs("token"); };
    EXPECT_EQ(Run(), 1);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelSetHeader>: strcpy_s headerName token failed!"),
                                    E("<KelStompAiAbilityReport>: KelSetHeader failed!")));
}

TEST_F(CapabilityReportTest, BodyThatDoesNotBuildLeavesNoNode) {
    const LogLine last = E("<KelStompAiAbilityReport>: KelSetAbilityReportBody failed!");
    Fake().FailCall(Fn::CJsonAlloc, 1, FailMode::kFromThenOn);
    EXPECT_EQ(Run(), 1);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelSetAbilityReportBody> failed bodyLen = 0!"), last));
    Fake().ClearFaults();
    Fake().ClearRecords();
    Fake().FailCall(Fn::HeapAlloc, 1);
    EXPECT_EQ(Run(), 1);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelSetAbilityReportBody> failed frameBody is nullptr!"), last));
    Fake().ClearRecords();
    const std::size_t bodySize = std::strlen(kBody) + 1;
    Fake().boundedFault = [=](const BoundedCall& c) { return c.destMax == bodySize && c.fn != Fn::MemsetS; };
    EXPECT_EQ(Run(), 1);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelSetAbilityReportBody> strncpy frameBody failed!"), last));
    EXPECT_THAT(Access::Nodes(), IsEmpty());
    EXPECT_EQ(Fake().LiveBlocks().size(), 0U);
    EXPECT_EQ(Fake().LiveCJsonBlocks(), 0U);
    EXPECT_THAT(Fake().frames, IsEmpty());
}

TEST_F(CapabilityReportTest, CopiesThatFailAfterTheRegistrationLeaveTheNodeAndFreeTheBody) {
    FailCopy(4096);
    EXPECT_EQ(Run(), 1);
    EXPECT_THAT(Logs(),
                ElementsAre(BodyDone(), E("<KelStompSubscribeCheckin> failed: memcpy_s headers failed ")));
    EXPECT_EQ(Fake().freedBlocks.size(), 1U);
    Fake().ClearRecords();
    FailCopy(2048);
    EXPECT_EQ(Run(), 1);
    EXPECT_THAT(Logs(), ElementsAre(BodyDone(), W("<KelAddSubNode>: found a same destination"),
                                    E("<KelStompSubscribeCheckin> failed: memcpy_s body failed ")));
    EXPECT_EQ(Fake().freedBlocks.size(), 1U);
    EXPECT_EQ(Access::Nodes().size(), 1U);
    EXPECT_THAT(Fake().frames, IsEmpty());
}

TEST_F(CapabilityReportTest, RefusedFrameLeavesTheNode) {
    Fake().FailCall(Fn::WsSend, 1);
    EXPECT_EQ(Run(), 1);
    EXPECT_THAT(Logs(),
                ElementsAre(BodyDone(), E("<KelStompAiAbilityReport>: QuorOmNmsWebsocketSendData error")));
    EXPECT_EQ(Access::Nodes().size(), 1U);
}

// ---- The body ----

TEST_F(CapabilityReportTest, BodySaysOneOrZero) {
    char* body = nullptr;
    unsigned len = 0;
    EXPECT_EQ(Access::ReportBody(&body, &len, true), 0U);
    EXPECT_STREQ(body, kBody);
    EXPECT_EQ(len, std::strlen(kBody));
    OSMemTypeFreeMon(body, 1, "test");
    EXPECT_EQ(Access::ReportBody(&body, &len, false), 0U);
    EXPECT_STREQ(body, "{\n\t\"supportOverlayPause\":\t0\n}");
    OSMemTypeFreeMon(body, 1, "test");
    EXPECT_THAT(Logs(), ElementsAre(BodyDone(), BodyDone()));
}

TEST_F(CapabilityReportTest, BodyNeedsItsOutputs) {
    char* body = nullptr;
    unsigned len = 0;
    EXPECT_EQ(Access::ReportBody(nullptr, &len, true), 1U);
    EXPECT_EQ(Access::ReportBody(&body, nullptr, true), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelSetAbilityReportBody> failed: input is nullptr"),
                                    E("<KelSetAbilityReportBody> failed: input is nullptr")));
}

TEST_F(CapabilityReportTest, BodyThatDoesNotCopyIsFreedAndItsPointerCleared) {
    char* body = nullptr;
    unsigned len = 0;
    const std::size_t bodySize = std::strlen(kBody) + 1;
    Fake().boundedFault = [=](const BoundedCall& c) { return c.destMax == bodySize && c.fn != Fn::MemsetS; };
    EXPECT_EQ(Access::ReportBody(&body, &len, true), 1U);
    EXPECT_EQ(body, nullptr);
    EXPECT_EQ(Fake().LiveBlocks().size(), 0U);
}

// ---- The reply ----

TEST_F(CapabilityReportTest, ReplyIsLoggedAndNotNotified) {
    Watch();
    EXPECT_EQ(Access::Handle(Access::kReport, R"({"result":3})"), 0);
    EXPECT_EQ(Access::Handle(Access::kReport, R"({"result":-1})"), 0);
    const LogLine in = E("AiKelBasic::KelReportAbilityParseTextMessage in");
    EXPECT_THAT(Logs(), ElementsAre(in, I("<KelReportAbilityParseTextMessage>:result = 3"), in,
                                    I("<KelReportAbilityParseTextMessage>:result = -1")));
    EXPECT_THAT(observer->results, IsEmpty());
    EXPECT_EQ(Fake().LiveCJsonBlocks(), 0U);
}

TEST_F(CapabilityReportTest, ReplyIsReleasedBeforeItsResultIsLogged) {
    std::size_t live = 99;
    Fake().onLog = [&](LogKind, const std::string&) { live = Fake().LiveCJsonBlocks(); };
    Access::Handle(Access::kReport, R"({"result":3})");
    EXPECT_EQ(live, 0U);
}

TEST_F(CapabilityReportTest, ReplyWithoutResultCountsAsZero) {
    EXPECT_EQ(Access::Handle(Access::kReport, "{}"), 0);
    EXPECT_THAT(Logs(), ElementsAre(E("AiKelBasic::KelReportAbilityParseTextMessage in"),
                                    E("<KelJsonGetNum>: key result jsonObj is error"),
                                    E("<KelReportAbilityParseTextMessage>: get final failed"),
                                    I("<KelReportAbilityParseTextMessage>:result = 0")));
}

TEST_F(CapabilityReportTest, BadReply) {
    const LogLine in = E("AiKelBasic::KelReportAbilityParseTextMessage in");
    EXPECT_EQ(Access::Handle(Access::kReport, nullptr, 5), 1);
    EXPECT_EQ(Access::Handle(Access::kReport, "{}", 0), 1);
    EXPECT_EQ(Access::Handle(Access::kReport, "no json"), 1);
    EXPECT_THAT(Logs(), ElementsAre(in, E("<KelReportAbilityParseTextMessage>: input is error"), in,
                                    E("<KelReportAbilityParseTextMessage>: input is error"), in,
                                    E("<KelReportAbilityParseTextMessage>: prase root faild")));
}

}  // namespace
}  // namespace QuorTest
