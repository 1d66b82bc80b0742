/*
 * gated_socket.h - a TCP stream below TLS whose traffic can be stopped and slowed while operations are under
 * way. Closed gate: nothing is read from or written to the kernel, so that the peer sees a connection that is
 * open and dead (half-open). Operations that wait at the gate go on where they stopped when it opens.
 *
 * Threads: the network thread only. Meets the asio requirements of an asynchronous stream.
 */
#ifndef QUOR_SIMULATOR_GATED_SOCKET_H
#define QUOR_SIMULATOR_GATED_SOCKET_H

#include <boost/asio/async_result.hpp>
#include <boost/asio/basic_stream_socket.hpp>
#include <boost/asio/basic_waitable_timer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <chrono>

#include "completion.h"

namespace quor_simulator {

class GatedSocket {
public:
    using executor_type = boost::asio::io_context::executor_type;
    using Socket = boost::asio::basic_stream_socket<boost::asio::ip::tcp, executor_type>;
    using lowest_layer_type = Socket::lowest_layer_type;
    using ErrorCode = boost::system::error_code;

    explicit GatedSocket(Socket socket);

    executor_type get_executor() { return m_socket.get_executor(); }
    lowest_layer_type& lowest_layer() { return m_socket.lowest_layer(); }

    void Freeze(bool freeze);
    void SetRate(std::size_t bytesPerSecond) { m_bytesPerSecond = bytesPerSecond; } /* 0: no limit */
    void Close(bool reset);
    void ShutdownSend();
    std::string PeerText() const; /* address:port */

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
            token, FirstBuffer<boost::asio::const_buffer>(buffers));
    }

private:
    using Clock = std::chrono::steady_clock;
    using Timer = boost::asio::basic_waitable_timer<Clock, boost::asio::wait_traits<Clock>, executor_type>;

    void Read(boost::asio::mutable_buffer buffer, Completion done);
    void ReadWhenOpen(ErrorCode error, boost::asio::mutable_buffer buffer, Completion done);
    void Write(boost::asio::const_buffer buffer, Completion done);
    std::size_t PortionBytes() const;
    void Pace(std::size_t written);

    Socket m_socket;
    Timer m_gate; /* never expires; cancelled to let waiting operations go on */
    Timer m_pace;
    bool m_frozen = false;
    std::size_t m_bytesPerSecond = 0;
    Clock::time_point m_nextWrite{};
};

}  // namespace quor_simulator

#endif
