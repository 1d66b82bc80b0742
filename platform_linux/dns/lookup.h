// lookup.h - one name look-up on c-ares, driven by whoever waits for it.
//
// Threads: an object belongs to one thread. Look-ups share nothing.
#ifndef QUOR_PLATFORM_LINUX_DNS_LOOKUP_H
#define QUOR_PLATFORM_LINUX_DNS_LOOKUP_H

#include <ares.h>
#include <poll.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "quor_platform_linux/host.h"

namespace quor_platform::internal {

enum class DnsResult : unsigned int {
    kSuccess = 0,
    kBadArgument = 1,  // null, no name, a name that cannot be one, a server setting that is no address
    kNoSuchName = 2,
    kNoRecord = 3,  // the name has no record of the kind asked for
    kNoAnswer = 4,  // no server answered in time
    kRefused = 5,   // a server answered with a failure
    kAborted = 6,
    kNoResources = 7
};

// The words for a result.
const char* DnsResultText(DnsResult result);

// A name of at most 253 printable characters without blanks.
bool IsUsableName(const std::string& name);

struct ServiceRecord {
    std::string target;
    std::uint16_t priority = 0;
    std::uint16_t weight = 0;
    std::uint16_t port = 0;
    std::uint32_t ipv4 = 0;  // network byte order; 0 for none
};

class Lookup {
public:
    using Clock = std::chrono::steady_clock;

    explicit Lookup(DnsSettings settings);
    ~Lookup() { m_finished = true; }  // c-ares calls back for what its end drops
    Lookup(const Lookup&) = delete;
    Lookup& operator=(const Lookup&) = delete;

    // One of these, once. They send the first query.
    void FindIpv4(const std::string& name);
    void FindAddresses(const std::string& name);  // IPv4 and IPv6
    void FindServices(const std::string& queryName, std::size_t most);

    bool Finished() const { return m_finished; }
    DnsResult Result() const { return m_result; }
    // Ends the look-up with result, unless it is finished.
    void End(DnsResult result);

    // The descriptors to wait for, appended; returns for how long at most, in milliseconds.
    int AddWaits(std::vector<pollfd>* waits) const;
    // Call it after every wait; waits holds the descriptors that AddWaits gave, others are passed over.
    void Progress(const std::vector<pollfd>& waits);

    const std::vector<std::uint32_t>& Ipv4() const { return m_ipv4; }          // network byte order
    const std::vector<std::string>& Addresses() const { return m_addresses; }  // texts, IPv6 in brackets
    const std::vector<ServiceRecord>& Services() const { return m_services; }

private:
    struct ChannelCloser {
        void operator()(ares_channel channel) const { ares_destroy(channel); }
    };
    struct TargetQuery {
        Lookup* lookup;
        std::size_t index;
    };

    bool Open(const std::string& name);
    void FindHost(const std::string& name, int family, ares_addrinfo_callback callback, void* argument);
    static void OnAddresses(void* argument, int status, int timeouts, ares_addrinfo* found);
    static void OnServices(void* argument, int status, int timeouts, unsigned char* answer, int length);
    static void OnTarget(void* argument, int status, int timeouts, ares_addrinfo* found);
    void TakeAddresses(const ares_addrinfo* found);
    void TakeServices(unsigned char* answer, int length);
    void FindTargets();

    const DnsSettings m_settings;
    Clock::time_point m_deadline{};
    bool m_finished = false;
    DnsResult m_result = DnsResult::kNoAnswer;
    std::vector<std::uint32_t> m_ipv4;
    std::vector<std::string> m_addresses;
    std::vector<ServiceRecord> m_services;
    std::size_t m_mostServices = 0;
    std::size_t m_targetsLeft = 0;
    std::vector<TargetQuery> m_targetQueries;
    // Last: its end calls back into the members above.
    std::unique_ptr<ares_channeldata, ChannelCloser> m_channel;
};

}  // namespace quor_platform::internal

#endif
