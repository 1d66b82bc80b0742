// log_files.cpp - ids of log files. They are asked for at every log call, also at one whose level is off, so
// a known name is found without a lock: names are only ever added, and published by the count.

#include <array>
#include <atomic>
#include <cstring>

#include "platform_linux/thread_annotations.h"
#include "quor_platform/log.h"

namespace {

using quor_platform::internal::Mutex;
using quor_platform::internal::MutexLock;

// Programs have a handful. Names beyond share the last id.
constexpr unsigned int kMaxLogFiles = 256;

struct LogFiles {
    Mutex adding;
    std::atomic<unsigned int> count{0};
    std::array<const char*, kMaxLogFiles> names{};  // owned for the life of the process

    // Id of name, or 0.
    unsigned int Find(const char* name) const {
        const unsigned int end = count.load(std::memory_order_acquire);
        for (unsigned int i = 0; i < end; ++i) {
            if (std::strcmp(names[i], name) == 0) {
                return i + 1;
            }
        }
        return 0;
    }
};

constinit LogFiles logFiles;

}  // namespace

unsigned int QuorAiGetAiLogFileId(const char* logFileName) {
    const char* name = logFileName != nullptr ? logFileName : "";
    unsigned int id = logFiles.Find(name);
    if (id != 0) {
        return id;
    }
    const MutexLock lock(logFiles.adding);
    id = logFiles.Find(name);
    const unsigned int count = logFiles.count.load(std::memory_order_relaxed);
    if (id != 0 || count == kMaxLogFiles) {
        return id != 0 ? id : kMaxLogFiles;
    }
    char* copy = strdup(name);
    if (copy == nullptr) {
        return kMaxLogFiles;
    }
    logFiles.names[count] = copy;
    logFiles.count.store(count + 1, std::memory_order_release);
    return count + 1;
}
