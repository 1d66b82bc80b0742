#include "upgrade.h"

#include <openssl/crypto.h>

#include <algorithm>
#include <cctype>

#include "base64.h"

namespace quor_simulator {
namespace {

constexpr std::string_view kScheme = "Basic ";
/* The best first: the list is tried in this order. */
constexpr std::string_view kProtocols[] = {"v12.stomp", "v11.stomp", "v10.stomp"};

std::string_view Trim(std::string_view text) {
    const auto blank = [](char c) { return c == ' ' || c == '\t'; };
    while (!text.empty() && blank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && blank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

/* The scheme's name is case-insensitive, the credentials are not; they are compared in constant time. */
bool CredentialsMatch(std::string_view given, const UpgradeRules& rules) {
    const std::string expected = BasicCredentials(rules.userName, rules.password);
    given = Trim(given);
    const auto sameLetter = [](char a, char b) {
        return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
    };
    if (given.size() != expected.size() ||
        !std::equal(kScheme.begin(), kScheme.end(), given.begin(), sameLetter)) {
        return false;
    }
    return CRYPTO_memcmp(given.data() + kScheme.size(), expected.data() + kScheme.size(),
                         expected.size() - kScheme.size()) == 0;
}

std::string ChooseProtocol(std::string_view offered) {
    for (const std::string_view wanted : kProtocols) {
        std::string_view rest = offered;
        while (!rest.empty()) {
            const std::size_t comma = rest.find(',');
            if (Trim(rest.substr(0, comma)) == wanted) {
                return std::string(wanted);
            }
            rest = comma == std::string_view::npos ? std::string_view() : rest.substr(comma + 1);
        }
    }
    return {};
}

UpgradeDecision Refusal(unsigned int status, std::string reason, bool challenge = false) {
    UpgradeDecision decision;
    decision.status = status;
    decision.reason = std::move(reason);
    decision.challenge = challenge;
    return decision;
}

}  // namespace

std::string BasicCredentials(std::string_view userName, std::string_view password) {
    return std::string(kScheme) + EncodeBase64(std::string(userName) + ":" + std::string(password));
}

UpgradeDecision DecideUpgrade(const UpgradeRequest& request, const UpgradeRules& rules) {
    const std::string_view path = std::string_view(request.target).substr(0, request.target.find('?'));
    if (path != kWebSocketPath) {
        return Refusal(404, "no such resource\n");
    }
    if (!request.isUpgrade) {
        return Refusal(426, "this resource speaks WebSocket only\n");
    }
    UpgradeDecision decision;
    decision.manager = !request.authorization.has_value();
    if (decision.manager && !rules.allowManagerLinks) {
        return Refusal(401, "credentials are missing\n", true);
    }
    if (!decision.manager && !CredentialsMatch(*request.authorization, rules)) {
        return Refusal(401, "credentials are wrong\n", true);
    }
    decision.protocol = ChooseProtocol(request.protocols);
    return decision;
}

}  // namespace quor_simulator
