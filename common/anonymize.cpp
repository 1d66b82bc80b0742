#include "common/anonymize.h"

#include <cstddef>

namespace QuorAiEngine {

namespace {

constexpr std::size_t kSerialTailLength = 4;

}  // namespace

std::string GetIPType(const std::string& address) {
    if (address.find(':') != std::string::npos) {
        return "IPv6";
    }
    return address.find('.') != std::string::npos ? "IPv4" : "Invalid";
}

std::string AnonymizeIP(const std::string& address) {
    std::string masked = address;
    const std::size_t start = masked.size() / 4;
    const std::size_t end = masked.size() / 2 + masked.size() / 4;
    for (std::size_t i = start; i < end; ++i) {
        if (masked[i] != ':' && masked[i] != '.') {
            masked[i] = '*';
        }
    }
    return masked;
}

std::string AnonymizeSN(const std::string& serial) {
    if (serial.size() < kSerialTailLength) {
        return "lessThanFour";
    }
    return serial.substr(serial.size() - kSerialTailLength);
}

}  // namespace QuorAiEngine
