// log.cpp - the log interface: the level is tested first, so that a record that nobody wants costs a load and
// a comparison.

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "platform_linux/host_state.h"
#include "platform_linux/log_text.h"
#include "platform_linux/logger.h"
#include "quor_platform/log.h"

namespace quor_platform {
namespace {

using internal::FormattedText;
using internal::Logger;

constexpr std::string_view kOwnModule = "platform_linux";
constexpr char kModuleLog[] = "module";
constexpr char kGeneralLog[] = "general";
constexpr char kStormLog[] = "storm";

struct Place {
    const char* module;
    std::size_t moduleLength;
    unsigned int line;
};

inline bool Wanted(unsigned int level) {
    return level <= internal::wantedLogLevel.load(std::memory_order_relaxed);
}

// Kept out of the callers, so that a record that nobody wants does not set up this one's buffer.
__attribute__((noinline, format(printf, 4, 0))) unsigned int Write(const char* log, unsigned int level,
                                                                   Place place, const char* format,
                                                                   std::va_list args) {
    if (level == 0 || format == nullptr) {
        return EINVAL;
    }
    try {
        const FormattedText text(format, args);
        if (!text.Valid()) {
            return EINVAL;
        }
        LogRecord record;
        record.level = level;
        record.log = log;
        record.module = place.module != nullptr ? place.module : "";
        record.moduleLength = strnlen(record.module, place.moduleLength);
        record.line = place.line;
        record.text = text.Text();
        return Logger::Get().Write(record);
    } catch (...) {
        return ENOMEM;
    }
}

}  // namespace

void LogHost(LogSite site, const char* format, ...) {
    if (!Wanted(site.level)) {
        return;
    }
    std::va_list args;
    va_start(args, format);
    Write(kModuleLog, site.level, Place{kOwnModule.data(), kOwnModule.size(), site.line}, format, args);
    va_end(args);
}

void AbortHost(const char* format, ...) {
    std::va_list args;
    va_start(args, format);
    char text[1536];
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    std::fprintf(stderr, "platform_linux: %s\n", text);
    LogHost(QUOR_OM_LOG_LEVEL_ERROR, "%s", text);
    std::abort();
}

bool SetLogSettings(const LogSettings& settings) {
    return Logger::Get().Configure(settings);
}

void SetLogLevel(unsigned int level) {
    Logger::Get().SetLevel(level);
}

void SetLogListener(LogListener listener) {
    Logger::Get().SetListener(std::move(listener));
}

void FlushLogs() {
    Logger::Get().Flush();
}

}  // namespace quor_platform

unsigned int QuorOmLogModuleLogRecord(unsigned int level, unsigned short /*fileId*/, const char* module,
                                      unsigned int moduleLen, unsigned int line, const char* format, ...) {
    using namespace quor_platform;
    if (!Wanted(level)) {
        return 0;
    }
    std::va_list args;
    va_start(args, format);
    const unsigned int result = Write(kModuleLog, level, Place{module, moduleLen, line}, format, args);
    va_end(args);
    return result;
}

unsigned int QuorOmLogGeneralLogRecord(unsigned int level, unsigned short /*fileId*/, const char* module,
                                       unsigned int moduleLen, unsigned int line, const char* format, ...) {
    using namespace quor_platform;
    if (!Wanted(level)) {
        return 0;
    }
    std::va_list args;
    va_start(args, format);
    const unsigned int result = Write(kGeneralLog, level, Place{module, moduleLen, line}, format, args);
    va_end(args);
    return result;
}

unsigned int QuorOmLogStormLogRecord(unsigned int level, unsigned short /*fileId*/, const char* module,
                                     unsigned int moduleLen, unsigned int line, const char* format, ...) {
    using namespace quor_platform;
    if (!Wanted(level)) {
        return 0;
    }
    try {
        if (!Logger::Get().AdmitStorm()) {
            return 0;
        }
    } catch (...) {
        return ENOMEM;
    }
    std::va_list args;
    va_start(args, format);
    const unsigned int result = Write(kStormLog, level, Place{module, moduleLen, line}, format, args);
    va_end(args);
    return result;
}
