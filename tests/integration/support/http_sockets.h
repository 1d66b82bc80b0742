// http_sockets.h - sockets of the loopback interface that lead nowhere.
#ifndef QUOR_TESTS_INTEGRATION_HTTP_SOCKETS_H
#define QUOR_TESTS_INTEGRATION_HTTP_SOCKETS_H

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace quor_test {

// Open on a free port of 127.0.0.1 for the life of the object. What arrives is never answered.
class SilentSocket {
public:
    enum class Kind {
        kTcp,      // the system completes a connection, and nobody ever reads from it
        kFullTcp,  // there is no room for a connection: the system drops every attempt, as a dead network
                   // does
        kUdp,
    };

    // Throws std::runtime_error.
    explicit SilentSocket(Kind kind);
    ~SilentSocket();
    SilentSocket(const SilentSocket&) = delete;
    SilentSocket& operator=(const SilentSocket&) = delete;

    std::uint16_t Port() const { return m_port; }
    std::string Address() const { return "127.0.0.1:" + std::to_string(m_port); }
    // So many have arrived: connections, attempts at one that go on at the same moment, or sockets that sent
    // a datagram. False: not in kPatience.
    bool WaitForArrivals(std::size_t count = 1);

private:
    std::size_t CountArrivals();
    void TakeArrival();
    void Close() const;

    const Kind m_kind;
    int m_descriptor;
    std::vector<int> m_connections;  // of a full one the first, which takes all the room
    std::set<std::uint16_t> m_senders;
    std::uint16_t m_port = 0;
};

}  // namespace quor_test

#endif
