// dns.cpp - the blocking look-ups of quor_platform/dns.h, on the caller's thread.

#include "quor_platform/dns.h"

#include <arpa/inet.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "platform_linux/dns/address_names.h"
#include "platform_linux/dns/lookup.h"
#include "platform_linux/host_state.h"
#include "platform_linux/thread_annotations.h"

namespace quor_platform {
namespace {

using internal::DnsResult;
using internal::Lookup;
using internal::Mutex;
using internal::MutexLock;

struct Settings {
    Mutex mutex;
    DnsSettings settings QUOR_GUARDED_BY(mutex);
};

Settings& Stored() {
    static auto* const stored = new Settings;
    return *stored;
}

// A descriptor that another thread makes readable.
class Wakeup {
public:
    Wakeup() : m_descriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}
    ~Wakeup() {
        if (m_descriptor >= 0) {
            close(m_descriptor);
        }
    }
    Wakeup(const Wakeup&) = delete;
    Wakeup& operator=(const Wakeup&) = delete;
    void Wake() const { eventfd_write(m_descriptor, 1); }
    int Descriptor() const { return m_descriptor; }

private:
    int m_descriptor;
};

unsigned int Refuse(DnsResult result, const std::string& name) {
    Failure failure;
    failure.stage = result == DnsResult::kAborted ? Stage::kAborted : Stage::kResolve;
    failure.text = "looking up \"" + name + "\": " + internal::DnsResultText(result);
    RecordFailure(failure);
    return static_cast<unsigned int>(result);
}

// Drives a look-up that was begun to its end.
DnsResult Finish(Lookup& lookup, const Wakeup& wakeup, const internal::CancelRegistry::Scope& scope) {
    std::vector<pollfd> waits;
    while (!lookup.Finished()) {
        if (scope.Cancelled()) {
            lookup.End(DnsResult::kAborted);
            break;
        }
        waits.clear();
        const int timeoutMs = lookup.AddWaits(&waits);
        waits.push_back({wakeup.Descriptor(), POLLIN, 0});  // ignored by poll if there is none
        poll(waits.data(), waits.size(), timeoutMs);
        waits.pop_back();
        lookup.Progress(waits);
    }
    return lookup.Result();
}

std::string BoundedText(const char* text, std::size_t most) {
    return text == nullptr ? std::string() : std::string(text, strnlen(text, most));
}

bool ParseIpv4(const std::string& text, std::uint32_t* ipv4) {
    return inet_pton(AF_INET, text.c_str(), ipv4) == 1;
}

bool IsIpv6(const std::string& text) {
    in6_addr address{};
    return inet_pton(AF_INET6, text.c_str(), &address) == 1;
}

QuorNetbDnsAddress AddressOf(std::uint32_t ipv4) {
    QuorNetbDnsAddress address{};
    address.type = QUOR_NETB_DNS_ADDRESS_IPV4;
    address.ipv4 = ipv4;
    return address;
}

unsigned int FindIpv4(const std::string& host, QuorNetbDnsAddress* table, std::size_t capacity,
                      unsigned int* count) {
    std::uint32_t literal = 0;
    if (ParseIpv4(host, &literal)) {
        table[0] = AddressOf(literal);
        *count = 1;
        return 0;
    }
    if (IsIpv6(host)) {
        return Refuse(DnsResult::kNoRecord, host);
    }
    const Wakeup wakeup;
    const internal::CancelRegistry::Scope scope(internal::BlockingLookups(), [&] { wakeup.Wake(); });
    Lookup lookup(GetDnsSettings());
    lookup.FindIpv4(host);
    const DnsResult result = Finish(lookup, wakeup, scope);
    if (result != DnsResult::kSuccess) {
        return Refuse(result, host);
    }
    const std::size_t found = std::min(lookup.Ipv4().size(), capacity);
    for (std::size_t i = 0; i < found; ++i) {
        table[i] = AddressOf(lookup.Ipv4()[i]);
        internal::RememberName(lookup.Ipv4()[i], host);
    }
    *count = static_cast<unsigned int>(found);
    return 0;
}

CloudDnsRecord RecordOf(const internal::ServiceRecord& service) {
    CloudDnsRecord record{};
    service.target.copy(record.target, sizeof record.target - 1);
    record.priority = service.priority;
    record.weight = service.weight;
    record.port = service.port;
    record.address = AddressOf(service.ipv4);
    return record;
}

unsigned int FindServices(const std::string& queryName, const std::string& host, CloudDnsRecord* table,
                          std::size_t capacity, unsigned int* count) {
    const Wakeup wakeup;
    const internal::CancelRegistry::Scope scope(internal::BlockingLookups(), [&] { wakeup.Wake(); });
    Lookup lookup(GetDnsSettings());
    lookup.FindServices(queryName, capacity);
    const DnsResult result = Finish(lookup, wakeup, scope);
    if (result != DnsResult::kSuccess) {
        return Refuse(result, queryName);
    }
    const std::size_t found = lookup.Services().size();
    for (std::size_t i = 0; i < found; ++i) {
        table[i] = RecordOf(lookup.Services()[i]);
        if (table[i].address.ipv4 != 0) {
            internal::RememberName(table[i].address.ipv4, host);
        }
    }
    *count = static_cast<unsigned int>(found);
    return 0;
}

// Takes *count as the capacity and leaves it at 0. False: no table to fill.
template <typename Entry>
bool TakeCapacity(const Entry* table, unsigned int* count, std::size_t* capacity) {
    if (count == nullptr) {
        return false;
    }
    *capacity = *count;
    *count = 0;
    return table != nullptr && *capacity > 0;
}

}  // namespace

void SetDnsSettings(const DnsSettings& settings) {
    static constexpr std::chrono::milliseconds kMostTime{600'000};
    static constexpr unsigned int kMostAttempts = 10;
    const DnsSettings usual;
    DnsSettings next = settings;
    const auto correct = [](std::chrono::milliseconds& value, std::chrono::milliseconds otherwise) {
        value = value.count() > 0 && value <= kMostTime ? value : otherwise;
    };
    correct(next.attemptTimeout, usual.attemptTimeout);
    correct(next.totalTimeout, usual.totalTimeout);
    if (next.attempts == 0 || next.attempts > kMostAttempts) {
        next.attempts = usual.attempts;
    }
    {
        const MutexLock lock(Stored().mutex);
        Stored().settings = next;
    }
    internal::ForgetNames();
}

DnsSettings GetDnsSettings() {
    const MutexLock lock(Stored().mutex);
    return Stored().settings;
}

}  // namespace quor_platform

unsigned int QUOR_NETB_DnsGetIpBySynResolveEx(const char* host, unsigned int /*addressKind*/,
                                              struct QuorNetbDnsAddress* table, unsigned int* count,
                                              unsigned int /*option1*/, unsigned int /*option2*/) {
    using namespace quor_platform;
    try {
        std::size_t capacity = 0;
        const std::string name = BoundedText(host, QUOR_NETB_DNS_NAME_CAPACITY);
        if (!TakeCapacity(table, count, &capacity) || !internal::IsUsableName(name)) {
            return Refuse(DnsResult::kBadArgument, name);
        }
        return FindIpv4(name, table, capacity, count);
    } catch (...) {
        return static_cast<unsigned int>(DnsResult::kNoResources);
    }
}

unsigned int QUOR_NETB_DnsGetSrvBySynResolveEx(const char* service, const char* protocol, const char* host,
                                               struct CloudDnsRecord* table, unsigned int* count,
                                               unsigned int /*option1*/, unsigned int /*option2*/) {
    using namespace quor_platform;
    try {
        std::size_t capacity = 0;
        const std::string name = BoundedText(host, QUOR_NETB_DNS_NAME_CAPACITY);
        const std::string queryName = std::string("_")
                                          .append(BoundedText(service, QUOR_NETB_DNS_NAME_CAPACITY))
                                          .append("._")
                                          .append(BoundedText(protocol, QUOR_NETB_DNS_NAME_CAPACITY))
                                          .append(".")
                                          .append(name);
        if (!TakeCapacity(table, count, &capacity) || service == nullptr || protocol == nullptr ||
            name.empty() || !internal::IsUsableName(queryName)) {
            return Refuse(DnsResult::kBadArgument, name);
        }
        return FindServices(queryName, name, table, capacity, count);
    } catch (...) {
        return static_cast<unsigned int>(DnsResult::kNoResources);
    }
}
