/*
 * dns.h - name resolution (RFC 1035) and service location (SRV, RFC 2782).
 * Threads: callable from any thread; both functions block, bounded by the platform's DNS timeouts.
 */
#ifndef QUOR_PLATFORM_DNS_H
#define QUOR_PLATFORM_DNS_H

#include "quor_platform/base.h"

QUOR_PLATFORM_BEGIN

/* QuorNetbDnsAddress.type: an IPv4 address. */
#define QUOR_NETB_DNS_ADDRESS_IPV4 0U
/* Bytes of a name, terminator included; no longer one resolves. */
#define QUOR_NETB_DNS_NAME_CAPACITY 256U

/* An address. */
struct QuorNetbDnsAddress {
    unsigned int type;      /* QUOR_NETB_DNS_ADDRESS_IPV4; others are passed over by the library */
    unsigned int reserved;  /* 0 */
    unsigned int ipv4;      /* the address in network byte order */
    unsigned char rest[12]; /* 0; with ipv4 the room of an address of another type */
};

/* A service record (RFC 2782) and the address of its target. */
struct CloudDnsRecord {
    char target[QUOR_NETB_DNS_NAME_CAPACITY]; /* NUL-terminated, without a final dot */
    unsigned short priority;                  /* the lowest is asked first */
    unsigned short weight;                    /* share among those of one priority */
    struct QuorNetbDnsAddress address;        /* of target; address 0: it has none */
    unsigned short port;                      /* TCP port, in host byte order */
};

QUOR_PLATFORM_STATIC_ASSERT(sizeof(struct QuorNetbDnsAddress) == 24, "the address record");
QUOR_PLATFORM_STATIC_ASSERT(sizeof(struct CloudDnsRecord) == 288, "the service record");

/*
 * The IPv4 addresses of host (NUL-terminated; a literal address stands for itself). table is the caller's and
 * zero. On entry *count is its capacity in entries, on success the number of entries filled, each zeroed
 * first; what does not fit is left out. addressKind is 2, option1 and option2 are 1. Nothing of the arguments
 * is kept. 0 success. Non-zero: a null argument, bad name, no such name, a name without IPv4 addresses, no
 * answer in time; then *count is 0. The platform remembers which name an address was given for, because
 * requests to it are verified under that name (http.h). A platform may also succeed with 0 entries, but the
 * library asks for service records after a failure only.
 */
unsigned int QUOR_NETB_DnsGetIpBySynResolveEx(const char* host, unsigned int addressKind,
                                              struct QuorNetbDnsAddress* table, unsigned int* count,
                                              unsigned int option1, unsigned int option2);

/*
 * The records of _service._protocol.host in the order of the answer; service and protocol without
 * underscores ("https", "tcp"). An entry whose target has no IPv4 address is filled with address 0. Weights
 * stay as they were received. Counts, options and results as above.
 */
unsigned int QUOR_NETB_DnsGetSrvBySynResolveEx(const char* service, const char* protocol, const char* host,
                                               struct CloudDnsRecord* table, unsigned int* count,
                                               unsigned int option1, unsigned int option2);

QUOR_PLATFORM_END

#endif
