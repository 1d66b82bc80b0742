/* answer_fault_test.cpp - faulty, misdirected and held answers, as clients get them. */
#include <nlohmann/json.hpp>

#include "fixture.h"

namespace quor_test {
namespace {

using nlohmann::json;
using quor_simulator::AnswerFault;
using quor_simulator::AnswerKind;
using quor_simulator::Error;
using quor_simulator::Milliseconds;
using quor_simulator::Options;

constexpr char kGoodVerdict[] = R"({"result":0})";
constexpr std::size_t kPieces = 5;

class AnswerFaults : public SimulatorTest {
protected:
    static void Report(RawClient& client, const std::string& uri) {
        client.SendFrame("SEND\ndestination:/terminal/parameter\ntoken:t\nuri:" + uri + "\n\n{}");
    }
    static void Ask(RawClient& client, const std::string& number, const std::string& uri = "u",
                    const std::string& kind = "FREE_CHAT") {
        client.SendFrame("SEND\ndestination:/terminal/chat/v1/completions\ntoken:t\nseqNum:" + number +
                         "\nreqType:" + kind + "\n\n{\"confId\":\"c\",\"uri\":\"" + uri +
                         "\",\"content\":\"hello\"}");
    }
    void ConnectManager(RawClient& client) {
        ConnectOptions options;
        options.authorization = std::nullopt;
        ASSERT_TRUE(client.Connect(simulator().port(), simulator().caFile(), options).ok);
    }
    static void AskManager(RawClient& client, const std::string& number) {
        client.SendFrame("SEND\nseqNum:" + number + "\nreqType:FREE_CHAT\n\n{\"content\":\"hi\"}");
    }
    static AnswerFault Hold() {
        AnswerFault fault;
        fault.hold = true;
        return fault;
    }
    static AnswerFault Once(const std::string& otherUri) {
        AnswerFault fault;
        fault.content.otherUri = otherUri;
        fault.times = 1;
        return fault;
    }
};

TEST_F(AnswerFaults, AVerdictGoesToTheOtherTerminal) {
    Start();
    RawClient client;
    RawClient other;
    ASSERT_TRUE(Connect(client));
    ASSERT_TRUE(Connect(other));
    Report(other, "sip\\cfirst");
    EXPECT_EQ(other.ReadFrame()->body, kGoodVerdict);
    Report(other, "sip\\cother");
    EXPECT_EQ(other.ReadFrame()->body, kGoodVerdict);
    simulator().SetAnswerFault(AnswerKind::kCapability, Once("sip:other"));
    Report(client, "sip\\cown");
    const auto frame = other.ReadFrame();
    EXPECT_EQ(frame->Header("destination"), "/terminal/parameter");
    EXPECT_EQ(frame->body, kGoodVerdict);
    EXPECT_EQ(simulator().Links()[0].uri, "sip:own");
    EXPECT_EQ(simulator().Links()[1].uri, "sip:other");
    /* Had it got the first one too, this would be it. */
    AnswerFault fault;
    fault.content.tooLong = {"result"};
    simulator().SetAnswerFault(AnswerKind::kCapability, fault);
    Report(client, "sip\\cown");
    EXPECT_EQ(client.ReadFrame()->body, R"({"result":1e+20})");
}

TEST_F(AnswerFaults, AModelAnswerGoesToTheOtherTerminalsTopic) {
    Start();
    RawClient client;
    ASSERT_TRUE(Connect(client));
    ASSERT_TRUE(Subscribe(client, "1", "/topic/chat/c/u"));
    ASSERT_TRUE(Subscribe(client, "2", "/topic/chat/c/other"));
    simulator().SetAnswerFault(AnswerKind::kModel, Once("other"));
    for (const char* topic : {"/topic/chat/c/other", "/topic/chat/c/u"}) {
        Ask(client, "7");
        for (std::size_t piece = 0; piece < kPieces; ++piece) {
            const auto frame = client.ReadFrame();
            ASSERT_TRUE(frame);
            EXPECT_EQ(frame->Header("destination"), topic);
            EXPECT_EQ(json::parse(frame->body)["seqNum"], "7");
        }
    }
}

TEST_F(AnswerFaults, AManagementLinksAnswerIsSpoiledInBothForms) {
    for (const auto form :
         {quor_simulator::ManagerAnswer::kRawText, quor_simulator::ManagerAnswer::kMessageFrame}) {
        Options options;
        options.managerAnswer = form;
        Start(options);
        RawClient client;
        ASSERT_NO_FATAL_FAILURE(ConnectManager(client));
        AnswerFault fault;
        fault.content.omit = {"final"};
        fault.content.wrongType = {"content"};
        fault.otherNumber = true;
        simulator().SetAnswerFault(AnswerKind::kManagerModel, fault);
        AskManager(client, "3");
        for (std::size_t piece = 0; piece < kPieces; ++piece) {
            const std::string body = form == quor_simulator::ManagerAnswer::kRawText
                                         ? client.ReadMessage().value_or("none")
                                         : client.ReadFrame()->body;
            EXPECT_EQ(body, R"({"seqNum":"1","reqType":"FREE_CHAT","piece":)" + std::to_string(piece) +
                                R"(,"content":7})");
        }
    }
}

TEST_F(AnswerFaults, AHeldAnswerStopsBeforeItsLastPiece) {
    Start();
    RawClient client;
    ASSERT_TRUE(Connect(client));
    ASSERT_TRUE(Subscribe(client, "1", "/topic/chat/c/u"));
    simulator().SetAnswerFault(AnswerKind::kModel, Hold());
    Ask(client, "1");
    ASSERT_TRUE(simulator().WaitForHeldAnswers(1, kPatience));
    Report(client, "u"); /* what comes before its verdict was sent before it was asked for */
    for (std::size_t piece = 0; piece + 1 < kPieces; ++piece) {
        EXPECT_EQ(json::parse(client.ReadFrame()->body)["final"], false);
    }
    EXPECT_EQ(client.ReadFrame()->body, kGoodVerdict);
    EXPECT_EQ(simulator().ReleaseAnswers(AnswerKind::kCapability), 0U);
    EXPECT_EQ(simulator().ReleaseAnswers(), 1U);
    EXPECT_EQ(json::parse(client.ReadFrame()->body)["final"], true);
    EXPECT_FALSE(simulator().WaitForHeldAnswers(1, Milliseconds(0)));
}

TEST_F(AnswerFaults, AStopRequestDropsWhatIsHeld) {
    Start();
    RawClient client;
    ASSERT_TRUE(Connect(client));
    simulator().SetAnswerFault(AnswerKind::kModel, Hold());
    Ask(client, "1");
    ASSERT_TRUE(simulator().WaitForHeldAnswers(1, kPatience));
    Ask(client, "1", "u", "FREE_CHAT_STOP");
    ASSERT_TRUE(simulator().WaitForReceived("/terminal/chat/v1/completions", 2, kPatience));
    EXPECT_EQ(simulator().ReleaseAnswers(), 0U);
}

TEST_F(AnswerFaults, ALinkThatEndsTakesWhatIsHeldAlong) {
    Start();
    RawClient client;
    ASSERT_TRUE(Connect(client));
    simulator().SetAnswerFault(AnswerKind::kCapability, Hold());
    Report(client, "u");
    ASSERT_TRUE(simulator().WaitForHeldAnswers(1, kPatience));
    simulator().DropLinks();
    EXPECT_EQ(simulator().ReleaseAnswers(), 0U);
}

TEST_F(AnswerFaults, FaultsSurviveARestartAndHeldPiecesDoNot) {
    Start(OnHeldPort());
    simulator().SetAnswerFault(AnswerKind::kCapability, Hold());
    {
        RawClient client;
        ASSERT_TRUE(Connect(client));
        Report(client, "u");
        ASSERT_TRUE(simulator().WaitForHeldAnswers(1, kPatience));
    }
    simulator().Stop();
    EXPECT_EQ(simulator().ReleaseAnswers(), 0U);
    simulator().Start();
    RawClient client;
    ASSERT_TRUE(Connect(client));
    Report(client, "u");
    EXPECT_TRUE(simulator().WaitForHeldAnswers(1, kPatience));
    simulator().ClearAnswerFault(AnswerKind::kModel);
    Report(client, "u");
    EXPECT_TRUE(simulator().WaitForHeldAnswers(2, kPatience));
    simulator().ClearAnswerFault(AnswerKind::kCapability);
    Report(client, "u");
    EXPECT_EQ(client.ReadFrame()->body, kGoodVerdict);
}

TEST_F(AnswerFaults, OneThatDoesNotFitIsRefusedAndChangesNothing) {
    Start();
    RawClient client;
    ASSERT_TRUE(Connect(client));
    AnswerFault fault;
    fault.content.wrongType = {"result"};
    simulator().SetAnswerFault(AnswerKind::kCapability, fault);
    fault.content.wrongType = {"results"};
    try {
        simulator().SetAnswerFault(AnswerKind::kCapability, fault);
        ADD_FAILURE() << "accepted";
    } catch (const Error& error) {
        EXPECT_STREQ(error.what(), "wrongType: the message has no member \"results\" (it has: result)");
    }
    Report(client, "u");
    EXPECT_EQ(client.ReadFrame()->body, R"({"result":"0"})");
}

}  // namespace
}  // namespace quor_test
