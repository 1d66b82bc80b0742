// Large-model requests on both links, and the subscription and the handler of the answers.
#include <cstring>

#include "support/channel_test.h"
#include "support/large_model_kinds.h"

namespace QuorTest {
namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;

class LargeModelTest : public ChannelTest {
protected:
    LargeModelTest() {
        Connect();
        Access::ManagerLinkId() = kManagerLink;
    }
    unsigned Send() { return Kel().KelSendLLMRequest(&m_params); }
    unsigned ManagerSend() { return Kel().ManagerSendLLMRequest(&m_params); }
    static void FailCopyInto(std::size_t capacity) {
        Fake().boundedFault = [=](const BoundedCall& c) {
            return c.fn == Fn::MemcpyS && c.destMax == capacity;
        };
    }
    static void ExpectFrame(unsigned linkId, const Pairs& headers, const std::string& body) {
        ASSERT_EQ(Fake().frames.size(), 1U);
        EXPECT_EQ(Fake().frames[0].fn, Fn::WsSend);
        TagQuorOmNmsWebsocketStompFrame expected;
        std::memset(&expected, 0, sizeof(expected));
        expected.linkId = linkId;
        expected.frameKind = 2;
        expected.headerNum = 4;
        for (std::size_t i = 0; i < headers.size(); ++i) {
            Put(expected.headers[i].headerName, headers[i].first);
            Put(expected.headers[i].headerVal, headers[i].second);
        }
        std::memcpy(expected.body, body.data(), body.size());
        EXPECT_EQ(std::memcmp(&Fake().frames[0].frame, &expected, sizeof(expected)), 0);
        EXPECT_EQ(std::string(Fake().frames[0].frame.body), body);
    }
    // Fails the requests' common steps one after another; the request must end with the line given for each.
    void ExpectNothingSent() {
        EXPECT_THAT(Fake().frames, IsEmpty());
        EXPECT_EQ(Fake().LiveCJsonBlocks(), 0U);
    }

    QuorAiModelParams m_params = ModelParams();
};

const LogLine& KelBodyDone() {
    static const LogLine line = I("<KelSetSendLLMDataBody> success.");
    return line;
}
const LogLine& ManagerBodyDone() {
    static const LogLine line = I("<KelSetAbilityReportBody> success.");
    return line;
}

// ---- Requests on the conference link ----

TEST_F(LargeModelTest, RequestByteForByte) {
    EXPECT_EQ(Send(), 0U);
    ExpectFrame(kLink,
                {{"destination", "/terminal/chat/v1/completions"},
                 {"token", kToken},
                 {"seqNum", "4000000001"},
                 {"reqType", "MEETING_SUMMARY"}},
                std::string("{\n\t\"confId\":\t\"") + kConfId + "\",\n\t\"uri\":\t\"" + kUri +
                    "\",\n\t\"content\":\t\"summarise\"\n}");
    EXPECT_THAT(Logs(), ElementsAre(KelBodyDone(), I("KelSendLLMRequest LargeModelRequest success!")));
    EXPECT_THAT(Access::Nodes(), IsEmpty()) << "answers come through the subscription";
    EXPECT_THAT(Fake().Trail({Fn::ModuleLog}), ElementsAre("HeapAlloc", "HeapFree", "WsSend"));
}

TEST_F(LargeModelTest, EveryRequestTypeHasItsName) {
    for (unsigned type = 0; type <= 18; ++type) {
        Fake().ClearRecords();
        m_params.reqType = type;
        EXPECT_EQ(Send(), 0U);
        EXPECT_STREQ(Fake().frames.at(0).frame.headers[3].headerVal, kLargeModelKinds[type]);
        EXPECT_EQ(ManagerSend(), 0U);
        EXPECT_STREQ(Fake().frames.at(1).frame.headers[2].headerVal, kLargeModelKinds[type]);
    }
}

TEST_F(LargeModelTest, UnknownRequestTypeIsRefused) {
    for (const unsigned type : {19U, 0xFFFFFFFFU}) {
        Fake().ClearRecords();
        m_params.reqType = type;
        EXPECT_EQ(Send(), 1U);
        EXPECT_THAT(Logs(),
                    ElementsAre(E("reqTypeToStr donot find:[" + std::to_string(static_cast<int>(type)) + "]"),
                                E("<KelSendLLMRequest>: KelSetAiCheckinHeader failed!")));
        ExpectNothingSent();
    }
}

TEST_F(LargeModelTest, RequestNeedsParameters) {
    EXPECT_EQ(Kel().KelSendLLMRequest(nullptr), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelSendLLMRequest>: params is nullptr!")));
}

TEST_F(LargeModelTest, RequestWhoseFrameDoesNotZero) {
    Fake().boundedFault = [](const BoundedCall& c) { return c.fn == Fn::MemsetS && c.destMax == 6156; };
    EXPECT_EQ(Send(), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelSendLLMRequest>: memset_s stmFrame failed!")));
    ExpectNothingSent();
}

TEST_F(LargeModelTest, RequestHeadersThatDoNotFormat) {
    const std::vector<std::string> texts = {"sprintf_s destination val failed!",
                                            "sprintf_s token val failed!", "sprintf_s seqNum failed!",
                                            "sprintf_s reqType failed!"};
    for (unsigned i = 0; i < texts.size(); ++i) {
        Fake().ClearRecords();
        Fake().FailCall(Fn::SprintfS, i + 1);
        EXPECT_EQ(Send(), 1U);
        EXPECT_THAT(Logs(), ElementsAre(E("<KelSetSendLLMRequestHeader>: " + texts[i]),
                                        E("<KelSendLLMRequest>: KelSetAiCheckinHeader failed!")));
        ExpectNothingSent();
    }
}

TEST_F(LargeModelTest, RequestHeaderThatDoesNotCopy) {
    Fake().boundedFault = [](const BoundedCall& c) { return c.fn == Fn::StrcpyS && c.SourceIs("seqNum"); };
    EXPECT_EQ(Send(), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelSetHeader>: strcpy_s headerName seqNum failed!"),
                                    E("<KelSendLLMRequest>: KelSetHeader failed!")));
}

TEST_F(LargeModelTest, RequestHeadersThatDoNotCopyIntoTheFrame) {
    FailCopyInto(4096);
    EXPECT_EQ(Send(), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelSendLLMRequest> failed: memcpy_s headers failed ")));
    ExpectNothingSent();
    EXPECT_EQ(Fake().CountOf(Fn::CJsonAlloc), 0U) << "the body is built later";
}

TEST_F(LargeModelTest, RequestBodyThatDoesNotBuild) {
    const LogLine last = E("<KelSendLLMRequest>: KelSetSendLLMDataBody failed!");
    Fake().FailCall(Fn::CJsonAlloc, 1, FailMode::kFromThenOn);
    EXPECT_EQ(Send(), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelSetSendLLMDataBody> failed bodyLen = 0!"), last));
    Fake().ClearFaults();
    Fake().ClearRecords();
    Fake().FailCall(Fn::HeapAlloc, 1);
    EXPECT_EQ(Send(), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelSetSendLLMDataBody> failed frameBody is nullptr!"), last));
    Fake().ClearRecords();
    Fake().boundedFault = [](const BoundedCall& c) {
        return !Fake().LiveBlocks().empty() && c.dest == Fake().LiveBlocks()[0].address &&
               c.fn != Fn::MemsetS;
    };
    EXPECT_EQ(Send(), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelSetSendLLMDataBody> strncpy frameBody failed!"), last));
    ExpectNothingSent();
    EXPECT_EQ(Fake().LiveBlocks().size(), 0U);
}

TEST_F(LargeModelTest, RequestBodyThatDoesNotCopyIsFreed) {
    FailCopyInto(2048);
    EXPECT_EQ(Send(), 1U);
    EXPECT_THAT(Logs(), ElementsAre(KelBodyDone(), E("<KelSendLLMRequest> failed: memcpy_s body failed ")));
    EXPECT_EQ(Fake().freedBlocks.size(), 1U);
    ExpectNothingSent();
}

TEST_F(LargeModelTest, RequestBodyOfExactly2048BytesGoesWholeAndOneMoreIsRefused) {
    m_params.confId[0] = 'c';
    m_params.confId[1] = '\0';
    m_params.uri[0] = 'u';
    m_params.uri[1] = '\0';
    // 45 bytes of frame around the three values.
    Put(m_params.content, std::string(2048 - 45 - 2, 'x'));
    EXPECT_EQ(Send(), 0U);
    const char* body = Fake().frames.at(0).frame.body;
    EXPECT_EQ(body[2047], '}') << "no terminator is left";
    EXPECT_EQ(std::string(body, 2048).compare(2040, 8, "xxxxx\"\n}"), 0);
    Fake().ClearRecords();
    Put(m_params.content, std::string(2048 - 45 - 1, 'x'));
    EXPECT_EQ(Send(), 1U);
    EXPECT_THAT(Logs(), ElementsAre(KelBodyDone(), E("<KelSendLLMRequest> failed: memcpy_s body failed ")));
    ExpectNothingSent();
}

TEST_F(LargeModelTest, LongestContentIsRefusedAfterTheHeadersWereBuilt) {
    Put(m_params.content, std::string(4095, 'x'));
    EXPECT_EQ(Send(), 1U);
    EXPECT_EQ(Logs().back(), E("<KelSendLLMRequest> failed: memcpy_s body failed "));
    ExpectNothingSent();
}

TEST_F(LargeModelTest, RefusedRequest) {
    Fake().FailCall(Fn::WsSend, 1);
    Fake().SetFailResult(Fn::WsSend, 4000000000U);
    EXPECT_EQ(Send(), 1U);
    EXPECT_THAT(Logs(),
                ElementsAre(KelBodyDone(),
                            E("<KelSendLLMRequest>: QuorOmNmsWebsocketSendData error ret[4000000000]")));
}

TEST_F(LargeModelTest, UnterminatedFieldsAreRefused) {
    FillWhole(m_params.token);
    EXPECT_EQ(Send(), 1U);
    EXPECT_EQ(Logs().front(), E("<KelSetSendLLMRequestHeader>: sprintf_s token val failed!"));
    m_params = ModelParams();
    FillWhole(m_params.confId);
    EXPECT_EQ(Send(), 1U);
    m_params = ModelParams();
    FillWhole(m_params.uri);
    EXPECT_EQ(Send(), 1U);
    m_params = ModelParams();
    FillWhole(m_params.content);
    EXPECT_EQ(Send(), 1U);
    EXPECT_EQ(ManagerSend(), 1U);
    ExpectNothingSent();
}

TEST_F(LargeModelTest, ContentIsEscapedAsJson) {
    Put(m_params.content, "a\"b\\c\n\xE5\xA4\xA7");
    EXPECT_EQ(Send(), 0U);
    EXPECT_NE(std::string(Fake().frames.at(0).frame.body).find("a\\\"b\\\\c\\n\xE5\xA4\xA7"),
              std::string::npos);
}

TEST_F(LargeModelTest, HeaderAndBodyBuildersNeedParametersAndOutputs) {
    Access::StringList names;
    Access::StringList values;
    EXPECT_EQ(Access::LlmHeader(nullptr, names, values), 1U);
    EXPECT_EQ(Access::ManagerLlmHeader(nullptr, names, values), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelSetSendLLMRequestHeader>: input is nullptr!"),
                                    E("<KelSetSendLLMRequestHeader>: input is nullptr!")));
    Fake().ClearRecords();
    char* body = nullptr;
    unsigned len = 0;
    EXPECT_EQ(Access::LlmBody(nullptr, &len, &m_params), 1U);
    EXPECT_EQ(Access::LlmBody(&body, nullptr, &m_params), 1U);
    EXPECT_EQ(Access::ManagerLlmBody(nullptr, &len, &m_params), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelSetSendLLMDataBody> failed: input is nullptr"),
                                    E("<KelSetSendLLMDataBody> failed: input is nullptr"),
                                    E("<KelSetAbilityReportBody> failed: input is nullptr")));
}

TEST_F(LargeModelTest, BodyBuilderHandsBackTheBufferAndItsLength) {
    char* body = nullptr;
    unsigned len = 0;
    EXPECT_EQ(Access::ManagerLlmBody(&body, &len, &m_params), 0U);
    EXPECT_STREQ(body, "{\n\t\"content\":\t\"summarise\"\n}");
    EXPECT_EQ(len, std::strlen(body));
    EXPECT_EQ(Fake().LiveBlocks().at(0).sizeBytes, len + 1);
    OSMemTypeFreeMon(body, 1, "test");
}

// ---- Requests on the manager link ----

TEST_F(LargeModelTest, ManagerRequestByteForByte) {
    EXPECT_EQ(ManagerSend(), 0U);
    ExpectFrame(kManagerLink,
                {{"modelVersion", "DeepSeek-R1"},
                 {"seqNum", "4000000001"},
                 {"reqType", "MEETING_SUMMARY"},
                 {"roundCnt", "3"}},
                "{\n\t\"content\":\t\"summarise\"\n}");
    EXPECT_THAT(Logs(), ElementsAre(ManagerBodyDone(),
                                    I("ManagerSendLLMRequest LargeModelRequest success! linkid[72]")));
    EXPECT_THAT(Access::NodeTexts(), ElementsAre("9:/topic/chat/"));
    EXPECT_EQ(Access::Nodes()[0]->handler, Access::kLlmAnswer);
}

TEST_F(LargeModelTest, ManagerRequestRegistersBeforeItSendsAndFreesItsBodyBeforeThat) {
    ManagerSend();
    EXPECT_THAT(Fake().Trail({Fn::ModuleLog}), ElementsAre("HeapAlloc", "HeapFree", "HeapAlloc", "WsSend"));
}

TEST_F(LargeModelTest, ManagerLinkZeroIsNotTested) {
    Access::ManagerLinkId() = 0;
    EXPECT_EQ(ManagerSend(), 0U);
    EXPECT_EQ(Fake().frames.at(0).frame.linkId, 0U);
}

TEST_F(LargeModelTest, EveryModelHasItsName) {
    const std::vector<std::string> names = {"DeepSeek-V3", "DeepSeek-R1", "DeepSeek-LLM"};
    for (unsigned model = 0; model < names.size(); ++model) {
        Fake().ClearRecords();
        m_params.modelVersion = model;
        EXPECT_EQ(ManagerSend(), 0U);
        EXPECT_EQ(Fake().frames.at(0).frame.headers[0].headerVal, names[model]);
    }
}

TEST_F(LargeModelTest, UnknownModelIsRefusedOnTheManagerLinkOnly) {
    m_params.modelVersion = 3;
    EXPECT_EQ(Send(), 0U);
    Fake().ClearRecords();
    EXPECT_EQ(ManagerSend(), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("modelVersionToStr donot find:[3]"),
                                    E("<ManagerSendLLMRequest>: KelSetAiCheckinHeader failed!")));
    Fake().ClearRecords();
    m_params = ModelParams();
    m_params.reqType = 19;
    EXPECT_EQ(ManagerSend(), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("reqTypeToStr donot find:[19]"),
                                    E("<ManagerSendLLMRequest>: KelSetAiCheckinHeader failed!")));
    ExpectNothingSent();
}

TEST_F(LargeModelTest, SecondManagerRequestFindsTheRegistrationOfTheFirst) {
    ManagerSend();
    Fake().ClearRecords();
    ManagerSend();
    EXPECT_THAT(Logs(), ElementsAre(ManagerBodyDone(), W("<KelAddSubNode>: found a same destination"),
                                    I("ManagerSendLLMRequest LargeModelRequest success! linkid[72]")));
}

TEST_F(LargeModelTest, ManagerRegistrationKeepsTheServiceThatRegisteredFirst) {
    Subscribe(AI_SUB_ID_LLM_RESULT_KEL);
    ManagerSend();
    EXPECT_THAT(Access::NodeTexts(), ElementsAre("8:/topic/chat/"));
}

TEST_F(LargeModelTest, ManagerRequestNeedsParameters) {
    EXPECT_EQ(Kel().ManagerSendLLMRequest(nullptr), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<ManagerSendLLMRequest>: params is nullptr!")));
}

TEST_F(LargeModelTest, ManagerRequestWhoseFrameDoesNotZero) {
    Fake().boundedFault = [](const BoundedCall& c) { return c.fn == Fn::MemsetS && c.destMax == 6156; };
    EXPECT_EQ(ManagerSend(), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<ManagerSendLLMRequest>: memset_s stmFrame failed!")));
}

TEST_F(LargeModelTest, ManagerHeadersThatDoNotFormatBorrowTheOtherBuildersTexts) {
    const std::vector<std::string> texts = {"sprintf_s token val failed!", "sprintf_s seqNum failed!",
                                            "sprintf_s reqType failed!", "sprintf_s roundCnt failed!"};
    for (unsigned i = 0; i < texts.size(); ++i) {
        Fake().ClearRecords();
        Fake().FailCall(Fn::SprintfS, i + 1);
        EXPECT_EQ(ManagerSend(), 1U);
        EXPECT_THAT(Logs(), ElementsAre(E("<KelSetSendLLMRequestHeader>: " + texts[i]),
                                        E("<ManagerSendLLMRequest>: KelSetAiCheckinHeader failed!")));
    }
    EXPECT_THAT(Access::Nodes(), IsEmpty());
}

TEST_F(LargeModelTest, ManagerHeaderThatDoesNotCopy) {
    Fake().boundedFault = [](const BoundedCall& c) { return c.fn == Fn::StrcpyS && c.SourceIs("seqNum"); };
    EXPECT_EQ(ManagerSend(), 1U);
    EXPECT_EQ(Logs().back(), E("<ManagerSendLLMRequest>: KelSetHeader failed!"));
    FailCopyInto(4096);
    EXPECT_EQ(ManagerSend(), 1U);
    EXPECT_EQ(Logs().back(), E("<ManagerSendLLMRequest> failed: memcpy_s headers failed "));
    EXPECT_THAT(Access::Nodes(), IsEmpty());
}

TEST_F(LargeModelTest, ManagerBodyThatDoesNotBuildBorrowsTheReportsTexts) {
    const LogLine last = E("<ManagerSendLLMRequest>: KelSetSendLLMDataBody failed!");
    Fake().FailCall(Fn::CJsonAlloc, 1, FailMode::kFromThenOn);
    EXPECT_EQ(ManagerSend(), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelSetAbilityReportBody> failed bodyLen = 0!"), last));
    Fake().ClearFaults();
    Fake().ClearRecords();
    Fake().FailCall(Fn::HeapAlloc, 1);
    EXPECT_EQ(ManagerSend(), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelSetAbilityReportBody> failed frameBody is nullptr!"), last));
    Fake().ClearRecords();
    Fake().boundedFault = [](const BoundedCall& c) {
        return !Fake().LiveBlocks().empty() && c.dest == Fake().LiveBlocks()[0].address &&
               c.fn != Fn::MemsetS;
    };
    EXPECT_EQ(ManagerSend(), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelSetAbilityReportBody> strncpy frameBody failed!"), last));
    EXPECT_THAT(Access::Nodes(), IsEmpty());
    EXPECT_EQ(Fake().LiveBlocks().size(), 0U);
}

TEST_F(LargeModelTest, ManagerBodyLimitIsTheSameAndItsTextSaysStrcpy) {
    // 18 bytes of frame around the value.
    Put(m_params.content, std::string(2048 - 18, 'x'));
    EXPECT_EQ(ManagerSend(), 0U);
    EXPECT_EQ(Fake().frames.at(0).frame.body[2047], '}');
    Access::Reset();
    Fake().ClearRecords();
    Put(m_params.content, std::string(2048 - 17, 'x'));
    EXPECT_EQ(ManagerSend(), 1U);
    EXPECT_THAT(Logs(),
                ElementsAre(ManagerBodyDone(), E("<ManagerSendLLMRequest> failed: strcpy_s body failed ")));
    EXPECT_THAT(Access::Nodes(), IsEmpty());
    ExpectNothingSent();
}

TEST_F(LargeModelTest, ManagerAnswerDestinationThatDoesNotFormat) {
    Fake().FailCall(Fn::SprintfS, 5);
    EXPECT_EQ(ManagerSend(), 1U);
    EXPECT_THAT(Logs(), ElementsAre(ManagerBodyDone(),
                                    E("<ManagerSendLLMRequest>: sprintf_s destination val failed!")));
    EXPECT_THAT(Access::Nodes(), IsEmpty());
    ExpectNothingSent();
}

TEST_F(LargeModelTest, RefusedManagerRequestLeavesItsRegistration) {
    Fake().FailCall(Fn::WsSend, 1);
    EXPECT_EQ(ManagerSend(), 1U);
    EXPECT_THAT(Logs(), ElementsAre(ManagerBodyDone(),
                                    E("<ManagerSendLLMRequest>: QuorOmNmsWebsocketSendData error")));
    EXPECT_THAT(Access::NodeTexts(), ElementsAre("9:/topic/chat/"));
}

// ---- The answers ----

TEST_F(LargeModelTest, AnswerHandlerOnlyAcknowledges) {
    Watch();
    EXPECT_EQ(Access::Handle(Access::kLlmAnswer, "no json"), 0);
    EXPECT_EQ(Access::Handle(Access::kLlmAnswer, nullptr, 5), 1);
    EXPECT_EQ(Access::Handle(Access::kLlmAnswer, "x", 0), 1);
    const LogLine in = I("KelLLMAnswerParseTextMessage in");
    const LogLine bad = E("<KelLLMAnswerParseTextMessage>: input is error");
    EXPECT_THAT(Logs(), ElementsAre(in, in, bad, in, bad));
    EXPECT_THAT(observer->results, IsEmpty());
    EXPECT_EQ(Fake().CountOf(Fn::CJsonAlloc), 0U);
}

class LargeModelSubscriptionTest : public ChannelTest {
protected:
    LargeModelSubscriptionTest() { Connect(); }
    int Run() { return Kel().KelStompSubscribeLLMResult(&m_info); }
    static LogLine In() { return I("<KelStompSubscribeLLMResult> in"); }
    static LogLine Error(const std::string& rest) { return E("<KelStompSubscribeLLMResult>" + rest); }

    TagQuorAiSubscribeInfo m_info = SubscribeInfo(AI_SUB_ID_LLM_RESULT_KEL);
};

TEST_F(LargeModelSubscriptionTest, SendsFiveFramesWithAPauseAfterEach) {
    EXPECT_EQ(Run(), 0);
    EXPECT_THAT(Fake().Trail(),
                ElementsAre("ModuleLog", "HeapAlloc", "WsSend", "Usleep", "WsSend", "Usleep", "WsSend",
                            "Usleep", "WsSend", "Usleep", "WsSend", "Usleep", "ModuleLog"));
    EXPECT_THAT(Fake().sleepsUs, ElementsAre(200000U, 200000U, 200000U, 200000U, 200000U));
    EXPECT_THAT(Logs(), ElementsAre(In(), I("<KelStompSubscribeLLMResult> success")));
}

TEST_F(LargeModelSubscriptionTest, FrameByteForByte) {
    Run();
    TagQuorOmNmsWebsocketStompFrame expected;
    std::memset(&expected, 0, sizeof(expected));
    expected.linkId = kLink;
    expected.frameKind = 0;
    expected.headerNum = 1;
    Put(expected.headers[0].headerName, "destination");
    Put(expected.headers[0].headerVal, kLlmDestination);
    for (const FrameCall& call : Fake().frames) {
        EXPECT_EQ(std::memcmp(&call.frame, &expected, sizeof(expected)), 0);
    }
}

TEST_F(LargeModelSubscriptionTest, RegistersTheCommonPrefix) {
    Run();
    EXPECT_THAT(Access::NodeTexts(), ElementsAre("8:/topic/chat/"));
    EXPECT_EQ(Access::Nodes()[0]->handler, Access::kLlmAnswer);
}

TEST_F(LargeModelSubscriptionTest, NullRecord) {
    EXPECT_EQ(Kel().KelStompSubscribeLLMResult(nullptr), 1);
    EXPECT_THAT(Logs(), ElementsAre(In(), E("Null ptr.")));
    Access::StringList names;
    Access::StringList values;
    EXPECT_EQ(Access::Build(Access::kLlmSubHeader, nullptr, names, values), 1U);
    EXPECT_EQ(Logs().back(), E("<KelSetSendLLMRequestHeader>: input is nullptr!"));
}

TEST_F(LargeModelSubscriptionTest, RecordsThatDoNotZero) {
    const std::vector<std::string> texts = {": memset_s stHeader failed!", ": memset_s stmFrame failed!"};
    for (unsigned i = 0; i < texts.size(); ++i) {
        Fake().ClearRecords();
        Fake().boundedFault = [i, seen = 0U](const BoundedCall& c) mutable {
            return c.fn == Fn::MemsetS && c.destMax >= 512 && seen++ == i;
        };
        EXPECT_EQ(Run(), 1);
        EXPECT_THAT(Logs(), ElementsAre(In(), Error(texts[i])));
    }
    EXPECT_THAT(Access::Nodes(), IsEmpty());
}

TEST_F(LargeModelSubscriptionTest, DestinationThatDoesNotFormat) {
    Fake().FailCall(Fn::SprintfS, 1);
    EXPECT_EQ(Run(), 1);
    const LogLine builder = E("<KelSetSendLLMRequestHeader>: sprintf_s destination val failed!");
    EXPECT_THAT(Logs(), ElementsAre(In(), builder, Error(": KelSetAiCheckinHeader failed!")));
    Fake().ClearRecords();
    Put(m_info.uri, std::string(255, 'u'));
    EXPECT_EQ(Run(), 1) << "too long together";
    FillWhole(m_info.uri);
    EXPECT_EQ(Run(), 1);
    m_info = SubscribeInfo(AI_SUB_ID_LLM_RESULT_KEL);
    FillWhole(m_info.confId);
    EXPECT_EQ(Run(), 1);
    EXPECT_THAT(Fake().frames, IsEmpty());
    EXPECT_EQ(Logs()[1], builder);
    EXPECT_EQ(Logs()[4], builder);
    EXPECT_EQ(Logs()[7], builder);
}

TEST_F(LargeModelSubscriptionTest, HeaderThatDoesNotCopy) {
    Fake().boundedFault = [](const BoundedCall& c) {
        return c.fn == Fn::StrcpyS && c.SourceIs("destination");
    };
    EXPECT_EQ(Run(), 1);
    EXPECT_THAT(Logs(), ElementsAre(In(), E("<KelSetHeader>: strcpy_s headerName destination failed!"),
                                    Error(": KelSetHeader failed!")));
    EXPECT_THAT(Access::Nodes(), IsEmpty());
}

TEST_F(LargeModelSubscriptionTest, HeaderThatDoesNotCopyIntoTheFrame) {
    Fake().boundedFault = [](const BoundedCall& c) { return c.fn == Fn::MemcpyS && c.destMax == 4096; };
    EXPECT_EQ(Run(), 1);
    EXPECT_THAT(Logs(), ElementsAre(In(), Error(" failed: memcpy_s headers failed ")));
    EXPECT_EQ(Access::Nodes().size(), 1U);
}

TEST_F(LargeModelSubscriptionTest, FirstRefusedFrameEndsTheLoop) {
    Fake().FailCall(Fn::WsSend, 3);
    Fake().SetFailResult(Fn::WsSend, 4000000000U);
    EXPECT_EQ(Run(), 1);
    EXPECT_EQ(Fake().frames.size(), 3U) << "two went out";
    EXPECT_EQ(Fake().sleepsUs.size(), 2U) << "no pause after the refused one";
    EXPECT_THAT(Logs(),
                ElementsAre(In(), Error(": QuorOmNmsWebsocketSubscribe ret 4000000000, m_linkId:71")));
    EXPECT_EQ(Access::Nodes().size(), 1U);
}

TEST_F(LargeModelSubscriptionTest, ManagerSubscriptionDoesNothingEvenWithoutARecord) {
    EXPECT_EQ(Kel().ManagerStompSubscribeLLMResult(nullptr), 0);
    EXPECT_EQ(Kel().ManagerStompSubscribeLLMResult(&m_info), 0);
    EXPECT_THAT(Fake().Trail(), IsEmpty());
}

}  // namespace
}  // namespace QuorTest
