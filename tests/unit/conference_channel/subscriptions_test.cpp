// The five topics that are subscribed with SUBSCRIBE frames. What is alike runs for each of them.
#include <cstring>
#include <ostream>

#include "conference_channel/session.h"
#include "support/channel_test.h"

namespace QuorTest {
namespace {

using ::testing::Contains;
using Headers = std::vector<std::pair<std::string, std::string>>;

constexpr const char* kHeaderCopyFailed = "<KelStompSubscribeCheckin> failed: memcpy_s headers failed ";
constexpr std::size_t kHeaderArrayCapacity = 4096;

struct Topic {
    const char* label;  // of the test
    TagQuorAiSubId id;
    Access::SubscribeFunc operation;
    const char* name;  // of the operation
    bool entryLine;
    const char* nullText;
    const char* builder;      // name in the builder's own lines
    const char* buildFailed;  // the operation's line after them
    bool zeroesRecords;
    bool codeInRefusal;
    Access::BodyHandler handler;
    Headers headers;
};

// What a failing test prints as its parameter.
void PrintTo(const Topic& topic, std::ostream* os) {
    *os << topic.label;
}

const std::vector<Topic>& Topics() {
    const Headers three = {{"token", kToken}, {"conferenceId", kConfId}};
    const auto with = [](const char* destination, Headers rest) {
        rest.insert(rest.begin(), {"destination", destination});
        return rest;
    };
    static const std::vector<Topic> topics = {
        {"Checkin", AI_SUB_ID_CHECKIN, &AiKelBasic::KelStompSubscribeCheckin, "KelStompSubscribeCheckin",
         true, "Null ptr.", "KelSetAiCheckinHeader",
         "<KelStompSubscribeCheckin>: KelSetAiCheckinHeader failed!", false, true, Access::kCheckin,
         with(kCheckinDestination, {{"token", "token-of-the-login-client"}})},
        {"Caption", AI_SUB_ID_CAPTION, &AiKelBasic::KelStompSubscribeAiCaption, "KelStompSubscribeAiCaption",
         false, "<KelStompSubscribeAiCaption>: subInfo is nullptr!", "KelSetAiCaptionHeader",
         "<KelStompSubscribeAiCaption>: KelSetAiSubCaptionHeader failed!", true, false, Access::kVoice,
         with(kCaptionDestination, three)},
        {"Translation", AI_SUB_ID_TRANSLATION, &AiKelBasic::KelStompSubscribeAiCaption,
         "KelStompSubscribeAiCaption", false, "<KelStompSubscribeAiCaption>: subInfo is nullptr!",
         "KelSetAiCaptionHeader", "<KelStompSubscribeAiCaption>: KelSetAiSubCaptionHeader failed!", true,
         false, Access::kTranslation, with(kCaptionDestination, three)},
        {"ConfCtrl", AI_SUB_ID_CONF_CTRL, &AiKelBasic::KelStompSubscribeConfCtrlStatus,
         "KelStompSubscribeConfCtrlStatus", true, "<KelStompSubscribeConfCtrlStatus>: subInfo is nullptr!",
         "KelSetAiConfCtrlHeader", "<KelStompSubscribeConfCtrlStatus>: KelSetAiSubCaptionHeader failed!",
         true, true, Access::kConfCtrl, with(kConfCtrlDestination, {{"token", kToken}})},
        {"ConfSite", AI_SUB_ID_CONF_SITE, &AiKelBasic::KelStompSubscribeConfSiteStatus,
         "KelStompSubscribeConfSiteStatus", true, "<KelStompSubscribeConfSiteStatus>: subInfo is nullptr!",
         "KelSetAiConfSiteHeader", "<KelStompSubscribeConfSiteStatus>: KelSetAiSubCaptionHeader failed!",
         true, true, Access::kConfSite, with(kSiteDestination, three)},
        {"Overlay", AI_SUB_ID_CAPTION_OVERLAY, &AiKelBasic::KelStompSubscribeCaptinOverlay,
         "KelStompSubscribeCaptinOverlay", true, "Null ptr.", "KelSetAiCaptionOverlayHeader",
         "<KelStompSubscribeCaptinOverlay>: KelSetAiCaptionOverlayHeader failed!", true, true,
         Access::kOverlay, with(kOverlayDestination, three)}};
    return topics;
}

class TopicTest : public ChannelTest, public ::testing::WithParamInterface<Topic> {
protected:
    TopicTest() {
        Connect();
        m_info = SubscribeInfo(GetParam().id);
    }

    int Run() { return (Kel().*GetParam().operation)(&m_info); }
    static std::string Tag(const std::string& rest) {
        return std::string("<") + GetParam().name + ">" + rest;
    }
    static std::string BuilderTag(const std::string& rest) {
        return std::string("<") + GetParam().builder + ">" + rest;
    }
    // The log of a run: the entry line if the topic has one, then lines.
    static std::vector<LogLine> Lines(std::vector<LogLine> lines) {
        if (GetParam().entryLine) {
            lines.insert(lines.begin(), I(Tag(" in")));
        }
        return lines;
    }
    static void ExpectNothingSent() {
        EXPECT_THAT(Fake().frames, IsEmpty());
        EXPECT_TRUE(Access::Alive().empty());
    }
    // Fails the nth memset_s over a record (header array, frame, body).
    static void FailRecordMemset(unsigned nth) {
        Fake().boundedFault = [nth, seen = 0U](const BoundedCall& c) mutable {
            return c.fn == Fn::MemsetS && c.destMax >= 512 && ++seen == nth;
        };
    }

    TagQuorAiSubscribeInfo m_info;
};

// Check-in does not zero its records, and its builder takes a reference; some topics have no third header.
class ZeroingTopicTest : public TopicTest {};
class ConferenceIdTopicTest : public TopicTest {};
class PointerBuilderTopicTest : public TopicTest {};

std::vector<Topic> TopicsWhere(bool (*holds)(const Topic&)) {
    std::vector<Topic> chosen;
    for (const Topic& topic : Topics()) {
        if (holds(topic)) {
            chosen.push_back(topic);
        }
    }
    return chosen;
}

TEST_P(TopicTest, SendsItsSubscribeFrame) {
    EXPECT_EQ(Run(), 0);
    EXPECT_EQ(Logs(), Lines({I(Tag(" success"))}));
    ASSERT_EQ(Fake().frames.size(), 1U);
    EXPECT_EQ(Fake().frames[0].fn, Fn::WsSubscribe);
    const TagQuorOmNmsWebsocketStompFrame& frame = Fake().frames[0].frame;
    EXPECT_EQ(frame.linkId, kLink);
    EXPECT_EQ(frame.frameKind, 0U);
    ASSERT_EQ(frame.headerNum, GetParam().headers.size());
    for (std::size_t i = 0; i < frame.headerNum; ++i) {
        EXPECT_EQ(frame.headers[i].headerName, GetParam().headers[i].first);
        EXPECT_EQ(frame.headers[i].headerVal, GetParam().headers[i].second);
    }
    EXPECT_EQ(std::string(frame.body, sizeof(frame.body)), std::string(sizeof(frame.body), '\0'));
}

TEST_P(ZeroingTopicTest, TheRestOfTheFrameIsZero) {
    Run();
    ASSERT_EQ(Fake().frames.size(), 1U);
    TagQuorOmNmsWebsocketStompFrame expected;
    std::memset(&expected, 0, sizeof(expected));
    expected.linkId = kLink;
    expected.headerNum = static_cast<unsigned>(GetParam().headers.size());
    for (std::size_t i = 0; i < GetParam().headers.size(); ++i) {
        Put(expected.headers[i].headerName, GetParam().headers[i].first);
        Put(expected.headers[i].headerVal, GetParam().headers[i].second);
    }
    EXPECT_EQ(std::memcmp(&Fake().frames[0].frame, &expected, sizeof(expected)), 0);
}

TEST_P(TopicTest, SendsOnLinkZeroBeforeAnyConnect) {
    Connect(0);
    EXPECT_EQ(Run(), 0);
    EXPECT_EQ(Fake().frames.at(0).frame.linkId, 0U);
}

TEST_P(TopicTest, RegistersItsHandlerBeforeThePlatformCall) {
    std::vector<std::string> nodes;
    Fake().onFrame = [&](const FrameCall&) { nodes = Access::NodeTexts(); };
    Run();
    EXPECT_THAT(nodes, ElementsAre(std::to_string(GetParam().id) + ":" + GetParam().headers[0].second));
    EXPECT_EQ(Access::Nodes().at(0)->handler, GetParam().handler);
}

TEST_P(TopicTest, MakesNoCounterOfItsOwn) {
    Run();
    EXPECT_TRUE(Access::Alive().empty());
    EXPECT_EQ(Fake().CountOf(Fn::MutexLock), 0U);
}

TEST_P(TopicTest, NullRecord) {
    EXPECT_EQ((Kel().*GetParam().operation)(nullptr), 1);
    EXPECT_EQ(Logs(), Lines({E(GetParam().nullText)}));
    ExpectNothingSent();
}

TEST_P(ZeroingTopicTest, HeaderArrayThatDoesNotZero) {
    FailRecordMemset(1);
    EXPECT_EQ(Run(), 1);
    EXPECT_EQ(Logs(), Lines({E(Tag(": memset_s stHeader failed!"))}));
    EXPECT_EQ(Fake().boundedCalls.back().count, 512U * GetParam().headers.size());
    ExpectNothingSent();
}

TEST_P(ZeroingTopicTest, FrameThatDoesNotZero) {
    FailRecordMemset(2);
    EXPECT_EQ(Run(), 1);
    EXPECT_EQ(Logs(), Lines({E(Tag(": memset_s stmFrame failed!"))}));
    EXPECT_EQ(Fake().boundedCalls.back().count, sizeof(TagQuorOmNmsWebsocketStompFrame));
    EXPECT_THAT(Access::Nodes(), IsEmpty());
    ExpectNothingSent();
}

TEST_P(TopicTest, DestinationThatDoesNotFormat) {
    Fake().FailCall(Fn::SprintfS, 1);
    EXPECT_EQ(Run(), 1);
    EXPECT_EQ(Logs(),
              Lines({E(BuilderTag(": sprintf_s destination val failed!")), E(GetParam().buildFailed)}));
    EXPECT_THAT(Access::Nodes(), IsEmpty());
    ExpectNothingSent();
}

TEST_P(TopicTest, TokenThatDoesNotFormat) {
    Fake().FailCall(Fn::SprintfS, 2);
    EXPECT_EQ(Run(), 1);
    EXPECT_EQ(Logs(), Lines({E(BuilderTag(": sprintf_s token val failed!")), E(GetParam().buildFailed)}));
    EXPECT_THAT(Access::Nodes(), IsEmpty());
    ExpectNothingSent();
}

TEST_P(ConferenceIdTopicTest, ConferenceIdThatDoesNotCopy) {
    Fake().boundedFault = [](const BoundedCall& c) {
        return c.fn == Fn::StrcpyS && c.destMax == 256 && c.SourceIs(kConfId);
    };
    EXPECT_EQ(Run(), 1);
    EXPECT_EQ(Logs(), Lines({E(BuilderTag(": strcpy conf id val failed!")), E(GetParam().buildFailed)}));
    ExpectNothingSent();
}

TEST_P(TopicTest, HeaderThatDoesNotCopy) {
    Fake().boundedFault = [](const BoundedCall& c) { return c.fn == Fn::StrcpyS && c.SourceIs("token"); };
    EXPECT_EQ(Run(), 1);
    EXPECT_EQ(Logs(), Lines({E("<KelSetHeader>: strcpy_s headerName token failed!"),
                             E(Tag(": KelSetHeader failed!"))}));
    EXPECT_THAT(Access::Nodes(), IsEmpty());
    ExpectNothingSent();
}

TEST_P(TopicTest, HeadersThatDoNotCopyIntoTheFrameLeaveTheHandlerRegistered) {
    Fake().boundedFault = [](const BoundedCall& c) {
        return c.fn == Fn::MemcpyS && c.destMax == kHeaderArrayCapacity;
    };
    EXPECT_EQ(Run(), 1);
    EXPECT_EQ(Logs(), Lines({E(kHeaderCopyFailed)})) << "one borrowed text for all topics";
    EXPECT_EQ(Access::Nodes().size(), 1U);
    ExpectNothingSent();
}

TEST_P(TopicTest, HeadersAreCopiedWhole) {
    Run();
    std::vector<std::size_t> counts;
    for (const BoundedCall& call : Fake().boundedCalls) {
        if (call.fn == Fn::MemcpyS && call.destMax == kHeaderArrayCapacity) {
            counts.push_back(call.count);
        }
    }
    EXPECT_THAT(counts, ElementsAre(512U * GetParam().headers.size()));
}

TEST_P(TopicTest, RefusedFrameLeavesTheHandlerRegistered) {
    Fake().FailCall(Fn::WsSubscribe, 1);
    Fake().SetFailResult(Fn::WsSubscribe, 9);
    EXPECT_EQ(Run(), 1);
    EXPECT_EQ(Logs(), Lines({E(Tag(GetParam().codeInRefusal ? ": QuorOmNmsWebsocketSubscribe reeCode 9"
                                                            : ": QuorOmNmsWebsocketSubscribe error"))}));
    EXPECT_EQ(Access::Nodes().size(), 1U);
    EXPECT_TRUE(Access::Alive().empty());
}

TEST_P(TopicTest, RegistrationThatFailsIsLoggedAndTheFrameStillGoes) {
    Fake().FailCall(Fn::HeapAlloc, 1);
    EXPECT_EQ(Run(), 0);
    EXPECT_EQ(Logs(), Lines({E("<KelAddSubNode>: malloc node failed"), I(Tag(" success"))}));
    EXPECT_EQ(Fake().frames.size(), 1U);
}

TEST_P(TopicTest, UnterminatedFieldsAreRefused) {
    FillWhole(m_info.confId);
    EXPECT_EQ(Run(), 1);
    m_info = SubscribeInfo(GetParam().id);
    if (GetParam().id != AI_SUB_ID_CHECKIN) {
        FillWhole(m_info.token);
        EXPECT_EQ(Run(), 1);
        m_info = SubscribeInfo(GetParam().id);
    }
    if (GetParam().handler == Access::kVoice || GetParam().handler == Access::kTranslation) {
        FillWhole(m_info.language);
        EXPECT_EQ(Run(), 1);
    }
    EXPECT_THAT(Access::Nodes(), IsEmpty());
    ExpectNothingSent();
}

TEST_P(TopicTest, LongestFieldsFit) {
    Put(m_info.confId, std::string(100, 'c'));
    Put(m_info.token, std::string(191, 't'));
    Put(m_info.language, std::string(63, 'l'));
    EXPECT_EQ(Run(), 0);
}

TEST_P(TopicTest, BuilderThatFailsLeavesOneNameMoreThanValues) {
    Access::StringList names;
    Access::StringList values;
    Fake().FailCall(Fn::SprintfS, 2);
    const std::map<std::string, Access::Builder> builders = {
        {"KelSetAiCaptionHeader", Access::kCaptionHeader},
        {"KelSetAiConfCtrlHeader", Access::kConfCtrlHeader},
        {"KelSetAiConfSiteHeader", Access::kConfSiteHeader},
        {"KelSetAiCaptionOverlayHeader", Access::kOverlayHeader}};
    const auto builder = builders.find(GetParam().builder);
    if (builder == builders.end()) {
        EXPECT_EQ(Access::CheckinHeader(m_info, names, values), 1U);
    } else {
        EXPECT_EQ(Access::Build(builder->second, &m_info, names, values), 1U);
    }
    EXPECT_THAT(names, ElementsAre("destination", "token"));
    EXPECT_THAT(values, ElementsAre(GetParam().headers[0].second));
}

TEST_P(PointerBuilderTopicTest, BuilderNeedsARecord) {
    Access::StringList names;
    Access::StringList values;
    const std::map<std::string, Access::Builder> builders = {
        {"KelSetAiCaptionHeader", Access::kCaptionHeader},
        {"KelSetAiConfCtrlHeader", Access::kConfCtrlHeader},
        {"KelSetAiConfSiteHeader", Access::kConfSiteHeader},
        {"KelSetAiCaptionOverlayHeader", Access::kOverlayHeader}};
    const auto builder = builders.find(GetParam().builder);
    ASSERT_NE(builder, builders.end());
    EXPECT_EQ(Access::Build(builder->second, nullptr, names, values), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E(BuilderTag(": input is nullptr!"))));
    EXPECT_THAT(names, IsEmpty());
}

std::string LabelOf(const ::testing::TestParamInfo<Topic>& test) {
    return test.param.label;
}

INSTANTIATE_TEST_SUITE_P(All, TopicTest, ::testing::ValuesIn(Topics()), LabelOf);
INSTANTIATE_TEST_SUITE_P(All, ZeroingTopicTest, ::testing::ValuesIn(TopicsWhere([](const Topic& topic) {
                             return topic.zeroesRecords;
                         })),
                         LabelOf);
INSTANTIATE_TEST_SUITE_P(All, ConferenceIdTopicTest, ::testing::ValuesIn(TopicsWhere([](const Topic& topic) {
                             return topic.headers.size() == 3;
                         })),
                         LabelOf);
INSTANTIATE_TEST_SUITE_P(All, PointerBuilderTopicTest,
                         ::testing::ValuesIn(TopicsWhere([](const Topic& topic) {
                             return topic.id != AI_SUB_ID_CHECKIN;
                         })),
                         LabelOf);

// ---- Headers ----

class SetHeaderTest : public ChannelTest {
protected:
    TagQuorOmNmsWebsocketHeader m_headers[2] = {};
};

TEST_F(SetHeaderTest, NeedsAnArray) {
    EXPECT_EQ(Access::SetHeader(nullptr, 0, {}, {}), 1U) << "tested before the number";
    EXPECT_THAT(Logs(), ElementsAre(E("<KelSetHeader>: stHeader is nullptr!")));
}

TEST_F(SetHeaderTest, NumberBelowOneTouchesNothing) {
    FillWhole(m_headers[0].headerName, 'x');
    EXPECT_EQ(Access::SetHeader(m_headers, 0, {"a"}, {"b"}), 0U);
    EXPECT_EQ(Access::SetHeader(m_headers, -1, {"a"}, {"b"}), 0U);
    EXPECT_EQ(m_headers[0].headerName[0], 'x');
    EXPECT_THAT(Fake().boundedCalls, IsEmpty());
}

TEST_F(SetHeaderTest, CopiesPairs) {
    EXPECT_EQ(Access::SetHeader(m_headers, 2, {"a", "b"}, {"1", "2"}), 0U);
    EXPECT_STREQ(m_headers[0].headerName, "a");
    EXPECT_STREQ(m_headers[0].headerVal, "1");
    EXPECT_STREQ(m_headers[1].headerName, "b");
    EXPECT_STREQ(m_headers[1].headerVal, "2");
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(SetHeaderTest, OverlongNameOrValue) {
    const std::string tooLong(256, 'n');
    EXPECT_EQ(Access::SetHeader(m_headers, 1, {tooLong}, {"1"}), 1U);
    EXPECT_EQ(Access::SetHeader(m_headers, 1, {"a"}, {tooLong}), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelSetHeader>: strcpy_s headerName " + tooLong + " failed!"),
                                    E("<KelSetHeader>: strcpy_s headerVal failed!")));
    const std::string longest(255, 'n');
    EXPECT_EQ(Access::SetHeader(m_headers, 1, {longest}, {longest}), 0U);
}

TEST_F(SetHeaderTest, PairsAreTracedAboveLevelThree) {
    Fake().traceLevel = 3;
    Access::SetHeader(m_headers, 1, {"a"}, {"1"});
    EXPECT_THAT(TraceTexts(), IsEmpty());
    Fake().traceLevel = 4;
    Access::SetHeader(m_headers, 2, {"a", "b"}, {"1", "2"});
    EXPECT_THAT(TraceTexts(), ElementsAre("stHeader[num].headerName:a, stHeader[num].headerVal:1",
                                          "stHeader[num].headerName:b, stHeader[num].headerVal:2"));
    EXPECT_EQ(Fake().traces[0].function, "KelSetHeader");
    EXPECT_EQ(Fake().traces[0].whole.compare(0, 10, "AI_TRACE ["), 0);
}

TEST_F(SetHeaderTest, TraceThatDoesNotFitIsReplaced) {
    Fake().traceLevel = 4;
    const std::string longest(255, 'n');
    Access::SetHeader(m_headers, 1, {longest}, {longest});
    EXPECT_THAT(TraceTexts(), ElementsAre("AI_TRACE_ERROR: snprintf_s error!\n"));
}

// ---- What the topics store, and the check-in token ----

class SubscriptionsTest : public ChannelTest {
protected:
    SubscriptionsTest() { Connect(); }
    static bool StateIsEmpty() {
        const TagQuorAiKelBasicInfo empty{};
        return std::memcmp(&Access::State(), &empty, sizeof(empty)) == 0;
    }
};

TEST_F(SubscriptionsTest, CheckinAndSiteStoreTheConferenceId) {
    TagQuorAiSubscribeInfo info = SubscribeInfo(AI_SUB_ID_CHECKIN);
    Kel().KelStompSubscribeCheckin(&info);
    EXPECT_STREQ(Access::State().uuid, kConfId);
    Put(info.confId, "other");
    Kel().KelStompSubscribeConfSiteStatus(&info);
    EXPECT_STREQ(Access::State().uuid, "other");
}

TEST_F(SubscriptionsTest, ConferenceIdThatDoesNotCopyEmptiesTheStoredOne) {
    TagQuorAiSubscribeInfo info = SubscribeInfo(AI_SUB_ID_CHECKIN);
    FillWhole(info.confId);
    Put(Access::State().uuid, "before");
    EXPECT_EQ(Kel().KelStompSubscribeCheckin(&info), 1);
    EXPECT_STREQ(Access::State().uuid, "");
    EXPECT_THAT(Logs(), ElementsAre(I("<KelStompSubscribeCheckin> in"),
                                    E("<KelStompSubscribeCheckin>: strncpy_s uuid failed!")));
    Fake().ClearRecords();
    Put(Access::State().uuid, "before");
    EXPECT_EQ(Kel().KelStompSubscribeConfSiteStatus(&info), 1);
    EXPECT_STREQ(Access::State().uuid, "");
    EXPECT_THAT(Logs(), ElementsAre(I("<KelStompSubscribeConfSiteStatus> in"),
                                    E("<KelStompSubscribeAiCaption>: strncpy_s uuid failed!")))
        << "the caption operation's text";
    EXPECT_THAT(Fake().boundedCalls, ::testing::Each(::testing::Field(&BoundedCall::destMax, 192U)))
        << "nothing else was begun";
}

TEST_F(SubscriptionsTest, OverlayStoresTheToken) {
    TagQuorAiSubscribeInfo info = SubscribeInfo(AI_SUB_ID_CAPTION_OVERLAY);
    Kel().KelStompSubscribeCaptinOverlay(&info);
    EXPECT_STREQ(Access::State().confKey, kToken);
    Fake().ClearRecords();
    FillWhole(info.token);
    EXPECT_EQ(Kel().KelStompSubscribeCaptinOverlay(&info), 1);
    EXPECT_STREQ(Access::State().confKey, "");
    EXPECT_THAT(Logs(), ElementsAre(I("<KelStompSubscribeCaptinOverlay> in"),
                                    E("<KelStompSubscribeCaptinOverlay>: strcpy_s confKey failed!")));
}

TEST_F(SubscriptionsTest, CaptionStoresTheLanguageBySubId) {
    TagQuorAiSubscribeInfo info = SubscribeInfo(AI_SUB_ID_CAPTION);
    Kel().KelStompSubscribeAiCaption(&info);
    EXPECT_STREQ(Access::State().srcLang, "en-US");
    EXPECT_STREQ(Access::State().dstLang, "");
    info.subId = AI_SUB_ID_TRANSLATION;
    Put(info.language, "fr-FR");
    Kel().KelStompSubscribeAiCaption(&info);
    EXPECT_STREQ(Access::State().srcLang, "en-US");
    EXPECT_STREQ(Access::State().dstLang, "fr-FR");
    info.subId = AI_SUB_ID_FACE_PHOTO;
    Put(info.language, "de-DE");
    Kel().KelStompSubscribeAiCaption(&info);
    EXPECT_STREQ(Access::State().dstLang, "de-DE") << "any other id is a translation";
    EXPECT_THAT(Access::NodeTexts(), ElementsAre("1:/topic/conferences/conf-0123456789/subtitle/en-US",
                                                 "15:/topic/conferences/conf-0123456789/subtitle/fr-FR",
                                                 "12:/topic/conferences/conf-0123456789/subtitle/de-DE"));
    EXPECT_EQ(Access::Nodes()[0]->handler, Access::kVoice);
    EXPECT_EQ(Access::Nodes()[1]->handler, Access::kTranslation);
    EXPECT_EQ(Access::Nodes()[2]->handler, Access::kTranslation);
}

TEST_F(SubscriptionsTest, CaptionStoresTheLanguageAfterItsHeaders) {
    TagQuorAiSubscribeInfo info = SubscribeInfo(AI_SUB_ID_CAPTION);
    Fake().boundedFault = [](const BoundedCall& c) {
        return c.fn == Fn::StrcpyS && c.SourceIs("conferenceId");
    };
    EXPECT_EQ(Kel().KelStompSubscribeAiCaption(&info), 1);
    EXPECT_TRUE(StateIsEmpty());
}

TEST_F(SubscriptionsTest, CaptionLanguageThatDoesNotCopy) {
    Fake().boundedFault = [](const BoundedCall& c) { return c.fn == Fn::StrcpyS && c.destMax == 64; };
    Put(Access::State().srcLang, "before");
    Put(Access::State().dstLang, "before");
    TagQuorAiSubscribeInfo info = SubscribeInfo(AI_SUB_ID_CAPTION);
    EXPECT_EQ(Kel().KelStompSubscribeAiCaption(&info), 1);
    info.subId = AI_SUB_ID_TRANSLATION;
    EXPECT_EQ(Kel().KelStompSubscribeAiCaption(&info), 1);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelStompSubscribeAiCaption>: strcpy_s srcLang failed!"),
                                    E("<KelStompSubscribeAiCaption>: strcpy_s dstLang failed!")));
    EXPECT_STREQ(Access::State().srcLang, "");
    EXPECT_STREQ(Access::State().dstLang, "");
    EXPECT_THAT(Access::Nodes(), IsEmpty());
    EXPECT_THAT(Fake().frames, IsEmpty());
}

TEST_F(SubscriptionsTest, CaptionDestinationThatIsTooLong) {
    TagQuorAiSubscribeInfo info = SubscribeInfo(AI_SUB_ID_CAPTION);
    // "/topic/conferences/" and "/subtitle/" are 29 characters.
    Put(info.confId, std::string(191, 'c'));
    Put(info.language, std::string(35, 'l'));
    EXPECT_EQ(Kel().KelStompSubscribeAiCaption(&info), 0) << "255 characters fit";
    Put(info.language, std::string(36, 'l'));
    EXPECT_EQ(Kel().KelStompSubscribeAiCaption(&info), 1);
    EXPECT_THAT(Logs(), Contains(E("<KelSetAiCaptionHeader>: sprintf_s destination val failed!")));
}

TEST_F(SubscriptionsTest, CaptionAndTranslationWithOneLanguageShareANode) {
    TagQuorAiSubscribeInfo info = SubscribeInfo(AI_SUB_ID_CAPTION);
    Kel().KelStompSubscribeAiCaption(&info);
    info.subId = AI_SUB_ID_TRANSLATION;
    EXPECT_EQ(Kel().KelStompSubscribeAiCaption(&info), 0);
    EXPECT_THAT(Logs(), Contains(W("<KelAddSubNode>: found a same destination")));
    EXPECT_THAT(Access::NodeTexts(), ElementsAre(std::string("1:") + kCaptionDestination));
    EXPECT_EQ(Access::Nodes()[0]->handler, Access::kTranslation);
}

TEST_F(SubscriptionsTest, ConfCtrlForgetsTheLastStatusJustBeforeItRegisters) {
    TagQuorAiSubscribeInfo info = SubscribeInfo(AI_SUB_ID_CONF_CTRL);
    Access::LastConfCtrl() = 5;
    Fake().FailCall(Fn::SprintfS, 1);
    EXPECT_EQ(Kel().KelStompSubscribeConfCtrlStatus(&info), 1);
    EXPECT_EQ(Access::LastConfCtrl(), 5) << "a failing builder does not get that far";
    Fake().boundedFault = [](const BoundedCall& c) { return c.fn == Fn::StrcpyS && c.SourceIs("token"); };
    EXPECT_EQ(Kel().KelStompSubscribeConfCtrlStatus(&info), 1);
    EXPECT_EQ(Access::LastConfCtrl(), 5) << "nor does a failing header";
    Fake().boundedFault = [](const BoundedCall& c) { return c.fn == Fn::MemcpyS; };
    EXPECT_EQ(Kel().KelStompSubscribeConfCtrlStatus(&info), 1);
    EXPECT_EQ(Access::LastConfCtrl(), -1);
    EXPECT_TRUE(StateIsEmpty()) << "it stores nothing";
}

TEST_F(SubscriptionsTest, CheckinTakesTheTokenFromTheLoginClient) {
    TagQuorAiSubscribeInfo info = SubscribeInfo(AI_SUB_ID_CHECKIN);
    Kel().KelStompSubscribeCheckin(&info);
    Fake().confToken = "a fresh one";
    Kel().KelStompSubscribeCheckin(&info);
    EXPECT_EQ(Fake().CountOf(Fn::LoginInit), 1U) << "once per process";
    EXPECT_THAT(Fake().loginCallbacks, ElementsAre(&QuorAiEngine::LoginCallbackFun));
    EXPECT_THAT(Fake().tokenCapacities, ElementsAre(256U, 256U)) << "asked for every subscription";
    EXPECT_STREQ(Fake().frames.at(1).frame.headers[1].headerVal, "a fresh one");
}

TEST_F(SubscriptionsTest, LoginClientThatDoesNotInitialiseIsTriedAgain) {
    TagQuorAiSubscribeInfo info = SubscribeInfo(AI_SUB_ID_CHECKIN);
    Fake().FailCall(Fn::LoginInit, 1);
    Fake().SetFailResult(Fn::LoginInit, 0xFFFFFFFEU);
    EXPECT_EQ(Kel().KelStompSubscribeCheckin(&info), 1);
    EXPECT_THAT(Logs(), ElementsAre(I("<KelStompSubscribeCheckin> in"),
                                    E("<KelSetAiCheckinHeader> QuorLoginInitialize ret: -2"),
                                    E("<KelStompSubscribeCheckin>: KelSetAiCheckinHeader failed!")));
    EXPECT_EQ(Fake().CountOf(Fn::LoginToken), 0U);
    EXPECT_EQ(Kel().KelStompSubscribeCheckin(&info), 0);
    EXPECT_EQ(Fake().CountOf(Fn::LoginInit), 2U);
}

TEST_F(SubscriptionsTest, LoginClientWithoutAToken) {
    TagQuorAiSubscribeInfo info = SubscribeInfo(AI_SUB_ID_CHECKIN);
    Fake().FailCall(Fn::LoginToken, 1);
    Fake().SetFailResult(Fn::LoginToken, 6);
    EXPECT_EQ(Kel().KelStompSubscribeCheckin(&info), 1);
    EXPECT_THAT(Logs(), ElementsAre(I("<KelStompSubscribeCheckin> in"),
                                    E("<KelSetAiCheckinHeader> QuorLoginGetConfToken ret: 6"),
                                    E("<KelStompSubscribeCheckin>: KelSetAiCheckinHeader failed!")));
    EXPECT_STREQ(Access::State().uuid, kConfId) << "stored before the headers were built";
}

TEST_F(SubscriptionsTest, CheckinDoesNotZeroItsRecords) {
    TagQuorAiSubscribeInfo info = SubscribeInfo(AI_SUB_ID_CHECKIN);
    Kel().KelStompSubscribeCheckin(&info);
    std::vector<std::size_t> sizes;
    for (const BoundedCall& call : Fake().boundedCalls) {
        if (call.fn == Fn::MemsetS && call.destMax > 256) {
            sizes.push_back(call.destMax);
        }
    }
    EXPECT_THAT(sizes, ElementsAre(2048U)) << "the body alone";
}

TEST_F(SubscriptionsTest, OrderOfThePlatformCalls) {
    TagQuorAiSubscribeInfo info = SubscribeInfo(AI_SUB_ID_CHECKIN);
    Kel().KelStompSubscribeCheckin(&info);
    EXPECT_THAT(Fake().Trail(),
                ElementsAre("ModuleLog", "LoginInit", "LoginToken", "HeapAlloc", "WsSubscribe", "ModuleLog"));
}

}  // namespace
}  // namespace QuorTest
