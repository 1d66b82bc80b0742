#include "platform_linux/dns/lookup.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace quor_platform::internal {
namespace {

// What arpa/nameser.h calls ns_c_in and ns_t_srv.
constexpr int kClassInternet = 1;
constexpr int kTypeService = 33;

constexpr std::size_t kMaxNameLength = 253;  // RFC 1035 section 2.3.4, as text

// Once per process and never undone, as other users of c-ares in the process do the same.
bool LibraryReady() {
    static const bool ready = ares_library_init(ARES_LIB_INIT_ALL) == ARES_SUCCESS;
    return ready;
}

DnsResult ResultOf(int status) {
    switch (status) {
        case ARES_SUCCESS:
            return DnsResult::kSuccess;
        case ARES_ENOTFOUND:
            return DnsResult::kNoSuchName;
        case ARES_ENODATA:
            return DnsResult::kNoRecord;
        case ARES_EBADNAME:
        case ARES_EBADSTR:
            return DnsResult::kBadArgument;
        case ARES_ENOMEM:
            return DnsResult::kNoResources;
        case ARES_ETIMEOUT:
        case ARES_ECONNREFUSED:
            return DnsResult::kNoAnswer;
        default:
            return DnsResult::kRefused;
    }
}

struct AddressesFreed {
    void operator()(ares_addrinfo* found) const { ares_freeaddrinfo(found); }
};
using FoundAddresses = std::unique_ptr<ares_addrinfo, AddressesFreed>;

std::uint32_t Ipv4Of(const ares_addrinfo_node& node) {
    sockaddr_in address{};
    std::memcpy(&address, node.ai_addr, sizeof address);
    return address.sin_addr.s_addr;
}

std::string TextOf(const ares_addrinfo_node& node) {
    char text[INET6_ADDRSTRLEN] = {};
    if (node.ai_family == AF_INET) {
        const std::uint32_t address = Ipv4Of(node);
        inet_ntop(AF_INET, &address, text, sizeof text);
        return text;
    }
    sockaddr_in6 address{};
    std::memcpy(&address, node.ai_addr, sizeof address);
    inet_ntop(AF_INET6, &address.sin6_addr, text, sizeof text);
    return std::string("[") + text + "]";
}

std::string ServerList(const std::vector<std::string>& servers) {
    std::string list;
    for (const std::string& server : servers) {
        list += (list.empty() ? "" : ",") + server;
    }
    return list;
}

}  // namespace

const char* DnsResultText(DnsResult result) {
    switch (result) {
        case DnsResult::kSuccess:
            return "found";
        case DnsResult::kBadArgument:
            return "it cannot be looked up";
        case DnsResult::kNoSuchName:
            return "there is no such name";
        case DnsResult::kNoRecord:
            return "the name has no such record";
        case DnsResult::kNoAnswer:
            return "no DNS server answered in time";
        case DnsResult::kRefused:
            return "the DNS server answered with a failure";
        case DnsResult::kAborted:
            return "the look-up was aborted";
        case DnsResult::kNoResources:
            return "not enough memory";
    }
    return "unknown";
}

bool IsUsableName(const std::string& name) {
    const auto printable = [](unsigned char c) { return c > ' ' && c < 0x7F; };
    return !name.empty() && name.size() <= kMaxNameLength && std::all_of(name.begin(), name.end(), printable);
}

Lookup::Lookup(DnsSettings settings) : m_settings(std::move(settings)) {}

void Lookup::End(DnsResult result) {
    if (!m_finished) {
        m_finished = true;
        m_result = result;
    }
}

bool Lookup::Open(const std::string& name) {
    m_deadline = Clock::now() + m_settings.totalTimeout;
    if (!IsUsableName(name)) {
        End(DnsResult::kBadArgument);
        return false;
    }
    ares_options options{};
    options.timeout = static_cast<int>(m_settings.attemptTimeout.count());
    options.tries = static_cast<int>(m_settings.attempts);
    ares_channel channel = nullptr;
    if (!LibraryReady() ||
        ares_init_options(&channel, &options, ARES_OPT_TIMEOUTMS | ARES_OPT_TRIES) != ARES_SUCCESS) {
        End(DnsResult::kNoResources);
        return false;
    }
    m_channel.reset(channel);
    if (!m_settings.servers.empty() &&
        ares_set_servers_ports_csv(channel, ServerList(m_settings.servers).c_str()) != ARES_SUCCESS) {
        End(DnsResult::kBadArgument);
        return false;
    }
    return true;
}

void Lookup::FindHost(const std::string& name, int family, ares_addrinfo_callback callback, void* argument) {
    ares_addrinfo_hints hints{};
    hints.ai_family = family;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = family == AF_INET ? ARES_AI_NOSORT : 0;  // the caller has its own order for IPv4
    ares_getaddrinfo(m_channel.get(), name.c_str(), nullptr, &hints, callback, argument);
}

void Lookup::FindIpv4(const std::string& name) {
    if (Open(name)) {
        FindHost(name, AF_INET, OnAddresses, this);
    }
}

void Lookup::FindAddresses(const std::string& name) {
    if (Open(name)) {
        FindHost(name, AF_UNSPEC, OnAddresses, this);
    }
}

void Lookup::FindServices(const std::string& queryName, std::size_t most) {
    m_mostServices = most;
    if (Open(queryName)) {
        ares_query(m_channel.get(), queryName.c_str(), kClassInternet, kTypeService, OnServices, this);
    }
}

void Lookup::OnAddresses(void* argument, int status, int /*timeouts*/, ares_addrinfo* found) {
    auto* lookup = static_cast<Lookup*>(argument);
    const FoundAddresses owned(found);
    if (lookup->m_finished) {
        return;
    }
    try {
        lookup->TakeAddresses(found);
    } catch (...) {  // c-ares cannot pass an exception on
        lookup->End(DnsResult::kNoResources);
    }
    const bool nothing = status == ARES_SUCCESS && lookup->m_addresses.empty();
    lookup->End(nothing ? DnsResult::kNoRecord : ResultOf(status));
}

void Lookup::TakeAddresses(const ares_addrinfo* found) {
    for (auto* node = found != nullptr ? found->nodes : nullptr; node != nullptr; node = node->ai_next) {
        if (node->ai_family == AF_INET) {
            m_ipv4.push_back(Ipv4Of(*node));
        }
        if (node->ai_family == AF_INET || node->ai_family == AF_INET6) {
            m_addresses.push_back(TextOf(*node));
        }
    }
}

void Lookup::OnServices(void* argument, int status, int /*timeouts*/, unsigned char* answer, int length) {
    auto* lookup = static_cast<Lookup*>(argument);
    if (lookup->m_finished) {
        return;
    }
    if (status != ARES_SUCCESS) {
        lookup->End(ResultOf(status));
        return;
    }
    try {
        lookup->TakeServices(answer, length);
    } catch (...) {
        lookup->End(DnsResult::kNoResources);
    }
}

void Lookup::TakeServices(unsigned char* answer, int length) {
    ares_srv_reply* replies = nullptr;
    const int status = ares_parse_srv_reply(answer, length, &replies);
    const std::unique_ptr<ares_srv_reply, void (*)(void*)> owned(replies, ares_free_data);
    for (const auto* reply = replies; reply != nullptr && m_services.size() < m_mostServices;
         reply = reply->next) {
        const std::string target = reply->host;
        if (target.empty() || target == ".") {
            continue;  // "the service is decidedly not available", RFC 2782
        }
        m_services.push_back({target, reply->priority, reply->weight, reply->port, 0});
    }
    if (status != ARES_SUCCESS || m_services.empty()) {
        End(status == ARES_SUCCESS ? DnsResult::kNoRecord : ResultOf(status));
        return;
    }
    FindTargets();
}

void Lookup::FindTargets() {
    m_targetsLeft = m_services.size();
    m_targetQueries.reserve(m_services.size());
    for (std::size_t i = 0; i < m_services.size(); ++i) {
        m_targetQueries.push_back({this, i});
    }
    for (TargetQuery& query : m_targetQueries) {
        FindHost(m_services[query.index].target, AF_INET, OnTarget, &query);
    }
}

// A target without an address leaves its record at 0: the other records are still of use.
void Lookup::OnTarget(void* argument, int /*status*/, int /*timeouts*/, ares_addrinfo* found) {
    const auto* query = static_cast<TargetQuery*>(argument);
    Lookup* lookup = query->lookup;
    const FoundAddresses owned(found);
    if (lookup->m_finished) {
        return;
    }
    if (found != nullptr && found->nodes != nullptr && found->nodes->ai_family == AF_INET) {
        lookup->m_services[query->index].ipv4 = Ipv4Of(*found->nodes);
    }
    if (--lookup->m_targetsLeft == 0) {
        lookup->End(DnsResult::kSuccess);
    }
}

int Lookup::AddWaits(std::vector<pollfd>* waits) const {
    if (m_finished || m_channel == nullptr) {
        return 0;
    }
    ares_socket_t sockets[ARES_GETSOCK_MAXNUM];
    const auto bits = static_cast<unsigned int>(ares_getsock(m_channel.get(), sockets, ARES_GETSOCK_MAXNUM));
    for (unsigned int i = 0; i < ARES_GETSOCK_MAXNUM; ++i) {
        const bool read = (bits & (1U << i)) != 0;
        const bool write = (bits & (1U << (i + ARES_GETSOCK_MAXNUM))) != 0;
        if (read || write) {
            const int events = (read ? POLLIN : 0) | (write ? POLLOUT : 0);
            waits->push_back({sockets[i], static_cast<short>(events), 0});
        }
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_deadline - Clock::now());
    const auto bound = std::clamp<std::chrono::milliseconds::rep>(left.count(), 0, 1'000'000);
    timeval most{static_cast<time_t>(bound / 1000), static_cast<suseconds_t>(bound % 1000 * 1000)};
    timeval next{};
    ares_timeout(m_channel.get(), &most, &next);
    const timeval& wait =
        next.tv_sec < most.tv_sec || (next.tv_sec == most.tv_sec && next.tv_usec < most.tv_usec) ? next
                                                                                                 : most;
    return static_cast<int>(wait.tv_sec * 1000 + (wait.tv_usec + 999) / 1000);
}

void Lookup::Progress(const std::vector<pollfd>& waits) {
    for (const pollfd& wait : waits) {
        const bool failed = (wait.revents & (POLLERR | POLLHUP | POLLNVAL)) != 0;
        const bool read = (wait.revents & POLLIN) != 0 || failed;
        const bool write = (wait.revents & POLLOUT) != 0;
        if (!m_finished && (read || write)) {
            ares_process_fd(m_channel.get(), read ? wait.fd : ARES_SOCKET_BAD,
                            write ? wait.fd : ARES_SOCKET_BAD);
        }
    }
    if (!m_finished) {
        ares_process_fd(m_channel.get(), ARES_SOCKET_BAD, ARES_SOCKET_BAD);  // what timed out
    }
    if (!m_finished && Clock::now() >= m_deadline) {
        // What the servers named so far is an answer, even if a target's address is missing.
        End(m_services.empty() ? DnsResult::kNoAnswer : DnsResult::kSuccess);
    }
}

}  // namespace quor_platform::internal
