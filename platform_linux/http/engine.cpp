#include "platform_linux/http/engine.h"

#include <limits>
#include <utility>

#include "platform_linux/host_state.h"
#include "platform_linux/platform_thread.h"

namespace quor_platform::internal {
namespace {

// Unused connections of the asynchronous requests that stay open for the next ones: those of a whole burst. A
// new one costs several times what a request costs.
constexpr long kKeptConnections = 256;

// Without anything to do the thread looks around this often; it is woken for everything that matters.
constexpr int kIdleWaitMs = 60'000;

Outcome CertificateOutcome(Failure failure) {
    Outcome outcome;
    outcome.result = HTTP_ERRORCODE_CERTIFICATE;
    outcome.failure = std::move(failure);
    return outcome;
}

}  // namespace

Engine& Engine::Instance() {
    static auto* const engine = new Engine;
    return *engine;
}

// ---- Life cycle ----

unsigned int Engine::Init() {
    if (OnThread()) {
        return HTTP_ERRORCODE_OK;  // a callback runs, so the transport was initialised
    }
    const MutexLock lifecycle(m_lifecycle);
    const MutexLock lock(m_mutex);
    if (m_initialised) {
        return HTTP_ERRORCODE_OK;
    }
    if (!PrepareCurl()) {
        return HTTP_ERRORCODE_NO_MEMORY;
    }
    StartThreadLocked();
    m_kept.Open();
    m_initialised = true;
    return HTTP_ERRORCODE_OK;
}

unsigned int Engine::Uninit() {
    if (OnThread()) {
        LogHost(QUOR_OM_LOG_LEVEL_ERROR,
                "quor_http_uninit was called from a callback: the transport goes on");
        return HTTP_ERRORCODE_INVALID;
    }
    const MutexLock lifecycle(m_lifecycle);
    {
        const MutexLock lock(m_mutex);
        m_initialised = false;
    }
    End();
    return HTTP_ERRORCODE_OK;
}

void Engine::Shutdown() {
    if (OnThread()) {
        LogHost(QUOR_OM_LOG_LEVEL_ERROR, "Shutdown was called from a callback of a request: requests go on");
        return;
    }
    const MutexLock lifecycle(m_lifecycle);
    End();
    const MutexLock lock(m_mutex);
    if (m_initialised) {
        m_kept.Open();
    }
}

void Engine::Abort(bool abort) {
    m_blocking.Block(abort);
    if (abort) {
        {
            const MutexLock lock(m_mutex);
            CancelLocked();
        }
        m_blocking.CancelAll();
    }
}

void Engine::End() {
    std::thread thread;
    {
        const MutexLock lock(m_mutex);
        m_closing = true;
        CancelLocked();
        thread = std::move(m_thread);
    }
    m_blocking.CancelAll();
    if (thread.joinable()) {
        thread.join();
    }
    m_blocking.WaitForNone();
    m_kept.Close();
    const MutexLock lock(m_mutex);
    m_threadId = {};
    m_closing = false;
}

void Engine::CancelLocked() {
    m_cancelUpTo = m_lastHandle.load();
    if (m_loop != nullptr) {
        m_loop->Wake();
    }
}

bool Engine::OnThread() const {
    const MutexLock lock(m_mutex);
    return m_threadId == std::this_thread::get_id();
}

std::optional<Outcome> Engine::RefusalLocked() const {
    if (!m_initialised) {
        return FailedOutcome(HTTP_ERRORCODE_NOT_INITIALISED, Stage::kSettings,
                             "the HTTP transport is not initialised");
    }
    if (m_closing || m_blocking.Blocked()) {
        return FailedOutcome(HTTP_ERRORCODE_CANCELLED, Stage::kAborted, "requests are aborted");
    }
    return std::nullopt;
}

// ---- Blocking requests ----

Outcome Engine::Send(std::unique_ptr<HttpRequest> request, AnswerBody* body) {
    Failure failure;
    const TrustPointer trust = LoadTrust(request->caPath, &failure);
    if (trust == nullptr) {
        return CertificateOutcome(std::move(failure));
    }
    const std::size_t mostKept = request->maxIdleConnections;
    KeptConnectionPointer connection = m_kept.Take(Exchange::KeyOf(*request), trust);
    Outcome outcome;
    {
        Exchange exchange(std::move(request), trust);
        std::optional<CancelRegistry::Scope> scope;
        {
            const MutexLock lock(m_mutex);
            if (auto refusal = RefusalLocked()) {
                return *std::move(refusal);
            }
            scope.emplace(m_blocking, [&] { connection->loop.Wake(); });
        }
        connection->loop.Start(exchange);
        while (!exchange.Finished()) {
            if (scope->Cancelled()) {
                connection->loop.Forget(exchange);
                exchange.Cancel();
            } else {
                connection->loop.Step(kIdleWaitMs);
            }
        }
        outcome = exchange.TakeResult();
        body->Swap(exchange.Body());
    }
    if (outcome.result == HTTP_ERRORCODE_OK) {
        m_kept.Return(std::move(connection), mostKept);
    }
    return outcome;
}

// ---- Asynchronous requests ----

std::optional<Outcome> Engine::Start(const std::shared_ptr<AsyncRequest>& record,
                                     std::unique_ptr<HttpRequest> request) {
    Failure failure;
    TrustPointer trust = LoadTrust(request->caPath, &failure);
    if (trust == nullptr) {
        return CertificateOutcome(std::move(failure));
    }
    record->exchange = std::make_unique<Exchange>(std::move(request), std::move(trust));
    const MutexLock lock(m_mutex);
    if (auto refusal = RefusalLocked()) {
        return refusal;
    }
    if (!m_thread.joinable()) {
        StartThreadLocked();
    }
    m_requests.emplace(record->handle, record);
    try {
        m_incoming.push_back(record);
    } catch (...) {
        m_requests.erase(record->handle);
        throw;
    }
    if (m_loop != nullptr) {
        m_loop->Wake();
    }
    return std::nullopt;
}

void Engine::AddFinished(const std::shared_ptr<AsyncRequest>& record) {
    record->exchange.reset();
    const MutexLock lock(m_mutex);
    record->finished = true;
    m_requests.emplace(record->handle, record);
}

unsigned int Engine::Release(unsigned long handle) {
    std::shared_ptr<AsyncRequest> released;  // ends after the lock
    const MutexLock lock(m_mutex);
    const auto found = m_requests.find(handle);
    if (found == m_requests.end() || !found->second->finished) {
        return HTTP_ERRORCODE_INVALID;
    }
    released = std::move(found->second);
    m_requests.erase(found);
    return HTTP_ERRORCODE_OK;
}

Failure Engine::FailureOf(unsigned long handle) {
    const MutexLock lock(m_mutex);
    const auto found = m_requests.find(handle);
    return found == m_requests.end() ? Failure{} : found->second->failure;
}

void Engine::StartThreadLocked() {
    auto loop = std::make_unique<TransferLoop>(kKeptConnections);
    m_thread = StartThread("quor-http", [this, loop = std::move(loop)]() mutable { Run(std::move(loop)); });
    m_threadId = m_thread.get_id();
}

void Engine::Run(std::unique_ptr<TransferLoop> loop) {
    {
        const MutexLock lock(m_mutex);
        m_loop = loop.get();
    }
    Active active;
    Work work;
    while (TakeWork(&work, active.empty())) {
        for (const auto& record : work.incoming) {
            if (active.empty()) {
                ChangeTrust(loop, record->exchange->TrustOf());
            }
            Begin(*loop, record, active);
        }
        work.incoming.clear();
        CancelUpTo(work.cancelUpTo, *loop, active);
        // A cancellation may leave nothing to wait for but the end, which has been announced already.
        FinishSome(*loop, active, work.cancelUpTo != 0 ? 0 : kIdleWaitMs);
    }
    m_loopTrust = nullptr;
}

// False: the thread ends; then nobody wakes the loop any more.
bool Engine::TakeWork(Work* work, bool idle) {
    const MutexLock lock(m_mutex);
    work->incoming.swap(m_incoming);
    work->cancelUpTo = std::exchange(m_cancelUpTo, 0);
    if (m_closing) {
        work->cancelUpTo = std::numeric_limits<unsigned long>::max();
    }
    if (m_closing && idle && work->incoming.empty()) {
        m_loop = nullptr;
        return false;
    }
    return true;
}

// The connections kept under other certificates of the same path end, once no request is under way on them.
void Engine::ChangeTrust(std::unique_ptr<TransferLoop>& loop, const TrustPointer& trust) {
    const TrustPointer before = std::exchange(m_loopTrust, trust);
    if (before == nullptr || before == trust || before->path != trust->path) {
        return;
    }
    try {
        auto next = std::make_unique<TransferLoop>(kKeptConnections);
        {
            const MutexLock lock(m_mutex);
            m_loop = next.get();
        }
        loop.swap(next);
    } catch (...) {
        m_loopTrust =
            before;  // tried again at the next request; no connection is used under the wrong certificates
    }
}

void Engine::Begin(TransferLoop& loop, const std::shared_ptr<AsyncRequest>& record, Active& active) {
    try {
        active.emplace(record->exchange.get(), record);
        loop.Start(*record->exchange);
    } catch (...) {
        active.erase(record->exchange.get());
        loop.Forget(*record->exchange);
        record->exchange->Fail();
        Complete(record);
    }
}

void Engine::CancelUpTo(unsigned long handle, TransferLoop& loop, Active& active) {
    for (auto at = active.begin(); at != active.end();) {
        if (at->second->handle > handle) {
            ++at;
            continue;
        }
        const std::shared_ptr<AsyncRequest> record = std::move(at->second);
        at = active.erase(at);
        loop.Forget(*record->exchange);
        record->exchange->Cancel();
        Complete(record);
    }
}

void Engine::FinishSome(TransferLoop& loop, Active& active, int mostMs) {
    try {
        for (Exchange* const exchange : loop.Step(mostMs)) {
            const auto found = active.find(exchange);
            const std::shared_ptr<AsyncRequest> record = std::move(found->second);
            active.erase(found);
            Complete(record);
        }
    } catch (...) {
        LogHost(QUOR_OM_LOG_LEVEL_ERROR, "no memory to go on with the asynchronous requests");
    }
}

// The exchange is over before the callback runs, so that its connection is there for what the callback sends.
// Allocates nothing that the callback depends on.
void Engine::Complete(const std::shared_ptr<AsyncRequest>& record) {
    Outcome outcome = record->exchange->TakeResult();
    record->body.Swap(record->exchange->Body());
    record->exchange.reset();
    record->response.statusCode = outcome.status;
    record->response.body = record->body.Text();
    record->response.bodyLen = static_cast<unsigned int>(record->body.Size());
    {
        const MutexLock lock(m_mutex);
        record->failure = std::move(outcome.failure);
        record->finished = true;
    }
    try {
        RecordFailure(record->failure);
    } catch (...) {
        RecordFailure(Failure{});
    }
    const bool answered = outcome.result == HTTP_ERRORCODE_OK;
    record->callback(record->handle, outcome.result, answered ? &record->response : nullptr,
                     record->userData);
    const MutexLock lock(m_mutex);
    if (m_requests.count(record->handle) > 0) {
        LogHost(QUOR_OM_LOG_LEVEL_WARNING, "the callback of the HTTPS request %lu did not release it",
                record->handle);
    }
}

}  // namespace quor_platform::internal
