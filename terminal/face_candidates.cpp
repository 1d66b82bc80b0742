#include "face_candidates.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <string_view>

#include "quor_ai/face_records.h"

namespace quor_terminal {
namespace {

constexpr std::string_view kHttps = "https://";
constexpr std::string_view kHttp = "http://";
constexpr unsigned int kHttpsPort = 443;
constexpr unsigned int kHttpPort = 80;
constexpr unsigned int kLargestPort = 65535;
constexpr std::size_t kLongestList = sizeof(TagQuorAiFaceServerInfo::addressList) - 1;
constexpr std::size_t kLongestHost = sizeof(tagAiFaceServerAddrInfo::host) - 1;

bool BeginsWith(std::string_view text, std::string_view start) {
    return text.substr(0, start.size()) == start;
}

bool IsHostCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
           c == '-' || c == '_';
}

bool IsIpv4(const std::string& text) {
    in_addr address{};
    return inet_pton(AF_INET, text.c_str(), &address) == 1;
}

bool ReadPort(std::string_view text, unsigned int& port) {
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    return error == std::errc() && stop == text.data() + text.size() && port != 0 && port <= kLargestPort;
}

// Empty: item is understood. Otherwise why it is not.
const char* ReadItem(std::string_view item, FaceCandidate& candidate) {
    const bool plain = BeginsWith(item, kHttp);
    const bool scheme = plain || BeginsWith(item, kHttps);
    if (!scheme && (BeginsWith(item, "http") || item.find("://") != std::string_view::npos)) {
        return "it begins neither with https:// nor with http://, nor with an address";
    }
    std::string_view rest = item;
    if (scheme) {
        rest.remove_prefix(plain ? kHttp.size() : kHttps.size());
    }
    const std::size_t colon = std::min(rest.find(':'), rest.size());
    candidate.host = rest.substr(0, colon);
    candidate.port = plain ? kHttpPort : kHttpsPort;
    if (rest.find('/') != std::string_view::npos) {
        return "a path is not understood";
    }
    if (candidate.host.empty() || candidate.host.size() > kLongestHost ||
        !std::all_of(candidate.host.begin(), candidate.host.end(), IsHostCharacter)) {
        return "there is no address in it that the library understands; IPv4 is, as in 10.1.1.1:8443";
    }
    if (colon < rest.size() && !ReadPort(rest.substr(colon + 1), candidate.port)) {
        return "a port from 1 to 65535 is wanted after the colon; IPv6 is not understood";
    }
    candidate.isAddress = IsIpv4(candidate.host);
    candidate.url = std::string(plain ? kHttp : kHttps) + candidate.host + ":";
    candidate.url += std::to_string(candidate.port);
    return nullptr;
}

// The items of list. A semicolon at the end ends it.
std::vector<std::string_view> Split(std::string_view list) {
    std::vector<std::string_view> items;
    while (!list.empty()) {
        const std::size_t end = std::min(list.find(';'), list.size());
        items.push_back(list.substr(0, end));
        list.remove_prefix(std::min(end + 1, list.size()));
    }
    return items;
}

bool Refuse(std::string& message, const std::string& why) {
    message = "--server: " + why;
    return false;
}

}  // namespace

bool ParseFaceCandidates(const std::string& list, std::vector<FaceCandidate>& candidates,
                         std::string& message) {
    candidates.clear();
    if (list.size() > kLongestList) {
        return Refuse(message, "the list is longer than " + std::to_string(kLongestList) + " bytes");
    }
    const std::vector<std::string_view> items = Split(list);
    if (items.size() > kQuorAiFaceServerMax) {
        return Refuse(message, "at most " + std::to_string(kQuorAiFaceServerMax) + " addresses are taken");
    }
    for (const std::string_view item : items) {
        FaceCandidate candidate;
        if (item.empty()) {
            return Refuse(message, "there is nothing between two semicolons");
        }
        if (const char* const wrong = ReadItem(item, candidate)) {
            return Refuse(message, "'" + std::string(item) + "': " + wrong);
        }
        if (std::any_of(candidates.begin(), candidates.end(), [&candidate](const FaceCandidate& other) {
                return other.host == candidate.host && other.port == candidate.port;
            })) {
            return Refuse(message, candidate.host + ":" + std::to_string(candidate.port) + " is there twice");
        }
        candidates.push_back(candidate);
    }
    if (std::none_of(candidates.begin(), candidates.end(),
                     [](const FaceCandidate& candidate) { return candidate.isAddress; })) {
        return Refuse(message,
                      "the library asks at dotted IPv4 addresses only, as in 10.1.1.1:8443;10.1.1.2, and "
                      "looks up no names");
    }
    return true;
}

}  // namespace quor_terminal
