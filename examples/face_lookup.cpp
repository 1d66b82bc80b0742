// face_lookup.cpp - finds the face service among several addresses and asks it who is on a picture.
//
// The library looks for the service by itself, when it is configured and every 30 seconds after; it tells
// nobody that it found one, so it is asked for it. The picture is sent by a thread of the library's.
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <future>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "quor_ai/ai_cloud_face_srv_detect.h"
#include "quor_ai/ai_http_adapter.h"
#include "quor_platform_linux/host.h"

namespace {

using QuorAiEngine::AiHttpAdapter;
using QuorAiEngine::CloudFaceSrvDetect;
using Result = std::pair<bool, std::string>;  // whether somebody is known, and what to print
using Answer = std::promise<Result>;

enum Argument { kServers = 1, kCaFile, kAccount, kKeyFile, kPasswordFile, kPicture };
constexpr char kUsage[] =
    "usage: face_lookup SERVERS CA-FILE ACCOUNT KEY-FILE PASSWORD-FILE PICTURE\n"
    "SERVERS       where the service may be: IPv4 addresses, for example \"10.1.1.1:8443;10.1.1.2\"\n"
    "CA-FILE       the certificates to trust, PEM\n"
    "PASSWORD-FILE the account's password, sealed with KEY-FILE (quor-terminal seal --domain QuorUIConf)\n";

constexpr std::chrono::milliseconds kSearchStep{50};
constexpr int kSearchSteps = 100;
constexpr std::chrono::seconds kAnswerLimit{65};  // longer than the transport's own, 60 seconds

std::string ReadFile(const char* path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// False: the text is empty or does not fit, and the field stays empty.
template <std::size_t N>
bool SetField(char (&field)[N], const std::string& text) {
    if (text.empty() || text.size() >= N) {
        return false;
    }
    std::memcpy(field, text.c_str(), text.size() + 1);
    return true;
}

void Finish(Answer& answer, bool good, const std::string& text) {
    try {
        answer.set_value({good, text});
    } catch (const std::future_error&) {  // the first answer counts
    }
}

// Runs on a thread of the library's.
class Identity : public QuorAiEngine::ICloudSrvObserver {
public:
    explicit Identity(Answer& answer) : m_answer(answer) {}
    void Update(const TagAiCloudSrvResult& result) override {
        tagQuorAiFaceEUADetectResult match;
        if (result.id != AI_SUB_ID_FACE_RECOGNIZE || result.len != sizeof match) {
            return;
        }
        std::memcpy(&match, result.data, sizeof match);
        // A match without a name: the service's list was empty.
        const bool known = match.result == 0 && match.name[0] != '\0';
        Finish(m_answer, known, known ? match.name : std::string("nobody known ") + match.message);
    }

private:
    Answer& m_answer;
};

bool FindService(CloudFaceSrvDetect& detect, TagQuorAiFaceServerInfo& configuration,
                 tagAI_FACE_S_EUA_SERVER_INFO& service) {
    bool found = false;
    detect.SetCloudFaceSrvInfo(configuration);  // when it fails, nothing is found
    for (int step = 0; !found && step < kSearchSteps; ++step) {
        std::this_thread::sleep_for(kSearchStep);
        found = detect.GetValidFaceSrvInfo(service) == 0;  // until then it is an error to the library's log
    }
    return found;
}

Result Ask(AiHttpAdapter& adapter, const tagAI_FACE_S_EUA_SERVER_INFO& service, const std::string& picture,
           std::future<Result> answer) {
    tagAI_FACE_S_DETECT_INFO head = {};
    head.serverPort = service.port;
    std::memcpy(head.serverAddr, service.url, sizeof head.serverAddr);
    std::memcpy(head.account, service.account, sizeof head.account);
    std::memcpy(head.password, service.password, sizeof head.password);
    head.picLen = static_cast<unsigned int>(picture.size());
    std::string request(reinterpret_cast<const char*>(&head), sizeof head);
    request += picture;  // right behind the record
    if (adapter.CloudFaceRecogPhoto(reinterpret_cast<tagAI_FACE_S_DETECT_INFO*>(request.data())) != 0) {
        return {false, "the picture was not taken"};
    }
    const bool came = answer.wait_for(kAnswerLimit) == std::future_status::ready;
    return came ? answer.get() : Result(false, "no answer in time");
}

}  // namespace

int main(int argc, char** argv) {
    const bool help = argc == 2 && std::strcmp(argv[1], "--help") == 0;
    TagQuorAiFaceServerInfo configuration = {};
    if (argc != kPicture + 1 || !SetField(configuration.addressList, argv[kServers]) ||
        !SetField(configuration.account, argv[kAccount])) {
        std::fputs(kUsage, help ? stdout : stderr);
        return help ? 0 : 1;
    }
    const std::string sealed = ReadFile(argv[kPasswordFile]);
    SetField(configuration.password, sealed.substr(0, sealed.find('\n')));  // without it nobody is found
    quor_platform::TlsSettings tls;
    tls.caFile = argv[kCaFile];
    quor_platform::SetTlsSettings(tls);
    quor_platform::SetKeyFile(argv[kKeyFile]);
    Answer answer;
    quor_platform::SetLogListener([&answer](const quor_platform::LogRecord& record) {
        if (std::strstr(record.text, "FaceRecogPhotoDeal") != nullptr) {  // the last word on a failure
            Finish(answer, false, quor_platform::LastFailure().text);
        }
    });
    AiHttpAdapter* const adapter = AiHttpAdapter::GetInstance();
    CloudFaceSrvDetect* const detect = CloudFaceSrvDetect::GetInstance();
    const auto identity = std::make_shared<Identity>(answer);
    Result result(false, "no face service takes the account");
    if (adapter != nullptr && detect != nullptr && adapter->Attach(identity) == 0 &&
        adapter->CloudHttpInit() == 0 && detect->CloudHttpInit() == 0) {
        tagAI_FACE_S_EUA_SERVER_INFO service;
        if (FindService(*detect, configuration, service)) {
            result = Ask(*adapter, service, ReadFile(argv[kPicture]), answer.get_future());
        }
        quor_platform::AbortRequests();  // after a time limit something may still be under way
        detect->CloudHttpUninit();
        adapter->CloudHttpUninit();
        adapter->Detach(identity.get());
    }
    quor_platform::SetLogListener({});
    quor_platform::Shutdown();
    std::fprintf(result.first ? stdout : stderr, result.first ? "%s\n" : "face_lookup: %s\n",
                 result.second.c_str());
    return result.first ? 0 : 1;
}
