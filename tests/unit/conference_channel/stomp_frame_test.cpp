#include "conference_channel/stomp_frame.h"

#include <cstring>

#include "support/channel_test.h"

namespace QuorTest {
namespace {

class StompFrameTest : public ChannelTest {
protected:
    unsigned Parse(const std::string& text) {
        m_text = text;
        m_msg = {};
        return Access::ParseFrame(m_text.data(), static_cast<unsigned>(std::strlen(m_text.c_str())), &m_msg);
    }
    unsigned Header(const std::string& text, const char* name, unsigned capacity = 32) {
        m_text = text;
        std::memset(m_out, 0, sizeof(m_out));
        return Access::HeaderValue(m_text.data(), name, m_out, capacity);
    }

    std::string m_text;
    tagRestStompMessage m_msg{};
    char m_out[64];
};

TEST_F(StompFrameTest, HeaderNullArguments) {
    char text[] = "a:b\n";
    EXPECT_EQ(Access::HeaderValue(nullptr, "a:", m_out, 8), 1U);
    EXPECT_EQ(Access::HeaderValue(text, nullptr, m_out, 8), 1U);
    EXPECT_EQ(Access::HeaderValue(text, "a:", nullptr, 8), 1U);
    const LogLine line = E("<RestStompGetHeaderStrval>: invalid params!");
    EXPECT_THAT(Logs(), ElementsAre(line, line, line));
}

TEST_F(StompFrameTest, MissingHeaderIsSilentInTheReader) {
    EXPECT_EQ(Header("MESSAGE\nb:c\n\n", "a:"), 1U);
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(StompFrameTest, ValueStartsRightAfterTheNameAndKeepsBlanks) {
    EXPECT_EQ(Header("a: b \n", "a:"), 0U);
    EXPECT_STREQ(m_out, " b ");
}

TEST_F(StompFrameTest, CarriageReturnIsPartOfTheValue) {
    EXPECT_EQ(Header("a:b\r\n", "a:"), 0U);
    EXPECT_STREQ(m_out, "b\r");
}

TEST_F(StompFrameTest, FirstOccurrenceAnywhereCounts) {
    EXPECT_EQ(Header("x-destination:one\ndestination:two\n", "destination:"), 0U);
    EXPECT_STREQ(m_out, "one") << "a substring of another header's name matches";
}

TEST_F(StompFrameTest, NamesAreCaseSensitive) {
    EXPECT_EQ(Header("Destination:one\n", "destination:"), 1U);
}

TEST_F(StompFrameTest, ValueWithoutLineFeed) {
    EXPECT_EQ(Header("a:b", "a:"), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<RestStompGetHeaderStrval>: find ValueEnd failed!")));
}

TEST_F(StompFrameTest, EmptyValue) {
    EXPECT_EQ(Header("a:\n", "a:"), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<RestStompGetHeaderStrval>: ValueLen is 0")));
}

TEST_F(StompFrameTest, ValueOfExactlyTheCapacityIsCopiedWithoutTerminator) {
    EXPECT_EQ(Header("a:0123\n", "a:", 4), 0U);
    EXPECT_STREQ(m_out, "0123");
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(StompFrameTest, OverlongValueReturnsTheResultOfTheLogCall) {
    m_text = "a:01234\n";
    std::memset(m_out, 'x', sizeof(m_out));
    EXPECT_EQ(Access::HeaderValue(m_text.data(), "a:", m_out, 4), 0U);
    EXPECT_THAT(Logs(), ElementsAre(E("<RestStompGetHeaderStrval>: memcpy failed!")));
    EXPECT_EQ(std::string(m_out, 5), std::string("\0\0\0\0x", 5)) << "cleared, and only to its capacity";
    Fake().FailCall(Fn::ModuleLog, 1);
    Fake().SetFailResult(Fn::ModuleLog, 0x77);
    EXPECT_EQ(Header("a:01234\n", "a:", 4), 0x77U);
}

TEST_F(StompFrameTest, ParsesDestinationTypeLengthAndBody) {
    EXPECT_EQ(Parse("MESSAGE\ndestination:/t/1\ncontent-type:application/json\ncontent-length:5\n\nhello"),
              0U);
    EXPECT_STREQ(m_msg.destination, "/t/1");
    EXPECT_STREQ(m_msg.contentType, "application/json");
    EXPECT_STREQ(m_msg.contentLength, "5");
    EXPECT_EQ(m_msg.body, m_text.c_str() + m_text.size() - 5) << "the body stays in the frame's text";
    EXPECT_EQ(m_msg.bodyLen, 5U);
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(StompFrameTest, TheCommandIsNotLookedAt) {
    EXPECT_EQ(Parse("destination:/t/1\ncontent-type:x\ncontent-length:5\n\nhello"), 0U);
    EXPECT_EQ(Parse("ERROR\ncontent-type:x\ndestination:/t/1\ncontent-length:5\n\nhello"), 0U);
}

TEST_F(StompFrameTest, InvalidParameters) {
    char text[] = "MESSAGE\ndestination:a\ncontent-type:b\n\n";
    EXPECT_EQ(Access::ParseFrame(text, 0, &m_msg), 1U);
    EXPECT_EQ(Access::ParseFrame(nullptr, 5, &m_msg), 1U);
    EXPECT_EQ(Access::ParseFrame(text, 5, nullptr), 1U);
    const LogLine line = E("<KelParseStompMessgae>: stomp_onmsg:invalid params!");
    EXPECT_THAT(Logs(), ElementsAre(line, line, line));
}

TEST_F(StompFrameTest, TheLengthGivenIsNoBound) {
    m_text = "destination:/t/1\ncontent-type:x\ncontent-length:5\n\nhello";
    EXPECT_EQ(Access::ParseFrame(m_text.data(), 1, &m_msg), 0U);
    EXPECT_EQ(m_msg.bodyLen, 5U);
}

TEST_F(StompFrameTest, MissingDestination) {
    EXPECT_EQ(Parse("MESSAGE\ncontent-type:x\n\nbody"), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelParseStompMessgae>: stomp_onmsg:get destination failed!")));
}

TEST_F(StompFrameTest, DestinationWithoutLineFeed) {
    EXPECT_EQ(Parse("MESSAGE\ndestination:/t/1"), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<RestStompGetHeaderStrval>: find ValueEnd failed!"),
                                    E("<KelParseStompMessgae>: stomp_onmsg:get destination failed!")));
}

TEST_F(StompFrameTest, EmptyDestination) {
    EXPECT_EQ(Parse("MESSAGE\ndestination:\ncontent-type:x\n\n"), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<RestStompGetHeaderStrval>: ValueLen is 0"),
                                    E("<KelParseStompMessgae>: stomp_onmsg:get destination failed!")));
}

TEST_F(StompFrameTest, MissingContentType) {
    EXPECT_EQ(Parse("MESSAGE\ndestination:/t/1\n\nbody"), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelParseStompMessgae>: stomp_onmsg:get content-type failed!")));
    EXPECT_STREQ(m_msg.destination, "/t/1") << "the record is left partly filled";
}

TEST_F(StompFrameTest, MissingContentLengthIsOnlyLogged) {
    EXPECT_EQ(Parse("MESSAGE\ndestination:/t/1\ncontent-type:x\n\nbody"), 0U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelParseStompMessgae>: stomp_onmsg:get content-length failed!")));
    EXPECT_EQ(m_msg.bodyLen, 4U);
}

TEST_F(StompFrameTest, NoEmptyLine) {
    EXPECT_EQ(Parse("MESSAGE\ndestination:/t/1\ncontent-type:x\ncontent-length:1\nbody"), 1U);
    EXPECT_THAT(Logs(),
                ElementsAre(E("<KelParseStompMessgae>: stomp_onmsg:invalid msg, can not find body!")));
}

TEST_F(StompFrameTest, EmptyLineOfCarriageReturnAndLineFeedIsNotRecognised) {
    EXPECT_EQ(Parse("MESSAGE\r\ndestination:/t/1\r\ncontent-type:x\r\ncontent-length:4\r\n\r\nbody"), 1U);
    EXPECT_THAT(Logs(),
                ElementsAre(E("<KelParseStompMessgae>: stomp_onmsg:invalid msg, can not find body!")));
    Fake().ClearRecords();
    EXPECT_EQ(Parse("MESSAGE\r\ndestination:/t/1\r\ncontent-type:x\r\ncontent-length:4\r\n\r\nbo\n\ndy"), 0U);
    EXPECT_STREQ(m_msg.body, "dy") << "unless two line feeds stand elsewhere";
    EXPECT_STREQ(m_msg.destination, "/t/1\r");
}

TEST_F(StompFrameTest, EmptyBody) {
    EXPECT_EQ(Parse("MESSAGE\ndestination:/t/1\ncontent-type:x\ncontent-length:0\n\n"), 0U);
    EXPECT_EQ(m_msg.bodyLen, 0U);
    EXPECT_STREQ(m_msg.body, "");
}

TEST_F(StompFrameTest, BodyStartsAtTheFirstEmptyLineAndContentLengthIsNotCompared) {
    EXPECT_EQ(Parse("MESSAGE\ndestination:/t/1\ncontent-type:x\ncontent-length:999\n\na\n\nb"), 0U);
    EXPECT_STREQ(m_msg.body, "a\n\nb");
    EXPECT_EQ(m_msg.bodyLen, 4U);
    EXPECT_STREQ(m_msg.contentLength, "999");
}

TEST_F(StompFrameTest, HeadersAreFoundInTheBodyToo) {
    EXPECT_EQ(Parse("MESSAGE\ncontent-type:x\ncontent-length:1\n\ndestination:/from/body\n"), 0U);
    EXPECT_STREQ(m_msg.destination, "/from/body");
}

TEST_F(StompFrameTest, LongestValuesKeepTheirTerminators) {
    const std::string d(255, 'd');
    const std::string t(255, 't');
    const std::string l(31, '1');
    EXPECT_EQ(Parse("destination:" + d + "\ncontent-type:" + t + "\ncontent-length:" + l + "\n\nb"), 0U);
    EXPECT_EQ(m_msg.destination, d);
    EXPECT_EQ(m_msg.contentType, t);
    EXPECT_EQ(m_msg.contentLength, l);
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(StompFrameTest, OverlongValuesBecomeEmptyAndParsingGoesOn) {
    const std::string d(256, 'd');
    const std::string t(256, 't');
    const std::string l(32, '1');
    EXPECT_EQ(Parse("destination:" + d + "\ncontent-type:" + t + "\ncontent-length:" + l + "\n\nb"), 0U);
    EXPECT_STREQ(m_msg.destination, "");
    EXPECT_STREQ(m_msg.contentType, "");
    EXPECT_STREQ(m_msg.contentLength, "");
    EXPECT_EQ(m_msg.bodyLen, 1U);
    const LogLine line = E("<RestStompGetHeaderStrval>: memcpy failed!");
    EXPECT_THAT(Logs(), ElementsAre(line, line, line));
}

TEST_F(StompFrameTest, CapacitiesGivenToTheCopiesLeaveRoomForTheZero) {
    Parse("destination:/t/1\ncontent-type:x\ncontent-length:1\n\nb");
    std::vector<std::size_t> capacities;
    for (const BoundedCall& call : Fake().boundedCalls) {
        capacities.push_back(call.destMax);
        EXPECT_EQ(call.fn, Fn::MemcpyS);
    }
    EXPECT_THAT(capacities, ElementsAre(255U, 255U, 31U));
}

TEST_F(StompFrameTest, OverlongDestinationEndsTheParseWhenTheLogCallFails) {
    Fake().FailCall(Fn::ModuleLog, 1);
    EXPECT_EQ(Parse("destination:" + std::string(256, 'd') + "\ncontent-type:x\n\nb"), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<RestStompGetHeaderStrval>: memcpy failed!"),
                                    E("<KelParseStompMessgae>: stomp_onmsg:get destination failed!")));
}

TEST_F(StompFrameTest, LengthsAreTracedFromLevelThree) {
    const std::string frame = "destination:/t/1\ncontent-type:x\ncontent-length:1\n\nbody";
    Fake().traceLevel = 2;
    Parse(frame);
    EXPECT_THAT(TraceTexts(), IsEmpty());
    Fake().traceLevel = 3;
    Parse(frame);
    EXPECT_THAT(TraceTexts(), ElementsAre("<KelParseStompMessgae> DataLen = " + std::to_string(frame.size()) +
                                          ", parseDataLen = 4"));
}

TEST_F(StompFrameTest, RecordLayout) {
    EXPECT_EQ(sizeof(tagRestStompMessage), 560U);
    EXPECT_EQ(offsetof(tagRestStompMessage, contentType), 256U);
    EXPECT_EQ(offsetof(tagRestStompMessage, contentLength), 512U);
    EXPECT_EQ(offsetof(tagRestStompMessage, body), 544U);
    EXPECT_EQ(offsetof(tagRestStompMessage, bodyLen), 552U);
}

}  // namespace
}  // namespace QuorTest
