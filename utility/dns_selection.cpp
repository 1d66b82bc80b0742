#include "utility/dns_selection.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstring>

#include "quor_platform/bounded.h"
#include "quor_platform/key_management.h"
#include "utility/http_protocol.h"
#include "utility/srv_utility_log.h"

namespace QuorAiEngine {

namespace {

constexpr char kSrvService[] = "https";
constexpr char kSrvProtocol[] = "tcp";
// What the resolver wants besides the names.
constexpr unsigned int kAddressKind = 2;
constexpr unsigned int kDnsOption1 = 1;
constexpr unsigned int kDnsOption2 = 1;

// The plain addresses of host; priority, weight and target of the records stay zero.
unsigned int ResolveAddresses(const char* host, CloudDnsRecord* table, unsigned int& count) {
    QuorNetbDnsAddress addresses[kDnsTableCapacity] = {};
    const unsigned int result =
        QUOR_NETB_DnsGetIpBySynResolveEx(host, kAddressKind, addresses, &count, kDnsOption1, kDnsOption2);
    if (result != 0) {
        return result;
    }
    count = std::min(count, kDnsTableCapacity);
    for (unsigned int i = 0; i < count; ++i) {
        if (memcpy_s(&table[i].address, sizeof(table[i].address), &addresses[i], sizeof(addresses[i])) != 0) {
            UTILITY_LOG_ERROR("memcpy_s failed");
        }
    }
    return 0;
}

// The service records of host by priority.
unsigned int ResolveServices(const char* host, CloudDnsRecord* table, unsigned int& count) {
    const unsigned int result = QUOR_NETB_DnsGetSrvBySynResolveEx(kSrvService, kSrvProtocol, host, table,
                                                                  &count, kDnsOption1, kDnsOption2);
    if (result != 0) {
        return result;
    }
    count = std::min(count, kDnsTableCapacity);
    for (unsigned int i = 0; i < count; ++i) {
        table[i].target[sizeof(table[i].target) - 1] = '\0';
    }
    CloudDnsSortByPriority(table, count);
    return 0;
}

bool IsIpv4(const CloudDnsRecord& record) {
    return record.address.type == QUOR_NETB_DNS_ADDRESS_IPV4;
}

}  // namespace

unsigned int GetIPStrByServerUrl(const char* host, char* ip) {
    if (host == nullptr) {
        UTILITY_LOG_ERROR("<GetIPStrByServerUrl> input is invalid");
        return kHttpProtocolFailed;
    }
    CloudDnsRecord table[kDnsTableCapacity] = {};
    unsigned int count = kDnsTableCapacity;
    if (CloudDnsResolve(host, kDnsQueryAddress, table, count) != 0) {
        // Deliberate: only a failure leads here, not an answer without addresses.
        count = kDnsTableCapacity;
        const unsigned int result = CloudDnsResolve(host, kDnsQuerySrv, table, count);
        if (result != 0) {
            UTILITY_LOG_ERROR("dns err ret:%u", result);
            return kHttpProtocolFailed;
        }
    }
    for (unsigned int i = 0; i < count; ++i) {  // the port of a service record is nobody's concern here
        if (IsIpv4(table[i]) && table[i].address.ipv4 != 0) {
            char dotted[kIpv4TextCapacity] = {};
            CloudRightAddrToStr(table[i].address.ipv4, dotted);
            if (strcpy_s(ip, kIpTextCapacity, dotted) != 0) {
                UTILITY_LOG_ERROR("cpy ip str fail");
                return kHttpProtocolFailed;
            }
            break;
        }
    }
    UTILITY_LOG_INFO("<GetIPStrByServerUrl> after dns, ip is %s", ip);
    return 0;
}

unsigned int CloudDnsResolve(const char* host, unsigned int queryType, CloudDnsRecord* table,
                             unsigned int& count) {
    count = std::min(count, kDnsTableCapacity);
    const unsigned int result = queryType == kDnsQuerySrv ? ResolveServices(host, table, count)
                                                          : ResolveAddresses(host, table, count);
    if (result != 0) {
        UTILITY_LOG_ERROR("dns fail, type:%d, uiRet = %u", static_cast<int>(queryType), result);
        return result;
    }
    CloudDnsOrderByWeight(table, count);
    for (unsigned int i = 0; i < count; ++i) {
        if (IsIpv4(table[i])) {
            UTILITY_LOG_INFO("target %s, priority %u, weight %u, port %u , ip %u", table[i].target,
                             static_cast<unsigned int>(table[i].priority),
                             static_cast<unsigned int>(table[i].weight),
                             static_cast<unsigned int>(table[i].port), table[i].address.ipv4);
        }
    }
    UTILITY_LOG_INFO("dns get addr ok %u ", count);
    return 0;
}

void CloudDnsSortByPriority(CloudDnsRecord* records, unsigned int num) {
    for (unsigned int i = 0; i + 1 < num; ++i) {
        for (unsigned int k = num - 1; k > i; --k) {
            if (records[k - 1].priority > records[k].priority) {
                CloudDnsSwapRecord(records[k - 1], records[k]);
            }
        }
    }
}

void CloudDnsOrderByWeight(CloudDnsRecord* records, unsigned int num) {
    for (unsigned int i = 0; i < num; ++i) {
        if (records[i].weight == 0) {
            records[i].weight = 1;
        }
    }
    unsigned int end = 0;
    for (unsigned int start = 0; start < num; start = end) {
        end = start + 1;
        while (end < num && records[end].priority == records[start].priority) {
            ++end;
        }
        if (end - start > 1) {
            CloudDnsOrderGroup(records + start, end - start);
        }
    }
}

void CloudDnsOrderGroup(CloudDnsRecord* records, unsigned int num) {
    for (unsigned int p = 0; p + 1 < num; ++p) {
        CloudDNSSlectFirst(records + p, num - p);
    }
}

void CloudDNSSlectFirst(CloudDnsRecord* records, unsigned int num) {
    unsigned int sum = 0;
    for (unsigned int i = 0; i < num; ++i) {
        sum += records[i].weight;
    }
    if (sum == 0) {
        return;
    }
    unsigned int random = 0;
    if (QuorOmKeymGenRealRandom(reinterpret_cast<unsigned char*>(&random), sizeof(random)) != 0) {
        UTILITY_STORM_LOG("[CloudDNSSlectFirst]get random number is fail");
        return;
    }
    const unsigned int wanted = random % sum + 1;
    unsigned int running = 0;
    for (unsigned int i = 0; i < num; ++i) {
        running += records[i].weight;
        if (wanted <= running) {
            // Deliberate: swapped, not moved up with the others behind it; the chances of the rest are the
            // same.
            CloudDnsSwapRecord(records[0], records[i]);
            return;
        }
    }
}

void CloudDnsSwapRecord(CloudDnsRecord& a, CloudDnsRecord& b) {
    if (&a == &b) {
        return;
    }
    CloudDnsRecord kept = {};
    kept = a;
    a = b;
    b = kept;
}

// Both failures have one text; log readers know it so.
void CloudRightAddrToStr(unsigned int address, char* out) {
    in_addr binary = {};
    if (memcpy_s(&binary, sizeof(binary), &address, sizeof(address)) != 0) {
        UTILITY_LOG_ERROR("<CloudRightAddrToStr> strcpy_s failed");
        return;
    }
    char dotted[kIpv4TextCapacity] = {};
    char checked[kIpv4TextCapacity] =
        {};  // a failing copy empties its destination, and out is to stay as it was
    if (strcpy_s(checked, sizeof(checked), inet_ntop(AF_INET, &binary, dotted, sizeof(dotted))) != 0) {
        UTILITY_LOG_ERROR("<CloudRightAddrToStr> strcpy_s failed");
        return;
    }
    std::memcpy(out, checked, sizeof(checked));
}

}  // namespace QuorAiEngine
