/*
 * network.h - the TLS ports, one or two: accepts on their addresses, answers HTTP through the rest side,
 * upgrades to WebSocket and moves bytes between links and the hub. All of asio and Beast stays in the network
 * sources.
 *
 * Threads: one thread of its own, from construction to destruction. The functions of LinkControl may be
 * called from any thread, also under the hub's mutex.
 */
#ifndef QUOR_SIMULATOR_NETWORK_H
#define QUOR_SIMULATOR_NETWORK_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "certificates.h"
#include "hub.h"
#include "rest_service.h"

namespace quor_simulator {

struct NetworkSettings {
    std::vector<std::string> addresses;      /* at least one */
    std::uint16_t port = 0;                  /* 0: any that is free on all addresses */
    std::optional<std::uint16_t> secondPort; /* likewise */
    Milliseconds handshakeTimeout{10000};
    Milliseconds keepAliveTimeout{60000};
    std::size_t maxLinks = 256;
    std::size_t maxRequestBytes = 1U << 20;
    std::size_t maxPictureBytes = 16U << 20;
};

class Network : public LinkControl {
public:
    /* Listens on return. Throws Error. */
    Network(Hub& hub, RestService& rest, const NetworkSettings& settings, const Identities& identities);
    ~Network() override; /* closes everything at once */
    Network(const Network&) = delete;
    Network& operator=(const Network&) = delete;

    std::uint16_t port() const;
    std::uint16_t secondPort() const; /* 0: there is none */

    void Wake(LinkId link) override;
    void Reset(LinkId link) override;
    void Freeze(LinkId link, bool freeze) override;
    void SetRate(LinkId link, std::size_t bytesPerSecond) override;

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace quor_simulator

#endif
