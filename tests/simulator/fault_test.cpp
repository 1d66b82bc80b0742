/* fault_test.cpp - broken frames from the client, and every fault that the simulator produces on command. */
#include "fixture.h"

namespace quor_test {
namespace {

using namespace std::string_literals;
using quor_simulator::Drop;
using quor_simulator::Malformed;
using quor_simulator::Milliseconds;
using quor_simulator::Options;

const std::string kTopic = "/topic/conferences/c/subtitle/en";

class Fault : public SimulatorTest {
protected:
    void StartWithSubscriber(Options options = {}) {
        Start(std::move(options));
        ASSERT_TRUE(Connect(client));
        ASSERT_TRUE(Subscribe(client, "1", kTopic));
    }
    /* An ERROR with that message arrives, then the link ends with close code 1002. */
    static void ExpectError(RawClient& link, const std::string& message) {
        const auto frame = link.ReadFrame();
        ASSERT_TRUE(frame) << link.lastError();
        EXPECT_EQ(frame->command, "ERROR");
        EXPECT_EQ(frame->Header("message"), message);
        EXPECT_TRUE(link.WaitForEnd());
        EXPECT_EQ(link.closeCode(), 1002);
    }
    RawClient client;
};

struct BadFrame {
    const char* name;
    std::string bytes;
    std::string message;
};
class BadFrameFault : public Fault, public ::testing::WithParamInterface<BadFrame> {};

TEST_P(BadFrameFault, IsAnsweredWithErrorAndTheEnd) {
    Start();
    ASSERT_TRUE(Connect(client));
    ASSERT_TRUE(client.SendRaw(GetParam().bytes));
    ExpectError(client, GetParam().message);
    EXPECT_TRUE(simulator().WaitForNoLinks(kPatience));
    EXPECT_EQ(simulator().GetStatistics().protocolErrors, 1U);
    EXPECT_EQ(simulator().GetStatistics().lastErrors.at(GetParam().message), 1U);
}

INSTANTIATE_TEST_SUITE_P(
    All, BadFrameFault,
    ::testing::Values(
        BadFrame{"UnknownCommand", "HELLO\n\n\0"s, "unknown command"},
        BadFrame{"NoColon", "SEND\ndestination\n\n\0"s, "malformed header line"},
        BadFrame{"NoHeaderEnd", "SEND\ndestination:/a\0"s, "no empty line after the headers"},
        BadFrame{"BadEscape", "SEND\ndestination:\\x\n\n\0"s, "undefined escape in a header"},
        BadFrame{"NoNul", "SEND\ndestination:/a\ncontent-length:1\n\nabc"s,
                 "no NUL after a body of content-length bytes"},
        BadFrame{"Oversize", "SEND\ndestination:/a\n\n" + std::string(3U << 20, 'x'),
                 "frame larger than 1048576 bytes"},
        BadFrame{"NoId", "SUBSCRIBE\ndestination:/a\n\n\0"s, "SUBSCRIBE without id"},
        BadFrame{"NoToken", "SUBSCRIBE\nid:1\ndestination:/topic/conferences/c\n\n\0"s, "token refused"},
        BadFrame{"TwiceTheId", "SUBSCRIBE\nid:1\ndestination:/a\n\n\0SUBSCRIBE\nid:1\ndestination:/b\n\n\0"s,
                 "subscription id in use"},
        BadFrame{"SecondConnect", "CONNECT\naccept-version:1.2\n\n\0"s, "already connected"}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_F(Fault, FrameBeforeConnect) {
    Start();
    ASSERT_TRUE(client.Connect(simulator().port(), simulator().caFile()).ok);
    client.SendFrame("SUBSCRIBE\nid:1\ndestination:/a\n\n");
    ExpectError(client, "CONNECT expected");
}

TEST_F(Fault, TokensAreCheckedPerSubscription) {
    Options settings;
    settings.tokens = {"alpha", "beta"};
    Start(settings);
    ASSERT_TRUE(Connect(client));
    EXPECT_TRUE(Subscribe(client, "1", kTopic, "token:alpha\n"));
    EXPECT_TRUE(Subscribe(client, "2", "/topic/terminal/t/subtitleoverlay", "token:beta\n"));
    EXPECT_TRUE(Subscribe(client, "3", "/topic/chat/c/u", ""));
    simulator().SetTokens({"gamma"});
    EXPECT_EQ(simulator().Subscriptions().size(), 3U);
    client.SendFrame("SUBSCRIBE\nid:4\ndestination:" + kTopic + "\ntoken:alpha\n\n");
    ExpectError(client, "token refused");
}

TEST_F(Fault, RevokedTokensEndTheirLinks) {
    StartWithSubscriber();
    RawClient other;
    ASSERT_TRUE(Connect(other));
    ASSERT_TRUE(Subscribe(other, "1", kTopic, "token:new\n"));
    simulator().SetTokens({"new"}, true);
    ExpectError(client, "token refused");
    EXPECT_EQ(simulator().Publish(kTopic, "x"), 1U);
    EXPECT_EQ(other.ReadFrame()->body, "x");
}

TEST_F(Fault, DropWithCloseFrameDeliversWhatWasQueued) {
    StartWithSubscriber();
    for (int i = 0; i < 100; ++i) {
        simulator().Publish(kTopic, std::to_string(i));
    }
    EXPECT_EQ(simulator().DropLinks(Drop::kCloseFrame, 4321, "maintenance"), 1U);
    EXPECT_TRUE(simulator().WaitForSubscriptionCount(0, Milliseconds(0)));
    EXPECT_EQ(simulator().Publish(kTopic, "late"), 0U);
    for (int i = 0; i < 100; ++i) {
        const auto frame = client.ReadFrame();
        ASSERT_TRUE(frame) << i;
        EXPECT_EQ(frame->body, std::to_string(i));
    }
    EXPECT_TRUE(client.WaitForEnd());
    EXPECT_EQ(client.closeCode(), 4321);
    EXPECT_TRUE(simulator().WaitForNoLinks(kPatience));
    EXPECT_EQ(simulator().GetStatistics().linksDropped, 1U);
    EXPECT_EQ(simulator().GetStatistics().linksEnded, 1U);
}

TEST_F(Fault, DropWithoutCloseFrame) {
    StartWithSubscriber();
    simulator().Publish(kTopic, "last");
    EXPECT_EQ(simulator().DropLinks(Drop::kNoCloseFrame), 1U);
    EXPECT_EQ(client.ReadFrame()->body, "last");
    EXPECT_TRUE(client.WaitForEnd());
    EXPECT_EQ(client.closeCode(), std::nullopt);
    client.Abandon();
    EXPECT_TRUE(simulator().WaitForNoLinks(kPatience));
}

TEST_F(Fault, DropWithReset) {
    StartWithSubscriber();
    EXPECT_EQ(simulator().DropLinks(Drop::kReset), 1U);
    EXPECT_TRUE(client.WaitForEnd());
    EXPECT_EQ(client.closeCode(), std::nullopt);
    EXPECT_TRUE(simulator().WaitForNoLinks(kPatience));
}

TEST_F(Fault, DropOneOfTwo) {
    StartWithSubscriber();
    RawClient other;
    ASSERT_TRUE(Connect(other));
    const auto first = simulator().Links()[0].id;
    EXPECT_EQ(simulator().DropLinks(Drop::kReset, 0, "", first), 1U);
    EXPECT_TRUE(client.WaitForEnd());
    EXPECT_TRUE(simulator().WaitForLinkCount(1, kPatience));
    EXPECT_NE(simulator().Links()[0].id, first);
}

TEST_F(Fault, IllegalCloseCodeIsSent) {
    StartWithSubscriber();
    simulator().DropLinks(Drop::kCloseFrame, 1005, "");
    EXPECT_TRUE(client.WaitForEnd());
}

TEST_F(Fault, FrozenLinkNeitherReadsNorWrites) {
    StartWithSubscriber();
    EXPECT_EQ(simulator().FreezeLinks(true), 1U);
    EXPECT_TRUE(simulator().Links()[0].frozen);
    EXPECT_EQ(simulator().Publish(kTopic, "while frozen"), 1U);
    client.SendFrame("SEND\ndestination:/app/x\n\nsent while frozen");
    EXPECT_FALSE(client.ReadMessage(Milliseconds(300)));
    EXPECT_FALSE(simulator().WaitForReceived("/app/x", 1, Milliseconds(0)));

    RawClient other; /* later links are not frozen */
    ASSERT_TRUE(Connect(other));
    ASSERT_TRUE(Subscribe(other, "1", "/x", ""));

    EXPECT_EQ(simulator().FreezeLinks(false), 1U);
    EXPECT_EQ(client.ReadFrame()->body, "while frozen");
    EXPECT_TRUE(simulator().WaitForReceived("/app/x", 1, kPatience));
}

TEST_F(Fault, FrozenLinkCanBeDropped) {
    StartWithSubscriber();
    simulator().FreezeLinks(true);
    EXPECT_EQ(simulator().DropLinks(Drop::kReset), 1U);
    EXPECT_TRUE(client.WaitForEnd());
    EXPECT_TRUE(simulator().WaitForNoLinks(kPatience));
}

TEST_F(Fault, FrozenLinkWhoseClientLeavesIsClearedAtStop) {
    StartWithSubscriber();
    simulator().FreezeLinks(true);
    client.Abandon();
    simulator().Stop();
    EXPECT_TRUE(simulator().Links().empty());
}

TEST_F(Fault, MalformedFramesGoOut) {
    StartWithSubscriber();
    const std::pair<Malformed, std::string> cases[] = {
        {Malformed::kNoHeaderEnd, "MESSAGE\ndestination:/topic/x\n\0"s},
        {Malformed::kNoColon, "MESSAGE\ndestination\n\nbody\0"s},
        {Malformed::kUnknownCommand, "MESSENGER\n\nbody\0"s},
        {Malformed::kNoDestination, "MESSAGE\nsubscription:1\nmessage-id:1\n\nbody\0"s}};
    for (const auto& [form, bytes] : cases) {
        EXPECT_EQ(simulator().PublishMalformed(form), 1U);
        EXPECT_EQ(client.ReadMessage(), bytes);
    }
    EXPECT_EQ(simulator().PublishMalformed(Malformed::kNotStomp), 1U);
    EXPECT_TRUE(client.ReadMessage());
}

TEST_F(Fault, ReceiptsCanBeWithheld) {
    Start();
    ASSERT_TRUE(Connect(client));
    simulator().WithholdReceipts(true);
    client.SendFrame("SUBSCRIBE\nid:1\ndestination:/x\nreceipt:r\n\n");
    ASSERT_TRUE(simulator().WaitForSubscription("/x", kPatience));
    simulator().WithholdReceipts(false);
    client.SendFrame("SEND\ndestination:/y\nreceipt:s\n\n");
    EXPECT_EQ(client.ReadFrame()->Header("receipt-id"), "s");
}

TEST_F(Fault, DisconnectIsReceiptedAndClosed) {
    StartWithSubscriber();
    client.SendFrame("DISCONNECT\nreceipt:bye\n\n");
    EXPECT_EQ(client.ReadFrame()->Header("receipt-id"), "bye");
    EXPECT_TRUE(client.WaitForEnd());
    EXPECT_EQ(client.closeCode(), 1000);
    EXPECT_TRUE(simulator().WaitForNoLinks(kPatience));
}

TEST_F(Fault, ClientCloseFreesTheSubscriptions) {
    StartWithSubscriber();
    EXPECT_TRUE(client.Close());
    EXPECT_TRUE(simulator().WaitForSubscriptionCount(0, kPatience));
    EXPECT_TRUE(simulator().WaitForNoLinks(kPatience));
}

TEST_F(Fault, HeartBeatsGoOutUnlessMuted) {
    Options settings;
    settings.heartBeatSend = Milliseconds(50);
    Start(settings);
    ASSERT_TRUE(Connect(client, "CONNECT\naccept-version:1.2\nheart-beat:0,50\n\n"));
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(client.ReadMessage(), "\n");
    }
    simulator().MuteHeartBeats(true);
    while (client.ReadMessage(Milliseconds(300))) { /* those that were on their way */
    }
    simulator().MuteHeartBeats(false);
    EXPECT_EQ(client.ReadMessage(), "\n");
    EXPECT_GE(simulator().GetStatistics().heartBeatsOut, 4U);
}

TEST_F(Fault, SilentClientIsDropped) {
    Options settings;
    settings.heartBeatReceive = Milliseconds(50);
    Start(settings);
    ASSERT_TRUE(Connect(client, "CONNECT\naccept-version:1.2\nheart-beat:50,0\n\n"));
    ExpectError(client, "no heart-beat");
    EXPECT_EQ(simulator().GetStatistics().silentLinksEnded, 1U);
}

TEST_F(Fault, HeartBeatsOfTheClientAreCounted) {
    StartWithSubscriber();
    client.SendRaw("\n");
    client.SendFrame("SEND\ndestination:/a\n\n");
    ASSERT_TRUE(simulator().WaitForReceived("/a", 1, kPatience));
    EXPECT_EQ(simulator().GetStatistics().heartBeatsIn, 1U);
}

TEST_F(Fault, SlowSendingLimitsTheRate) {
    StartWithSubscriber();
    simulator().SlowSending(100000);
    const auto begin = std::chrono::steady_clock::now();
    const std::string body(30000, 'x');
    simulator().Publish(kTopic, body);
    const auto frame = client.ReadFrame();
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->body.size(), body.size());
    EXPECT_GE(std::chrono::steady_clock::now() - begin, Milliseconds(150));
}

TEST_F(Fault, FlushWaitsForTheQueues) {
    StartWithSubscriber();
    EXPECT_TRUE(simulator().Flush(kPatience));
    simulator().SlowSending(1000);
    simulator().Publish(kTopic, std::string(100000, 'x'));
    EXPECT_FALSE(simulator().Flush(Milliseconds(50)));
    simulator().SlowSending(0);
    EXPECT_TRUE(simulator().Flush(kPatience));
}

TEST_F(Fault, FiftyDropsLeaveNothingBehind) {
    Start();
    const Drop kinds[] = {Drop::kCloseFrame, Drop::kNoCloseFrame, Drop::kReset};
    for (std::size_t i = 0; i < 50; ++i) {
        RawClient link;
        ASSERT_TRUE(Connect(link)) << i;
        ASSERT_TRUE(Subscribe(link, "1", kTopic));
        ASSERT_TRUE(simulator().WaitForSubscriptionCount(1, kPatience));
        ASSERT_EQ(simulator().DropLinks(kinds[i % 3]), 1U);
        ASSERT_TRUE(link.WaitForEnd());
    }
    EXPECT_TRUE(simulator().WaitForNoLinks(kPatience));
    EXPECT_EQ(simulator().GetStatistics().linksEnded, 50U);
}

}  // namespace
}  // namespace quor_test
