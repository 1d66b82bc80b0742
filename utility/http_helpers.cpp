// Response buffers, bounded texts and clocks.
#include <sys/time.h>

#include <cstring>

#include "quor_platform/bounded.h"
#include "quor_platform/os.h"
#include "utility/http_protocol.h"
#include "utility/srv_utility_log.h"

namespace QuorAiEngine {

namespace {

constexpr unsigned long kMsPerSecond = 1000;
constexpr unsigned long kUsPerMs = 1000;

}  // namespace

void HttpProtocol::FreeSyncRequestParam(tagHTTP_S_SYN_SEND_PARAM& param) {
    if (param.rspExtra != nullptr) {
        OSMemTypeFreeMon(param.rspExtra, __LINE__, kUtilityLogModule.name);
        param.rspExtra = nullptr;
    }
    if (param.rspBody != nullptr) {
        OSMemTypeFreeMon(param.rspBody, __LINE__, kUtilityLogModule.name);
        param.rspBody = nullptr;
    }
}

char* HttpProtocol::AiUtilityHttpGetStrFromBody(const char* body, unsigned int length) {
    if (body == nullptr || length == 0) {
        return nullptr;
    }
    const unsigned int size = length + 1;  // 0 for the longest possible length: the heap refuses it
    auto* text = static_cast<char*>(OsMemMallocSetCharMon(size, 0, __LINE__, kUtilityLogModule.name));
    if (text == nullptr) {
        return nullptr;
    }
    if (memcpy_s(text, size, body, length) != 0) {
        OSMemTypeFreeMon(text, __LINE__, kUtilityLogModule.name);
        return nullptr;
    }
    return text;
}

unsigned int HttpProtocol::AiUtilitySafeStrCpyD(char* dest, const char* src, unsigned int destSize) {
    if (src == nullptr || destSize == 0 || dest == nullptr) {
        return destSize == 0 ? 1 : 0;
    }
    const std::size_t length = std::strlen(src);
    if (length > destSize) {
        return static_cast<unsigned int>(length);
    }
    const int result = memcpy_s(dest, destSize, src, length);
    if (result != 0) {
        return static_cast<unsigned int>(result);
    }
    if (length == destSize) {
        dest[destSize - 1] = '\0';
        return destSize - 1;
    }
    dest[length] = '\0';
    return 0;
}

unsigned int HttpProtocol::GetSystemUptime(long long* uptimeSec) {
    if (uptimeSec == nullptr) {
        UTILITY_STORM_LOG("<GetSystemUptime> pllUptimeSec is null!");
        return kHttpProtocolFailed;
    }
    timeval now = {};
    if (gettimeofday(&now, nullptr) != 0) {
        UTILITY_LOG_ERROR("<GetSystemUptime> gettimeofday failed!");
        return kHttpProtocolFailed;
    }
    *uptimeSec = now.tv_sec;
    return 0;
}

unsigned long HttpProtocol::GetCurTimeMs() {
    timeval now = {};
    gettimeofday(&now, nullptr);
    return static_cast<unsigned long>(now.tv_sec) * kMsPerSecond +
           static_cast<unsigned long>(now.tv_usec) / kUsPerMs;
}

}  // namespace QuorAiEngine
