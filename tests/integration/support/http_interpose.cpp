#include "support/http_interpose.h"

#include <dlfcn.h>

#include <atomic>
#include <cstring>
#include <map>
#include <utility>

#include "platform_linux/thread_annotations.h"
#include "quor_platform/bounded.h"
#include "quor_platform/dns.h"
#include "quor_platform/http.h"
#include "quor_platform/os.h"
#include "support/patience.h"

namespace quor_test {

namespace {

constexpr std::size_t kTokenCapacity = 192;

std::atomic<bool> hostLimits{false};
std::atomic<bool> counting{false};
std::atomic<unsigned int> begun{0};
char countedToken[kTokenCapacity];  // written while nothing counts

struct Gate {
    quor_platform::internal::Mutex mutex;
    quor_platform::internal::Condition changed;
    bool closed QUOR_GUARDED_BY(mutex) = false;
    unsigned int waiting QUOR_GUARDED_BY(mutex) = 0;
};
Gate gate;

struct Heap {
    quor_platform::internal::Mutex mutex;
    bool watched QUOR_GUARDED_BY(mutex) = false;
    std::map<void*, std::size_t> live QUOR_GUARDED_BY(mutex);
};
Heap heap;

void PassGate() {
    quor_platform::internal::MutexLock lock(gate.mutex);
    ++gate.waiting;
    gate.changed.NotifyAll();
    while (gate.closed) {
        gate.changed.Wait(lock);
    }
    --gate.waiting;
}

// The platform's function of this name.
template <typename Function>
Function* Platform(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

void TakeHostLimits(tagHTTP_S_CONFIG_PARAM& config) {
    if (hostLimits) {
        config.firstTimeout = 0;
        config.secondTimeout = 0;
    }
}

}  // namespace

HostTimeLimits::HostTimeLimits() {
    hostLimits = true;
}

HostTimeLimits::~HostTimeLimits() {
    hostLimits = false;
}

TransportGate::TransportGate() {
    quor_platform::internal::MutexLock lock(gate.mutex);
    gate.closed = true;
}

bool TransportGate::WaitForWaiting(unsigned int count) {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    quor_platform::internal::MutexLock lock(gate.mutex);
    while (gate.waiting < count) {
        if (!gate.changed.WaitUntil(lock, deadline)) {
            return gate.waiting >= count;
        }
    }
    return true;
}

void TransportGate::Open() {
    quor_platform::internal::MutexLock lock(gate.mutex);
    gate.closed = false;
    gate.changed.NotifyAll();
}

BegunQueries::BegunQueries(const std::string& token) {
    countedToken[token.copy(countedToken, sizeof countedToken - 1)] = '\0';
    begun = 0;
    counting = true;
}

BegunQueries::~BegunQueries() {
    counting = false;
}

bool BegunQueries::WaitFor(unsigned int count) {
    return Eventually([count] { return begun >= count; });
}

LiveBlocks::LiveBlocks() {
    quor_platform::internal::MutexLock lock(heap.mutex);
    heap.watched = true;
}

LiveBlocks::~LiveBlocks() {
    quor_platform::internal::MutexLock lock(heap.mutex);
    heap.watched = false;
    heap.live.clear();
}

std::vector<std::size_t> LiveBlocks::Sizes() {
    quor_platform::internal::MutexLock lock(heap.mutex);
    std::vector<std::size_t> sizes;
    for (const auto& [block, size] : heap.live) {
        sizes.push_back(size);
    }
    return sizes;
}

void LiveBlocks::GiveBack() {
    std::map<void*, std::size_t> live;
    {
        quor_platform::internal::MutexLock lock(heap.mutex);
        live = std::exchange(heap.live, {});
    }
    for (const auto& [block, size] : live) {
        OSMemTypeFreeMon(block, __LINE__, "test");
    }
}

}  // namespace quor_test

extern "C" {

void* OsMemMallocSetCharMon(unsigned int size, unsigned char fill, unsigned int line, const char* module) {
    using namespace quor_test;
    static auto* const platform = Platform<decltype(OsMemMallocSetCharMon)>("OsMemMallocSetCharMon");
    void* const block = platform(size, fill, line, module);
    quor_platform::internal::MutexLock lock(heap.mutex);
    if (heap.watched && block != nullptr) {
        heap.live[block] = size;
    }
    return block;
}

void OSMemTypeFreeMon(void* p, unsigned int line, const char* module) {
    using namespace quor_test;
    static auto* const platform = Platform<decltype(OSMemTypeFreeMon)>("OSMemTypeFreeMon");
    {
        quor_platform::internal::MutexLock lock(heap.mutex);
        heap.live.erase(p);
    }
    platform(p, line, module);
}

// The first step of a participant query: its token goes into a header.
int strncpy_s(char* dest, size_t destMax, const char* src, size_t count) {
    using namespace quor_test;
    static auto* const platform = Platform<decltype(strncpy_s)>("strncpy_s");
    const int result = platform(dest, destMax, src, count);
    if (counting && result == 0 && std::strcmp(dest, countedToken) == 0) {
        ++begun;
    }
    return result;
}

unsigned int quor_http_syn_send(struct tagHTTP_S_SYN_SEND_PARAM* param) {
    using namespace quor_test;
    static auto* const platform = Platform<decltype(quor_http_syn_send)>("quor_http_syn_send");
    TakeHostLimits(param->config);
    PassGate();
    return platform(param);
}

unsigned int QUOR_NETB_DnsGetIpBySynResolveEx(const char* host, unsigned int addressKind,
                                              struct QuorNetbDnsAddress* table, unsigned int* count,
                                              unsigned int option1, unsigned int option2) {
    using namespace quor_test;
    static auto* const platform =
        Platform<decltype(QUOR_NETB_DnsGetIpBySynResolveEx)>("QUOR_NETB_DnsGetIpBySynResolveEx");
    PassGate();
    return platform(host, addressKind, table, count, option1, option2);
}

unsigned int quor_http_asyn_send(struct tagHTTP_S_ASYN_SEND_PARAM* param, unsigned long* handle) {
    using namespace quor_test;
    static auto* const platform = Platform<decltype(quor_http_asyn_send)>("quor_http_asyn_send");
    TakeHostLimits(param->config);
    return platform(param, handle);
}

}  // extern "C"
