// kel_log.h - log records and traces of the conference channel. All its source files log under one module
// name.
#ifndef CONFERENCE_CHANNEL_KEL_LOG_H
#define CONFERENCE_CHANNEL_KEL_LOG_H

#include "common/log_macros.h"

namespace QuorAiEngine {

inline constexpr LogModule kKelLogModule = MakeLogModule("quor_ai_kel_basic.cpp");

// Trace levels from which a trace is written.
inline constexpr unsigned char kTraceMissingField = 1;
inline constexpr unsigned char kTraceFrame = 3;
inline constexpr unsigned char kTraceHeader = 4;

}  // namespace QuorAiEngine

#define KEL_LOG_ERROR(...) QUOR_MODULE_LOG(QuorAiEngine::kKelLogModule, QUOR_OM_LOG_LEVEL_ERROR, __VA_ARGS__)
#define KEL_LOG_WARNING(...) \
    QUOR_MODULE_LOG(QuorAiEngine::kKelLogModule, QUOR_OM_LOG_LEVEL_WARNING, __VA_ARGS__)
#define KEL_LOG_INFO(...) QUOR_MODULE_LOG(QuorAiEngine::kKelLogModule, QUOR_OM_LOG_LEVEL_INFO, __VA_ARGS__)
#define KEL_GENERAL_LOG(...) \
    QUOR_GENERAL_LOG(QuorAiEngine::kKelLogModule, QUOR_OM_LOG_LEVEL_INFO, __VA_ARGS__)

#endif
