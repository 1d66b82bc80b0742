// face_request.h - what the two face requests share.
#ifndef HTTP_ADAPTER_FACE_REQUEST_H
#define HTTP_ADAPTER_FACE_REQUEST_H

#include <cjson/cJSON.h>

#include <cstddef>

#include "common/json_member.h"
#include "quor_platform/http.h"
#include "utility/http_protocol.h"

namespace QuorAiEngine {

// Deliberate, of both URLs: a request with many or long ids fails. The server takes no longer one.
inline constexpr std::size_t kFaceUrlCapacity = 256;
// The only status of a good answer: the face service always has something to say.
inline constexpr unsigned int kFaceStatusOk = 200;

// Frees the answer of a synchronous request, also of one that failed. For automatic storage.
class SyncAnswer {
public:
    explicit SyncAnswer(tagHTTP_S_SYN_SEND_PARAM& param) : m_param(param) {}
    ~SyncAnswer() { HttpProtocol::FreeSyncRequestParam(m_param); }
    SyncAnswer(const SyncAnswer&) = delete;
    SyncAnswer& operator=(const SyncAnswer&) = delete;

private:
    tagHTTP_S_SYN_SEND_PARAM& m_param;
};

// Whether a "status" member, which is a text, says that the service did what it was asked for.
inline bool IsSuccess(const cJSON* status) {
    return IsSameName(status->valuestring, "success");
}

}  // namespace QuorAiEngine

#endif
