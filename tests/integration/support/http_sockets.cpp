#include "support/http_sockets.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

#include "support/patience.h"

namespace quor_test {

namespace {

constexpr int kBacklog = 64;

// Binds to a free port of 127.0.0.1; the port, or 0 when there is none.
std::uint16_t Bind(int descriptor) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* const plain = reinterpret_cast<sockaddr*>(&address);
    if (bind(descriptor, plain, length) != 0 || getsockname(descriptor, plain, &length) != 0) {
        return 0;
    }
    return ntohs(address.sin_port);
}

int Open(SilentSocket::Kind kind) {
    return socket(AF_INET, (kind == SilentSocket::Kind::kTcp ? SOCK_STREAM : SOCK_DGRAM) | SOCK_CLOEXEC, 0);
}

}  // namespace

SilentSocket::SilentSocket(Kind kind) : m_descriptor(Open(kind)) {
    m_port = m_descriptor < 0 ? std::uint16_t{0} : Bind(m_descriptor);
    if (m_port == 0 || (kind == Kind::kTcp && listen(m_descriptor, kBacklog) != 0)) {
        close(m_descriptor);
        throw std::runtime_error("no socket that listens");
    }
}

SilentSocket::~SilentSocket() {
    close(m_descriptor);
}

bool SilentSocket::WaitForArrival() const {
    pollfd wait = {m_descriptor, POLLIN, 0};
    return poll(&wait, 1, static_cast<int>(kPatience.count())) == 1;
}

}  // namespace quor_test
