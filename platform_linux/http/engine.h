// engine.h - the HTTP transport's life: who may send, the thread of the asynchronous requests, their records.
//
// Threads: callable from any thread. Locks: m_lifecycle is held while the transport starts or ends, m_mutex
// while the state below changes; callbacks run without any of them.
#ifndef QUOR_PLATFORM_LINUX_HTTP_ENGINE_H
#define QUOR_PLATFORM_LINUX_HTTP_ENGINE_H

#include <atomic>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <thread>

#include "platform_linux/cancel_registry.h"
#include "platform_linux/http/exchange.h"
#include "platform_linux/http/kept_connections.h"
#include "platform_linux/http/transfer_loop.h"
#include "platform_linux/thread_annotations.h"
#include "quor_platform/http.h"

namespace quor_platform::internal {

// An asynchronous request from its send to its release.
struct AsyncRequest {
    unsigned long handle = 0;
    QuorHttpCallback callback = nullptr;
    void* userData = nullptr;
    std::unique_ptr<Exchange> exchange;  // the thread's, while it is under way
    bool finished = false;               // under the engine's lock, like failure
    Failure failure;
    AnswerBody body;
    tagST_HTTP_RSP response{};
};

class Engine {
public:
    static Engine& Instance();  // never destroyed

    // Result numbers as EN_HTTP_ERRORCODE.
    unsigned int Init() QUOR_EXCLUDES(m_lifecycle, m_mutex);
    unsigned int Uninit() QUOR_EXCLUDES(m_lifecycle, m_mutex);
    void Shutdown() QUOR_EXCLUDES(m_lifecycle, m_mutex);
    void Abort(bool abort) QUOR_EXCLUDES(m_mutex);

    // A new handle. Takes no memory, so that every send has one.
    unsigned long NewHandle() { return m_lastHandle.fetch_add(1) + 1; }
    // Runs the request to its end on the calling thread.
    Outcome Send(std::unique_ptr<HttpRequest> request, AnswerBody* body) QUOR_EXCLUDES(m_mutex);
    // Takes the request over; its callback runs later. Otherwise the outcome, and it was not taken over.
    std::optional<Outcome> Start(const std::shared_ptr<AsyncRequest>& record,
                                 std::unique_ptr<HttpRequest> request) QUOR_EXCLUDES(m_mutex);
    // Keeps a request that ended before it began, so that its handle can be released.
    void AddFinished(const std::shared_ptr<AsyncRequest>& record) QUOR_EXCLUDES(m_mutex);
    unsigned int Release(unsigned long handle) QUOR_EXCLUDES(m_mutex);
    Failure FailureOf(unsigned long handle) QUOR_EXCLUDES(m_mutex);

private:
    using Active = std::map<const Exchange*, std::shared_ptr<AsyncRequest>>;
    struct Work {
        std::deque<std::shared_ptr<AsyncRequest>> incoming;
        unsigned long cancelUpTo = 0;  // handles to cancel
    };

    std::optional<Outcome> RefusalLocked() const QUOR_REQUIRES(m_mutex);
    bool OnThread() const QUOR_EXCLUDES(m_mutex);
    void StartThreadLocked() QUOR_REQUIRES(m_mutex);
    void CancelLocked() QUOR_REQUIRES(m_mutex);
    void End() QUOR_REQUIRES(m_lifecycle) QUOR_EXCLUDES(m_mutex);

    // The rest runs on the thread.
    void Run(std::unique_ptr<TransferLoop> loop) QUOR_EXCLUDES(m_mutex);
    bool TakeWork(Work* work, bool idle) QUOR_EXCLUDES(m_mutex);
    void ChangeTrust(std::unique_ptr<TransferLoop>& loop, const TrustPointer& trust) QUOR_EXCLUDES(m_mutex);
    void Begin(TransferLoop& loop, const std::shared_ptr<AsyncRequest>& record, Active& active);
    void CancelUpTo(unsigned long handle, TransferLoop& loop, Active& active);
    void FinishSome(TransferLoop& loop, Active& active, int mostMs);
    void Complete(const std::shared_ptr<AsyncRequest>& record) QUOR_EXCLUDES(m_mutex);

    Mutex m_lifecycle;
    mutable Mutex m_mutex;
    std::atomic<unsigned long> m_lastHandle{0};
    bool m_initialised QUOR_GUARDED_BY(m_mutex) = false;
    bool m_closing QUOR_GUARDED_BY(m_mutex) = false;  // between the begin and the end of End
    unsigned long m_cancelUpTo QUOR_GUARDED_BY(m_mutex) = 0;
    std::deque<std::shared_ptr<AsyncRequest>> m_incoming QUOR_GUARDED_BY(m_mutex);
    std::map<unsigned long, std::shared_ptr<AsyncRequest>> m_requests QUOR_GUARDED_BY(m_mutex);
    std::thread m_thread QUOR_GUARDED_BY(m_mutex);
    std::thread::id m_threadId QUOR_GUARDED_BY(m_mutex);
    TransferLoop* m_loop QUOR_GUARDED_BY(m_mutex) = nullptr;  // the thread's, to wake it
    TrustPointer m_loopTrust;                                 // used by the thread only
    CancelRegistry m_blocking;
    KeptConnections m_kept;
};

}  // namespace quor_platform::internal

#endif
