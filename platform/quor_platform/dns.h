/*
 * dns.h - name resolution (RFC 1035) and service location (SRV, RFC 2782).
 * Threads: callable from any thread; both functions block, bounded by the platform's DNS timeouts.
 */
#ifndef QUOR_PLATFORM_DNS_H
#define QUOR_PLATFORM_DNS_H

#include "quor_platform/base.h"

QUOR_PLATFORM_BEGIN

#define QUOR_NETB_DNS_ADDRESS_IPV4 0U
#define QUOR_NETB_DNS_NAME_CAPACITY 256U

/* An address. type QUOR_NETB_DNS_ADDRESS_IPV4: ipv4 holds it in network byte order. */
struct QuorNetbDnsAddress {
    unsigned int type;
    unsigned int reserved;
    unsigned int ipv4;
    unsigned char rest[12];
};

/* A service record and the address of its target. target is NUL-terminated, without a final dot. */
struct CloudDnsRecord {
    char target[QUOR_NETB_DNS_NAME_CAPACITY];
    unsigned short priority;
    unsigned short weight;
    struct QuorNetbDnsAddress address;
    unsigned short port;
};

QUOR_PLATFORM_STATIC_ASSERT(sizeof(struct QuorNetbDnsAddress) == 24, "the address record");
QUOR_PLATFORM_STATIC_ASSERT(sizeof(struct CloudDnsRecord) == 288, "the service record");

/*
 * The IPv4 addresses of host (NUL-terminated; a literal address stands for itself). On entry *count is the
 * capacity of table, on success the number of entries filled, each zeroed first. addressKind is 2, option1
 * and option2 are 1. Non-zero: a null argument, bad name, no such name, a name without IPv4 addresses, no
 * answer in time; then *count is 0. A platform may also succeed with 0 entries.
 */
unsigned int QUOR_NETB_DnsGetIpBySynResolveEx(const char* host, unsigned int addressKind,
                                              struct QuorNetbDnsAddress* table, unsigned int* count,
                                              unsigned int option1, unsigned int option2);

/*
 * The records of _service._protocol.host in the order of the answer; service and protocol without
 * underscores. An entry whose target has no IPv4 address is filled with address 0. Weights stay as they were
 * received. Counts, options and results as above.
 */
unsigned int QUOR_NETB_DnsGetSrvBySynResolveEx(const char* service, const char* protocol, const char* host,
                                               struct CloudDnsRecord* table, unsigned int* count,
                                               unsigned int option1, unsigned int option2);

QUOR_PLATFORM_END

#endif
