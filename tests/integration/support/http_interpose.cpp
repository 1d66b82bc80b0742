#include "support/http_interpose.h"

#include <dlfcn.h>

#include <atomic>
#include <cstring>

#include "platform_linux/thread_annotations.h"
#include "quor_platform/bounded.h"
#include "quor_platform/dns.h"
#include "quor_platform/http.h"
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

bool TransportGate::WaitForSomebody() {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    quor_platform::internal::MutexLock lock(gate.mutex);
    while (gate.waiting == 0) {
        if (!gate.changed.WaitUntil(lock, deadline)) {
            return gate.waiting > 0;
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

}  // namespace quor_test

extern "C" {

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
