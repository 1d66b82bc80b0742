// host_state.h - what every part of the Linux platform shares: the reason of the last failure on a thread
// (host.h, LastFailure) and the platform's own log records.
//
// Threads: the functions are callable from any thread and while the caller holds a lock of its own.
#ifndef QUOR_PLATFORM_LINUX_HOST_STATE_H
#define QUOR_PLATFORM_LINUX_HOST_STATE_H

#include "quor_platform/log.h"
#include "quor_platform_linux/host.h"

namespace quor_platform {

// Keeps failure as the calling thread's LastFailure. Its text must not hold a secret.
void RecordFailure(const Failure& failure);

// Level and source line of a record. Converts from a level, so that LogHost(level, ...) tells its own line.
struct LogSite {
    // NOLINTNEXTLINE(google-explicit-constructor)
    constexpr LogSite(unsigned int logLevel, unsigned int callLine = __builtin_LINE())
        : level(logLevel), line(callLine) {}
    unsigned int level;
    unsigned int line;
};

// Writes one record of the platform itself to the module log under the module name "platform_linux".
// site is a level, QUOR_OM_LOG_LEVEL_ERROR to QUOR_OM_LOG_LEVEL_INFO.
void LogHost(LogSite site, const char* format, ...) __attribute__((format(printf, 2, 3)));

// Reports a defect of the program that cannot be continued from: writes the text to standard error and the
// log, then ends the process with SIGABRT.
[[noreturn]] void AbortHost(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace quor_platform

#endif
