// http_thread_execute.h - HttpThreadExecute: the task that runs one queued request on a worker.
#ifndef HTTP_ADAPTER_HTTP_THREAD_EXECUTE_H
#define HTTP_ADAPTER_HTTP_THREAD_EXECUTE_H

#include <functional>

#include "quor_ai/ids.h"
#include "quor_ai/result.h"
#include "thread_pool/thread_execute.h"

namespace QuorAiEngine {

class HttpThreadExecute : public QuorAiComm::ThreadExecute {
public:
    using Request = std::function<int(TagQuorAiSubId, void*, unsigned int)>;

    // Owns what record.data points at (accounted heap) from here on.
    HttpThreadExecute(Request request, TagAiCloudSrvResult& record);

    // Runs the request and logs its failure; an exception is one.
    void Execute() override;

    // Frees the record's data, overwritten.
    virtual ~HttpThreadExecute();

private:
    Request m_request;
    TagAiCloudSrvResult m_record;
};

}  // namespace QuorAiEngine

#endif
