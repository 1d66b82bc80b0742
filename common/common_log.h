// common_log.h - log records of the shared helpers.
#ifndef COMMON_COMMON_LOG_H
#define COMMON_COMMON_LOG_H

#include "common/log_macros.h"

namespace QuorAiEngine {

inline constexpr LogModule kCommonLogModule = MakeLogModule("quor_ai_cloud_common.cpp");

}  // namespace QuorAiEngine

#define COMMON_LOG_ERROR(...) \
    QUOR_MODULE_LOG(QuorAiEngine::kCommonLogModule, QUOR_OM_LOG_LEVEL_ERROR, __VA_ARGS__)

#endif
