#include "https_client.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>
#include <optional>

namespace quor_test {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using ErrorCode = boost::system::error_code;
using Socket = asio::basic_stream_socket<asio::ip::tcp, asio::io_context::executor_type>;
using Tls = asio::ssl::stream<Socket>;

}  // namespace

std::string HttpReply::Header(const std::string& name) const {
    for (const auto& header : headers) {
        if (header.first == name) {
            return header.second;
        }
    }
    return {};
}

struct HttpsClient::Impl {
    asio::io_context io{1};
    asio::ssl::context context{asio::ssl::context::tls_client};
    std::optional<Tls> stream;
    beast::flat_buffer buffer;
    ErrorCode end; /* of the last operation that failed */

    /* Runs the operation that start begins; an error when the time is over, and then the socket is closed. */
    template <class Start>
    ErrorCode Run(Start start, std::chrono::milliseconds timeout) {
        bool done = false;
        ErrorCode result;
        start([&](ErrorCode code, auto...) {
            done = true;
            result = code;
        });
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        io.restart();
        while (!done && io.run_one_until(deadline) != 0) {
        }
        if (!done) {
            stream->next_layer().cancel();
            io.restart();
            io.run();
            result = asio::error::timed_out;
        }
        end = result ? result : end;
        return result;
    }
};

HttpsClient::HttpsClient() : m_impl(std::make_unique<Impl>()) {}

HttpsClient::~HttpsClient() {
    Abandon();
}

bool HttpsClient::Connect(std::uint16_t port, const std::string& caFile, const std::string& address,
                          const std::string& host) {
    Impl& impl = *m_impl;
    impl.context.set_verify_mode(asio::ssl::verify_peer);
    impl.context.load_verify_file(caFile, impl.end);
    impl.stream.emplace(impl.io.get_executor(), impl.context);
    impl.stream->next_layer().connect({asio::ip::make_address(address), port}, impl.end);
    if (impl.end) {
        return false;
    }
    impl.stream->next_layer().set_option(asio::ip::tcp::no_delay(true));
    impl.stream->set_verify_callback(asio::ssl::host_name_verification(host));
    return !impl.Run(
        [&](auto handler) { impl.stream->async_handshake(asio::ssl::stream_base::client, handler); },
        kPatience);
}

bool HttpsClient::Send(const std::string& bytes) {
    Impl& impl = *m_impl;
    return !impl.Run([&](auto handler) { asio::async_write(*impl.stream, asio::buffer(bytes), handler); },
                     kPatience);
}

HttpReply HttpsClient::Read(std::chrono::milliseconds timeout) {
    Impl& impl = *m_impl;
    http::response_parser<http::string_body> parser;
    parser.body_limit(boost::none);
    HttpReply reply;
    reply.whole = !impl.Run(
        [&](auto handler) { http::async_read(*impl.stream, impl.buffer, parser, handler); }, timeout);
    if (!parser.is_header_done()) {
        return reply;
    }
    reply.status = parser.get().result_int();
    for (const auto& field : parser.get()) {
        reply.headers.emplace_back(std::string(field.name_string()), std::string(field.value()));
    }
    reply.body = parser.get().body();
    return reply;
}

StreamEnd HttpsClient::WaitForEnd(std::chrono::milliseconds timeout) {
    Impl& impl = *m_impl;
    std::vector<char> waste(16384);
    ErrorCode code = impl.end; /* reading on after an end would wait for ever */
    while (!code || code == asio::error::timed_out) {
        code = impl.Run([&](auto handler) { impl.stream->async_read_some(asio::buffer(waste), handler); },
                        timeout);
        if (code == asio::error::timed_out) {
            return StreamEnd::kOpen;
        }
    }
    if (code == asio::error::eof || code == http::error::end_of_stream ||
        code == http::error::partial_message) {
        return StreamEnd::kOrderly;
    }
    return code == asio::ssl::error::stream_truncated ? StreamEnd::kCut : StreamEnd::kReset;
}

void HttpsClient::Abandon() {
    if (m_impl->stream) {
        ErrorCode ignored;
        m_impl->stream->next_layer().close(ignored);
    }
}

std::string HttpsClient::lastError() const {
    return m_impl->end.message();
}

}  // namespace quor_test
