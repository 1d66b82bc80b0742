// http_log.h - log records and traces of the HTTP services. All their source files log under one module name.
#ifndef HTTP_ADAPTER_HTTP_LOG_H
#define HTTP_ADAPTER_HTTP_LOG_H

#include "common/log_macros.h"

namespace QuorAiEngine {

inline constexpr LogModule kHttpLogModule = MakeLogModule("quor_ai_http_adapter.cpp");

// Trace level from which requests and answers are traced.
inline constexpr unsigned char kTraceHttp = 3;

}  // namespace QuorAiEngine

#define HTTP_LOG_ERROR(...) \
    QUOR_MODULE_LOG(QuorAiEngine::kHttpLogModule, QUOR_OM_LOG_LEVEL_ERROR, __VA_ARGS__)
#define HTTP_LOG_INFO(...) QUOR_MODULE_LOG(QuorAiEngine::kHttpLogModule, QUOR_OM_LOG_LEVEL_INFO, __VA_ARGS__)
#define HTTP_TRACE(...) QUOR_TRACE_FORMAT(QuorAiEngine::kTraceHttp, __VA_ARGS__)

#endif
