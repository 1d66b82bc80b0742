#include "tls_stream.h"

#include <utility>

namespace quor_simulator {

TlsStream::TlsStream(GatedSocket::Socket socket, boost::asio::ssl::context& context)
    : m_stream(std::move(socket), context) {}

void TlsStream::Handshake(Done done) {
    m_stream.async_handshake(boost::asio::ssl::stream_base::server, std::move(done));
}

void TlsStream::Shutdown(Done done) {
    Teardown(Completion([done = std::move(done)](ErrorCode error, std::size_t) { done(error); }));
}

void TlsStream::Teardown(Completion done) {
    m_stream.async_shutdown([this, done = std::move(done)](ErrorCode error) mutable {
        gate().ShutdownSend();
        done(error, 0);
    });
}

void TlsStream::Read(boost::asio::mutable_buffer buffer, Completion done) {
    m_stream.async_read_some(buffer, std::move(done));
}

void TlsStream::Write(boost::asio::const_buffer buffer, Completion done) {
    m_stream.async_write_some(buffer, std::move(done));
}

}  // namespace quor_simulator
