// log_macros.h - the one way this library writes log records and developer traces.
//
// Macros and not functions, because a record names the line of its call site and the format must be a literal
// there: a text found in a terminal's log leads to its source by a plain text search. Each module wraps these
// in macros that know its logged name; that name stays the same whichever source file of the module raises
// the record.
#ifndef COMMON_LOG_MACROS_H
#define COMMON_LOG_MACROS_H

#include <cstddef>

#include "quor_platform/bounded.h"
#include "quor_platform/log.h"

namespace QuorAiEngine {

// The name under which a module's records are written, and its length without terminator.
struct LogModule {
    const char* name;
    unsigned int length;
};

template <std::size_t N>
constexpr LogModule MakeLogModule(const char (&name)[N]) {
    return {name, static_cast<unsigned int>(N - 1)};
}

// Bytes of a trace line with its prefix and terminator. A longer one is replaced by an error text.
inline constexpr std::size_t kTraceLineCapacity = 400;

}  // namespace QuorAiEngine

// The file id is asked for every record: a remembered one could stem from before the platform's log started.
#define QUOR_LOG_FILE_ID() static_cast<unsigned short>(QuorAiGetAiLogFileId("AiLog.log"))

// QUOR_MODULE_LOG(module, level, format, arguments...); the value is the platform's result.
#define QUOR_MODULE_LOG(module, level, ...)                                                         \
    QuorOmLogModuleLogRecord((level), QUOR_LOG_FILE_ID(), (module).name, (module).length, __LINE__, \
                             __VA_ARGS__)

// The general log takes what a user of the terminal understands.
#define QUOR_GENERAL_LOG(module, level, ...)                                                         \
    QuorOmLogGeneralLogRecord((level), QUOR_LOG_FILE_ID(), (module).name, (module).length, __LINE__, \
                              __VA_ARGS__)

// A trace of a text with arguments, written from the given trace level up. The text goes out as an argument:
// what a server sent must never become a format.
#define QUOR_TRACE_FORMAT(threshold, format, ...)                                           \
    do {                                                                                    \
        if (GetGucAITraceLevel() >= (threshold)) {                                          \
            char quorTraceLine[QuorAiEngine::kTraceLineCapacity];                           \
            if (snprintf_s(quorTraceLine, sizeof(quorTraceLine), sizeof(quorTraceLine) - 1, \
                           "%s[%s:%u]:" format, QuorAiGetTraceString(), __func__,           \
                           static_cast<unsigned int>(__LINE__), __VA_ARGS__) < 0) {         \
                QuorAiTracePrintf("AI_TRACE_ERROR: snprintf_s error!\n");                   \
            } else {                                                                        \
                QuorAiTracePrintf("%s", quorTraceLine);                                     \
            }                                                                               \
        }                                                                                   \
    } while (false)

// A trace of a fixed text.
#define QUOR_TRACE(threshold, text) QUOR_TRACE_FORMAT(threshold, "%s", text)

#endif
