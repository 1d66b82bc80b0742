// graceful_stop.cpp - shows captions until Ctrl-C or SIGTERM, then closes everything in order and within
// seconds.
//
// The main thread waits for signals with sigwait, so that what they start may lock and log: nothing of the
// library or of the platform may be called from a signal handler. A second Ctrl-C ends the process at once.
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>

#include "quor_ai/ai_http_adapter.h"
#include "quor_ai/ai_kel_basic.h"
#include "quor_platform_linux/host.h"

namespace {

using QuorAiEngine::AiHttpAdapter;
using QuorAiEngine::AiKelBasic;

enum { kHost = 1, kPort, kCaFile, kUser, kKeyFile, kPasswordFile, kConference, kTokenFile, kLanguage };
constexpr char kUsage[] =
    "usage: graceful_stop HOST PORT CA-FILE USER KEY-FILE PASSWORD-FILE CONFERENCE TOKEN-FILE LANGUAGE\n"
    "CA-FILE       the certificates to trust, PEM\n"
    "PASSWORD-FILE the user's password, sealed with KEY-FILE (quor-terminal seal --domain QuorUIConf)\n"
    "TOKEN-FILE    the conference's token; LANGUAGE: that is spoken, for example en-US\n";
constexpr int kLinkEnded = SIGUSR1;  // the program's own signal

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

// Runs on the platform's link event thread.
class Captions : public QuorAiEngine::ICloudSrvObserver {
public:
    explicit Captions(const TagQuorAiSubscribeInfo& wanted) : m_wanted(wanted) {}

    void Update(const TagAiCloudSrvResult& result) override {
        if (result.id == AI_SUB_ID_WS_CONNECTED) {
            if (AiKelBasic::GetInstance()->KelBasicExecuteSubscribeFunc(&m_wanted) != 0) {
                kill(getpid(), kLinkEnded);  // a link without captions is none for this program
            }
        } else if (result.id == AI_SUB_ID_CAPTION && result.len == sizeof(TagQuorAiKelVoiceTranslateInfo)) {
            TagQuorAiKelVoiceTranslateInfo caption;
            std::memcpy(&caption, result.data, sizeof caption);
            std::cout << caption.name << ": " << caption.text << std::endl;
        }
    }

private:
    const TagQuorAiSubscribeInfo m_wanted;
};

// Waits for a signal and stops everything. Returns the signal.
int ShowCaptionsUntilStopped(TagQuorAiKelLoginInfo& login, const TagQuorAiSubscribeInfo& wanted) {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM, kLinkEnded}) {
        sigaddset(&signals, number);
    }
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);  // before any thread is started, for it inherits this
    AiKelBasic* const channel = AiKelBasic::GetInstance();
    AiHttpAdapter* const adapter = AiHttpAdapter::GetInstance();
    const auto captions = std::make_shared<Captions>(wanted);
    channel->Attach(captions);
    channel->KelBasicGenerateSubscribeMap();
    std::mutex gate;  // no event comes in while the link is made: making one ends with clearing its state
    quor_platform::SetLinkEventSink(
        [&gate](unsigned int event, unsigned int linkId, unsigned int type, void* data) {
            const std::lock_guard<std::mutex> lock(gate);
            AiKelBasic::KelBasicDisposeMsg(event, linkId, type, data);
            if (event == QuorAiEngine::KelEventDisconnect) {
                std::cerr << "graceful_stop: " << quor_platform::LinkFailure(linkId).text << std::endl;
                kill(getpid(), kLinkEnded);
            }
        });
    int number = kLinkEnded;
    gate.lock();
    const bool started = adapter->CloudHttpInit() == 0 && channel->KelBasicCreateWebsocket(&login) == 0;
    gate.unlock();
    if (started) {
        sigwait(&signals, &number);
    } else {
        std::cerr << "graceful_stop: " << quor_platform::LastFailure().text << std::endl;
    }
    sigdelset(&signals, kLinkEnded);
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);  // whoever asks again does not want to wait

    quor_platform::AbortRequests();       // ends them now, not after their time limits
    quor_platform::SetLinkEventSink({});  // waits for a running event; after it no observer runs
    channel->KelBasicDestroyWebsocket();  // takes leave of the server; at most 2 seconds
    adapter->CloudHttpUninit();           // joins the library's threads
    channel->Detach(captions.get());
    quor_platform::Shutdown();  // joins the platform's threads, before exit handlers destroy what they use
    return number;
}

}  // namespace

int main(int argc, char** argv) {
    const bool help = argc == 2 && std::strcmp(argv[1], "--help") == 0;
    if (argc != kLanguage + 1) {
        (help ? std::cout : std::cerr) << kUsage;
        return help ? 0 : 1;
    }
    TagQuorAiKelLoginInfo login = {};
    TagQuorAiSubscribeInfo wanted = {};
    login.port = static_cast<unsigned int>(std::strtoul(argv[kPort], nullptr, 10));
    wanted.subId = AI_SUB_ID_CAPTION;
    if (AiHttpAdapter::GetInstance() == nullptr || !SetField(login.serverAddr, argv[kHost]) ||
        !SetField(login.userName, argv[kUser]) ||
        !SetField(login.kelPassWord, ReadLine(argv[kPasswordFile])) ||
        !SetField(wanted.confId, argv[kConference]) || !SetField(wanted.token, ReadLine(argv[kTokenFile])) ||
        !SetField(wanted.language, argv[kLanguage])) {
        std::cerr << "graceful_stop: an argument or a file is empty or too long, or no memory" << std::endl;
        return 1;
    }
    quor_platform::TlsSettings tls;
    tls.caFile = argv[kCaFile];
    quor_platform::SetTlsSettings(tls);
    quor_platform::SetKeyFile(argv[kKeyFile]);
    const int signal = ShowCaptionsUntilStopped(login, wanted);
    std::cerr << "graceful_stop: everything is closed" << std::endl;
    return signal == kLinkEnded ? 1 : 0;
}
