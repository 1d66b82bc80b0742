// captions_only.cpp - prints what is said in a conference, sentence by sentence, until the server ends the
// link.
//
// The smallest whole use of the real-time channel: settings, an observer, a link, one subscription, the end.
// reconnect.cpp shows how to come back after a lost link, graceful_stop.cpp how to leave on Ctrl-C.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <future>
#include <memory>
#include <mutex>
#include <string>

#include "quor_ai/ai_kel_basic.h"
#include "quor_platform_linux/host.h"

namespace {

using QuorAiEngine::AiKelBasic;
using EndReason = std::promise<std::string>;  // empty: the program succeeded

enum { kHost = 1, kPort, kCaFile, kUser, kKeyFile, kPasswordFile, kConference, kTokenFile, kLanguage };
constexpr char kUsage[] =
    "usage: captions_only HOST PORT CA-FILE USER KEY-FILE PASSWORD-FILE CONFERENCE TOKEN-FILE LANGUAGE\n"
    "CA-FILE       the certificates to trust, PEM\n"
    "PASSWORD-FILE the user's password, sealed with KEY-FILE (quor-terminal seal --domain QuorUIConf)\n"
    "TOKEN-FILE    the conference's token\n"
    "LANGUAGE      that is spoken, for example en-US\n";

constexpr int kNormalClosure = 1000;  // WebSocket close code: the server has nothing more to say

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

// The first reason counts.
void Finish(EndReason& end, const std::string& why) {
    try {
        end.set_value(why);
    } catch (const std::future_error&) {  // it has one
    }
}

// Runs on the platform's link event thread.
class Captions : public QuorAiEngine::ICloudSrvObserver {
public:
    Captions(const TagQuorAiSubscribeInfo& wanted, EndReason& end) : m_wanted(wanted), m_end(end) {}

    void Update(const TagAiCloudSrvResult& result) override {
        if (result.id == AI_SUB_ID_WS_CONNECTED) {
            // Subscribed here, because the channel's destinations belong to the event thread. A server that
            // refuses the subscription, for its token perhaps, says so by ending the link.
            if (AiKelBasic::GetInstance()->KelBasicExecuteSubscribeFunc(&m_wanted) != 0) {
                Finish(m_end, "the captions could not be subscribed: " + quor_platform::LastFailure().text);
            }
        } else if (result.id == AI_SUB_ID_CAPTION && result.len == sizeof(TagQuorAiKelVoiceTranslateInfo)) {
            TagQuorAiKelVoiceTranslateInfo caption;  // a copy: the bytes are the library's
            std::memcpy(&caption, result.data, sizeof caption);
            if (caption.final != 0) {  // until then the text grows and changes
                std::printf("%s: %s\n", caption.name, caption.text);
                std::fflush(stdout);
            }
        }
    }

private:
    const TagQuorAiSubscribeInfo m_wanted;
    EndReason& m_end;
};

// Returns why it ended; empty when the server closed the link in order.
std::string ShowCaptions(TagQuorAiKelLoginInfo& login, const TagQuorAiSubscribeInfo& wanted) {
    EndReason end;
    const auto captions = std::make_shared<Captions>(wanted, end);
    AiKelBasic* const channel = AiKelBasic::GetInstance();
    channel->Attach(captions);
    channel->KelBasicGenerateSubscribeMap();
    std::mutex gate;  // no event comes in while the link is made: making one ends with clearing its state
    quor_platform::SetLinkEventSink(
        [&](unsigned int event, unsigned int linkId, unsigned int type, void* data) {
            const std::lock_guard<std::mutex> lock(gate);
            AiKelBasic::KelBasicDisposeMsg(event, linkId, type, data);
            if (event == QuorAiEngine::KelEventDisconnect) {
                const quor_platform::Failure failure = quor_platform::LinkFailure(linkId);
                Finish(end, failure.closeCode == kNormalClosure ? "" : failure.text);
            }
        });
    gate.lock();
    const bool created = channel->KelBasicCreateWebsocket(&login) == 0;
    gate.unlock();
    if (!created) {
        Finish(end, "no link: " + quor_platform::LastFailure().text);
    }
    std::string why = end.get_future().get();
    quor_platform::SetLinkEventSink({});  // no event comes in while the link is closed
    channel->KelBasicDestroyWebsocket();
    channel->Detach(captions.get());
    return why;
}

}  // namespace

int main(int argc, char** argv) {
    const bool help = argc == 2 && std::strcmp(argv[1], "--help") == 0;
    if (argc != kLanguage + 1) {
        std::fputs(kUsage, help ? stdout : stderr);
        return help ? 0 : 1;
    }
    TagQuorAiKelLoginInfo login = {};
    TagQuorAiSubscribeInfo wanted = {};
    login.port = static_cast<unsigned int>(std::strtoul(argv[kPort], nullptr, 10));
    wanted.subId = AI_SUB_ID_CAPTION;
    if (!SetField(login.serverAddr, argv[kHost]) || !SetField(login.userName, argv[kUser]) ||
        !SetField(login.kelPassWord, ReadLine(argv[kPasswordFile])) ||
        !SetField(wanted.confId, argv[kConference]) || !SetField(wanted.token, ReadLine(argv[kTokenFile])) ||
        !SetField(wanted.language, argv[kLanguage])) {
        std::fputs("captions_only: an argument or a file is empty or too long\n", stderr);
        return 1;
    }
    quor_platform::TlsSettings tls;
    tls.caFile = argv[kCaFile];
    quor_platform::SetTlsSettings(tls);
    quor_platform::SetKeyFile(argv[kKeyFile]);
    const std::string why = ShowCaptions(login, wanted);
    quor_platform::Shutdown();  // before exit handlers destroy what its threads use
    std::fprintf(stderr, "captions_only: %s\n", why.empty() ? "the server closed the link" : why.c_str());
    return why.empty() ? 0 : 1;
}
