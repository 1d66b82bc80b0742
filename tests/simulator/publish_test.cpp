/* publish_test.cpp - MESSAGE frames in every shape, order, back-pressure, RECEIPTs and what clients send. */
#include <thread>

#include "fixture.h"

namespace quor_test {
namespace {

using namespace std::string_literals;
using quor_simulator::ContentLength;
using quor_simulator::Milliseconds;
using quor_simulator::Options;
using quor_simulator::PublishOptions;
using quor_simulator::RawOptions;

const std::string kTopic = "/topic/conferences/c/subtitle/en";

class Publish : public SimulatorTest {
protected:
    void StartWithSubscriber(const std::string& topic = kTopic, Options options = {}) {
        Start(std::move(options));
        ASSERT_TRUE(Connect(client));
        ASSERT_TRUE(Subscribe(client, "1", topic));
    }
    RawClient client;
};

TEST_F(Publish, ReachesEverySubscriptionOnce) {
    StartWithSubscriber();
    RawClient other;
    ASSERT_TRUE(Connect(other));
    ASSERT_TRUE(Subscribe(other, "a", kTopic));
    ASSERT_TRUE(Subscribe(other, "b", kTopic));
    ASSERT_TRUE(Subscribe(other, "c", "/topic/other"));
    EXPECT_EQ(simulator().Publish(kTopic, "{\"a\":1}"), 3U);
    const auto frame = client.ReadFrame();
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->command, "MESSAGE");
    EXPECT_EQ(frame->Header("destination"), kTopic);
    EXPECT_EQ(frame->Header("content-type"), "application/json");
    EXPECT_EQ(frame->Header("content-length"), "7");
    EXPECT_EQ(frame->Header("subscription"), "1");
    EXPECT_NE(frame->Header("message-id"), "");
    EXPECT_EQ(frame->body, "{\"a\":1}");
    EXPECT_FALSE(client.lastWasBinary());
    EXPECT_EQ(other.ReadFrame()->Header("subscription"), "a");
    EXPECT_EQ(other.ReadFrame()->Header("subscription"), "b");
    EXPECT_EQ(simulator().Publish("/topic/nobody", "x"), 0U);
    const auto statistics = simulator().GetStatistics();
    EXPECT_EQ(statistics.destinations.at(kTopic).published, 1U);
    EXPECT_EQ(statistics.destinations.at(kTopic).delivered, 3U);
    EXPECT_EQ(statistics.destinations.at("/topic/nobody").published, 0U);
    EXPECT_EQ(statistics.destinations.at("/topic/nobody").unheard, 1U);
}

TEST_F(Publish, EndsWithUnsubscribe) {
    StartWithSubscriber();
    client.SendFrame("UNSUBSCRIBE\nid:1\nreceipt:u\n\n");
    EXPECT_EQ(client.ReadFrame()->Header("receipt-id"), "u");
    EXPECT_TRUE(simulator().WaitForSubscriptionCount(0, Milliseconds(0)));
    EXPECT_EQ(simulator().Publish(kTopic, "x"), 0U);
}

TEST_F(Publish, ContentLengthTakesEveryForm) {
    StartWithSubscriber();
    const std::string body = "\xE4\xBD\xA0\xE5\xA5\xBD!";
    PublishOptions options;
    options.contentLength = ContentLength::kBytes;
    simulator().Publish(kTopic, body, options);
    EXPECT_EQ(client.ReadFrame()->Header("content-length"), "7");
    options.contentLength = ContentLength::kCharacters;
    simulator().Publish(kTopic, body, options);
    EXPECT_EQ(client.ReadFrame()->Header("content-length"), "3");
    options.contentLength = ContentLength::kWrong;
    options.wrongLength = 99;
    simulator().Publish(kTopic, body, options);
    EXPECT_EQ(client.ReadFrame()->Header("content-length"), "99");
    options.contentLength = ContentLength::kMissing;
    options.contentType = std::nullopt;
    simulator().Publish(kTopic, body, options);
    const auto frame = client.ReadFrame();
    EXPECT_EQ(frame->Header("content-length"), "");
    EXPECT_EQ(frame->Header("content-type"), "");
    EXPECT_EQ(frame->body, body);
}

TEST_F(Publish, HeadersAreEscapedUnlessForbidden) {
    StartWithSubscriber("/topic/a\\cb");
    PublishOptions options;
    options.extraHeaders = {{"x", "1:2\\3\n4"}};
    EXPECT_EQ(simulator().Publish("/topic/a:b", "x", options), 1U);
    auto frame = client.ReadFrame();
    EXPECT_EQ(frame->Header("destination"), "/topic/a\\cb");
    EXPECT_EQ(frame->Header("x"), "1\\c2\\\\3\\n4");
    options.escape = false;
    options.extraHeaders = {};
    simulator().Publish("/topic/a:b", "x", options);
    EXPECT_EQ(client.ReadFrame()->Header("destination"), "/topic/a:b");
}

TEST_F(Publish, CrlfAndTrailingLineFeeds) {
    StartWithSubscriber();
    PublishOptions options;
    options.crlf = true;
    options.trailingLineFeeds = 2;
    simulator().Publish(kTopic, "body", options);
    const auto message = client.ReadMessage();
    ASSERT_TRUE(message);
    EXPECT_EQ(message->substr(0, 9), "MESSAGE\r\n");
    EXPECT_NE(message->find("\r\n\r\nbody\0\n\n"s), std::string::npos);
}

TEST_F(Publish, DestinationHeaderCanBeAnotherOrNone) {
    StartWithSubscriber();
    PublishOptions options;
    options.destinationHeader = "/topic/unknown";
    simulator().Publish(kTopic, "x", options);
    EXPECT_EQ(client.ReadFrame()->Header("destination"), "/topic/unknown");
    options.destinationHeader = "";
    simulator().Publish(kTopic, "x", options);
    EXPECT_EQ(client.ReadFrame()->Header("destination"), "");
}

TEST_F(Publish, OneFrameOverManyMessages) {
    StartWithSubscriber();
    std::string body;
    for (int i = 0; i < 50; ++i) {
        body += "\xE4\xBD\xA0\xF0\x9F\x98\x80z";
    }
    PublishOptions options;
    options.messages = 40;
    simulator().Publish(kTopic, body, options);
    const auto first = client.ReadMessage();
    ASSERT_TRUE(first);
    std::string whole = *first;
    std::size_t messages = 1;
    while (whole.back() != '\0') {
        const auto next = client.ReadMessage();
        ASSERT_TRUE(next) << client.lastError(); /* text cut inside a character would end the link here */
        whole += *next;
        ++messages;
    }
    EXPECT_GE(messages, 35U);
    EXPECT_NE(whole.find(body), std::string::npos);
}

TEST_F(Publish, FragmentsBinaryAndCopies) {
    StartWithSubscriber();
    PublishOptions options;
    options.fragments = 50;
    options.binary = true;
    options.copies = 3;
    simulator().Publish(kTopic, "{\"t\":\"\xE4\xBD\xA0\"}", options);
    const auto message = client.ReadMessage();
    ASSERT_TRUE(message) << client.lastError();
    EXPECT_TRUE(client.lastWasBinary());
    EXPECT_EQ(std::count(message->begin(), message->end(), '\0'), 3);
}

TEST_F(Publish, MoreMessagesThanBytes) {
    StartWithSubscriber();
    RawOptions options;
    options.messages = 1000;
    options.fragments = 1000;
    EXPECT_EQ(simulator().PublishRaw("abc", options), 1U);
    EXPECT_EQ(client.ReadMessage(), "a");
    EXPECT_EQ(client.ReadMessage(), "b");
    EXPECT_EQ(client.ReadMessage(), "c");
}

TEST_F(Publish, FrameOfOneMegabyteThroughASmallQueue) {
    Options settings;
    settings.linkQueueBytes = 1000;
    StartWithSubscriber(kTopic, settings);
    const std::string body(1U << 20, 'x');
    EXPECT_EQ(simulator().Publish(kTopic, body), 1U);
    const auto frame = client.ReadFrame();
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->body.size(), body.size());
}

TEST_F(Publish, ASlowReaderHoldsThePublisherBack) {
    Options settings;
    settings.linkQueueBytes = 256U << 10;
    StartWithSubscriber(kTopic, settings);
    constexpr int kMessages = 20000; /* far more than queue and socket buffers take */
    const std::string padding(1000, 'p');
    std::size_t reached = 0;
    std::thread publisher([&] {
        for (int i = 0; i < kMessages; ++i) {
            PublishOptions options;
            options.timeout = kPatience;
            reached += simulator().Publish(kTopic, std::to_string(i) + " " + padding, options);
        }
    });
    for (int i = 0; i < kMessages; ++i) {
        const auto frame = client.ReadFrame();
        ASSERT_TRUE(frame) << i;
        ASSERT_EQ(frame->body.substr(0, frame->body.find(' ')), std::to_string(i));
        ASSERT_LE(simulator().Links()[0].queuedBytes, settings.linkQueueBytes + 2048);
    }
    publisher.join();
    EXPECT_EQ(reached, static_cast<std::size_t>(kMessages));
    EXPECT_EQ(simulator().GetStatistics().queueOverflows, 0U);
}

TEST_F(Publish, AReaderThatStandsStillCostsOnlyItsOwnCopies) {
    Options settings;
    settings.linkQueueBytes = 10000;
    StartWithSubscriber(kTopic, settings);
    simulator().FreezeLinks(true);
    PublishOptions options;
    options.timeout = Milliseconds(0);
    const std::string body(6000, 'x');
    std::size_t reached = 0;
    for (int i = 0; i < 5; ++i) {
        reached += simulator().Publish(kTopic, body, options);
    }
    EXPECT_GE(reached, 1U);
    EXPECT_LE(reached, 3U); /* one may be with the frozen socket already */
    EXPECT_EQ(simulator().GetStatistics().queueOverflows, 5 - reached);
}

TEST_F(Publish, StopReleasesAWaitingPublisher) {
    Options settings;
    settings.linkQueueBytes = 1000;
    StartWithSubscriber(kTopic, settings);
    simulator().FreezeLinks(true);
    std::thread publisher([&] {
        PublishOptions options;
        options.timeout = kPatience;
        while (simulator().Publish(kTopic, std::string(900, 'x'), options) != 0) {
        }
    });
    const auto begin = std::chrono::steady_clock::now();
    simulator().Stop();
    publisher.join();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, kPatience);
}

TEST_F(Publish, RawTextsReachConnectedLinks) {
    Start();
    RawClient connecting;
    ASSERT_TRUE(connecting.Connect(simulator().port(), simulator().caFile()).ok);
    ASSERT_TRUE(Connect(client));
    EXPECT_EQ(simulator().PublishRaw("any\0thing"s), 1U);
    EXPECT_EQ(client.ReadMessage(), "any\0thing"s);
    RawOptions options;
    options.onlyLink = simulator().Links()[0].id;
    EXPECT_EQ(simulator().PublishRaw("x", options), 1U);
    EXPECT_EQ(connecting.ReadMessage(), "x");
}

TEST_F(Publish, AcknowledgedSubscriptionsGetAnAckHeader) {
    Start();
    ASSERT_TRUE(Connect(client));
    ASSERT_TRUE(Subscribe(client, "1", "/x", "ack:client-individual\n"));
    simulator().Publish("/x", "body");
    const auto frame = client.ReadFrame();
    EXPECT_NE(frame->Header("ack"), "");
    EXPECT_TRUE(client.SendFrame("ACK\nid:" + frame->Header("ack") + "\nreceipt:a\n\n"));
    EXPECT_EQ(client.ReadFrame()->Header("receipt-id"), "a");
}

TEST_F(Publish, SendsAreKeptAndCounted) {
    Options settings;
    settings.receivedKept = 2;
    Start(settings);
    ASSERT_TRUE(Connect(client));
    for (const char* body : {"1", "2", "3"}) {
        client.SendFrame("SEND\ndestination:/app/x\nname:a\\cb\n\n"s + body);
    }
    ASSERT_TRUE(simulator().WaitForReceived("/app/x", 3, kPatience));
    const auto received = simulator().Received();
    ASSERT_EQ(received.size(), 2U);
    EXPECT_EQ(received[0].body, "2");
    EXPECT_EQ(received[1].body, "3");
    EXPECT_EQ(received[1].destination, "/app/x");
    EXPECT_EQ(received[1].headers[1].second, "a:b");
    EXPECT_EQ(received[1].link, simulator().Links()[0].id);
    EXPECT_EQ(simulator().GetStatistics().destinations.at("/app/x").received, 3U);
    simulator().ClearReceived();
    EXPECT_TRUE(simulator().Received().empty());
    EXPECT_FALSE(simulator().WaitForReceived("/app/x", 1, Milliseconds(0)));
}

TEST_F(Publish, SeveralFramesInOneMessageAndOneFrameInSeveral) {
    Start();
    ASSERT_TRUE(Connect(client));
    client.SendRaw("SEND\ndestination:/a\n\n1\0\nSEND\ndestination:/a\n\n2\0SEND\nde"s);
    client.SendRaw("stination:/a\n\n"s, true);
    client.SendRaw("3\0\n\n"s);
    ASSERT_TRUE(simulator().WaitForReceived("/a", 3, kPatience));
    EXPECT_EQ(simulator().Received()[2].body, "3");
}

TEST_F(Publish, CapabilityReportIsAnswered) {
    Start();
    ASSERT_TRUE(Connect(client));
    client.SendFrame(
        "SEND\ndestination:/terminal/parameter\ntoken:t\nconferenceId:c\nuri:u\n\n"
        "{\"supportOverlayPause\":1}");
    const auto frame = client.ReadFrame();
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->command, "MESSAGE");
    EXPECT_EQ(frame->Header("destination"), "/terminal/parameter");
    EXPECT_EQ(frame->body, "{\"result\":0}");
}

constexpr char kModelRequest[] =
    "SEND\ndestination:/terminal/chat/v1/completions\ntoken:t\nseqNum:7\nreqType:FREE_CHAT\n\n"
    "{\"confId\":\"c\",\"uri\":\"u\",\"content\":\"hello\"}";

TEST_F(Publish, ModelAnswersStreamToTheTopic) {
    StartWithSubscriber("/topic/chat/c/u");
    client.SendFrame(kModelRequest);
    for (int piece = 0; piece < 5; ++piece) {
        const auto frame = client.ReadFrame();
        ASSERT_TRUE(frame);
        EXPECT_EQ(frame->Header("destination"), "/topic/chat/c/u");
        EXPECT_NE(frame->body.find("\"seqNum\":\"7\""), std::string::npos);
        EXPECT_NE(frame->body.find("\"piece\":" + std::to_string(piece)), std::string::npos);
        EXPECT_EQ(frame->body.find("\"final\":true") != std::string::npos, piece == 4);
    }
}

TEST_F(Publish, ManagementLinkGetsRawTexts) {
    Start();
    ConnectOptions options;
    options.authorization = std::nullopt;
    ASSERT_TRUE(client.Connect(simulator().port(), simulator().caFile(), options).ok);
    client.SendFrame("CONNECT\naccept-version:1.2\n\n");
    ASSERT_EQ(client.ReadFrame()->command, "CONNECTED");
    client.SendFrame(
        "SEND\nmodelVersion:DeepSeek-V3\nseqNum:3\nreqType:FREE_CHAT\nroundCnt:1\n\n"
        "{\"content\":\"hi\"}");
    for (int piece = 0; piece < 5; ++piece) {
        const auto text = client.ReadMessage();
        ASSERT_TRUE(text);
        EXPECT_EQ(text->front(), '{');
        EXPECT_NE(text->find("\"seqNum\":\"3\""), std::string::npos);
    }
    EXPECT_EQ(simulator().GetStatistics().destinations.at("(management link)").received, 1U);
}

TEST_F(Publish, ManagementAnswersCanBeFrames) {
    Options settings;
    settings.managerAnswer = quor_simulator::ManagerAnswer::kMessageFrame;
    Start(settings);
    ConnectOptions options;
    options.authorization = std::nullopt;
    ASSERT_TRUE(client.Connect(simulator().port(), simulator().caFile(), options).ok);
    client.SendFrame("CONNECT\naccept-version:1.2\n\n");
    ASSERT_EQ(client.ReadFrame()->command, "CONNECTED");
    client.SendFrame(
        "SEND\nmodelVersion:DeepSeek-V3\nseqNum:3\nreqType:FREE_CHAT\nroundCnt:1\n\n"
        "{\"content\":\"hi\"}");
    EXPECT_EQ(client.ReadFrame()->command, "MESSAGE");
}

}  // namespace
}  // namespace quor_test
