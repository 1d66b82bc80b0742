// What the face service's requests leave behind: neither the password nor a credential as it was sent is
// anywhere in the process afterwards. The service is a process of its own, so that its memory does not count,
// and the password is sealed in one.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <semaphore>
#include <thread>

#include "quor_ai/ai_cloud_face_srv_detect.h"
#include "support/host_terminal.h"
#include "support/http_sockets.h"
#include "support/http_terminal.h"
#include "tests/platform_linux/support/memory_search.h"
#include "tests/terminal/process.h"

namespace quor_test {
namespace {

using quor_terminal::Process;
using quor_terminal::ReadWholeFile;

// A literal stands in memory that cannot be written, which is not searched.
constexpr char kAccount[] = "canary-of-the-account/9876543210/zyxwvutsrqponmlkjihgfedcba/which-is-long-too";
constexpr char kPassword[] =
    "canary-of-the-password/0123456789/abcdefghijklmnopqrstuvwxyz/"
    "which-is-long-so-that-a-piece-of-it-is-found-too";
// Both as they are sent, in base64.
constexpr char kAccountHeader[] =
    "Y2FuYXJ5LW9mLXRoZS1hY2NvdW50Lzk4NzY1NDMyMTAvenl4d3Z1dHNycXBvbm1sa2ppaGdmZWRjYmEvd2hpY2gtaXMtbG9uZy10b28"
    "=";
constexpr char kPasswordHeader[] =
    "Y2FuYXJ5LW9mLXRoZS1wYXNzd29yZC8wMTIzNDU2Nzg5L2FiY2RlZmdoaWprbG1ub3BxcnN0dXZ3eHl6L3doaWNoLWlzLWxvbmctc28t"
    "dGhhdC1hLXBpZWNlLW9mLWl0LWlzLWZvdW5kLXRvbw==";
constexpr char kSealDomain[] = "QuorUIConf";

// Masked letter by letter: no copy is ever made.
std::string MaskedPiece(const char* text, std::size_t length) {
    std::string masked(length, '\0');
    for (std::size_t i = 0; i < length; ++i) {
        masked[i] = static_cast<char>(text[i] ^ kMask);
    }
    return masked;
}

// Whoever frees a block may write over its first bytes, so pieces of a text are looked for. Returns the
// places of all of them together.
template <std::size_t size>
int PiecesOf(const char (&text)[size]) {
    constexpr std::size_t kPiece = 16;
    constexpr std::size_t kLength = size - 1;
    static_assert(kLength > 4 * kPiece);
    return PlacesHolding(MaskedPiece(text + kLength / 2, kPiece)) +
           PlacesHolding(MaskedPiece(text + kLength - kPiece, kPiece));
}

class FaceWipe : public ::testing::Test {
protected:
    void SetUp() override {
        if (kMemoryIsTooLarge) {
            GTEST_SKIP() << "a sanitizer's own memory is too large to search";
        }
        m_terminal = std::make_unique<HttpTerminal>();
        m_terminal->SetLoginToken("token");
        StartService();
        SealPassword();
        ASSERT_EQ(m_terminal->Start(), 0);
        ASSERT_EQ(Detect().CloudHttpInit(), 0);
    }
    void TearDown() override {
        if (m_terminal != nullptr) {
            EXPECT_EQ(Detect().CloudHttpUninit(), 0);
            EXPECT_EQ(m_terminal->Stop(), 0);
            quor_platform::SetKeyFile({});
        }
    }

    static QuorAiEngine::CloudFaceSrvDetect& Detect() {
        return *QuorAiEngine::CloudFaceSrvDetect::GetInstance();
    }
    QuorAiEngine::AiHttpAdapter& Adapter() { return m_terminal->adapter(); }
    std::string File(const char* name) const { return (m_terminal->folder().Path() / name).string(); }

    void StartService(const char* account = kAccount) {
        std::vector<std::string> command = {QUOR_SIMULATOR_PROGRAM,
                                            "--port",
                                            "0",
                                            "--ready-file",
                                            File("ready"),
                                            "--state-dir",
                                            File("state"),
                                            "--gallery",
                                            QUOR_GALLERY,
                                            "--face-account",
                                            "",
                                            "--face-password",
                                            ""};
        command[command.size() - 3] = account;
        command.back() = kPassword;
        m_service.Start(command, File("service.out"), File("service.err"));
        for (std::string& word : command) {
            std::fill(word.begin(), word.end(), '\0');
        }
        ASSERT_TRUE(quor_terminal::WaitUntil([this] { return access(File("ready").c_str(), R_OK) == 0; }))
            << ReadWholeFile(File("service.err"));
        const auto ready = nlohmann::json::parse(ReadWholeFile(File("ready")));
        m_port = ready.at("port").get<std::uint16_t>();
        HttpTerminal::Trust(ready.at("caFile").get<std::string>());
    }
    // In a child: SealSecret takes its text in a string, which wipes nothing.
    void SealPassword() {
        ASSERT_TRUE(quor_platform::CreateKeyFile(File("key")));
        quor_platform::SetKeyFile(File("key"));
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            quor_terminal::WriteWholeFile(File("sealed"), quor_platform::SealSecret(kSealDomain, kPassword));
            _exit(0);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        m_sealed = ReadWholeFile(File("sealed"));
        ASSERT_FALSE(m_sealed.empty());
    }

    // One candidate on that port.
    void FindService(std::uint16_t port) {
        TagQuorAiFaceServerInfo info = {};
        SetText(info.addressList, "https://127.0.0.1:" + std::to_string(port));
        SetText(info.account, kAccount);
        SetText(info.password, m_sealed);
        ASSERT_EQ(Detect().SetCloudFaceSrvInfo(info), 0);
    }
    template <typename Record>
    void Address(Record& record, std::uint16_t port) const {
        SetText(record.serverAddr, "https://127.0.0.1");
        record.serverPort = port;
        SetText(record.account, kAccount);
        SetText(record.password, m_sealed);
    }
    void Identify(std::uint16_t port) {
        std::string request(sizeof(tagAI_FACE_S_DETECT_INFO), '\0');
        auto* info = reinterpret_cast<tagAI_FACE_S_DETECT_INFO*>(request.data());
        Address(*info, port);
        info->picLen = 1000;
        request.append(info->picLen, 'p');
        ASSERT_EQ(Adapter().CloudFaceRecogPhoto(reinterpret_cast<tagAI_FACE_S_DETECT_INFO*>(request.data())),
                  0U);
    }
    void AskPhoto(std::uint16_t port) {
        TagQuorAiFacePhotoParam query = {};
        Address(query, port);
        query.idCount = 1;
        SetText(query.ids[0], "nobody");
        ASSERT_EQ(Adapter().CloudQueryFacePhoto(&query), 0U);
    }
    // The transport's thread may be about to let go of a request whose callback has run.
    static void ExpectNothingLeft() {
        EXPECT_TRUE(Eventually([] { return PiecesOf(kPassword) == 0; })) << "the password";
        EXPECT_TRUE(Eventually([] { return PiecesOf(kPasswordHeader) == 0; })) << "the password's header";
        EXPECT_TRUE(Eventually([] { return PiecesOf(kAccountHeader) == 0; })) << "the account's header";
    }

    std::unique_ptr<HttpTerminal> m_terminal;
    Process m_service;
    std::uint16_t m_port = 0;
    std::string m_sealed;
};

TEST_F(FaceWipe, TheSearchFindsWhatIsLeftOfACredential) {
    EXPECT_EQ(PiecesOf(kPassword), 0);
    std::string there = kPassword;
    EXPECT_GE(PiecesOf(kPassword), 2);
    std::fill_n(there.begin(), 64, '\0');
    EXPECT_GE(PiecesOf(kPassword), 1);
    std::fill(there.begin(), there.end(), '\0');
    EXPECT_EQ(PiecesOf(kPassword), 0);
}

// The probe is sent by a thread that does nothing afterwards, so that nothing else writes over its stack.
TEST_F(FaceWipe, NothingStaysOfADetection) {
    std::binary_semaphore sent{0};
    std::binary_semaphore searched{0};
    std::thread prober([this, &sent, &searched] {
        FindService(m_port);
        sent.release();
        searched.acquire();
    });
    sent.acquire();
    tagAI_FACE_S_EUA_SERVER_INFO service = {};
    EXPECT_TRUE(Eventually([&service] { return Detect().GetValidFaceSrvInfo(service) == 0; }))
        << ::testing::PrintToString(m_terminal->Errors());
    ExpectNothingLeft();
    searched.release();
    prober.join();
}

TEST_F(FaceWipe, NothingStaysOfARecognition) {
    Identify(m_port);
    ASSERT_TRUE(m_terminal->observer().WaitFor(AI_SUB_ID_FACE_RECOGNIZE, 1));
    ExpectNothingLeft();
}

TEST_F(FaceWipe, NothingStaysOfAPhotoQuery) {
    AskPhoto(m_port);
    ASSERT_TRUE(m_terminal->observer().WaitFor(AI_SUB_ID_FACE_PHOTO, 1));
    ExpectNothingLeft();
}

TEST_F(FaceWipe, NothingStaysOfRequestsThatAreRefused) {
    m_service.Signal(SIGTERM);
    ASSERT_EQ(m_service.Wait(), 0);
    std::filesystem::remove(File("ready"));
    StartService("another-account");
    FindService(m_port);
    Identify(m_port);
    EXPECT_TRUE(m_terminal->WaitForLog("<FaceRecognizeRspNotify>:http status code:401, requestId:0"));
    AskPhoto(m_port);
    EXPECT_TRUE(m_terminal->WaitForLog("<QueryFacePhotoRspNotify>: http status code:401"));
    ExpectNothingLeft();
}

TEST_F(FaceWipe, NothingStaysOfRequestsThatAreAborted) {
    SilentSocket probed(SilentSocket::Kind::kTcp);
    SilentSocket identifying(SilentSocket::Kind::kTcp);
    SilentSocket asked(SilentSocket::Kind::kTcp);
    FindService(probed.Port());
    Identify(identifying.Port());
    AskPhoto(asked.Port());
    for (SilentSocket* const socket : {&probed, &identifying, &asked}) {
        ASSERT_TRUE(socket->WaitForArrivals());
    }
    quor_platform::AbortRequests();
    EXPECT_TRUE(m_terminal->WaitForLog("<FaceServerDetectRspNotify> pstHttpRsp is nullptr."));
    EXPECT_TRUE(m_terminal->WaitForLog("<HttpThreadExecute>: execute subId:11 failed."));
    EXPECT_TRUE(m_terminal->WaitForLog("<HttpThreadExecute>: execute subId:12 failed."));
    quor_platform::AllowRequests();
    ExpectNothingLeft();
}

TEST_F(FaceWipe, NothingStaysOfRequestsThatNobodyAnswers) {
    constexpr std::uint16_t kClosed = 1;
    FindService(kClosed);
    EXPECT_TRUE(m_terminal->WaitForLog("<FaceServerDetectRspNotify> pstHttpRsp is nullptr."));
    Identify(kClosed);
    EXPECT_TRUE(m_terminal->WaitForLog("<HttpThreadExecute>: execute subId:11 failed."));
    AskPhoto(kClosed);
    EXPECT_TRUE(m_terminal->WaitForLog("<HttpThreadExecute>: execute subId:12 failed."));
    ExpectNothingLeft();
}

}  // namespace
}  // namespace quor_test
