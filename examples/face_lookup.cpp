// face_lookup.cpp - finds the face service among several addresses and asks it who is on a picture.
//
// The library tells no observer what it found of services; its records and traces tell it.
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <future>
#include <iterator>
#include <memory>
#include <mutex>
#include <string>

#include "quor_ai/ai_cloud_face_srv_detect.h"
#include "quor_ai/ai_http_adapter.h"
#include "quor_platform_linux/host.h"

namespace {

using QuorAiEngine::AiHttpAdapter;
using QuorAiEngine::CloudFaceSrvDetect;

enum { kServers = 1, kCaFile, kAccount, kKeyFile, kPasswordFile, kPicture, kArguments };
constexpr char kUsage[] =
    "usage: face_lookup SERVERS CA-FILE ACCOUNT KEY-FILE PASSWORD-FILE PICTURE\n"
    "SERVERS       where the service may be: IPv4 addresses, for example \"10.1.1.1:8443;10.1.1.2\"\n"
    "CA-FILE       the certificates to trust, PEM\n"
    "PASSWORD-FILE the account's password, sealed with KEY-FILE (quor-terminal seal --domain QuorUIConf)\n";
constexpr char kUnusable[] = "face_lookup: the servers, the account or the password are empty or too long\n";
constexpr std::chrono::seconds kSearchLimit{15};  // a probe may take 10 seconds to be connected
constexpr std::chrono::seconds kAnswerLimit{35};  // longer than the library's own, 30 seconds

std::string ReadFile(const char* path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// Takes the first line of a text into a field that is zero. False: it is empty or does not fit.
template <std::size_t N>
bool SetField(char (&field)[N], const std::string& text) {
    const std::string line = text.substr(0, text.find('\n'));
    return !line.empty() && line.copy(field, N - 1) == line.size();
}

void End(std::promise<std::string>& outcome, const std::string& problem) {
    try {
        outcome.set_value(problem);
    } catch (const std::future_error&) {  // the first end counts
    }
}

std::string Wait(std::promise<std::string>& outcome, std::chrono::seconds limit) {
    std::future<std::string> problem = outcome.get_future();
    return problem.wait_for(limit) == std::future_status::ready ? problem.get() : "no answer in time";
}

// Runs on threads of the library and of the platform.
class Lookup : public QuorAiEngine::ICloudSrvObserver {
public:
    void Update(const TagAiCloudSrvResult& result) override {
        tagQuorAiFaceEUADetectResult match;
        if (result.id == AI_SUB_ID_FACE_RECOGNIZE && result.len == sizeof match) {
            std::memcpy(&match, result.data, sizeof match);
            const bool known = match.result == 0 && match.name[0] != '\0';  // no name: the list was empty
            std::printf("%s%s", known ? match.name : "", known ? "\n" : "");
            End(m_identity, known ? "" : std::string("nobody known ") + match.message);
        }
    }
    // A record or a trace, on the thread that writes it: there the platform knows why something failed.
    void Read(const char* text) {
        const auto has = [text](const char* part) { return std::strstr(text, part) != nullptr; };
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (has("FaceRecogPhotoDeal")) {  // the last word on a picture that failed
            End(m_identity, "no identity: " + quor_platform::LastFailure().text);
        } else if (has("<SetValidFaceSrvInfo> Set")) {
            End(m_service, "");
        } else if (has("serverNum = ")) {  // so many probes begin
            m_probes = std::stol(std::strchr(text, '=') + 1);
        } else if (has("pstHttpRsp is nullptr") || has("> detect error code") || has("<FillDetectHeader>") ||
                   has("<aiCommonHttpAsynSend>") || has("ParseHostPort failed")) {  // one has failed
            m_why += "\n" + (has("ParseHost") ? "no IPv4 address" : quor_platform::LastFailure().text);
            if (--m_probes == 0) {
                End(m_service, "no face service takes the account:" + m_why);
            }
        }
    }
    std::promise<std::string> m_service, m_identity;  // empty: it is there; else why it is not
    std::mutex m_mutex;                               // guards what follows
    long m_probes = 0;                                // whose end is not known
    std::string m_why;                                // a line for each that failed
};

std::string LookUp(AiHttpAdapter& adapter, CloudFaceSrvDetect& detect, Lookup& lookup,
                   TagQuorAiFaceServerInfo& configuration, const std::string& picture) {
    const bool begun = detect.SetCloudFaceSrvInfo(configuration) == 0;
    std::string problem =
        begun ? Wait(lookup.m_service, kSearchLimit) : "no search: " + quor_platform::LastFailure().text;
    if (!problem.empty()) {
        return problem;
    }
    tagAI_FACE_S_EUA_SERVER_INFO service = {};
    detect.GetValidFaceSrvInfo(service);  // there is one, and there will be
    std::string request = std::string(sizeof(tagAI_FACE_S_DETECT_INFO), '\0') + picture;
    auto* const head = reinterpret_cast<tagAI_FACE_S_DETECT_INFO*>(request.data());
    head->serverPort = service.port;
    std::memcpy(head->serverAddr, service.url, sizeof head->serverAddr);
    std::memcpy(head->account, service.account, sizeof head->account);
    std::memcpy(head->password, service.password, sizeof head->password);
    head->picLen = static_cast<unsigned int>(picture.size());  // it lies right behind the record
    const bool taken = adapter.CloudFaceRecogPhoto(head) == 0;
    return taken ? Wait(lookup.m_identity, kAnswerLimit) : "the picture was not taken";
}

}  // namespace

int main(int argc, char** argv) {
    const bool help = argc == 2 && std::strcmp(argv[1], "--help") == 0;
    TagQuorAiFaceServerInfo configuration = {};
    if (argc != kArguments || !SetField(configuration.addressList, argv[kServers]) ||
        !SetField(configuration.account, argv[kAccount]) ||
        !SetField(configuration.password, ReadFile(argv[kPasswordFile]))) {
        std::fputs(argc == kArguments ? kUnusable : kUsage, help ? stdout : stderr);
        return help ? 0 : 1;
    }
    quor_platform::SetTlsSettings({argv[kCaFile], "", false});  // a file, no directory, verified
    quor_platform::SetKeyFile(argv[kKeyFile]);
    const auto lookup = std::make_shared<Lookup>();
    quor_platform::SetLogListener([&](const quor_platform::LogRecord& record) { lookup->Read(record.text); });
    quor_platform::SetTraceListener([&](const char* text) { lookup->Read(text); });
    quor_platform::SetTraceLevel(3);  // that of the probes
    AiHttpAdapter* const adapter = AiHttpAdapter::GetInstance();
    CloudFaceSrvDetect* const detect = CloudFaceSrvDetect::GetInstance();
    std::string problem = "the library's services do not start";
    if (adapter != nullptr && detect != nullptr && adapter->Attach(lookup) == 0) {
        if (adapter->CloudHttpInit() == 0 && detect->CloudHttpInit() == 0) {
            problem = LookUp(*adapter, *detect, *lookup, configuration, ReadFile(argv[kPicture]));
        }
        quor_platform::AbortRequests();  // after a time limit something may still be under way
        detect->CloudHttpUninit();       // what came last goes first; what was not started needs no end
        adapter->CloudHttpUninit();
        adapter->Detach(lookup.get());
    }
    quor_platform::Shutdown();
    quor_platform::SetTraceLevel(0);
    quor_platform::SetTraceListener({});
    quor_platform::SetLogListener({});
    std::fputs(problem.empty() ? "" : ("face_lookup: " + problem + "\n").c_str(), stderr);
    return problem.empty() ? 0 : 1;
}
