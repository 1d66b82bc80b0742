#include "raw_client.h"

#include <algorithm>
#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket.hpp>
#include <boost/beast/websocket/ssl.hpp>
#include <iterator>
#include <sstream>

namespace quor_test {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
namespace websocket = boost::beast::websocket;
using ErrorCode = boost::system::error_code;
using Socket = asio::basic_stream_socket<asio::ip::tcp, asio::io_context::executor_type>;
using Tls = asio::ssl::stream<Socket>;
using WebSocket = websocket::stream<Tls, false>;

/* Header values stay as they are on the wire; a frame without an empty line has no body. */
StompFrame ParseFrame(const std::string& text) {
    StompFrame frame;
    std::istringstream stream(text);
    std::getline(stream, frame.command);
    std::string line;
    while (std::getline(stream, line) && !line.empty() && line != "\r") {
        const std::size_t colon = std::min(line.find(':'), line.size());
        frame.headers.emplace_back(line.substr(0, colon), line.substr(std::min(colon + 1, line.size())));
    }
    frame.body.assign(std::istreambuf_iterator<char>(stream), {});
    return frame;
}

}  // namespace

std::string StompFrame::Header(const std::string& name) const {
    for (const auto& header : headers) {
        if (header.first == name) {
            return header.second;
        }
    }
    return {};
}

struct RawClient::Impl {
    asio::io_context io{1};
    asio::ssl::context context{asio::ssl::context::tls_client};
    std::optional<WebSocket> socket;
    beast::flat_buffer buffer;
    bool reading = false; /* a read that ran into a timeout goes on with the next call */
    bool readDone = false;
    bool ended = false;
    bool binary = false;
    ErrorCode readError;
    std::string pending; /* bytes of frames not read yet */
    std::size_t heartBeats = 0;
    std::string error;

    bool Record(ErrorCode code) {
        if (code) {
            error = code.message();
        }
        return !code;
    }

    /* Runs the operation that start begins; false on error or when the time is over. */
    template <class Start>
    bool Run(Start start) {
        bool done = false;
        ErrorCode result;
        start([&](ErrorCode code, auto...) {
            done = true;
            result = code;
        });
        RunUntil(done, kPatience);
        if (!done) {
            beast::get_lowest_layer(*socket).close();
            io.restart();
            io.run();
            error = "timeout";
            return false;
        }
        return Record(result);
    }

    void RunUntil(const bool& done, std::chrono::milliseconds timeout) {
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        io.restart();
        while (!done && io.run_one_until(deadline) != 0) {
        }
    }
};

RawClient::RawClient() : m_impl(std::make_unique<Impl>()) {}

RawClient::~RawClient() {
    Abandon();
}

ConnectResult RawClient::Connect(std::uint16_t port, const std::string& caFile,
                                 const ConnectOptions& options) {
    if (!ConnectTls(port, caFile, options.host)) {
        ConnectResult result;
        result.error = m_impl->error;
        return result;
    }
    return options.upgrade ? Upgrade(options) : Get(options);
}

bool RawClient::ConnectTls(std::uint16_t port, const std::string& caFile, const std::string& host) {
    Impl& impl = *m_impl;
    ErrorCode code;
    impl.context.set_verify_mode(asio::ssl::verify_peer);
    impl.context.load_verify_file(caFile, code);
    impl.socket.emplace(impl.io.get_executor(), impl.context);
    Socket& tcp = impl.socket->next_layer().next_layer();
    tcp.connect({asio::ip::make_address("127.0.0.1"), port}, code);
    if (!impl.Record(code)) {
        return false;
    }
    tcp.set_option(asio::ip::tcp::no_delay(true));
    impl.socket->next_layer().set_verify_callback(asio::ssl::host_name_verification(host));
    return impl.Run([&](auto handler) {
        impl.socket->next_layer().async_handshake(asio::ssl::stream_base::client, handler);
    });
}

ConnectResult RawClient::Get(const ConnectOptions& options) {
    Impl& impl = *m_impl;
    http::request<http::empty_body> request(http::verb::get, options.path, 11);
    request.set(http::field::host, options.host);
    http::response<http::string_body> response;
    Tls& tls = impl.socket->next_layer();
    ConnectResult result;
    impl.Run([&](auto handler) { http::async_write(tls, request, handler); });
    impl.Run([&](auto handler) { http::async_read(tls, impl.buffer, response, handler); });
    result.status = response.result_int();
    return result;
}

ConnectResult RawClient::Upgrade(const ConnectOptions& options) {
    Impl& impl = *m_impl;
    ConnectResult result;
    impl.socket->set_option(websocket::stream_base::decorator([&](websocket::request_type& request) {
        if (options.authorization) {
            request.set(http::field::authorization, *options.authorization);
        }
        if (!options.protocols.empty()) {
            request.set(http::field::sec_websocket_protocol, options.protocols);
        }
    }));
    websocket::response_type response;
    result.ok = impl.Run(
        [&](auto handler) { impl.socket->async_handshake(response, options.host, options.path, handler); });
    result.error = result.ok ? std::string() : impl.error;
    result.status = response.result_int();
    result.protocol = std::string(response[http::field::sec_websocket_protocol]);
    result.challenge = std::string(response[http::field::www_authenticate]);
    impl.socket->auto_fragment(false);
    return result;
}

bool RawClient::ConnectStomp(std::uint16_t port, const std::string& caFile, const std::string& connect) {
    if (!Connect(port, caFile).ok || !SendFrame(connect)) {
        return false;
    }
    const std::optional<StompFrame> answer = ReadFrame();
    return answer && answer->command == "CONNECTED";
}

bool RawClient::SendFrame(const std::string& text) {
    return SendRaw(text + '\0');
}

bool RawClient::SendRaw(const std::string& bytes, bool binary) {
    Impl& impl = *m_impl;
    impl.socket->binary(binary);
    return impl.Run([&](auto handler) { impl.socket->async_write(asio::buffer(bytes), handler); });
}

std::optional<std::string> RawClient::ReadMessage(std::chrono::milliseconds timeout) {
    Impl& impl = *m_impl;
    if (impl.ended || !impl.socket) {
        return std::nullopt;
    }
    if (!impl.reading) {
        impl.reading = true;
        impl.readDone = false;
        impl.socket->async_read(impl.buffer, [&impl](ErrorCode code, std::size_t) {
            impl.readDone = true;
            impl.readError = code;
        });
    }
    impl.RunUntil(impl.readDone, timeout);
    if (!impl.readDone) {
        return std::nullopt;
    }
    impl.reading = false;
    if (!impl.Record(impl.readError)) {
        impl.ended = true;
        return std::nullopt;
    }
    impl.binary = impl.socket->got_binary();
    std::string message = beast::buffers_to_string(impl.buffer.data());
    impl.buffer.clear();
    return message;
}

std::optional<StompFrame> RawClient::ReadFrame(std::chrono::milliseconds timeout) {
    Impl& impl = *m_impl;
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        while (!impl.pending.empty() && impl.pending.front() == '\n') {
            impl.pending.erase(0, 1);
            ++impl.heartBeats;
        }
        const std::size_t end = impl.pending.find('\0');
        if (end != std::string::npos) {
            StompFrame frame = ParseFrame(impl.pending.substr(0, end));
            impl.pending.erase(0, end + 1);
            return frame;
        }
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        const std::optional<std::string> message = ReadMessage(std::max(left, std::chrono::milliseconds(0)));
        if (!message) {
            return std::nullopt;
        }
        impl.pending += *message;
    }
}

bool RawClient::WaitForEnd(std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!m_impl->ended && std::chrono::steady_clock::now() < deadline) {
        ReadMessage(
            std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now()));
    }
    return m_impl->ended;
}

bool RawClient::Close() {
    Impl& impl = *m_impl;
    const bool closed =
        impl.Run([&](auto handler) { impl.socket->async_close(websocket::close_code::normal, handler); });
    impl.ended = true;
    return closed;
}

void RawClient::Abandon() {
    if (m_impl->socket) {
        ErrorCode ignored;
        beast::get_lowest_layer(*m_impl->socket).close(ignored);
        m_impl->io.restart();
        m_impl->io.run();
        m_impl->ended = true;
    }
}

std::size_t RawClient::heartBeats() const {
    return m_impl->heartBeats;
}

bool RawClient::lastWasBinary() const {
    return m_impl->binary;
}

std::optional<std::uint16_t> RawClient::closeCode() const {
    if (!m_impl->socket || m_impl->socket->reason().code == websocket::close_code::none) {
        return std::nullopt;
    }
    return static_cast<std::uint16_t>(m_impl->socket->reason().code);
}

std::string RawClient::lastError() const {
    return m_impl->error;
}

}  // namespace quor_test
