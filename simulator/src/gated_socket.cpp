#include "gated_socket.h"

#include <algorithm>
#include <boost/asio/post.hpp>
#include <string>
#include <utility>

namespace quor_simulator {
namespace {

/* A limited rate goes out in about so many portions a second. */
constexpr std::size_t kPortionsPerSecond = 20;

}  // namespace

GatedSocket::GatedSocket(Socket socket)
    : m_socket(std::move(socket)), m_gate(m_socket.get_executor()), m_pace(m_socket.get_executor()) {
    m_gate.expires_at(Clock::time_point::max());
    ErrorCode ignored;
    m_socket.non_blocking(true, ignored);
    m_socket.set_option(boost::asio::ip::tcp::no_delay(true), ignored);
}

void GatedSocket::Freeze(bool freeze) {
    m_frozen = freeze;
    if (!freeze) {
        m_gate.cancel();
    }
}

void GatedSocket::Close(bool reset) {
    ErrorCode ignored;
    if (reset) {
        m_socket.set_option(boost::asio::socket_base::linger(true, 0), ignored);
    }
    m_socket.close(ignored);
    m_frozen = false;
    m_gate.cancel();
    m_pace.cancel();
}

void GatedSocket::ShutdownSend() {
    ErrorCode ignored;
    m_socket.shutdown(Socket::shutdown_send, ignored);
}

std::string GatedSocket::PeerText() const {
    ErrorCode error;
    const auto endpoint = m_socket.remote_endpoint(error);
    return error ? std::string("?") : endpoint.address().to_string() + ":" + std::to_string(endpoint.port());
}

/* A read of no bytes does not wait: the TLS stream uses it to have a handler called later. */
void GatedSocket::Read(boost::asio::mutable_buffer buffer, Completion done) {
    if (buffer.size() == 0) {
        boost::asio::post(m_socket.get_executor(), [done = std::move(done)]() mutable { done({}, 0); });
        return;
    }
    m_socket.async_wait(Socket::wait_read, [this, buffer, done = std::move(done)](ErrorCode error) mutable {
        ReadWhenOpen(error, buffer, std::move(done));
    });
}

/* First readable, then the gate, then the kernel: an operation that was begun before the gate closed takes
 * nothing after it. */
void GatedSocket::ReadWhenOpen(ErrorCode error, boost::asio::mutable_buffer buffer, Completion done) {
    if (m_frozen) {
        m_gate.async_wait([this, buffer, done = std::move(done)](ErrorCode) mutable {
            ReadWhenOpen({}, buffer, std::move(done));
        });
        return;
    }
    if (!m_socket.is_open()) {
        done(boost::asio::error::operation_aborted, 0);
        return;
    }
    const std::size_t count = m_socket.read_some(buffer, error);
    if (error == boost::asio::error::would_block) {
        Read(buffer, std::move(done));
    } else {
        done(error, count);
    }
}

/* After Close the socket itself reports that it is closed. */
void GatedSocket::Write(boost::asio::const_buffer buffer, Completion done) {
    const bool tooEarly = m_bytesPerSecond != 0 && Clock::now() < m_nextWrite && m_socket.is_open();
    if (m_frozen || tooEarly) {
        if (!m_frozen) {
            m_pace.expires_at(m_nextWrite);
        }
        (m_frozen ? m_gate : m_pace).async_wait([this, buffer, done = std::move(done)](ErrorCode) mutable {
            Write(buffer, std::move(done));
        });
        return;
    }
    const boost::asio::const_buffer portion(buffer.data(), std::min(buffer.size(), PortionBytes()));
    m_socket.async_write_some(portion,
                              [this, done = std::move(done)](ErrorCode error, std::size_t count) mutable {
                                  Pace(count);
                                  done(error, count);
                              });
}

std::size_t GatedSocket::PortionBytes() const {
    return m_bytesPerSecond == 0 ? SIZE_MAX : std::max<std::size_t>(m_bytesPerSecond / kPortionsPerSecond, 1);
}

void GatedSocket::Pace(std::size_t written) {
    if (m_bytesPerSecond != 0) {
        const std::chrono::duration<double> pause(static_cast<double>(written) /
                                                  static_cast<double>(m_bytesPerSecond));
        m_nextWrite = Clock::now() + std::chrono::duration_cast<Clock::duration>(pause);
    }
}

}  // namespace quor_simulator
