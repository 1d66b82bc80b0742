#include "support/http_sockets.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

#include "support/patience.h"

namespace quor_test {

namespace {

constexpr int kBacklog = 64;

sockaddr_in LoopbackAddress() {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

int Open(SilentSocket::Kind kind) {
    return socket(AF_INET, (kind == SilentSocket::Kind::kUdp ? SOCK_DGRAM : SOCK_STREAM) | SOCK_CLOEXEC, 0);
}

// The sockets of this host that wait for an answer to their attempt to connect to this port.
std::size_t CountConnecting(std::uint16_t port) {
    constexpr char kSynSent[] = "02";
    char remote[16];
    std::snprintf(remote, sizeof remote, "0100007F:%04X", port);
    std::ifstream table("/proc/net/tcp");
    std::size_t count = 0;
    for (std::string line; std::getline(table, line);) {
        std::istringstream words(line);
        std::string number;
        std::string local;
        std::string peer;
        std::string state;
        words >> number >> local >> peer >> state;
        count += peer == remote && state == kSynSent ? 1U : 0U;
    }
    return count;
}

}  // namespace

SilentSocket::SilentSocket(Kind kind) : m_kind(kind), m_descriptor(Open(kind)) {
    sockaddr_in address = LoopbackAddress();
    socklen_t length = sizeof address;
    auto* const plain = reinterpret_cast<sockaddr*>(&address);
    bool open = bind(m_descriptor, plain, length) == 0 && getsockname(m_descriptor, plain, &length) == 0;
    if (kind != Kind::kUdp) {
        open = open && listen(m_descriptor, kind == Kind::kFullTcp ? 0 : kBacklog) == 0;
    }
    if (kind == Kind::kFullTcp) {
        m_connections.push_back(Open(kind));
        open = open && connect(m_connections.front(), plain, length) == 0;
    }
    if (!open) {
        Close();
        throw std::runtime_error("no socket that listens");
    }
    m_port = ntohs(address.sin_port);
}

SilentSocket::~SilentSocket() {
    Close();
}

void SilentSocket::Close() const {
    for (const int connection : m_connections) {
        close(connection);
    }
    close(m_descriptor);
}

bool SilentSocket::WaitForArrivals(std::size_t count) {
    return Eventually([this, count] { return CountArrivals() >= count; });
}

std::size_t SilentSocket::CountArrivals() {
    if (m_kind == Kind::kFullTcp) {
        return CountConnecting(m_port);
    }
    pollfd wait = {m_descriptor, POLLIN, 0};
    while (poll(&wait, 1, 0) == 1) {
        TakeArrival();
    }
    return m_kind == Kind::kTcp ? m_connections.size() : m_senders.size();
}

void SilentSocket::TakeArrival() {
    if (m_kind == Kind::kTcp) {
        m_connections.push_back(accept4(m_descriptor, nullptr, nullptr, SOCK_CLOEXEC));
        return;
    }
    char datagram[512];
    sockaddr_in sender = {};
    socklen_t length = sizeof sender;
    recvfrom(m_descriptor, datagram, sizeof datagram, 0, reinterpret_cast<sockaddr*>(&sender), &length);
    m_senders.insert(ntohs(sender.sin_port));
}

}  // namespace quor_test
