#include "scripted_peer.h"

#include <poll.h>
#include <sys/socket.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/write.hpp>

#include <algorithm>
#include <cerrno>

namespace quor_test {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;

void PeerSession::AcceptTls() {
    m_webSocket.next_layer().handshake(asio::ssl::stream_base::server);
}

void PeerSession::ReadRequest() {
    http::read(m_webSocket.next_layer(), m_buffer, m_request);
}

void PeerSession::AcceptUpgrade() {
    m_webSocket.accept(m_request);
}

void PeerSession::RefuseUpgrade(unsigned int status) {
    http::response<http::string_body> response{static_cast<http::status>(status), 11};
    response.body() = "no";
    response.prepare_payload();
    http::write(m_webSocket.next_layer(), response);
}

void PeerSession::Upgrade() {
    AcceptTls();
    ReadRequest();
    AcceptUpgrade();
}

void PeerSession::Connect(const std::string& version, const std::string& heartBeat) {
    Upgrade();
    Read();
    Write("CONNECTED\nversion:" + version + "\nheart-beat:" + heartBeat + "\n\n" + std::string(1, '\0'));
}

std::string PeerSession::Read() {
    m_webSocket.read(m_buffer);
    std::string message = beast::buffers_to_string(m_buffer.data());
    m_buffer.consume(m_buffer.size());
    return message;
}

std::string PeerSession::ReadFrame() {
    for (;;) {
        std::string message = Read();
        if (message.find_first_not_of("\r\n") != std::string::npos) {
            return message;
        }
    }
}

void PeerSession::Write(std::string_view message) {
    m_webSocket.text(true);
    m_webSocket.write(asio::buffer(message));
}

void PeerSession::WriteBinary(std::string_view message) {
    m_webSocket.binary(true);
    m_webSocket.write(asio::buffer(message));
}

void PeerSession::WritePiece(std::string_view piece, bool last) {
    m_webSocket.text(true);
    m_webSocket.write_some(last, asio::buffer(piece));
}

void PeerSession::WriteRaw(const std::vector<unsigned char>& bytes) {
    asio::write(m_webSocket.next_layer(), asio::buffer(bytes));
}

void PeerSession::Close(std::uint16_t code, const std::string& reason) {
    beast::websocket::close_reason why;
    why.code = code;
    why.reason = reason;
    m_webSocket.close(why);
}

void PeerSession::Drop() {
    shutdown(NativeSocket(), SHUT_RDWR);
}

void PeerSession::Reset() {
    const linger now{1, 0};
    setsockopt(NativeSocket(), SOL_SOCKET, SO_LINGER, &now, sizeof now);
}

void PeerSession::WaitForEnd() {
    for (;;) {
        const std::string frame = Read();
        if (CommandOf(frame) == "DISCONNECT") {
            Write("RECEIPT\nreceipt-id:" + HeaderOf(frame, "receipt") + "\n\n" + std::string(1, '\0'));
        }
    }
}

void PeerSession::StaySilent() {
    pollfd client{NativeSocket(), POLLRDHUP, 0};
    while (poll(&client, 1, -1) == -1 && errno == EINTR) {
    }
}

ScriptedPeer::ScriptedPeer(const std::shared_ptr<SSL_CTX>& tls, Script script)
    : m_tls((SSL_CTX_up_ref(tls.get()), tls.get())),
      m_acceptor(m_io, asio::ip::tcp::endpoint(asio::ip::make_address("127.0.0.1"), 0)),
      m_port(m_acceptor.local_endpoint().port()),
      m_script(std::move(script)),
      m_thread([this] { Run(); }) {}

ScriptedPeer::~ScriptedPeer() {
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_stopping = true;
        for (const int socket : m_sockets) {
            shutdown(socket, SHUT_RDWR);
        }
    }
    shutdown(m_acceptor.native_handle(), SHUT_RDWR);
    m_thread.join();
    for (std::thread& session : m_sessions) {
        session.join();
    }
}

void ScriptedPeer::Run() {
    for (;;) {
        beast::error_code error;
        asio::ip::tcp::socket socket(m_io);
        m_acceptor.accept(socket, error);
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_stopping) {
            return;
        }
        if (!error) {
            m_sockets.push_back(socket.native_handle());
            m_sessions.emplace_back([this, moved = std::make_shared<asio::ip::tcp::socket>(
                                               std::move(socket))] { Serve(std::move(*moved)); });
        }
    }
}

void ScriptedPeer::Serve(asio::ip::tcp::socket socket) {
    const int native = socket.native_handle();
    PeerSession session(std::move(socket), m_tls);
    try {
        m_script(session);
    } catch (const boost::system::system_error&) {
        // the client went; tests look at the client's side
    }
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto own = std::find(m_sockets.begin(), m_sockets.end(), native);
    if (own != m_sockets.end()) {
        m_sockets.erase(own);
    }
}

std::string CommandOf(const std::string& frame) {
    return frame.substr(0, frame.find('\n'));
}

std::string HeaderOf(const std::string& frame, const std::string& name) {
    const std::string head = frame.substr(0, frame.find("\n\n") + 1);
    const std::string key = "\n" + name + ":";
    const std::size_t at = head.find(key);
    if (at == std::string::npos) {
        return {};
    }
    const std::size_t from = at + key.size();
    return head.substr(from, head.find('\n', from) - from);
}

std::string BodyOf(const std::string& frame) {
    const std::size_t from = frame.find("\n\n") + 2;
    return frame.substr(from, frame.size() - from - 1);
}

std::string MessageFrame(const std::string& destination, const std::string& body,
                         const std::string& moreHeaders) {
    return "MESSAGE\ndestination:" + destination + "\nmessage-id:1\nsubscription:s\n" + moreHeaders + "\n" +
           body + std::string(1, '\0');
}

}  // namespace quor_test
