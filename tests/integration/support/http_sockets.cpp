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

// Whether a socket of this host waits for an answer to its attempt to connect to this port.
bool IsSomebodyConnecting(std::uint16_t port) {
    constexpr char kSynSent[] = "02";
    char remote[16];
    std::snprintf(remote, sizeof remote, "0100007F:%04X", port);
    std::ifstream table("/proc/net/tcp");
    for (std::string line; std::getline(table, line);) {
        std::istringstream words(line);
        std::string number;
        std::string local;
        std::string peer;
        std::string state;
        words >> number >> local >> peer >> state;
        if (peer == remote && state == kSynSent) {
            return true;
        }
    }
    return false;
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
        m_onlyConnection = Open(kind);
        open = open && connect(m_onlyConnection, plain, length) == 0;
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
    for (const int descriptor : {m_onlyConnection, m_descriptor}) {
        if (descriptor >= 0) {
            close(descriptor);
        }
    }
}

bool SilentSocket::WaitForArrival() const {
    if (m_kind == Kind::kFullTcp) {
        return Eventually([this] { return IsSomebodyConnecting(m_port); });
    }
    pollfd wait = {m_descriptor, POLLIN, 0};
    return poll(&wait, 1, static_cast<int>(kPatience.count())) == 1;
}

}  // namespace quor_test
