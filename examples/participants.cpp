// participants.cpp - prints who is in a conference, asked once over HTTPS.
//
// The library collects the list page by page on a thread of its own and hands it on whole. Of a list that
// could not be read it tells no observer; the log is where that shows.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "quor_ai/ai_http_adapter.h"
#include "quor_platform_linux/host.h"

namespace {

using QuorAiEngine::AiHttpAdapter;
using Answer = std::promise<std::string>;  // empty: the list is there; else why there is none

enum { kHost = 1, kPort, kCaFile, kConference, kTokenFile };
constexpr char kUsage[] =
    "usage: participants HOST PORT CA-FILE CONFERENCE TOKEN-FILE\n"
    "CA-FILE    the certificates to trust, PEM\n"
    "TOKEN-FILE the conference's token\n";

// For the whole list; the library gives each of its pages 30 seconds.
constexpr std::chrono::seconds kListLimit{60};

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

// The first answer counts.
void Finish(Answer& answer, const std::string& why) {
    try {
        answer.set_value(why);
    } catch (const std::future_error&) {  // it has one
    }
}

// Runs on a thread of the library's.
class Participants : public QuorAiEngine::ICloudSrvObserver {
public:
    explicit Participants(Answer& answer) : m_answer(answer) {}

    void Update(const TagAiCloudSrvResult& result) override {
        if (result.id != AI_SUB_ID_QUERY_CONF_LIST || result.len < kQuorAiConfListHeadSize) {
            return;
        }
        // Only as many entries as there are people lie behind the head: the whole record must not be copied.
        TagQuorAiSiteInfo site;
        const unsigned char* const entries = result.data + kQuorAiConfListHeadSize;
        for (std::size_t i = 0; i < (result.len - kQuorAiConfListHeadSize) / sizeof site; ++i) {
            std::memcpy(&site, entries + i * sizeof site, sizeof site);
            m_names.push_back(std::string(site.name) + " (" + site.id + ")");
        }
        Finish(m_answer, "");
    }

    const std::vector<std::string>& Names() const { return m_names; }

private:
    Answer& m_answer;
    std::vector<std::string> m_names;  // read when the answer is there
};

std::string Query(AiHttpAdapter& adapter, TagQuorAiKelInfo& query, Answer& answer) {
    if (adapter.CloudQueryConfList(&query) != 0) {
        return "the request could not be made";
    }
    std::future<std::string> why = answer.get_future();
    return why.wait_for(kListLimit) == std::future_status::ready ? why.get() : "the list took too long";
}

}  // namespace

int main(int argc, char** argv) {
    const bool help = argc == 2 && std::strcmp(argv[1], "--help") == 0;
    if (argc != kTokenFile + 1) {
        std::fputs(kUsage, help ? stdout : stderr);
        return help ? 0 : 1;
    }
    TagQuorAiKelInfo query = {};
    query.serverPort = static_cast<unsigned int>(std::strtoul(argv[kPort], nullptr, 10));
    if (!SetField(query.serverAddr, argv[kHost]) || !SetField(query.confId, argv[kConference]) ||
        !SetField(query.token, ReadLine(argv[kTokenFile]))) {
        std::fputs("participants: an argument or a file is empty or too long\n", stderr);
        return 1;
    }
    quor_platform::TlsSettings tls;
    tls.caFile = argv[kCaFile];
    quor_platform::SetTlsSettings(tls);

    Answer answer;
    quor_platform::SetLogListener([&answer](const quor_platform::LogRecord& record) {
        // The worker's last word on a list that it could not read; the platform knows the reason on its
        // thread.
        if (std::strncmp(record.text, "<AiHttpProcSyncRequest> failed", 30) == 0) {
            Finish(answer, "no list: " + quor_platform::LastFailure().text);
        }
    });
    AiHttpAdapter* const adapter = AiHttpAdapter::GetInstance();
    const auto participants = std::make_shared<Participants>(answer);
    std::string why = "the library's HTTP services do not start";
    if (adapter != nullptr && adapter->Attach(participants) == 0) {
        if (adapter->CloudHttpInit() == 0) {
            why = Query(*adapter, query, answer);
            quor_platform::AbortRequests();  // after a time limit something may still be under way
            adapter->CloudHttpUninit();
        }
        adapter->Detach(participants.get());  // also when nothing was started
    }
    quor_platform::SetLogListener({});
    quor_platform::Shutdown();
    if (!why.empty()) {
        std::fprintf(stderr, "participants: %s\n", why.c_str());
        return 1;
    }
    for (const std::string& name : participants->Names()) {
        std::printf("%s\n", name.c_str());
    }
    return 0;
}
