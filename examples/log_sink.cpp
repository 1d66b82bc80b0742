// log_sink.cpp - takes the library's log records and traces into the application's own log, here standard
// output.
//
// To have something to log it opens a manager link, which needs no credentials, starts the HTTP services,
// whose start is traced, and ends both again.
// docs/troubleshooting.md says what the texts of the records mean and what to do about them.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <future>
#include <memory>
#include <mutex>
#include <string>

#include "quor_ai/ai_http_adapter.h"
#include "quor_ai/ai_kel_basic.h"
#include "quor_platform_linux/host.h"

namespace {

using QuorAiEngine::AiHttpAdapter;
using QuorAiEngine::AiKelBasic;

enum { kHost = 1, kPort, kCaFile };
constexpr char kUsage[] =
    "usage: log_sink HOST PORT CA-FILE\n"
    "CA-FILE the certificates to trust, PEM\n";

constexpr unsigned int kLogInformation = 3;  // errors, warnings and information
constexpr unsigned char kTraceFrames = 3;
constexpr std::chrono::seconds kPatience{30};

// The application's own log. Records come from many threads, one at a time; what takes them must neither log
// through the library nor throw, and should be quick: the thread that logs waits for it.
class ApplicationLog {
public:
    void Write(const char* level, const std::string& where, const char* text) {
        const std::time_t now = std::time(nullptr);
        std::tm local = {};
        char time[32] = {};
        if (localtime_r(&now, &local) != nullptr) {
            std::strftime(time, sizeof time, "%Y-%m-%d %H:%M:%S", &local);
        }
        const std::lock_guard<std::mutex> lock(m_mutex);  // records and traces may come at the same time
        std::printf("%s %-7s %s %s\n", time, level, where.c_str(), text);
        ++m_lines;
    }
    unsigned long Lines() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_lines;
    }

private:
    std::mutex m_mutex;
    unsigned long m_lines = 0;
};

void ConnectLogs(ApplicationLog& log) {
    quor_platform::SetLogListener([&log](const quor_platform::LogRecord& record) {
        static const char* const kLevels[] = {"off", "error", "warning", "info"};
        // The module's name is not terminated; with the line it leads to the place in the source.
        const std::string module(record.module, record.moduleLength);
        log.Write(record.level < 4 ? kLevels[record.level] : "?", module + ":" + std::to_string(record.line),
                  record.text);
    });
    quor_platform::SetTraceListener([&log](const char* text) {
        log.Write("trace", "-", std::string(text, std::strcspn(text, "\n")).c_str());
    });
    // Both may be changed while the program runs, from a settings page for instance.
    quor_platform::SetLogLevel(kLogInformation);
    quor_platform::SetTraceLevel(kTraceFrames);
}

// What the log used is going away: no record after this.
void DisconnectLogs() {
    quor_platform::SetLogListener({});
    quor_platform::SetTraceListener({});
    quor_platform::SetTraceLevel(0);
}

class Connected : public QuorAiEngine::ICloudSrvObserver {
public:
    void Update(const TagAiCloudSrvResult& result) override {
        if (result.id == AI_SUB_ID_WS_CONNECTED) {
            m_connected.set_value();  // one link, one notification
        }
    }
    bool Wait() { return m_connected.get_future().wait_for(kPatience) == std::future_status::ready; }

private:
    std::promise<void> m_connected;
};

}  // namespace

int main(int argc, char** argv) {
    const bool help = argc == 2 && std::strcmp(argv[1], "--help") == 0;
    TagQuorAiKelLoginInfo login = {};
    if (argc != kCaFile + 1 || std::strlen(argv[kHost]) >= sizeof login.serverAddr) {
        std::fputs(kUsage, help ? stdout : stderr);
        return help ? 0 : 1;
    }
    std::memcpy(login.serverAddr, argv[kHost], std::strlen(argv[kHost]) + 1);
    login.port = static_cast<unsigned int>(std::strtoul(argv[kPort], nullptr, 10));
    login.linkType = kKelLinkTypeManager;
    quor_platform::TlsSettings tls;
    tls.caFile = argv[kCaFile];
    quor_platform::SetTlsSettings(tls);

    ApplicationLog log;
    ConnectLogs(log);
    std::mutex gate;  // a manager link's id is stored by its creation and by the connect event: one at a time
    quor_platform::SetLinkEventSink(
        [&gate](unsigned int event, unsigned int linkId, unsigned int type, void* data) {
            const std::lock_guard<std::mutex> lock(gate);
            AiKelBasic::KelBasicDisposeMsg(event, linkId, type, data);
        });
    AiKelBasic* const channel = AiKelBasic::GetInstance();
    const auto connected = std::make_shared<Connected>();
    channel->Attach(connected);
    gate.lock();
    const bool created = channel->KelBasicCreateWebsocket(&login) == 0;
    gate.unlock();
    const bool good = created && connected->Wait();
    AiHttpAdapter* const adapter = AiHttpAdapter::GetInstance();
    if (adapter != nullptr && adapter->CloudHttpInit() == 0) {
        adapter->CloudHttpUninit();
    }
    quor_platform::SetLinkEventSink({});
    quor_platform::Shutdown();  // ends the link; its last records come before this returns
    channel->Detach(connected.get());
    DisconnectLogs();
    std::printf("%lu lines were logged; the link %s\n", log.Lines(),
                good ? "was there" : "could not be made");
    return good ? 0 : 1;
}
