// The singleton, its start and its stop.
#include "quor_ai/ai_http_adapter.h"

#include <cstring>
#include <exception>
#include <utility>

#include "common/scope.h"
#include "http_adapter/http_log.h"
#include "quor_platform/bounded.h"
#include "thread_pool/thread_pool.h"
#include "utility/http_protocol.h"

namespace QuorAiEngine {

using QuorAiComm::MutexLock;
using QuorAiComm::ThreadPool;

namespace {

constexpr std::size_t kWorkers = 11;

}  // namespace

std::atomic<AiHttpAdapter*> AiHttpAdapter::uniqueInstance{nullptr};
OsMutex AiHttpAdapter::m_instanceLock = OS_MUTEX_INITIALIZER;
OsMutex AiHttpAdapter::m_msgBufferLock = OS_MUTEX_INITIALIZER;
TagQuorAiFacePhotoList* AiHttpAdapter::m_sendMsgBuffer = nullptr;
OsMutex AiHttpAdapter::m_siteInfoBufferLock = OS_MUTEX_INITIALIZER;
TagQuorAiConfList* AiHttpAdapter::m_siteInfoBuffer = nullptr;
std::atomic<unsigned int> AiHttpAdapter::m_dispatcherGeneration{0};
QuorAiComm::Mutex AiHttpAdapter::m_threadPoolLock;

AiHttpAdapter* AiHttpAdapter::GetInstance() {
    AiHttpAdapter* instance = uniqueInstance.load(std::memory_order_acquire);
    if (instance != nullptr) {
        return instance;
    }
    const ScopedOsLock lock(m_instanceLock);
    instance = uniqueInstance.load(std::memory_order_relaxed);
    if (instance == nullptr) {
        try {
            instance = new (std::nothrow) AiHttpAdapter;
        } catch (const std::exception&) {
            instance = nullptr;
        }
        uniqueInstance.store(instance, std::memory_order_release);
    }
    return instance;
}

// Not inline, as its operator delete below: the compiler would take the pair apart and warn of the rest.
[[gnu::noinline]] void* AiHttpAdapter::operator new(std::size_t size, const std::nothrow_t& tag) noexcept {
    void* memory = ::operator new(size, tag);
    if (memory != nullptr) {
        std::memset(memory, 0, size);
    }
    return memory;
}

void AiHttpAdapter::operator delete(void* p) noexcept {
    ::operator delete(p);
}

// For a constructor that throws. Not inline: the compiler would miss the operator new that belongs to it.
[[gnu::noinline]] void AiHttpAdapter::operator delete(void* p, const std::nothrow_t& tag) noexcept {
    ::operator delete(p, tag);
}

AiHttpAdapter::AiHttpAdapter()
    : m_initCnt(0),
      m_httpProtocol(std::make_unique<HttpProtocol>()),
      m_confToken{},
      m_observersLock(OS_MUTEX_INITIALIZER) {}

AiHttpAdapter::~AiHttpAdapter() {
    const ScopedOsLock lock(m_instanceLock);
    EndWorkers();
    m_requestQueue.Clear();
    {
        const ScopedOsLock observersLock(m_observersLock);
        m_observers.clear();
    }
    ForgetConfToken();
    AiHttpAdapter* self = this;
    uniqueInstance.compare_exchange_strong(self, nullptr);
}

// Failures leave what was started before, deliberately: the transport stays counted, and a buffer that is
// there serves the next attempt.
int AiHttpAdapter::CloudHttpInit() {
    HTTP_TRACE("%s", "CloudHttpInit in");
    if (m_initCnt.load() != 0) {
        ++m_initCnt;
        return 0;
    }
    if (m_httpProtocol->AiUtilityHttpInit() != 0) {
        HTTP_LOG_ERROR("<CloudHttpInit>: failed.");
        return -1;
    }
    if (MallocMsgBuffer() != 0) {  // deliberate: the text names another operation; log readers know it so
        HTTP_LOG_ERROR("<CloudQueryConfListPage>: failed MallocMsgBuffer error");
        return -1;
    }
    if (!StartWorkers()) {
        HTTP_LOG_ERROR("<CloudHttpInit>: failed.");
        return -1;
    }
    return 0;
}

// The two locks one after the other: notifications of photos and of participants do not wait for each other.
int AiHttpAdapter::MallocMsgBuffer() {
    {
        const ScopedOsLock lock(m_msgBufferLock);
        if (m_sendMsgBuffer == nullptr) {
            m_sendMsgBuffer = static_cast<TagQuorAiFacePhotoList*>(
                OsMemMallocSetCharMon(sizeof(TagQuorAiFacePhotoList), 0, __LINE__, kHttpLogModule.name));
            if (m_sendMsgBuffer == nullptr) {
                HTTP_LOG_ERROR("<MallocMsgBuffer>: failed malloc m_sendMsgBuffer error");
                return -1;
            }
        }
        if (memset_s(m_sendMsgBuffer, sizeof(*m_sendMsgBuffer), 0, sizeof(*m_sendMsgBuffer)) != 0) {
            HTTP_LOG_ERROR("<MallocMsgBuffer>: failed memset m_sendMsgBuffer error");
            return -1;
        }
    }
    const ScopedOsLock lock(m_siteInfoBufferLock);
    if (m_siteInfoBuffer == nullptr) {
        m_siteInfoBuffer = static_cast<TagQuorAiConfList*>(
            OsMemMallocSetCharMon(sizeof(TagQuorAiConfList), 0, __LINE__, kHttpLogModule.name));
        if (m_siteInfoBuffer == nullptr) {
            HTTP_LOG_ERROR("<MallocMsgBuffer>: failed malloc m_siteInfoBuffer error");
            return -1;
        }
    }
    if (memset_s(m_siteInfoBuffer, sizeof(*m_siteInfoBuffer), 0, sizeof(*m_siteInfoBuffer)) != 0) {
        HTTP_LOG_ERROR("<MallocMsgBuffer>: failed memset m_siteInfoBuffer error");
        return -1;
    }
    return 0;
}

// The pool first, then the count, then the dispatcher, which ends when it sees a count of 0. On failure
// nothing of the three remains.
bool AiHttpAdapter::StartWorkers() {
    std::unique_ptr<ThreadPool> replaced;  // none, unless two threads initialise at once
    try {
        auto pool = std::make_unique<ThreadPool>(kWorkers);
        const MutexLock lock(m_threadPoolLock);
        replaced = std::exchange(m_threadPool, std::move(pool));
        ++m_initCnt;
        StartDispatcher();
        return true;
    } catch (const std::exception&) {
        EndWorkers();
    }
    return false;
}

// Throws when there is no thread for it; what belongs to it is taken back then.
void AiHttpAdapter::StartDispatcher() {
    try {
        m_httpQueueThread = std::thread(&AiHttpAdapter::HttpQueueThread, this, ++m_dispatcherGeneration);
        m_httpQueueThread.detach();
    } catch (...) {
        --m_initCnt;
        throw;
    }
}

int AiHttpAdapter::CloudHttpUninit() {
    if (m_initCnt.load() == 0) {  // deliberate: a success, whatever the text says
        HTTP_LOG_ERROR("<CloudHttpUninit> failed: has not inited.");
        return 0;
    }
    if (--m_initCnt != 0) {
        return 0;
    }
    // Deliberate: what the dropped records point at is not freed here; the header names the loss.
    m_requestQueue.Clear();
    EndWorkers();
    const unsigned int ended = m_httpProtocol->AiUtilityHttpUninit();
    ForgetConfToken();  // no answer comes any more whose observer could make a request
    if (ended != 0) {
        HTTP_LOG_ERROR("<CloudHttpUninit> call AiUtilityHttpUninit failed");
        return -1;
    }
    {
        const ScopedOsLock lock(m_msgBufferLock);
        OSMemTypeFreeMon(m_sendMsgBuffer, __LINE__, kHttpLogModule.name);
        m_sendMsgBuffer = nullptr;
    }
    {
        const ScopedOsLock lock(m_siteInfoBufferLock);
        OSMemTypeFreeMon(m_siteInfoBuffer, __LINE__, kHttpLogModule.name);
        m_siteInfoBuffer = nullptr;
    }
    HTTP_LOG_INFO("<CloudHttpUninit>: Uninit success.");
    return 0;
}

// Waits for the workers without the lock: a dispatcher that still holds a record must find out meanwhile that
// there is nobody to hand it to.
void AiHttpAdapter::EndWorkers() {
    std::unique_ptr<ThreadPool> pool;
    const MutexLock lock(m_threadPoolLock);
    pool = std::move(m_threadPool);
}

// An extension point of the interface without a service behind it yet.
unsigned int AiHttpAdapter::CloudQueryRSEAddress(QuorAiRseAddressData& /*rseAddressData*/) {
    return 0;
}

}  // namespace QuorAiEngine
