/*
 * upgrade.h - decides what an HTTP request on the port gets: a WebSocket link of one kind, or a refusal. Pure
 * functions on plain records, so that the HTTP library stays in the network source.
 */
#ifndef QUOR_SIMULATOR_UPGRADE_H
#define QUOR_SIMULATOR_UPGRADE_H

#include <optional>
#include <string>
#include <string_view>

namespace quor_simulator {

inline constexpr std::string_view kWebSocketPath = "/conf-portal/websocket";

struct UpgradeRequest {
    std::string target;
    bool isUpgrade = false;                   /* asks for the websocket protocol, as RFC 6455 wants it */
    std::optional<std::string> authorization; /* the header's value, if there is one */
    std::string protocols;                    /* Sec-WebSocket-Protocol, empty if absent */
};

struct UpgradeRules {
    std::string userName;
    std::string password;
    bool allowManagerLinks = true;
};

struct UpgradeDecision {
    unsigned int status = 101; /* 101: a link; anything else: the HTTP status of the refusal */
    std::string reason;        /* the refusal's body */
    bool challenge = false;    /* the refusal carries WWW-Authenticate */
    bool manager = false;
    std::string protocol; /* chosen of those offered, empty for none */
};

UpgradeDecision DecideUpgrade(const UpgradeRequest& request, const UpgradeRules& rules);

/* The value of an Authorization header (RFC 7617) for these credentials. */
std::string BasicCredentials(std::string_view userName, std::string_view password);

}  // namespace quor_simulator

#endif
