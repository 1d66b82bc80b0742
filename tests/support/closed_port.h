// closed_port.h - a port that is a test's own for as long as it needs it.
#ifndef TESTS_SUPPORT_CLOSED_PORT_H
#define TESTS_SUPPORT_CLOSED_PORT_H

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <string>

namespace QuorTest {

// A port of the loopback interface, IPv4 and IPv6, that nobody listens on, held as long as this lives: a port
// that was given back may be another program's by the time it is used. A server that reuses addresses, as the
// simulator does, may listen on it, and again after it was away; without one it refuses connections.
class ClosedPort {
public:
    ClosedPort() {
        constexpr int kTries = 20;  // what is free for IPv4 may be taken for IPv6
        for (int tries = 0; tries < kTries && !Hold(); ++tries) {
            Release();
        }
        EXPECT_NE(m_port, 0U) << "no free port";
    }
    ~ClosedPort() { Release(); }
    ClosedPort(const ClosedPort&) = delete;
    ClosedPort& operator=(const ClosedPort&) = delete;

    std::uint16_t Port() const { return m_port; }
    std::string Url() const { return "https://127.0.0.1:" + std::to_string(m_port) + "/"; }

private:
    template <typename Address>
    static bool Bind(int holder, Address& address) {
        const int on = 1;
        socklen_t size = sizeof address;
        auto* const plain = reinterpret_cast<sockaddr*>(&address);
        return setsockopt(holder, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0 &&
               bind(holder, plain, size) == 0 && getsockname(holder, plain, &size) == 0;
    }
    bool Hold() {
        sockaddr_in first = {};
        first.sin_family = AF_INET;
        first.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        m_holder = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (!Bind(m_holder, first)) {
            return false;
        }
        sockaddr_in6 second = {};
        second.sin6_family = AF_INET6;
        second.sin6_addr = in6addr_loopback;
        second.sin6_port = first.sin_port;
        m_holder6 = socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (!Bind(m_holder6, second) && errno == EADDRINUSE) {  // else this machine has no IPv6
            return false;
        }
        m_port = ntohs(first.sin_port);
        return true;
    }
    void Release() {
        for (int* const holder : {&m_holder, &m_holder6}) {
            if (*holder >= 0) {
                close(*holder);
            }
            *holder = -1;
        }
    }

    int m_holder = -1;
    int m_holder6 = -1;
    std::uint16_t m_port = 0;
};

}  // namespace QuorTest

#endif
