// large_model_chat.cpp - asks the large model what stands on standard input, a question a line, and prints
// the answers as they stream in.
//
// Uses the manager link, which needs neither credentials nor subscriptions. The library hands the pieces of
// an answer up as the texts that the server sent. A product reads these with its JSON library.
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <iomanip>
#include <iostream>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>

#include "quor_ai/ai_kel_basic.h"
#include "quor_platform_linux/host.h"

namespace {

using QuorAiEngine::AiKelBasic;

enum { kHost = 1, kPort, kCaFile };
constexpr char kUsage[] =
    "usage: large_model_chat HOST PORT CA-FILE < questions\n"
    "CA-FILE the certificates to trust, PEM\n";
constexpr std::chrono::seconds kPatience{60};  // for a whole answer
constexpr unsigned int kStopOffset = 9;        // from a kind of request to the one that stops it

// A text member of a JSON object; of the escapes only those of quotes and backslashes are undone.
std::string TextMember(const std::string& json, const std::string& name) {
    std::string text;
    const std::size_t found = json.find("\"" + name + "\":\"");
    if (found != std::string::npos) {
        std::istringstream(json.substr(found + name.size() + 3)) >> std::quoted(text);
    }
    return text;
}

// Shared by the main thread and the link event thread.
class Chat : public QuorAiEngine::ICloudSrvObserver {
public:
    void Update(const TagAiCloudSrvResult& result) override {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const std::string text(reinterpret_cast<const char*>(result.data), result.len);
        if (result.id == AI_SUB_ID_WS_CONNECTED) {
            m_done = true;
        } else if (text.rfind("ERROR\n", 0) == 0) {  // the server refuses what was sent
            m_problem = text.substr(0, text.find("\n\n"));
        } else if (TextMember(text, "seqNum") == m_number) {  // else of a question that was given up
            m_done = text.find("\"final\":true") != std::string::npos;
            std::cout << TextMember(text, "content") << (m_done ? "\n" : "") << std::flush;
        }
        m_changed.notify_all();
    }
    void End(const std::string& why) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_problem = why.empty() ? "the link has ended" : why;
        m_changed.notify_all();
    }
    void Expect(unsigned int number) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_number = std::to_string(number);
        m_done = false;
    }
    // Until the link is there or, after Expect, the answer whole. False: problem says why not.
    bool Wait(std::string& problem) {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait_for(lock, kPatience, [this] { return m_done || !m_problem.empty(); });
        problem = m_problem.empty() ? "no whole answer in time" : m_problem;
        return m_done;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_done = false;
    std::string m_number;
    std::string m_problem;
};

// A question whose answer does not come is stopped: the server need not go on for nobody.
bool Ask(Chat& chat, QuorAiModelParams& request, std::string& problem) {
    chat.Expect(request.seqNum);
    if (AiKelBasic::GetInstance()->ManagerSendLLMRequest(&request) != 0) {
        problem = "not sent, it has at most 2048 bytes as JSON: " + quor_platform::LastFailure().text;
        return false;
    }
    if (chat.Wait(problem)) {
        return true;
    }
    request.reqType += kStopOffset;
    AiKelBasic::GetInstance()->ManagerSendLLMRequest(&request);
    return false;
}

bool Converse(Chat& chat, std::string& problem) {
    bool good = chat.Wait(problem);
    QuorAiModelParams request = {};  // of the kind 0, free chat
    for (std::string line; good && std::getline(std::cin, line);) {
        ++request.seqNum;    // by which the pieces of the answer are known
        ++request.roundCnt;  // of one conversation
        request.content[line.copy(request.content, sizeof request.content - 1)] = '\0';
        good = Ask(chat, request, problem);
    }
    return good;
}

}  // namespace

int main(int argc, char** argv) {
    const bool help = argc == 2 && std::strcmp(argv[1], "--help") == 0;
    TagQuorAiKelLoginInfo login = {};
    if (argc != kCaFile + 1 || std::strlen(argv[kHost]) >= sizeof login.serverAddr) {
        (help ? std::cout : std::cerr) << kUsage;
        return help ? 0 : 1;
    }
    std::memcpy(login.serverAddr, argv[kHost], std::strlen(argv[kHost]) + 1);
    login.port = static_cast<unsigned int>(std::strtoul(argv[kPort], nullptr, 10));
    login.linkType = kKelLinkTypeManager;
    quor_platform::TlsSettings tls;
    tls.caFile = argv[kCaFile];
    quor_platform::SetTlsSettings(tls);
    const auto chat = std::make_shared<Chat>();
    AiKelBasic* const channel = AiKelBasic::GetInstance();
    channel->Attach(chat);
    std::mutex gate;  // a manager link's id is stored by its creation and by the connect event: one at a time
    quor_platform::SetLinkEventSink(
        [&](unsigned int event, unsigned int linkId, unsigned int type, void* data) {
            const std::lock_guard<std::mutex> lock(gate);
            AiKelBasic::KelBasicDisposeMsg(event, linkId, type, data);
            if (event == QuorAiEngine::KelEventDisconnect) {
                chat->End(quor_platform::LinkFailure(linkId).text);
            }
        });
    gate.lock();
    const bool created = channel->KelBasicCreateWebsocket(&login) == 0;
    std::string problem = created ? "" : "no link: " + quor_platform::LastFailure().text;
    gate.unlock();
    const bool good = created && Converse(*chat, problem);
    quor_platform::SetLinkEventSink({});
    quor_platform::Shutdown();  // ends the link; the library itself ends conference links only
    channel->Detach(chat.get());
    if (!good) {
        std::cerr << "large_model_chat: " << problem << std::endl;
    }
    return good ? 0 : 1;
}
