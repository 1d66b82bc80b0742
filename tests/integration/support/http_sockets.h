// http_sockets.h - sockets of the loopback interface that lead nowhere.
#ifndef QUOR_TESTS_INTEGRATION_HTTP_SOCKETS_H
#define QUOR_TESTS_INTEGRATION_HTTP_SOCKETS_H

#include <cstdint>
#include <string>

namespace quor_test {

// Open on a free port of 127.0.0.1 for the life of the object. What arrives is never answered: the system
// completes a TCP connection, and nobody ever reads from it.
class SilentSocket {
public:
    enum class Kind { kTcp, kUdp };

    // Throws std::runtime_error.
    explicit SilentSocket(Kind kind);
    ~SilentSocket();
    SilentSocket(const SilentSocket&) = delete;
    SilentSocket& operator=(const SilentSocket&) = delete;

    std::uint16_t Port() const { return m_port; }
    std::string Address() const { return "127.0.0.1:" + std::to_string(m_port); }
    // A connection or a datagram has arrived; false: not in kPatience.
    bool WaitForArrival() const;

private:
    int m_descriptor;
    std::uint16_t m_port = 0;
};

}  // namespace quor_test

#endif
