// What kind of address a text is, and the resolution of names in place.
#include <arpa/inet.h>

#include <cstring>

#include "common/record_field.h"
#include "quor_platform/bounded.h"
#include "utility/dns_selection.h"
#include "utility/http_protocol.h"
#include "utility/srv_utility_log.h"

namespace QuorAiEngine {

namespace {

bool IsAddressOf(int family, const char* text) {
    unsigned char address[sizeof(in6_addr)];
    return inet_pton(family, text, address) == 1;
}

}  // namespace

unsigned int HttpProtocol::GetAddressType(char* address, unsigned int capacity) {
    if (address == nullptr || capacity == 0) {
        UTILITY_LOG_ERROR("<GetAddressType> input is invalid");
        return kAddressTypeUnusable;
    }
    const FieldText<QUOR_NETB_DNS_NAME_CAPACITY> text(address, capacity);  // longer names resolve nowhere
    if (IsAddressOf(AF_INET, text.Get())) {
        return kAddressTypeIpv4;
    }
    if (IsAddressOf(AF_INET6, text.Get())) {
        return kAddressTypeIpv6;
    }
    if (std::strchr(text.Get(), ',') != nullptr) {
        return kAddressTypeUnusable;  // a list of servers is for others to take apart
    }
    UTILITY_LOG_INFO("<GetAddressType> %s is domain", text.Get());
    char ip[kIpTextCapacity] = {};
    if (GetIPStrByServerUrl(text.Get(), ip) != 0) {
        UTILITY_LOG_ERROR("<GetAddressType> GetIPStrByServerUrl fail");
        return kAddressTypeUnusable;
    }
    // Deliberate: without an IPv4 address this empties the text and is a success; the request fails on it
    // later.
    if (strcpy_s(address, capacity, ip) != 0) {
        UTILITY_LOG_ERROR("cpy ip str fail");
        return kAddressTypeUnusable;
    }
    return kAddressTypeIpv4;
}

}  // namespace QuorAiEngine
