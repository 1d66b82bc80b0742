// The list of candidates: from one text to a table of host, scheme and port.
//
// The scheme is looked for in a loose way (a text that begins with "http", lower case) and nothing behind the
// host is understood but a port; configurations that rely on it exist. A handler writes a slot field by field
// and leaves what it wrote when a later field fails.
#include <arpa/inet.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "face_detect/face_log.h"
#include "quor_ai/ai_cloud_face_srv_detect.h"
#include "quor_platform/bounded.h"

namespace QuorAiEngine {

namespace {

constexpr char kSeparator = ';';
constexpr char kHttps[] = "https://";
constexpr char kHttp[] = "http://";
constexpr std::size_t kHttpsLength = sizeof(kHttps) - 1;
constexpr std::size_t kHttpLength = sizeof(kHttp) - 1;
constexpr unsigned int kHttpsPort = 443;
constexpr unsigned int kHttpPort = 80;
constexpr unsigned int kColonMax = 2;  // of the scheme and of the port
constexpr std::size_t kHostCapacity = sizeof(tagAiFaceServerAddrInfo::host);
constexpr std::size_t kHostMin = 2;
constexpr int kDecimal = 10;

bool BeginsWith(const std::string& text, const char* prefix) {
    return text.compare(0, std::strlen(prefix), prefix) == 0;
}

// Replaces a field. A text that does not fit leaves it as it is.
template <std::size_t N>
bool StoreText(char (&field)[N], const std::string& text) {
    char copy[N] = {};
    if (strncpy_s(copy, N, text.c_str(), text.size()) != 0) {
        return false;
    }
    std::memcpy(field, copy, N);
    return true;
}

// The text behind its first length characters, which may be all of it and more.
std::string Behind(const std::string& text, std::size_t length) {
    return text.substr(std::min(length, text.size()));
}

}  // namespace

// NOLINTBEGIN(performance-unnecessary-value-param): texts go by value; they are short and read once a
// configuration

// Deliberate: the slots keep what they held, and the count is that of the items understood, not that of the
// slots used; what is probed depends on both.
int CloudFaceSrvDetect::GetServerUrlList(std::string list) {
    m_slotCount = 0;
    unsigned int index = 0;
    std::size_t start = 0;
    for (std::size_t at = 0; at < list.size() && index < kQuorAiFaceServerMax; ++at) {
        if (list[at] == kSeparator) {
            GetURLAndPort(list.substr(start, at - start), index);
            ++index;
            start = at + 1;
        }
    }
    if (start < list.size() && index < kQuorAiFaceServerMax) {
        GetURLAndPort(list.substr(start), index);
    }
    FACE_LOG_INFO("<GetServerUrlList> address num = %d.", static_cast<int>(m_slotCount));
    return 0;
}

// Deliberate: an item that begins with "http" has a scheme, whatever follows.
void CloudFaceSrvDetect::GetURLAndPort(std::string item, unsigned int index) {
    if (item.empty()) {
        FACE_LOG_ERROR("<GetURLAndPort> empty url");
        return;
    }
    std::size_t colons = 0;
    std::size_t after[kColonMax] = {};
    for (std::size_t at = 0; at < item.size(); ++at) {
        if (item[at] == ':') {
            if (colons < kColonMax) {
                after[colons] = at + 1;
            }
            ++colons;
        }
    }
    if (colons > kColonMax) {
        FACE_LOG_ERROR("invalid url");
        return;
    }
    const bool hasScheme = BeginsWith(item, "http");
    if (hasScheme && colons == 1) {
        AiFaceHandleUrlOnlyWithProtocol(std::move(item), index);
    } else if (hasScheme && colons == kColonMax) {
        AiFaceHandleUrlWithProtocolAndPort(std::move(item), after[1], index);
    } else if (colons == 1) {
        AiFaceHandleUrlOnlyWithPort(std::move(item), after[0], index);
    } else {
        AiFaceHandleUrlWithoutProtocolAndPort(std::move(item), index);
    }
}

int CloudFaceSrvDetect::AiFaceHandleUrlWithoutProtocolAndPort(std::string item, unsigned int index) {
    tagAiFaceServerAddrInfo& slot = m_addrSlots[index];
    if (!StoreText(slot.host, item) || !StoreText(slot.protocol, kHttps)) {
        FACE_LOG_ERROR("strncpy error.");
        return -1;
    }
    slot.port = kHttpsPort;
    ++m_slotCount;
    return 0;
}

// Deliberate: whatever is not "https://" loses as many characters as "http://" has.
int CloudFaceSrvDetect::AiFaceHandleUrlOnlyWithProtocol(std::string item, unsigned int index) {
    tagAiFaceServerAddrInfo& slot = m_addrSlots[index];
    const bool isHttps = BeginsWith(item, kHttps);
    slot.port = isHttps ? kHttpsPort : kHttpPort;
    if (!StoreText(slot.host, Behind(item, isHttps ? kHttpsLength : kHttpLength)) ||
        !StoreText(slot.protocol, isHttps ? kHttps : kHttp)) {
        FACE_LOG_ERROR("strncpy error.");
        return -1;
    }
    ++m_slotCount;
    return 0;
}

int CloudFaceSrvDetect::AiFaceHandleUrlOnlyWithPort(std::string item, std::size_t afterColon,
                                                    unsigned int index) {
    tagAiFaceServerAddrInfo& slot = m_addrSlots[index];
    if (!StoreText(slot.host, item.substr(0, afterColon - 1)) || !StoreText(slot.protocol, kHttps)) {
        FACE_LOG_ERROR("<AiFaceHandleUrlOnlyWithPort> strncpy error.");
        return -1;
    }
    if (PortStringToInt(item.substr(afterColon), slot.port) != 0) {
        FACE_LOG_ERROR("<AiFaceHandleUrlOnlyWithPort> PortStringToInt failed.");
        return -1;
    }
    ++m_slotCount;
    return 0;
}

int CloudFaceSrvDetect::AiFaceHandleUrlWithProtocolAndPort(std::string item, std::size_t afterSecondColon,
                                                           unsigned int index) {
    tagAiFaceServerAddrInfo& slot = m_addrSlots[index];
    const bool isHttps = BeginsWith(item, kHttps);
    if (!isHttps && !BeginsWith(item, kHttp)) {
        FACE_LOG_ERROR("<AiFaceHandleUrlWithProtocolAndPort> url invalid.");
        return -1;
    }
    const std::size_t hostAt = isHttps ? kHttpsLength : kHttpLength;
    if (afterSecondColon <= hostAt + 1) {
        FACE_LOG_ERROR("<AiFaceHandleUrlWithProtocolAndPort> index is invalid %d.",
                       static_cast<int>(afterSecondColon));
        return -1;
    }
    if (!StoreText(slot.host, item.substr(hostAt, afterSecondColon - 1 - hostAt)) ||
        !StoreText(slot.protocol, isHttps ? kHttps : kHttp)) {
        FACE_LOG_ERROR("<AiFaceHandleUrlWithProtocolAndPort> strncpy error.");
        return -1;
    }
    if (PortStringToInt(item.substr(afterSecondColon), slot.port) != 0) {
        FACE_LOG_ERROR("<AiFaceHandleUrlWithProtocolAndPort> PortStringToInt failed.");
        return -1;
    }
    ++m_slotCount;
    return 0;
}

// Deliberate: any number is a port, cut to 32 bits, with the blanks and the sign that strtol takes.
int CloudFaceSrvDetect::PortStringToInt(std::string text, unsigned int& port) {
    if (text.empty()) {
        FACE_LOG_ERROR("<PortStringToInt> port is empty");
        return -1;
    }
    char* end = nullptr;
    errno = 0;
    const long value = std::strtol(text.c_str(), &end, kDecimal);
    if (errno == ERANGE || end == text.c_str() || *end != '\0') {
        FACE_LOG_ERROR("<PortStringToInt> strtol arg invalid");
        return -1;
    }
    port = static_cast<unsigned int>(value);
    return 0;
}

int CloudFaceSrvDetect::ParseHostPort(std::string host) {
    if (host.size() < kHostMin) {
        FACE_LOG_ERROR("<ParseHostPort> uriStr is invalid.");
        return -1;
    }
    char text[kHostCapacity] = {};
    if (strncpy_s(text, sizeof(text), host.c_str(), host.size()) != 0) {
        FACE_LOG_ERROR("<ParseHostPort> dump Str failed.");
        return -1;
    }
    if (std::strchr(text, '.') == nullptr) {
        return -1;
    }
    in_addr address = {};
    return inet_pton(AF_INET, text, &address) == 1 ? 0 : -1;
}

// NOLINTEND(performance-unnecessary-value-param)

}  // namespace QuorAiEngine
