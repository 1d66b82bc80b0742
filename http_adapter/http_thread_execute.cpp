#include "http_adapter/http_thread_execute.h"

#include <utility>

#include "http_adapter/http_log.h"
#include "http_adapter/http_scope.h"

namespace QuorAiEngine {

HttpThreadExecute::HttpThreadExecute(Request request, TagAiCloudSrvResult& record)
    : m_request(std::move(request)), m_record(record) {}

// The data goes with the task and not with the end of Execute: a task that the pool drops frees it too.
HttpThreadExecute::~HttpThreadExecute() {
    if (m_record.data != nullptr) {
        WipedBlockDeleter(m_record.len)(m_record.data);
    }
}

void HttpThreadExecute::Execute() {
    if (!m_request) {
        return;
    }
    const int result =
        WithoutExceptions(-1, [this] { return m_request(m_record.id, m_record.data, m_record.len); });
    if (result != 0) {
        HTTP_LOG_ERROR("<HttpThreadExecute>: execute subId:%d failed.", static_cast<int>(m_record.id));
    }
}

}  // namespace QuorAiEngine
