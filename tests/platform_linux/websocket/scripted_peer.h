// scripted_peer.h - a WebSocket server over TLS whose behaviour a test writes down as a function. It shares
// no code with the client: Beast's server side and plain text.
#ifndef QUOR_TESTS_PLATFORM_LINUX_SCRIPTED_PEER_H
#define QUOR_TESTS_PLATFORM_LINUX_SCRIPTED_PEER_H

#include <openssl/ssl.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/websocket/ssl.hpp>
#include <boost/beast/websocket/stream.hpp>

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace quor_test {

// One accepted connection, on a thread of its own. Operations throw boost::system::system_error when the
// connection ends, which ends the script without a failure.
class PeerSession {
public:
    using Tls = boost::asio::ssl::stream<boost::asio::ip::tcp::socket>;
    using WebSocket = boost::beast::websocket::stream<Tls, false>;

    PeerSession(boost::asio::ip::tcp::socket socket, boost::asio::ssl::context& tls)
        : m_webSocket(std::move(socket), tls) {}

    void AcceptTls();
    void ReadRequest();                       // the upgrade request into Request()
    void AcceptUpgrade();                     // answers it with 101
    void RefuseUpgrade(unsigned int status);  // answers it with another status
    void Upgrade();                           // the three above
    // Upgrade, CONNECT and CONNECTED.
    void Connect(const std::string& version = "1.2", const std::string& heartBeat = "0,0");

    std::string Read();  // one message, whatever it holds
    // One frame; heart-beats are passed over. A frame and a message are the same for what this client sends.
    std::string ReadFrame();
    void Write(std::string_view message);
    void WriteBinary(std::string_view message);
    void WritePiece(std::string_view piece, bool last);      // a fragment of a message
    void WriteRaw(const std::vector<unsigned char>& bytes);  // below WebSocket, over TLS
    void Close(std::uint16_t code, const std::string& reason = {});
    void Drop();        // ends TCP without a word
    void Reset();       // makes the end of the script a TCP reset
    void WaitForEnd();  // reads until the client goes; a DISCONNECT gets its receipt
    void StaySilent();  // reads nothing, answers nothing, until the client is gone

    const boost::beast::http::request<boost::beast::http::string_body>& Request() const { return m_request; }
    WebSocket& Stream() { return m_webSocket; }
    int NativeSocket() { return m_webSocket.next_layer().next_layer().native_handle(); }

private:
    WebSocket m_webSocket;
    boost::beast::flat_buffer m_buffer;
    boost::beast::http::request<boost::beast::http::string_body> m_request;
};

class ScriptedPeer {
public:
    using Script = std::function<void(PeerSession&)>;

    // Listens on a free port of 127.0.0.1 and runs script for each connection.
    ScriptedPeer(const std::shared_ptr<SSL_CTX>& tls, Script script);
    // Ends what still runs.
    ~ScriptedPeer();
    ScriptedPeer(const ScriptedPeer&) = delete;
    ScriptedPeer& operator=(const ScriptedPeer&) = delete;

    unsigned int Port() const { return m_port; }

private:
    void Run();
    void Serve(boost::asio::ip::tcp::socket socket);

    boost::asio::io_context m_io;
    boost::asio::ssl::context m_tls;
    boost::asio::ip::tcp::acceptor m_acceptor;
    unsigned int m_port = 0;
    Script m_script;
    std::mutex m_mutex;
    bool m_stopping = false;
    std::vector<int> m_sockets;  // of running sessions
    std::vector<std::thread> m_sessions;
    std::thread m_thread;
};

// "SUBSCRIBE", and a header's value, of a frame text.
std::string CommandOf(const std::string& frame);
std::string HeaderOf(const std::string& frame, const std::string& name);
std::string BodyOf(const std::string& frame);
// A MESSAGE frame with its NUL.
std::string MessageFrame(const std::string& destination, const std::string& body,
                         const std::string& moreHeaders = "");

}  // namespace quor_test

#endif
