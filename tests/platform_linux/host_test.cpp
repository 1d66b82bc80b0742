#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <string>
#include <thread>

#include "quor_platform/http.h"
#include "quor_platform/log.h"
#include "quor_platform/os.h"
#include "quor_platform_linux/host.h"
#include "tests/platform_linux/support/gate.h"
#include "tests/platform_linux/support/temporary_folder.h"
#include "tests/platform_linux/support/threads.h"

namespace {

std::size_t ThreadsOfTheProcess() {
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return static_cast<std::size_t>(std::distance(begin(tasks), end(tasks)));
}

// The kernel lists a joined thread for a moment longer.
bool ThreadsBecome(std::size_t count) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (ThreadsOfTheProcess() != count && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::yield();
    }
    return ThreadsOfTheProcess() == count;
}

// The thread sanitizer starts a thread of its own beside the first one of a program.
void StartAndEndAThread() {
    pid_t id = 0;
    std::thread([&id] { id = gettid(); }).join();
    const std::filesystem::path task = "/proc/self/task/" + std::to_string(id);
    while (std::filesystem::exists(task)) {
        std::this_thread::yield();
    }
}

// To a port where nobody listens.
void SendARequestThatFails() {
    Gate ended;
    tagHTTP_S_TLS_PARAM tls{"/etc/ssl/certs", 1, 0};
    tagHTTP_S_ASYN_SEND_PARAM param{};
    param.url = "https://127.0.0.1:1/";
    param.method = QUOR_HTTP_METHOD_GET;
    param.config.tlsParam = &tls;
    param.callback = [](unsigned long handle, EN_HTTP_ERRORCODE, tagST_HTTP_RSP*, void* gate) {
        HTTPAPI_ReleaseHandle(handle);
        static_cast<Gate*>(gate)->Open();
        return 0U;
    };
    param.userData = &ended;
    unsigned long handle = 0;
    quor_http_asyn_send(&param, &handle);
    EXPECT_TRUE(ended.Wait());
}

// Uses every service that has a thread.
void UseEverything(const TemporaryFolder& folder) {
    quor_platform::LogSettings settings;
    settings.file = folder.File("log");
    ASSERT_TRUE(quor_platform::SetLogSettings(settings));
    EXPECT_EQ(QuorOmLogModuleLogRecord(QUOR_OM_LOG_LEVEL_INFO, 1, "m", 1, 1, "text"), 0U);
    Gate ran;
    OsRelTimer t = OsCreateRelTimerM([](void* gate) { static_cast<Gate*>(gate)->Open(); }, &ran, 1, "f");
    ASSERT_EQ(OsStartRelTimer(t, 1, OS_REL_TIMER_MODE_ONCE), 0U);
    EXPECT_TRUE(ran.Wait());
    EXPECT_EQ(OsFreeRelTimer(t), 0U);
    Gate received;
    quor_platform::SetMessageReceiver("host", [&](const unsigned char*) { received.Open(); });
    std::array<unsigned char, OS_MSG_SIZE> message{};
    std::memcpy(message.data() + OS_MSG_RECEIVER_OFFSET, "host", 4);
    ASSERT_EQ(OsMsgAsynSend(message.data()), 0U);
    EXPECT_TRUE(received.Wait());
    quor_platform::SetMessageReceiver("host", nullptr);
    ASSERT_EQ(quor_http_init(), 0U);
    SendARequestThatFails();
}

TEST(Host, ShutdownEndsAllThreadsAndThePlatformWorksAgain) {
    const TemporaryFolder folder;
    quor_platform::Shutdown();
    StartAndEndAThread();
    const std::size_t before = ThreadsOfTheProcess();
    for (int round = 0; round < 3; ++round) {
        UseEverything(folder);
        EXPECT_GT(ThreadsOfTheProcess(), before);
        quor_platform::Shutdown();
        EXPECT_TRUE(ThreadsBecome(before));
    }
    EXPECT_TRUE(quor_platform::SetLogSettings({}));
}

TEST(Host, ShutdownsFromSeveralThreadsTakeTurns) {
    const TemporaryFolder folder;
    UseEverything(folder);
    RunInThreads(4, [](int) { quor_platform::Shutdown(); });
    EXPECT_TRUE(quor_platform::SetLogSettings({}));
}

}  // namespace
