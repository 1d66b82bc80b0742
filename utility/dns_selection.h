// dns_selection.h - from a host name to one IPv4 address: the platform's resolver, and the order in which the
// records it found are tried (priority first, then weighted chance, as RFC 2782 has it but for records of
// weight 0).
//
// Threads: no state; callable from any thread. Resolving blocks within the platform's DNS timeouts.
// Results: 0 success, 0xFFFFFFFF failure, unless said otherwise. Failures are logged where they happen.
// Private to the utilities.
#ifndef UTILITY_DNS_SELECTION_H
#define UTILITY_DNS_SELECTION_H

#include <cstddef>

#include "quor_platform/dns.h"

namespace QuorAiEngine {

using ::CloudDnsRecord;

// Records that are asked for at most.
inline constexpr unsigned int kDnsTableCapacity = 12;
inline constexpr std::size_t kIpTextCapacity = 256;
inline constexpr std::size_t kIpv4TextCapacity = 16;

enum DnsQueryType : unsigned int {
    kDnsQuerySrv = 1,      // _https._tcp.<host>
    kDnsQueryAddress = 2,  // IPv4 addresses
};

// The address of host, dotted, into ip (kIpTextCapacity bytes). Addresses are asked for first; only if that
// fails, service records. Deliberate: records without an IPv4 address are a success that leaves ip as it was.
unsigned int GetIPStrByServerUrl(const char* host, char* ip);

// Asks for the records of host and orders them. table has count entries (at most kDnsTableCapacity are used),
// all zero; on success count is the number of records. The result of a failure is the resolver's.
unsigned int CloudDnsResolve(const char* host, unsigned int queryType, CloudDnsRecord* table,
                             unsigned int& count);

// By ascending priority; equal ones keep their order.
void CloudDnsSortByPriority(CloudDnsRecord* records, unsigned int num);

// Orders each run of equal priority by weighted chance. Deliberate: a weight of 0 becomes 1, so that servers
// that nobody weighted share the load, plain addresses among them.
void CloudDnsOrderByWeight(CloudDnsRecord* records, unsigned int num);

// One such run.
void CloudDnsOrderGroup(CloudDnsRecord* records, unsigned int num);

// Swaps a record chosen by weighted chance to the front. Without a random number the order stays.
void CloudDNSSlectFirst(CloudDnsRecord* records, unsigned int num);

void CloudDnsSwapRecord(CloudDnsRecord& a, CloudDnsRecord& b);

// An address in network byte order as dotted text into out (kIpv4TextCapacity bytes), which stays as it was
// after a failure.
void CloudRightAddrToStr(unsigned int address, char* out);

}  // namespace QuorAiEngine

#endif
