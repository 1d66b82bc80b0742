/* http_fixture.h - a running simulator, and requests as terminals send them. */
#ifndef QUOR_TESTS_SIMULATOR_HTTP_FIXTURE_H
#define QUOR_TESTS_SIMULATOR_HTTP_FIXTURE_H

#include <nlohmann/json.hpp>
#include <string>

#include "fixture.h"
#include "https_client.h"

namespace quor_test {

/* A request's bytes. token empty: no such header; body empty: neither body nor Content-Type. */
inline std::string RequestText(const std::string& method, const std::string& target,
                               const std::string& body = "", const std::string& token = "t",
                               const std::string& more = "") {
    std::string text = method + " " + target + " HTTP/1.1\r\nHost: 127.0.0.1\r\n" + more;
    if (!token.empty()) {
        text += "token: " + token + "\r\n";
    }
    if (!body.empty()) {
        text += "Content-Type: application/json\r\nContent-Length: " + std::to_string(body.size()) + "\r\n";
    }
    return text + "\r\n" + body;
}

inline std::string ParticipantsText(const std::string& conference, std::size_t page, std::size_t size = 200,
                                    const std::string& token = "t") {
    return RequestText("POST",
                       "/conf-portal/online/conferences/" + conference + "/participants/conditions?page=" +
                           std::to_string(page) + "&size=" + std::to_string(size),
                       "{}", token);
}

inline std::string SignInsTarget(const std::string& conference) {
    return "/conf-portal/conferences/" + conference + "/checkinservices/checkininfos";
}

inline std::string SignInsText(const std::string& conference, bool checkIn, std::size_t page = 0,
                               std::size_t size = 32) {
    return RequestText("GET", SignInsTarget(conference) + "?page=" + std::to_string(page) + "&size=" +
                                  std::to_string(size) + "&checkIn=" + (checkIn ? "true" : "false"));
}

inline std::string HistoryText(const std::string& conference, bool checkIn) {
    return SignInsText("history/" + conference, checkIn);
}

inline std::string ReportText(const std::string& conference, const std::string& body) {
    return RequestText("PUT", SignInsTarget(conference), body);
}

inline std::string OneReport(const std::string& name, const std::string& account) {
    return R"({"checkInfoList":[{"name":")" + name + R"(","account":")" + account +
           R"(","checkInTime":"09:00","type":"face","participantName":"Room 1"}]})";
}

inline std::string AccountText(const std::string& conference, const std::string& body) {
    return RequestText("POST", SignInsTarget(conference) + "/account", body);
}

inline constexpr char kMatchBody[] =
    R"({"site":"s","msg":"avmatch","start":"1.234","end":"2.000","userid":"u","doa":"12.500000",)"
    R"("score":"0.900000","faceid":"7","rect":{"x":"1","y":"2","w":"3","h":"4"}})";

inline std::string MatchText(const std::string& conference, const std::string& body = kMatchBody) {
    return RequestText("POST", "/conf-portal/online/conferences/" + conference + "/participants/ai/caption",
                       body);
}

class HttpTest : public SimulatorTest {
protected:
    using Json = nlohmann::json;

    void StartWithPeople(std::size_t people, quor_simulator::Options options = {}) {
        Start(std::move(options));
        rest().SetConference("c", quor_simulator::GenerateConference(people));
    }
    quor_simulator::Rest& rest() { return simulator().rest(); }

    bool Connect(HttpsClient& link) { return link.Connect(simulator().port(), simulator().caFile()); }
    /* On a connection of its own. */
    HttpReply Ask(const std::string& bytes) {
        HttpsClient link;
        return Connect(link) ? link.Ask(bytes) : HttpReply();
    }
    /* The JSON of an answer that must be 200. */
    Json Good(const std::string& bytes) {
        const HttpReply reply = Ask(bytes);
        EXPECT_EQ(reply.status, 200U) << reply.body;
        return Json::parse(reply.body, nullptr, false);
    }
};

}  // namespace quor_test

#endif
