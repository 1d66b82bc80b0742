#include "support/message_faults.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace quor_test {

namespace {

constexpr char kTerminal[] = "terminal-7";
constexpr unsigned char kTraceEverything = 3;  // missing members and what becomes of them
constexpr char kFrameLength[] = "<KelParseStompMessgae> DataLen = ";  // traced for every frame

}  // namespace

void MessageFaultsTest::SetUp() {
    TerminalTest::SetUp();
    const std::vector<TagQuorAiSubscribeInfo> topics = {
        Request(AI_SUB_ID_CHECKIN, kConference),
        Request(AI_SUB_ID_CAPTION, kConference, kToken, "zh-CN"),
        Request(AI_SUB_ID_TRANSLATION, kConference, kToken, "en-US"),
        Request(AI_SUB_ID_CONF_CTRL, kConference, kToken),
        Request(AI_SUB_ID_CONF_SITE, kConference, kToken),
        Request(AI_SUB_ID_CAPTION_OVERLAY, kTerminal, kToken)};
    // Which terminal this is: overlay messages are for one. It is told on the event thread, too, so that the
    // server's answer comes after everything that belongs to the report.
    std::vector<TagQuorAiSubscribeInfo> requests = topics;
    requests.push_back(Request(AI_SUB_ID_ABILITY_REPORT, kConference, kToken, "", kUri));
    terminal().SubscribeOnConnect(requests);
    ASSERT_TRUE(terminal().Open(Login())) << quor_platform::LastFailure().text;
    ASSERT_TRUE(server().WaitForSubscriptionCount(topics.size(), kPatience));
    ASSERT_TRUE(terminal().log().WaitFor(
        1, [](const LogLine& line) { return line.text == "<KelReportAbilityParseTextMessage>:result = 0"; }));
    quor_platform::SetLogListener([this](const quor_platform::LogRecord& record) {
        if (std::string(record.module, record.moduleLength) == "quor_ai_kel_basic.cpp") {
            m_lines.Add(std::string(record.level == 1 ? "E " : "I ") + record.text);
        }
    });
    quor_platform::SetTraceListener([this](const char* text) {
        const char* const message = std::strstr(text, "]:<");
        if (message != nullptr && std::strstr(message, kFrameLength) == nullptr) {
            m_lines.Add(std::string("T ") + (message + 2));
        }
    });
    quor_platform::SetTraceLevel(kTraceEverything);
}

void MessageFaultsTest::TearDown() {
    EXPECT_EQ(terminal().closeNotices().Count(), 0U) << "the link has survived all of it";
    quor_platform::SetTraceLevel(0);
    quor_platform::SetTraceListener({});
    TerminalTest::TearDown();
}

void MessageFaultsTest::Play(const std::string& step, std::uint64_t messages) {
    server().LoadScenarioText(
        R"({"conference":"conf-1","languages":["zh-CN","en-US"],"people":[)"
        R"({"uuid":"u1","name":"Ana","account":"Ana"},{"uuid":"u2","name":"Ben","account":"Ben"},)"
        R"({"uuid":"u3","name":"Li","account":"Li"}],"steps":[{"at":0,)" +
        step + "}]}");
    server().PlayScenario();
    ASSERT_TRUE(server().WaitScenarioEnd(kPatience));
    ASSERT_EQ(server().GetScenarioResult().messagesPublished, messages) << step;
}

void MessageFaultsTest::Check(TagQuorAiSubId id, const std::string& step, const Case& fault,
                              const std::string& goodStep, const std::string& goodRecord,
                              std::uint64_t messages) {
    SCOPED_TRACE(fault.fault);
    observer().Clear();
    m_lines.Clear();
    ASSERT_NO_FATAL_FAILURE(Play(step + "," + fault.fault, messages));
    ASSERT_NO_FATAL_FAILURE(Play(goodStep));
    std::vector<std::string> expected = fault.records;
    expected.push_back(goodRecord);
    ASSERT_TRUE(Eventually([&] {
        const std::vector<std::string> all = observer().All(id);
        return !all.empty() && all.back() == goodRecord;
    }));
    EXPECT_TRUE(observer().All(id) == expected) << observer().Count(id) << " records";
    EXPECT_EQ(observer().Total(), expected.size());
    EXPECT_EQ(m_lines.All(), fault.lines);
}

std::string X(std::size_t count) {
    return std::string(count, 'x');
}

}  // namespace quor_test
