// connection.h - one WebSocket connection over TLS, without any STOMP: resolve, connect, verify, upgrade,
// then messages in both directions. The implementation (Boost.Beast) is hidden in connection.cpp, because it
// is slow to compile.
//
// Threads: everything, the owner's functions included, runs on the thread of the io_context; only Make is
// called elsewhere. Owner functions are never called from inside Make; OnEnd is the last one and comes
// exactly once, after Start, whatever happens.
#ifndef QUOR_PLATFORM_LINUX_WEBSOCKET_CONNECTION_H
#define QUOR_PLATFORM_LINUX_WEBSOCKET_CONNECTION_H

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "platform_linux/websocket/frame_record.h"
#include "platform_linux/websocket/tls_client.h"
#include "quor_platform_linux/host.h"

namespace boost::asio {
class io_context;
}

namespace quor_platform::internal {

class ConnectionOwner {
public:
    virtual ~ConnectionOwner() = default;
    // The server accepted the upgrade.
    virtual void OnOpen() = 0;
    // Payload bytes of a text or binary message in order; endOfMessage with its last ones. False: stop
    // reading until ResumeReading.
    virtual bool OnData(std::string_view bytes, bool endOfMessage) = 0;
    // A ping, pong or close arrived: the peer is alive.
    virtual void OnControl() = 0;
    // A message was written whole.
    virtual void OnWritten(std::size_t bytes) = 0;
    virtual void OnEnd(const Failure& failure) = 0;
};

struct ConnectionOptions {
    LinkTarget target;
    SslContext tls;
    bool verify = true;
    std::chrono::milliseconds connectTimeout{0};
    // From the TCP connection to HandshakeDone.
    std::chrono::milliseconds handshakeTimeout{0};
    // How long a connection that is ending, by a close frame or a failed write, may take to bring what it
    // still has to say.
    std::chrono::milliseconds lingerTimeout{0};
};

class Connection {
public:
    // The connection keeps owner alive until OnEnd. May throw std::bad_alloc or std::system_error.
    static std::shared_ptr<Connection> Make(boost::asio::io_context& io, ConnectionOptions options,
                                            std::shared_ptr<ConnectionOwner> owner);
    virtual ~Connection() = default;

    virtual void Start() = 0;
    // Ends the time limit of the handshake: the owner's own handshake succeeded too.
    virtual void HandshakeDone() = 0;
    // Queues one text message. The queue is the owner's to bound.
    virtual void Write(std::string message) = 0;
    virtual void Ping() = 0;
    virtual void ResumeReading() = 0;
    // Closes with 1000 once the queued messages are written, then ends.
    virtual void Close() = 0;
    // Drops the connection; OnEnd(failure) runs inside.
    virtual void Abort(const Failure& failure) = 0;
};

}  // namespace quor_platform::internal

#endif
