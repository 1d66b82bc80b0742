/*
 * connection.h - one TCP connection of the port: TLS, one HTTP request, then either its answer or a WebSocket
 * link. Included by the network sources only: everything below needs asio and Beast.
 *
 * Types are kept lean on purpose (concrete executor, no permessage-deflate): the generic ones double the time
 * and memory that these two sources take to compile.
 *
 * Threads: the network thread only. A connection is kept alive by its operations under way and by the
 * network's table; Finish closes the socket, so that the operations end, and takes it out of the table.
 */
#ifndef QUOR_SIMULATOR_CONNECTION_H
#define QUOR_SIMULATOR_CONNECTION_H

#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "hub.h"
#include "slices.h"
#include "tls_stream.h"

namespace quor_simulator {

class Connection : public std::enable_shared_from_this<Connection> {
public:
    using Socket = GatedSocket::Socket;
    using Executor = GatedSocket::executor_type;
    using ErrorCode = boost::system::error_code;

    struct Events {
        std::function<void(LinkId, const std::shared_ptr<Connection>&)> opened; /* upgraded */
        /* link 0: never upgraded; answered: its HTTP request got a refusal, which is counted already. */
        std::function<void(std::uint64_t serial, LinkId, bool answered)> finished;
    };

    Connection(std::uint64_t serial, Socket socket, std::shared_ptr<boost::asio::ssl::context> context,
               Hub& hub, const Events& events);

    void Start(std::chrono::milliseconds handshakeTimeout);
    /* Takes from the hub and writes until there is nothing left. Called once after each Wake. */
    void Pump();
    void Freeze(bool freeze) { Gate().Freeze(freeze); }
    void SetRate(std::size_t bytesPerSecond) { Gate().SetRate(bytesPerSecond); }
    void Finish(bool reset);

private:
    using WebSocket = boost::beast::websocket::stream<TlsStream, false>;
    using Request = boost::beast::http::request<boost::beast::http::string_body>;
    using Response = boost::beast::http::response<boost::beast::http::string_body>;
    using Parser = boost::beast::http::request_parser<boost::beast::http::string_body>;
    using Timer =
        boost::asio::basic_waitable_timer<std::chrono::steady_clock,
                                          boost::asio::wait_traits<std::chrono::steady_clock>, Executor>;

    GatedSocket& Gate() { return m_socket.next_layer().gate(); }
    void ReadRequest();
    void HandleRequest();
    void Answer(const UpgradeDecision& decision);
    void Upgrade(const UpgradeDecision& decision);
    void Open(bool manager);
    void Read();
    void WriteSlice();
    void Close(const LinkEnd& end);

    const std::uint64_t m_serial;
    const std::shared_ptr<boost::asio::ssl::context> m_context; /* outlives a change of certificates */
    Hub& m_hub;
    const Events& m_events;
    WebSocket m_socket;
    Timer m_deadline; /* for everything before the link is open, and for the end of a refusal */
    std::string m_peer;
    LinkId m_link = 0;
    bool m_answered = false;
    bool m_finished = false;
    bool m_clientCloses = false;
    bool m_serverCloses = false;

    boost::beast::flat_buffer m_buffer;
    std::optional<Parser> m_parser;
    Request m_request;
    Response m_response;
    std::vector<char> m_input;
    Outbound m_output;
    std::vector<Slice> m_slices; /* of m_output */
    std::size_t m_nextSlice = 0;
};

}  // namespace quor_simulator

#endif
