// face_records.h - the records of the search for the face service.
//
// All texts are NUL-terminated; a capacity counts the terminator. A record is plain data of fixed layout: it
// may be copied as bytes. An input field that is not terminated within its capacity is never read past its
// end.
#ifndef QUOR_AI_FACE_RECORDS_H
#define QUOR_AI_FACE_RECORDS_H

#include <cstddef>

// Candidates that are kept of a list; further ones are ignored.
inline constexpr unsigned int kQuorAiFaceServerMax = 8;

// Where the face service may be, and its credentials.
struct TagQuorAiFaceServerInfo {
    // Up to kQuorAiFaceServerMax candidates, separated by semicolons. Each is "host" or "host:port" (https),
    // "http://host", "https://host" or one of these with ":port". Without a port 443, for http 80. Only
    // candidates whose host is a dotted IPv4 address are probed; a path is not understood.
    char addressList[512];
    char account[256];    // user name at the face service
    char password[1024];  // sealed by the platform's key service
};

// The face service as it was last found.
struct tagAI_FACE_S_EUA_SERVER_INFO {
    unsigned int port;    // TCP port
    char url[256];        // scheme and host ("https://10.1.1.1"), no port, no path; empty: none was found
    char account[256];    // as it was given
    char password[1024];  // sealed, as it was given
};

// One candidate.
struct tagAiFaceServerAddrInfo {
    unsigned int port;  // TCP port
    char host[256];     // name or address
    char protocol[10];  // "https://" or "http://"
};

// ---- Layout: applications, other languages and recorded data rely on it ----

static_assert(sizeof(TagQuorAiFaceServerInfo) == 1792 && offsetof(TagQuorAiFaceServerInfo, account) == 512 &&
                  offsetof(TagQuorAiFaceServerInfo, password) == 768,
              "layout of the face service's configuration");
static_assert(sizeof(tagAI_FACE_S_EUA_SERVER_INFO) == 1540 &&
                  offsetof(tagAI_FACE_S_EUA_SERVER_INFO, url) == 4 &&
                  offsetof(tagAI_FACE_S_EUA_SERVER_INFO, account) == 260 &&
                  offsetof(tagAI_FACE_S_EUA_SERVER_INFO, password) == 516,
              "layout of the valid face service");
static_assert(sizeof(tagAiFaceServerAddrInfo) == 272 && offsetof(tagAiFaceServerAddrInfo, host) == 4 &&
                  offsetof(tagAiFaceServerAddrInfo, protocol) == 260,
              "layout of a candidate");

namespace QuorAiEngine {

using ::tagAI_FACE_S_EUA_SERVER_INFO;
using ::tagAiFaceServerAddrInfo;
using ::TagQuorAiFaceServerInfo;

}  // namespace QuorAiEngine

#endif
