// sign_in.cpp - signs a participant in to a conference over HTTPS, unless that has happened already.
//
// Up to three requests after each other: is the account signed in, a report that it is, and the question
// again. Each is sent by the main thread and answered on the transport's callback thread.
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>

#include "quor_ai/ai_http_adapter.h"
#include "quor_platform_linux/host.h"

namespace {

using QuorAiEngine::AiHttpAdapter;

enum { kHost = 1, kPort, kCaFile, kConference, kTokenFile, kName, kAccount, kTime };
constexpr char kUsage[] =
    "usage: sign_in HOST PORT CA-FILE CONFERENCE TOKEN-FILE NAME ACCOUNT TIME\n"
    "CA-FILE    the certificates to trust, PEM\n"
    "TOKEN-FILE the conference's token\n"
    "TIME       of signing in, for example \"2026-03-01 09:30:00\"\n";

constexpr unsigned int kStatusOk = 200;
// Of an answer that is not understood only the log tells. Longer than the library's own limit, 30 seconds.
constexpr std::chrono::seconds kPatience{35};

// The first line of a file; empty when there is none.
std::string ReadLine(const std::string& path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

// False: the text is empty or does not fit. One that was cut would name something else.
template <std::size_t N>
bool SetField(char (&field)[N], const std::string& text) {
    if (text.empty() || text.size() >= N) {
        return false;
    }
    std::memcpy(field, text.c_str(), text.size() + 1);
    return true;
}

// Keeps the answer to the latest request: a copy, because the bytes are the library's.
class Answers : public QuorAiEngine::ICloudSrvObserver {
public:
    void Update(const TagAiCloudSrvResult& result) override {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_bytes.assign(reinterpret_cast<const char*>(result.data), result.len);
        m_failure = quor_platform::LastFailure().text;  // of this request: it is this thread's latest
        m_changed.notify_all();
    }

    // Waits for an answer to a request that was made with this result. False: there is none of this kind.
    template <typename Record>
    bool Wait(unsigned int made, Record& record) {
        std::unique_lock<std::mutex> lock(m_mutex);
        const auto answered = [&] { return m_bytes.size() == sizeof record; };
        if (!m_changed.wait_for(lock, made == 0 ? kPatience : std::chrono::seconds(0), answered)) {
            return false;
        }
        std::memcpy(&record, m_bytes.data(), sizeof record);
        m_bytes.clear();
        return true;
    }
    const std::string& Failure() const { return m_failure; }  // when no request is under way

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::string m_bytes;
    std::string m_failure = "no usable answer";
};

// What the server knows about the report's account. False: it could not be had.
bool Ask(AiHttpAdapter& adapter, Answers& answers, const TagQuorAiReportSiginIn& report,
         TagQuorAiAccountCheckInInfo& state) {
    TagQuorAiQuerySignAccount query = {};
    std::memcpy(query.confId, report.confId, sizeof query.confId);
    std::memcpy(query.serverAddr, report.serverAddr, sizeof query.serverAddr);
    query.serverPort = report.serverPort;
    query.accountCount = 1;
    std::memcpy(query.account, report.entries[0].account, sizeof query.account);
    return answers.Wait(adapter.CloudQueryAccountSignInInfo(query), state) && state.httpStatus == kStatusOk;
}

bool SignIn(AiHttpAdapter& adapter, Answers& answers, TagQuorAiReportSiginIn report) {
    TagQuorAiAccountCheckInInfo state = {};
    const bool good = Ask(adapter, answers, report, state) &&
                      (state.account[0] != '\0' ||  // signed in already
                       (answers.Wait(adapter.CloudReportSignInInfo(report), report) && report.result == 1 &&
                        Ask(adapter, answers, report, state)));
    if (good) {
        std::printf("%s is signed in since %s\n", state.account, state.checkInTime);
    }
    return good;
}

}  // namespace

int main(int argc, char** argv) {
    const bool help = argc == 2 && std::strcmp(argv[1], "--help") == 0;
    if (argc != kTime + 1) {
        std::fputs(kUsage, help ? stdout : stderr);
        return help ? 0 : 1;
    }
    TagQuorAiReportSiginIn report = {};
    TagQuorAiGetSigninContent& person = report.entries[0];
    report.reportCount = 1;
    report.serverPort = static_cast<unsigned int>(std::strtoul(argv[kPort], nullptr, 10));
    if (!SetField(report.confId, argv[kConference]) || !SetField(report.serverAddr, argv[kHost]) ||
        !SetField(person.name, argv[kName]) || !SetField(person.participantName, argv[kName]) ||
        !SetField(person.account, argv[kAccount]) || !SetField(person.checkInTime, argv[kTime]) ||
        !SetField(person.type, "normal")) {
        std::fputs("sign_in: an argument is empty or too long\n", stderr);
        return 1;
    }
    quor_platform::TlsSettings tls;
    tls.caFile = argv[kCaFile];
    quor_platform::SetTlsSettings(tls);
    // Asked for every request, so that a token that was renewed counts at once.
    quor_platform::SetTokenSource([path = std::string(argv[kTokenFile])](std::string& token) {
        token = ReadLine(path);
        return token.empty() ? 1 : 0;
    });
    AiHttpAdapter* const adapter = AiHttpAdapter::GetInstance();
    const auto answers = std::make_shared<Answers>();
    bool good = false;
    if (adapter != nullptr && adapter->Attach(answers) == 0) {
        if (adapter->CloudHttpInit() == 0) {
            good = SignIn(*adapter, *answers, report);
            quor_platform::AbortRequests();  // after kPatience something may still be under way
            adapter->CloudHttpUninit();
        }
        adapter->Detach(answers.get());  // also when nothing was started
    }
    quor_platform::Shutdown();
    if (!good) {
        std::fprintf(stderr, "sign_in: %s\n", answers->Failure().c_str());
    }
    return good ? 0 : 1;
}
