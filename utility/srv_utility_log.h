// srv_utility_log.h - log records of the HTTP and address utilities. All their source files log under one
// module name.
#ifndef UTILITY_SRV_UTILITY_LOG_H
#define UTILITY_SRV_UTILITY_LOG_H

#include "common/log_macros.h"

namespace QuorAiEngine {

inline constexpr LogModule kUtilityLogModule = MakeLogModule("quor_ai_cloud_srv_utility.cpp");

}  // namespace QuorAiEngine

#define UTILITY_LOG_ERROR(...) \
    QUOR_MODULE_LOG(QuorAiEngine::kUtilityLogModule, QUOR_OM_LOG_LEVEL_ERROR, __VA_ARGS__)
#define UTILITY_LOG_INFO(...) \
    QUOR_MODULE_LOG(QuorAiEngine::kUtilityLogModule, QUOR_OM_LOG_LEVEL_INFO, __VA_ARGS__)
// For failures that can come in masses: the platform limits their rate.
#define UTILITY_STORM_LOG(...)                                                                            \
    QuorOmLogStormLogRecord(QUOR_OM_LOG_LEVEL_ERROR, QUOR_LOG_FILE_ID(),                                  \
                            QuorAiEngine::kUtilityLogModule.name, QuorAiEngine::kUtilityLogModule.length, \
                            __LINE__, __VA_ARGS__)

#endif
