#include "stomp_session.h"

#include <gtest/gtest.h>

namespace quor_simulator::stomp {
namespace {

class TestPolicy : public Policy {
public:
    bool TokenAccepted(std::string_view token) override { return token == "good"; }
    std::optional<std::string> ConnectRefusal() override { return refusal; }
    bool ReceiptsWithheld() override { return withheld; }

    std::optional<std::string> refusal;
    bool withheld = false;
};

class StompSession : public ::testing::Test {
protected:
    static SessionSettings Settings() {
        SessionSettings settings;
        settings.sessionId = "s1";
        settings.heartBeatSend = Milliseconds(4000);
        settings.heartBeatReceive = Milliseconds(5000);
        settings.maxSubscriptions = 3;
        settings.maxTransactionBytes = 5000;
        return settings;
    }

    Outcome Handle(const std::string& command, HeaderList headers = {}, std::string body = {}) {
        return session.Handle({command, std::move(headers), std::move(body)}, policy);
    }
    void Connect(const std::string& version = "1.2") {
        ASSERT_TRUE(Handle("CONNECT", {{"accept-version", version}}).connected);
    }
    /* The frame was refused with this text and the link ends. */
    static void ExpectError(const Outcome& outcome, const std::string& message) {
        EXPECT_EQ(outcome.error, message);
        EXPECT_TRUE(outcome.end);
        ASSERT_FALSE(outcome.replies.empty());
        EXPECT_EQ(outcome.replies.back().command, "ERROR");
        ASSERT_NE(outcome.replies.back().Find("message"), nullptr);
        EXPECT_EQ(*outcome.replies.back().Find("message"), message);
    }

    TestPolicy policy;
    Session session{Settings()};
};

TEST_F(StompSession, ConnectIsAnsweredWithTheHighestCommonVersion) {
    const Outcome outcome =
        Handle("CONNECT", {{"accept-version", "1.0, 1.1,1.2,2.0"}, {"heart-beat", "0,0"}});
    ASSERT_EQ(outcome.replies.size(), 1U);
    const Frame& frame = outcome.replies[0];
    EXPECT_EQ(frame.command, "CONNECTED");
    EXPECT_EQ(*frame.Find("version"), "1.2");
    EXPECT_EQ(*frame.Find("session"), "s1");
    EXPECT_NE(frame.Find("server"), nullptr);
    EXPECT_EQ(*frame.Find("heart-beat"), "4000,5000");
    EXPECT_TRUE(session.connected());
    EXPECT_EQ(session.version(), Version::k12);
}

TEST_F(StompSession, StompIsAnotherNameForConnect) {
    EXPECT_TRUE(Handle("STOMP", {{"accept-version", "1.1"}}).connected);
    EXPECT_EQ(session.version(), Version::k11);
}

TEST_F(StompSession, WithoutAcceptVersionItIs10WithoutHeartBeat) {
    const Outcome outcome = Handle("CONNECT", {{"heart-beat", "10,10"}});
    ASSERT_TRUE(outcome.connected);
    EXPECT_EQ(*outcome.replies[0].Find("version"), "1.0");
    EXPECT_EQ(outcome.replies[0].Find("heart-beat"), nullptr);
    EXPECT_EQ(session.agreedSend().count(), 0);
}

TEST_F(StompSession, NoCommonVersionIsRefusedWithTheKnownOnes) {
    const Outcome outcome = Handle("CONNECT", {{"accept-version", "2.0,1.25"}});
    ExpectError(outcome, "no common version");
    EXPECT_EQ(*outcome.replies[0].Find("version"), "1.0,1.1,1.2");
}

struct HeartBeatCase {
    std::string header;
    int send;
    int receive;
};
class StompHeartBeat : public StompSession, public ::testing::WithParamInterface<HeartBeatCase> {};

TEST_P(StompHeartBeat, IsTheLargerOfBothSides) {
    ASSERT_TRUE(Handle("CONNECT", {{"accept-version", "1.2"}, {"heart-beat", GetParam().header}}).connected);
    EXPECT_EQ(session.agreedSend().count(), GetParam().send);
    EXPECT_EQ(session.agreedReceive().count(), GetParam().receive);
}
INSTANTIATE_TEST_SUITE_P(Cases, StompHeartBeat,
                         ::testing::Values(HeartBeatCase{"0,0", 0, 0}, HeartBeatCase{"1000,0", 0, 5000},
                                           HeartBeatCase{"0,1000", 4000, 0},
                                           HeartBeatCase{"6000,7000", 7000, 6000}));

TEST_F(StompSession, MalformedHeartBeatIsRefused) {
    for (const char* text : {"", "1", "1,", ",1", "a,b", "1,2,3", "-1,0", "1.5,0", "99999999999,0"}) {
        Session fresh{Settings()};
        const Outcome outcome =
            fresh.Handle({"CONNECT", {{"accept-version", "1.2"}, {"heart-beat", text}}, {}}, policy);
        ExpectError(outcome, "malformed heart-beat header");
    }
}

TEST_F(StompSession, ConnectCanBeRefusedOnCommand) {
    policy.refusal = "bad login";
    ExpectError(Handle("CONNECT", {{"accept-version", "1.2"}}), "bad login");
    EXPECT_FALSE(session.connected());
}

TEST_F(StompSession, SecondConnectIsRefused) {
    Connect();
    ExpectError(Handle("CONNECT", {{"accept-version", "1.2"}}), "already connected");
}

TEST_F(StompSession, FramesBeforeConnectAreRefused) {
    for (const char* command : {"SUBSCRIBE", "SEND", "DISCONNECT", "NONSENSE", ""}) {
        Session fresh{Settings()};
        ExpectError(fresh.Handle({command, {{"id", "1"}, {"destination", "/x"}}, {}}, policy),
                    "CONNECT expected");
    }
}

TEST_F(StompSession, NothingHappensAfterTheEnd) {
    Connect();
    ExpectError(Handle("NONSENSE"), "unknown command");
    const Outcome outcome = Handle("SEND", {{"destination", "/x"}});
    EXPECT_TRUE(outcome.sends.empty());
    EXPECT_TRUE(outcome.replies.empty());
}

TEST_F(StompSession, SubscribeHandsOutWhatItCarried) {
    Connect();
    const Outcome outcome = Handle("SUBSCRIBE", {{"id", "7"},
                                                 {"destination", "/topic/conferences/c"},
                                                 {"token", "good"},
                                                 {"conferenceId", "c"},
                                                 {"receipt", "r"}});
    ASSERT_TRUE(outcome.subscribe);
    EXPECT_EQ(outcome.subscribe->id, "7");
    EXPECT_EQ(outcome.subscribe->destination, "/topic/conferences/c");
    EXPECT_EQ(outcome.subscribe->token, "good");
    EXPECT_EQ(outcome.subscribe->conferenceId, "c");
    ASSERT_EQ(outcome.replies.size(), 1U);
    EXPECT_EQ(outcome.replies[0].command, "RECEIPT");
    EXPECT_EQ(*outcome.replies[0].Find("receipt-id"), "r");
}

TEST_F(StompSession, BrokenSubscribesAreRefused) {
    const std::vector<std::pair<HeaderList, std::string>> cases = {
        {{{"id", "1"}}, "SUBSCRIBE without destination"},
        {{{"id", "1"}, {"destination", ""}}, "SUBSCRIBE without destination"},
        {{{"destination", "/x"}}, "SUBSCRIBE without id"},
        {{{"destination", "/x"}, {"id", ""}}, "SUBSCRIBE without id"},
        {{{"destination", "/x"}, {"id", "1"}, {"ack", "maybe"}}, "unknown ack mode"},
        {{{"destination", "/topic/conferences/c"}, {"id", "1"}}, "token refused"},
        {{{"destination", "/topic/conferences/c"}, {"id", "1"}, {"token", "bad"}}, "token refused"},
        {{{"destination", "/topic/terminal/t/subtitleoverlay"}, {"id", "1"}, {"token", "bad"}},
         "token refused"}};
    for (const auto& [headers, message] : cases) {
        Session fresh{Settings()};
        ASSERT_TRUE(fresh.Handle({"CONNECT", {{"accept-version", "1.2"}}, {}}, policy).connected);
        const Outcome outcome = fresh.Handle({"SUBSCRIBE", headers, {}}, policy);
        ExpectError(outcome, message);
        EXPECT_FALSE(outcome.subscribe);
    }
}

TEST_F(StompSession, ErrorNamesTheReceiptAndNotTheToken) {
    Connect();
    const Outcome outcome = Handle(
        "SUBSCRIBE",
        {{"id", "1"}, {"destination", "/topic/conferences/c"}, {"token", "secret"}, {"receipt", "r9"}});
    ExpectError(outcome, "token refused");
    ASSERT_EQ(outcome.replies.size(), 1U);
    EXPECT_EQ(*outcome.replies[0].Find("receipt-id"), "r9");
    EXPECT_EQ(Encode(outcome.replies[0], Version::k12).find("secret"), std::string::npos);
}

TEST_F(StompSession, ASubscriptionIdIsUsedOnceAtATime) {
    Connect();
    Handle("SUBSCRIBE", {{"id", "1"}, {"destination", "/x"}});
    EXPECT_EQ(*Handle("UNSUBSCRIBE", {{"id", "1"}}).unsubscribeId, "1");
    EXPECT_TRUE(Handle("SUBSCRIBE", {{"id", "1"}, {"destination", "/x"}}).subscribe);
    ExpectError(Handle("SUBSCRIBE", {{"id", "1"}, {"destination", "/y"}}), "subscription id in use");
}

TEST_F(StompSession, SubscriptionsAreBounded) {
    Connect();
    for (const char* id : {"1", "2", "3"}) {
        EXPECT_TRUE(Handle("SUBSCRIBE", {{"id", id}, {"destination", "/x"}}).subscribe);
    }
    ExpectError(Handle("SUBSCRIBE", {{"id", "4"}, {"destination", "/x"}}), "too many subscriptions");
}

TEST_F(StompSession, UnsubscribeNeedsAKnownId) {
    Connect();
    ExpectError(Handle("UNSUBSCRIBE", {{"id", "1"}}), "no such subscription");
    Session fresh{Settings()};
    fresh.Handle({"CONNECT", {{"accept-version", "1.2"}}, {}}, policy);
    ExpectError(fresh.Handle({"UNSUBSCRIBE", {{"destination", "/x"}}, {}}, policy), "UNSUBSCRIBE without id");
}

TEST_F(StompSession, Version10UnsubscribesByDestination) {
    Connect("1.0");
    Handle("SUBSCRIBE", {{"id", "5"}, {"destination", "/x"}});
    EXPECT_EQ(*Handle("UNSUBSCRIBE", {{"destination", "/x"}}).unsubscribeId, "5");
}

TEST_F(StompSession, SendIsHandedOut) {
    Connect();
    const Outcome outcome = Handle("SEND", {{"destination", "/app/x"}, {"receipt", "r"}}, "body");
    ASSERT_EQ(outcome.sends.size(), 1U);
    EXPECT_EQ(outcome.sends[0].body, "body");
    ASSERT_EQ(outcome.replies.size(), 1U);
    EXPECT_EQ(outcome.replies[0].command, "RECEIPT");
}

TEST_F(StompSession, SendNeedsDestinationAndToken) {
    Connect();
    ExpectError(Handle("SEND", {}, "x"), "SEND without destination");
    Session fresh{Settings()};
    fresh.Handle({"CONNECT", {{"accept-version", "1.2"}}, {}}, policy);
    ExpectError(fresh.Handle({"SEND", {{"destination", "/terminal/parameter"}}, {}}, policy),
                "token refused");
}

TEST_F(StompSession, TransactionsHoldSendsBack) {
    Connect();
    Handle("BEGIN", {{"transaction", "t"}});
    EXPECT_TRUE(Handle("SEND", {{"destination", "/x"}, {"transaction", "t"}}, "1").sends.empty());
    EXPECT_TRUE(Handle("SEND", {{"destination", "/x"}, {"transaction", "t"}}, "2").sends.empty());
    const Outcome outcome = Handle("COMMIT", {{"transaction", "t"}, {"receipt", "r"}});
    ASSERT_EQ(outcome.sends.size(), 2U);
    EXPECT_EQ(outcome.sends[1].body, "2");
    EXPECT_EQ(outcome.replies.size(), 1U);
    ExpectError(Handle("COMMIT", {{"transaction", "t"}}), "no such transaction");
}

TEST_F(StompSession, AbortForgetsTheSends) {
    Connect();
    Handle("BEGIN", {{"transaction", "t"}});
    Handle("SEND", {{"destination", "/x"}, {"transaction", "t"}}, "1");
    EXPECT_TRUE(Handle("ABORT", {{"transaction", "t"}}).sends.empty());
    ExpectError(Handle("SEND", {{"destination", "/x"}, {"transaction", "t"}}), "no such transaction");
}

TEST_F(StompSession, TransactionsAreBounded) {
    Connect();
    Handle("BEGIN", {{"transaction", "t"}});
    Outcome outcome;
    for (int i = 0; i < 5 && outcome.error.empty(); ++i) {
        outcome = Handle("SEND", {{"destination", "/x"}, {"transaction", "t"}}, std::string(1000, 'x'));
    }
    ExpectError(outcome, "transactions too large");
    Session fresh{Settings()};
    fresh.Handle({"CONNECT", {{"accept-version", "1.2"}}, {}}, policy);
    for (int i = 0; i < 16; ++i) {
        outcome = fresh.Handle({"BEGIN", {{"transaction", std::to_string(i)}}, {}}, policy);
        ASSERT_EQ(outcome.error, "");
    }
    ExpectError(fresh.Handle({"BEGIN", {{"transaction", "x"}}, {}}, policy), "too many transactions");
}

TEST_F(StompSession, BeginNeedsANewName) {
    Connect();
    Handle("BEGIN", {{"transaction", "t"}});
    ExpectError(Handle("BEGIN", {{"transaction", "t"}}), "transaction exists");
    Session fresh{Settings()};
    fresh.Handle({"CONNECT", {{"accept-version", "1.2"}}, {}}, policy);
    ExpectError(fresh.Handle({"BEGIN", {}, {}}, policy), "BEGIN without transaction");
}

TEST_F(StompSession, AcknowledgementsAreCheckedByVersion) {
    Connect();
    EXPECT_EQ(Handle("ACK", {{"id", "m"}}).error, "");
    EXPECT_EQ(Handle("NACK", {{"id", "m"}}).error, "");
    ExpectError(Handle("ACK", {{"message-id", "m"}}), "ACK names no message");
    Session old{Settings()};
    old.Handle({"CONNECT", {{"accept-version", "1.1"}}, {}}, policy);
    EXPECT_EQ(old.Handle({"ACK", {{"message-id", "m"}, {"subscription", "1"}}, {}}, policy).error, "");
    ExpectError(old.Handle({"ACK", {{"message-id", "m"}}, {}}, policy), "ACK names no message");
}

TEST_F(StompSession, DisconnectIsReceiptedThenEnds) {
    Connect();
    const Outcome outcome = Handle("DISCONNECT", {{"receipt", "bye"}});
    ASSERT_EQ(outcome.replies.size(), 1U);
    EXPECT_EQ(*outcome.replies[0].Find("receipt-id"), "bye");
    EXPECT_TRUE(outcome.end);
    EXPECT_EQ(outcome.error, "");
}

TEST_F(StompSession, ReceiptsCanBeWithheld) {
    Connect();
    policy.withheld = true;
    EXPECT_TRUE(Handle("SUBSCRIBE", {{"id", "1"}, {"destination", "/x"}, {"receipt", "r"}}).replies.empty());
}

class StompManagerSession : public StompSession {
protected:
    void SetUp() override {
        SessionSettings settings = Settings();
        settings.manager = true;
        manager.emplace(settings);
        ASSERT_TRUE(manager->Handle({"CONNECT", {{"accept-version", "1.2"}}, {}}, policy).connected);
    }
    std::optional<Session> manager;
};

TEST_F(StompManagerSession, TakesModelRequestsWithoutDestination) {
    const Outcome outcome = manager->Handle(
        {"SEND",
         {{"modelVersion", "DeepSeek-V3"}, {"seqNum", "1"}, {"reqType", "FREE_CHAT"}, {"roundCnt", "1"}},
         "{}"},
        policy);
    EXPECT_EQ(outcome.error, "");
    EXPECT_EQ(outcome.sends.size(), 1U);
}

TEST_F(StompManagerSession, RefusesEverythingElse) {
    ExpectError(manager->Handle({"SUBSCRIBE", {{"id", "1"}, {"destination", "/x"}}, {}}, policy),
                "not allowed on a management link");
}

TEST_F(StompManagerSession, RefusesOtherSends) {
    ExpectError(manager->Handle({"SEND", {{"destination", "/x"}, {"reqType", "FREE_CHAT"}}, {}}, policy),
                "a management link takes large-model requests only");
}

}  // namespace
}  // namespace quor_simulator::stomp
