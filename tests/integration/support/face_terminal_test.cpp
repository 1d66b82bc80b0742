#include "support/face_terminal_test.h"

#include <dlfcn.h>
#include <sys/time.h>

#include <atomic>
#include <cstring>
#include <fstream>
#include <iterator>

#include "support/host_terminal.h"

namespace quor_test {

namespace {

constexpr char kSealDomain[] = "QuorUIConf";
constexpr unsigned char kEveryTrace = 255;

std::atomic<long long> secondsAhead{0};

// Where the valid service is, and how to ask it.
template <typename Record>
void CopyService(Record& record, const tagAI_FACE_S_EUA_SERVER_INFO& service) {
    record.serverPort = service.port;
    SetText(record.serverAddr, service.url);
    std::memcpy(record.account, service.account, sizeof record.account);
    std::memcpy(record.password, service.password, sizeof record.password);
}

}  // namespace

WallClockAhead::WallClockAhead(long long seconds) {
    secondsAhead = seconds;
}

WallClockAhead::~WallClockAhead() {
    secondsAhead = 0;
}

void FaceTerminalTest::SetUp() {
    HttpTerminalTest::SetUp();
    quor_simulator::Options options;
    options.facePort = m_secondPort.Port();
    options.galleryDirectory = QUOR_GALLERY;
    StartServer(options);
    const std::string keyFile = (terminal().folder().Path() / "face.key").string();
    ASSERT_TRUE(quor_platform::CreateKeyFile(keyFile));
    quor_platform::SetKeyFile(keyFile);
    quor_platform::SetTraceListener([this](const char* text) { m_traces.Add(text); });
    quor_platform::SetTraceLevel(kEveryTrace);
    ASSERT_EQ(detect().CloudHttpInit(), 0);
}

void FaceTerminalTest::TearDown() {
    EXPECT_EQ(detect().CloudHttpUninit(), 0);
    quor_platform::SetTimerScale(1);
    HttpTerminalTest::TearDown();
    quor_platform::SetTraceLevel(0);
    quor_platform::SetTraceListener({});
    quor_platform::SetKeyFile({});
}

std::string FaceTerminalTest::Candidates(const std::vector<std::uint16_t>& ports) {
    std::string list;
    for (const std::uint16_t port : ports) {
        list += (list.empty() ? "https://127.0.0.1:" : ";https://127.0.0.1:") + std::to_string(port);
    }
    return list;
}

TagQuorAiFaceServerInfo FaceTerminalTest::Configuration(const std::string& candidates,
                                                        const std::string& password) {
    TagQuorAiFaceServerInfo info = {};
    SetText(info.addressList, candidates);
    SetText(info.account, kFaceAccount);
    SetText(info.password, quor_platform::SealSecret(kSealDomain, password));
    return info;
}

int FaceTerminalTest::Configure(const std::vector<std::uint16_t>& ports, const std::string& password) {
    TagQuorAiFaceServerInfo info = Configuration(Candidates(ports), password);
    return detect().SetCloudFaceSrvInfo(info);
}

unsigned int FaceTerminalTest::ValidPort() {
    tagAI_FACE_S_EUA_SERVER_INFO service = {};
    return detect().GetValidFaceSrvInfo(service) == 0 ? service.port : 0;
}

bool FaceTerminalTest::WaitForValid(unsigned int port) {
    return Eventually([this, port] { return ValidPort() == port; });
}

bool FaceTerminalTest::WaitForTrace(const std::string& text, std::size_t count) const {
    return m_traces.WaitFor(
        count, [&text](const std::string& trace) { return trace.find("]:" + text) != std::string::npos; });
}

void FaceTerminalTest::FindService() {
    ASSERT_EQ(Configure({firstPort()}), 0);
    ASSERT_TRUE(WaitForValid(firstPort())) << ::testing::PrintToString(terminal().Errors());
    terminal().ClearLog();
}

unsigned int FaceTerminalTest::Identify(std::string_view picture, unsigned int requestId) {
    tagAI_FACE_S_EUA_SERVER_INFO service = {};
    EXPECT_EQ(detect().GetValidFaceSrvInfo(service), 0);
    tagAI_FACE_S_DETECT_INFO info = {};
    info.requestId = requestId;
    info.recogType = static_cast<TagFaceRecogType>(3);
    CopyService(info, service);
    info.picLen = static_cast<unsigned int>(picture.size());
    std::vector<char> request(sizeof info + picture.size());
    std::memcpy(request.data(), &info, sizeof info);
    picture.copy(request.data() + sizeof info, picture.size());
    return adapter().CloudFaceRecogPhoto(reinterpret_cast<tagAI_FACE_S_DETECT_INFO*>(request.data()));
}

unsigned int FaceTerminalTest::AskPhotos(const std::vector<std::string>& ids, unsigned int idType) {
    tagAI_FACE_S_EUA_SERVER_INFO service = {};
    EXPECT_EQ(detect().GetValidFaceSrvInfo(service), 0);
    TagQuorAiFacePhotoParam query = {};
    query.idCount = static_cast<unsigned int>(ids.size());
    for (std::size_t i = 0; i < ids.size() && i < kQuorAiFacePhotoMax; ++i) {
        SetText(query.ids[i], ids[i]);
    }
    query.idType = idType;
    query.requestId = 8;
    CopyService(query, service);
    return adapter().CloudQueryFacePhoto(&query);
}

std::string FaceTerminalTest::PictureFile(const std::string& name) {
    std::ifstream file(std::string(QUOR_GALLERY) + "/" + name, std::ios::binary);
    EXPECT_TRUE(file.good()) << name;
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::vector<NotifiedPhoto>> FaceTerminalTest::Photos(unsigned int idType) {
    std::vector<std::vector<NotifiedPhoto>> notifications;
    for (const std::string& bytes : observer().All(AI_SUB_ID_FACE_PHOTO)) {
        unsigned int head[2] = {};
        EXPECT_GE(bytes.size(), sizeof head);
        std::memcpy(head, bytes.data(), std::min(bytes.size(), sizeof head));
        EXPECT_EQ(head[0], idType);
        std::size_t at = sizeof head;
        std::vector<NotifiedPhoto> photos;
        while (at + sizeof(QuorAiSingleFacePhoto) <= bytes.size()) {
            NotifiedPhoto photo;
            std::memcpy(&photo.info, bytes.data() + at, sizeof photo.info);
            at += sizeof photo.info;
            photo.data = bytes.substr(std::min(at, bytes.size()), photo.info.photoSize);
            EXPECT_EQ(photo.data.size(), photo.info.photoSize);
            at += photo.data.size();
            photos.push_back(std::move(photo));
        }
        EXPECT_EQ(at, bytes.size());
        EXPECT_EQ(head[1], photos.size());
        notifications.push_back(std::move(photos));
    }
    return notifications;
}

}  // namespace quor_test

// Stands in the test's program, so it comes before the C library's, which it calls.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the C library's names are reserved
extern "C" __attribute__((visibility("default"))) int gettimeofday(struct timeval* __restrict time,
                                                                   void* __restrict zone) {
    using Function = int (*)(struct timeval*, void*);
    static auto* const real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "gettimeofday"));
    const int result = real(time, zone);
    if (result == 0) {
        time->tv_sec += quor_test::secondsAhead;
    }
    return result;
}
