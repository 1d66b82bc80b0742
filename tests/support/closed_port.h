// closed_port.h - a port that refuses connections for as long as a test needs it.
#ifndef TESTS_SUPPORT_CLOSED_PORT_H
#define TESTS_SUPPORT_CLOSED_PORT_H

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>

namespace QuorTest {

// A port of the loopback interface that nobody listens on, held as long as this lives: a port that was given
// back may be another program's by the time it is used.
class ClosedPort {
public:
    ClosedPort() : m_socket(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        EXPECT_EQ(bind(m_socket, reinterpret_cast<sockaddr*>(&address), size), 0);
        EXPECT_EQ(getsockname(m_socket, reinterpret_cast<sockaddr*>(&address), &size), 0);
        m_port = ntohs(address.sin_port);
    }
    ~ClosedPort() { close(m_socket); }
    ClosedPort(const ClosedPort&) = delete;
    ClosedPort& operator=(const ClosedPort&) = delete;

    unsigned int Port() const { return m_port; }
    std::string Url() const { return "https://127.0.0.1:" + std::to_string(m_port) + "/"; }

private:
    int m_socket;
    unsigned int m_port = 0;
};

}  // namespace QuorTest

#endif
