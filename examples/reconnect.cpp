// reconnect.cpp - shows captions and keeps coming back when the link is lost.
//
// The library never rebuilds a link by itself; it remembers what to subscribe again. Attempts are spread by
// back-off with full jitter, so that the terminals of a server that restarts do not return all at once.
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <mutex>
#include <random>
#include <string>

#include "quor_ai/ai_kel_basic.h"
#include "quor_platform_linux/host.h"

namespace {

using QuorAiEngine::AiKelBasic;
using Milliseconds = std::chrono::milliseconds;

enum { kHost = 1, kPort, kCaFile, kUser, kKeyFile, kPasswordFile, kConference, kTokenFile, kLanguage };
constexpr char kUsage[] =
    "usage: reconnect HOST PORT CA-FILE USER KEY-FILE PASSWORD-FILE CONFERENCE TOKEN-FILE LANGUAGE\n"
    "CA-FILE       the certificates to trust, PEM\n"
    "PASSWORD-FILE the user's password, sealed with KEY-FILE (quor-terminal seal --domain QuorUIConf)\n"
    "TOKEN-FILE    the conference's token; LANGUAGE: that is spoken, for example en-US\n";
constexpr int kMostAttempts = 5;  // in a row; a terminal would go on
constexpr Milliseconds kFirstWait{500};
constexpr Milliseconds kLongestWait{15000};
constexpr int kNormalClosure = 1000;  // WebSocket close code: the server has nothing more to say
constexpr int kUnauthorized = 401;    // HTTP status of the upgrade

// The first line of a file; empty when there is none.
std::string ReadLine(const char* path) {
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

// Both sides of the link: what arrives, on the platform's link event thread, and the main thread that keeps
// it.
class Screen : public QuorAiEngine::ICloudSrvObserver {
public:
    void Update(const TagAiCloudSrvResult& result) override {
        if (result.id == AI_SUB_ID_WS_CONNECTED) {
            // Everything on the library's list. What the server does not like it answers by ending the link.
            const bool good = AiKelBasic::GetInstance()->KelBasicExecuteAllSubFunc() == 0;
            std::cerr << "reconnect: link " << (good ? "up" : "without subscriptions") << std::endl;
        } else if (result.id == AI_SUB_ID_CAPTION && result.len == sizeof(TagQuorAiKelVoiceTranslateInfo)) {
            TagQuorAiKelVoiceTranslateInfo caption;
            std::memcpy(&caption, result.data, sizeof caption);
            std::cout << caption.name << ": " << caption.text << std::endl;
        }
    }

    // Lets no event in while the main thread opens or closes a link, for both write the library's link id.
    void OnLinkEvent(unsigned int event, unsigned int linkId, unsigned int type, void* data) {
        const std::lock_guard<std::mutex> lock(m_gate);
        AiKelBasic::KelBasicDisposeMsg(event, linkId, type, data);
        if (event == QuorAiEngine::KelEventDisconnect) {
            m_why = quor_platform::LinkFailure(linkId);
            m_ended = true;
            m_changed.notify_all();
        }
    }

    // Returns true when the server closed the link in order, false when trying again is of no use.
    bool KeepLink(TagQuorAiKelLoginInfo& login) {
        AiKelBasic* const channel = AiKelBasic::GetInstance();
        std::mt19937 random(std::random_device{}());
        std::unique_lock<std::mutex> lock(m_gate);
        for (int failures = 0; failures < kMostAttempts; ++failures) {
            m_ended = channel->KelBasicCreateWebsocket(&login) != 0;
            if (m_ended) {
                m_why = quor_platform::LastFailure();
            } else {
                failures = 0;
                m_changed.wait(lock, [this] { return m_ended; });
                channel->KelBasicDestroyWebsocket();
            }
            if (m_why.closeCode == kNormalClosure || m_why.httpStatus == kUnauthorized) {
                break;  // in order, or for nothing: the same credentials will not be accepted later
            }
            const Milliseconds longest = std::min(kLongestWait, kFirstWait * (1 << failures));
            const Milliseconds wait(std::uniform_int_distribution<long>(0, longest.count())(random));
            std::cerr << "reconnect: " << m_why.text << "; again in " << wait.count() << " ms" << std::endl;
            m_changed.wait_for(lock, wait, [] { return false; });
        }
        return m_why.closeCode == kNormalClosure;
    }
    const std::string& Why() const { return m_why.text; }

private:
    std::mutex m_gate;
    std::condition_variable m_changed;
    bool m_ended = false;
    quor_platform::Failure m_why;
};

}  // namespace

int main(int argc, char** argv) {
    const bool help = argc == 2 && std::strcmp(argv[1], "--help") == 0;
    if (argc != kLanguage + 1) {
        (help ? std::cout : std::cerr) << kUsage;
        return help ? 0 : 1;
    }
    AiKelBasic* const channel = AiKelBasic::GetInstance();
    TagQuorAiKelBasicInfo* const state = AiKelBasic::KelGetBasicInfo();
    TagQuorAiKelLoginInfo login = {};
    login.port = static_cast<unsigned int>(std::strtoul(argv[kPort], nullptr, 10));
    if (!SetField(login.serverAddr, argv[kHost]) || !SetField(login.userName, argv[kUser]) ||
        !SetField(login.kelPassWord, ReadLine(argv[kPasswordFile])) ||
        !SetField(state->uuid, argv[kConference]) || !SetField(state->confKey, ReadLine(argv[kTokenFile])) ||
        !SetField(state->srcLang, argv[kLanguage])) {
        std::cerr << "reconnect: an argument or a file is empty or too long" << std::endl;
        return 1;
    }
    quor_platform::TlsSettings tls;
    tls.caFile = argv[kCaFile];
    quor_platform::SetTlsSettings(tls);
    quor_platform::SetKeyFile(argv[kKeyFile]);
    const auto screen = std::make_shared<Screen>();
    channel->Attach(screen);
    channel->KelBasicGenerateSubscribeMap();
    channel->KelBasicAddSubsEvent(AI_SUB_ID_CAPTION);
    quor_platform::SetLinkEventSink([screen](auto... event) { screen->OnLinkEvent(event...); });
    const bool good = screen->KeepLink(login);
    quor_platform::SetLinkEventSink({});
    channel->Detach(screen.get());
    quor_platform::Shutdown();  // before exit handlers destroy what its threads use
    std::cerr << "reconnect: " << (good ? "over: " : "given up: ") << screen->Why() << std::endl;
    return good ? 0 : 1;
}
