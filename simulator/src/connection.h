/*
 * connection.h - one TCP connection of the port: TLS, then HTTP requests (http_session.h) until it ends or
 * one of them makes it a WebSocket link. Included by the network sources only: everything below needs asio
 * and Beast.
 *
 * Types are kept lean on purpose (concrete executor, no permessage-deflate): the generic ones double the time
 * and memory that these two sources take to compile.
 *
 * Threads: the network thread only. A connection is kept alive by its operations under way and by the
 * network's table; Finish closes the socket, so that the operations end, and takes it out of the table.
 */
#ifndef QUOR_SIMULATOR_CONNECTION_H
#define QUOR_SIMULATOR_CONNECTION_H

#include <boost/beast/websocket/stream.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "http_session.h"
#include "hub.h"
#include "slices.h"
#include "tls_stream.h"

namespace quor_simulator {

class Connection final : public std::enable_shared_from_this<Connection>, private HttpSession::Owner {
public:
    using Socket = GatedSocket::Socket;
    using Executor = GatedSocket::executor_type;
    using ErrorCode = boost::system::error_code;

    struct Events {
        std::function<void(LinkId, const std::shared_ptr<Connection>&)> opened; /* upgraded */
        /* link 0: never upgraded; answered: it had HTTP answers, which are counted already. */
        std::function<void(std::uint64_t serial, LinkId, bool answered)> finished;
    };

    /* Who answers on the port. */
    struct Servers {
        Hub& hub;
        RestService& rest;
        HttpSession::Limits limits;
    };

    Connection(std::uint64_t serial, Port port, Socket socket,
               std::shared_ptr<boost::asio::ssl::context> context, const Servers& servers,
               const Events& events);

    void Start(std::chrono::milliseconds handshakeTimeout);
    /* Takes from the hub and writes until there is nothing left. Called once after each Wake. */
    void Pump();
    void WakeHeld() { m_http.WakeHeld(); }
    void Freeze(bool freeze) { Gate().Freeze(freeze); }
    void SetRate(std::size_t bytesPerSecond) { Gate().SetRate(bytesPerSecond); }
    void Finish(bool reset);

private:
    using WebSocket = boost::beast::websocket::stream<TlsStream, false>;
    using Request = HttpSession::Request;
    using Timer =
        boost::asio::basic_waitable_timer<std::chrono::steady_clock,
                                          boost::asio::wait_traits<std::chrono::steady_clock>, Executor>;

    GatedSocket& Gate() { return m_socket.next_layer().gate(); }
    std::shared_ptr<void> Self() override { return shared_from_this(); }
    void UpgradeRequested(Request request) override;
    void EndIn(std::chrono::milliseconds time) override;
    void End(bool reset) override { Finish(reset); }
    void Refuse(const UpgradeDecision& decision);
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
    HttpSession m_http; /* until the link is open */
    Timer m_deadline;   /* likewise */
    std::string m_peer;
    LinkId m_link = 0;
    bool m_finished = false;
    bool m_clientCloses = false;
    bool m_serverCloses = false;

    Request m_request; /* for the upgrade */
    std::vector<char> m_input;
    Outbound m_output;
    std::vector<Slice> m_slices; /* of m_output */
    std::size_t m_nextSlice = 0;
};

}  // namespace quor_simulator

#endif
