#include <cstring>

#include "support/channel_test.h"

namespace QuorTest {
namespace {

class UnsubscribeTest : public ChannelTest {
protected:
    UnsubscribeTest() {
        Subscribe(AI_SUB_ID_CAPTION);
        Connect();
    }
    static unsigned Run(TagQuorAiSubId id = AI_SUB_ID_CAPTION) {
        return Kel().KelStompUnSubscribeService(id);
    }
    static void FailBounded(Fn fn, std::size_t capacity) {
        Fake().boundedFault = [=](const BoundedCall& c) { return c.fn == fn && c.destMax == capacity; };
    }
    static LogLine Found(const std::string& rest) { return I("<KelStompUnSubscribeService>: subId " + rest); }
};

const LogLine& In() {
    static const LogLine line = I("<KelStompUnSubscribeService> in");
    return line;
}

TEST_F(UnsubscribeTest, RemovesTheNodeSendsTheFrameAndForgetsTheCounter) {
    EXPECT_EQ(Run(), 0U);
    EXPECT_THAT(Logs(), ElementsAre(In(), Found(std::string("1 get destination: ") + kCaptionDestination),
                                    I("<KelStompUnSubscribeService> success")));
    EXPECT_THAT(Fake().Trail({Fn::ModuleLog}),
                ElementsAre("HeapFree", "WsUnsubscribe", "MutexLock", "MutexUnlock"));
    EXPECT_THAT(Access::Nodes(), IsEmpty());
    EXPECT_TRUE(Access::Alive().empty());
}

TEST_F(UnsubscribeTest, FrameByteForByte) {
    Run();
    ASSERT_EQ(Fake().frames.size(), 1U);
    EXPECT_EQ(Fake().frames[0].fn, Fn::WsUnsubscribe);
    TagQuorOmNmsWebsocketStompFrame expected;
    std::memset(&expected, 0, sizeof(expected));
    expected.linkId = kLink;
    expected.frameKind = 1;
    expected.headerNum = 1;
    Put(expected.headers[0].headerName, "destination");
    Put(expected.headers[0].headerVal, kCaptionDestination);
    EXPECT_EQ(std::memcmp(&Fake().frames[0].frame, &expected, sizeof(expected)), 0);
}

TEST_F(UnsubscribeTest, ServiceThatWasNeverSubscribedSendsAnEmptyDestination) {
    EXPECT_EQ(Run(AI_SUB_ID_CONF_CTRL), 0U);
    EXPECT_THAT(Logs(),
                ElementsAre(In(), Found("2 get destination: "), I("<KelStompUnSubscribeService> success")));
    ASSERT_EQ(Fake().frames.size(), 1U);
    EXPECT_STREQ(Fake().frames[0].frame.headers[0].headerName, "destination");
    EXPECT_STREQ(Fake().frames[0].frame.headers[0].headerVal, "");
    EXPECT_EQ(Access::Nodes().size(), 1U);
    EXPECT_EQ(Access::Alive().size(), 1U);
}

TEST_F(UnsubscribeTest, SeveralNodesOfOneServiceGoWithOneFrame) {
    TagQuorAiSubscribeInfo info = SubscribeInfo(AI_SUB_ID_CAPTION);
    Put(info.language, "de-DE");
    Kel().KelStompSubscribeAiCaption(&info);
    Fake().ClearRecords();
    EXPECT_EQ(Run(), 0U);
    ASSERT_EQ(Fake().frames.size(), 1U);
    EXPECT_STREQ(Fake().frames[0].frame.headers[0].headerVal,
                 "/topic/conferences/conf-0123456789/subtitle/de-DE")
        << "the last one";
    EXPECT_THAT(Access::Nodes(), IsEmpty());
}

TEST_F(UnsubscribeTest, LargeModelAnswersAreUnsubscribedUnderTheirCommonPrefix) {
    Subscribe(AI_SUB_ID_LLM_RESULT_KEL);
    EXPECT_EQ(Run(AI_SUB_ID_LLM_RESULT_KEL), 0U);
    EXPECT_STREQ(Fake().frames.at(0).frame.headers[0].headerVal, "/topic/chat/");
}

TEST_F(UnsubscribeTest, TheListOfWantedServicesIsNotTouched) {
    Kel().KelBasicAddSubsEvent(AI_SUB_ID_CAPTION);
    Run();
    EXPECT_EQ(Access::Events().size(), 1U);
}

TEST_F(UnsubscribeTest, HeaderThatDoesNotZero) {
    FailBounded(Fn::MemsetS, 512);
    EXPECT_EQ(Run(), 1U);
    EXPECT_THAT(Logs(), ElementsAre(In(), E("<KelStompUnSubscribeService>: memset_s stHeader failed!")));
    EXPECT_EQ(Access::Nodes().size(), 1U);
}

TEST_F(UnsubscribeTest, FrameThatDoesNotZero) {
    FailBounded(Fn::MemsetS, sizeof(TagQuorOmNmsWebsocketStompFrame));
    EXPECT_EQ(Run(), 1U);
    EXPECT_THAT(Logs(), ElementsAre(In(), E("<KelStompUnSubscribeService>: memset_s stmFrame failed!")));
    EXPECT_EQ(Access::Nodes().size(), 1U);
}

TEST_F(UnsubscribeTest, HeaderNameThatDoesNotCopyIsLoggedAtInfoLevel) {
    Fake().boundedFault = [](const BoundedCall& c) {
        return c.fn == Fn::StrcpyS && c.SourceIs("destination");
    };
    EXPECT_EQ(Run(), 1U);
    EXPECT_THAT(Logs(), ElementsAre(In(), Found(std::string("1 get destination: ") + kCaptionDestination),
                                    I("<KelStompUnSubscribeService>: strcpy_s failed!")));
    EXPECT_THAT(Access::Nodes(), IsEmpty()) << "removed before";
    EXPECT_EQ(Access::Alive().size(), 1U);
    EXPECT_THAT(Fake().frames, IsEmpty());
}

TEST_F(UnsubscribeTest, HeaderValueThatDoesNotCopyIsLoggedAtInfoLevel) {
    Fake().boundedFault = [seen = 0](const BoundedCall& c) mutable {
        // The copy out of the node comes first, the header's value last.
        const bool isCopy = c.fn == Fn::SprintfS || (c.fn == Fn::StrcpyS && !c.SourceIs("destination"));
        return isCopy && c.destMax == 256 && ++seen == 2;
    };
    EXPECT_EQ(Run(), 1U);
    EXPECT_THAT(Logs(), ElementsAre(In(), Found(std::string("1 get destination: ") + kCaptionDestination),
                                    I("<KelStompUnSubscribeService>: sprintf_s failed!")));
    EXPECT_THAT(Fake().frames, IsEmpty());
    EXPECT_EQ(Access::Alive().size(), 1U);
}

TEST_F(UnsubscribeTest, HeadersThatDoNotCopyIntoTheFrame) {
    FailBounded(Fn::MemcpyS, 4096);
    EXPECT_EQ(Run(), 1U);
    EXPECT_EQ(Logs().back(), E("<KelStompUnSubscribeService> failed: memcpy_s headers failed "));
    EXPECT_THAT(Access::Nodes(), IsEmpty());
    EXPECT_EQ(Access::Alive().size(), 1U);
}

TEST_F(UnsubscribeTest, RefusedFrameKeepsTheCounterButNotTheNode) {
    Fake().FailCall(Fn::WsUnsubscribe, 1);
    Fake().SetFailResult(Fn::WsUnsubscribe, 13);
    EXPECT_EQ(Run(), 1U);
    EXPECT_EQ(Logs().back(), E("<KelStompUnSubscribeService>: QuorOmNmsWebsocketUnsubscribe errCode 13"));
    EXPECT_THAT(Access::Nodes(), IsEmpty());
    EXPECT_EQ(Access::Alive().size(), 1U);
}

}  // namespace
}  // namespace QuorTest
