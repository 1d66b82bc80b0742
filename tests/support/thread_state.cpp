#include "support/thread_state.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

namespace QuorTest {

namespace {

// The state letter stands behind the name, which is in brackets and may hold anything.
char StateOf(pid_t thread) {
    std::ifstream stat("/proc/self/task/" + std::to_string(thread) + "/stat");
    const std::string text{std::istreambuf_iterator<char>(stat), {}};
    const std::size_t close = text.rfind(')');
    return close == std::string::npos || close + 2 >= text.size() ? '?' : text[close + 2];
}

std::filesystem::path FolderOf(pid_t thread) {
    return "/proc/self/task/" + std::to_string(thread);
}

// A sanitizer adds a thread of its own to the first one that a program starts.
bool StartAndEndOne() {
    pid_t number = 0;
    pthread_t thread;
    if (pthread_create(
            &thread, nullptr,
            [](void* arg) -> void* {
                *static_cast<pid_t*>(arg) = ThreadNumber();
                return nullptr;
            },
            &number) != 0) {
        return false;
    }
    pthread_join(thread, nullptr);
    while (std::filesystem::exists(FolderOf(number))) {
        std::this_thread::yield();
    }
    return true;
}

}  // namespace

pid_t ThreadNumber() {
    return static_cast<pid_t>(syscall(SYS_gettid));
}

void WaitUntilAsleep(const std::atomic<pid_t>& number) {
    while (number.load() == 0 || StateOf(number.load()) != 'S') {
        std::this_thread::yield();
    }
}

std::size_t ThreadCount() {
    static const bool sanitizersThreadIsThere = StartAndEndOne();
    static_cast<void>(sanitizersThreadIsThere);
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return static_cast<std::size_t>(std::distance(begin(tasks), end(tasks)));
}

void WaitForThreads(std::size_t atMost) {
    while (ThreadCount() > atMost) {
        std::this_thread::yield();
    }
}

}  // namespace QuorTest
