/*
 * tls_stream.h - the server's side of TLS over a gated socket, as the stream below HTTP and WebSocket.
 *
 * Threads: the network thread only. At most one read and one write may be under way, which is how HTTP and
 * WebSocket use it. Meets the asio requirements of an asynchronous stream and the customisations that a Beast
 * WebSocket stream asks of the layer below it.
 */
#ifndef QUOR_SIMULATOR_TLS_STREAM_H
#define QUOR_SIMULATOR_TLS_STREAM_H

#include <boost/asio/async_result.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/beast/core/role.hpp>
#include <functional>
#include <vector>

#include "completion.h"
#include "gated_socket.h"

namespace quor_simulator {

class TlsStream {
public:
    using executor_type = GatedSocket::executor_type;
    using ErrorCode = boost::system::error_code;
    using Done = std::function<void(ErrorCode)>;

    TlsStream(GatedSocket::Socket socket, boost::asio::ssl::context& context);

    executor_type get_executor() { return m_stream.get_executor(); }
    GatedSocket& gate() { return m_stream.next_layer(); }

    void Handshake(Done done);
    /* close_notify both ways, then the end of what this side sends. */
    void Shutdown(Done done);

    template <class Buffers, class Token>
    auto async_read_some(const Buffers& buffers, Token&& token) {
        return boost::asio::async_initiate<Token, void(ErrorCode, std::size_t)>(
            [this](auto handler, boost::asio::mutable_buffer buffer) {
                Read(buffer, Completion(std::move(handler)));
            },
            token, FirstBuffer<boost::asio::mutable_buffer>(buffers));
    }
    template <class Buffers, class Token>
    auto async_write_some(const Buffers& buffers, Token&& token) {
        return boost::asio::async_initiate<Token, void(ErrorCode, std::size_t)>(
            [this](auto handler, boost::asio::const_buffer buffer) {
                Write(buffer, Completion(std::move(handler)));
            },
            token, Gather(buffers));
    }

    friend void beast_close_socket(TlsStream& stream) { stream.gate().Close(false); }
    friend void teardown(boost::beast::role_type, TlsStream& stream, ErrorCode& error) {
        error = {};
        stream.gate().Close(false);
    }
    template <class Handler>
    friend void async_teardown(boost::beast::role_type, TlsStream& stream, Handler&& handler) {
        stream.Teardown(Completion([done = std::forward<Handler>(handler)](
                                       ErrorCode error, std::size_t) mutable { std::move(done)(error); }));
    }

private:
    static constexpr std::size_t kRecordBytes = 16U << 10; /* a TLS record holds no more */

    /* A WebSocket frame's head and its payload go into one TLS record, not into one each. */
    template <class Buffers>
    boost::asio::const_buffer Gather(const Buffers& buffers) {
        const auto first = FirstBuffer<boost::asio::const_buffer>(buffers);
        const std::size_t total = boost::asio::buffer_size(buffers);
        if (first.size() == total || first.size() >= kRecordBytes) {
            return first;
        }
        m_record.resize(total < kRecordBytes ? total : kRecordBytes);
        boost::asio::buffer_copy(boost::asio::buffer(m_record), buffers);
        return boost::asio::buffer(m_record);
    }

    void Read(boost::asio::mutable_buffer buffer, Completion done);
    void Write(boost::asio::const_buffer buffer, Completion done);
    void Teardown(Completion done);

    boost::asio::ssl::stream<GatedSocket> m_stream;
    std::vector<char> m_record; /* of the write under way, if it was gathered */
};

}  // namespace quor_simulator

#endif
