// face_log.h - log records and traces of the search for the face service. All its source files log under one
// module name. Neither the credentials nor the address of the valid service are ever logged.
#ifndef FACE_DETECT_FACE_LOG_H
#define FACE_DETECT_FACE_LOG_H

#include "common/log_macros.h"

namespace QuorAiEngine {

inline constexpr LogModule kFaceLogModule = MakeLogModule("quor_ai_cloud_face_srv_detect.cpp");

// Trace level from which probes and answers are traced.
inline constexpr unsigned char kTraceFaceDetect = 3;

}  // namespace QuorAiEngine

#define FACE_LOG_ERROR(...) \
    QUOR_MODULE_LOG(QuorAiEngine::kFaceLogModule, QUOR_OM_LOG_LEVEL_ERROR, __VA_ARGS__)
#define FACE_LOG_INFO(...) QUOR_MODULE_LOG(QuorAiEngine::kFaceLogModule, QUOR_OM_LOG_LEVEL_INFO, __VA_ARGS__)
#define FACE_TRACE(...) QUOR_TRACE_FORMAT(QuorAiEngine::kTraceFaceDetect, __VA_ARGS__)

#endif
