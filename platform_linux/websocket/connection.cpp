#include "platform_linux/websocket/connection.h"

#include <openssl/err.h>

#include <boost/asio/basic_stream_socket.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/error.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/websocket/ssl.hpp>
#include <boost/beast/websocket/stream.hpp>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <deque>
#include <utility>
#include <vector>

#include "platform_linux/websocket/resolver.h"

namespace quor_platform::internal {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace websocket = boost::beast::websocket;
using ErrorCode = boost::system::error_code;
using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::milliseconds;

// Concrete executor types and no deflate: half the compile time of the type-erased defaults.
using Executor = asio::io_context::executor_type;
using TcpSocket = asio::basic_stream_socket<asio::ip::tcp, Executor>;
using TlsStream = asio::ssl::stream<TcpSocket>;
using WebSocketStream = websocket::stream<TlsStream, false>;
using Timer = asio::basic_waitable_timer<Clock, asio::wait_traits<Clock>, Executor>;

constexpr std::size_t kReadBytes = 64U << 10U;
constexpr std::size_t kWriteBytes = 16U << 10U;  // Beast masks a message in pieces of this size
constexpr std::uint16_t kHttpsPort = 443;
constexpr int kMaxReasonCharacters = 123;  // of a close frame (RFC 6455 section 5.5)

asio::ssl::context AdoptContext(const SslContext& context) {
    SSL_CTX_up_ref(context.get());
    return asio::ssl::context(context.get());
}

// Host and port as a Host header has them.
std::string HostHeader(const LinkTarget& target) {
    std::string host = target.host.find(':') == std::string::npos ? target.host : "[" + target.host + "]";
    return target.port == kHttpsPort ? host : host + ":" + std::to_string(target.port);
}

// Text from the network on one line of visible characters.
std::string OneLine(std::string_view text) {
    std::string line(text.substr(0, kMaxReasonCharacters));
    std::replace_if(
        line.begin(), line.end(), [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; },
        ' ');
    return line;
}

Failure TimeoutFailure(Stage stage, std::string text) {
    Failure failure;
    failure.stage = stage;
    failure.systemError = ETIMEDOUT;
    failure.text = std::move(text);
    return failure;
}

// The reason behind an error of an established stream or of one that is being established.
Failure DescribeError(Stage stage, const ErrorCode& error, const std::string& what) {
    Failure failure;
    failure.stage = stage;
    if (error == asio::ssl::error::stream_truncated || error == asio::error::eof) {
        failure.text = what + ": the server closed the connection without a close frame";
        return failure;
    }
    if (error.category() == asio::error::get_ssl_category()) {
        failure.tlsError = static_cast<unsigned long>(error.value());
    } else if (error.category() == boost::system::system_category()) {
        failure.systemError = error.value();
    }
    failure.text = what + ": " + error.message();
    return failure;
}

class BeastConnection final : public Connection, public std::enable_shared_from_this<BeastConnection> {
public:
    BeastConnection(asio::io_context& io, ConnectionOptions options, std::shared_ptr<ConnectionOwner> owner)
        : m_options(std::move(options)),
          m_owner(std::move(owner)),
          m_tlsContext(AdoptContext(m_options.tls)),
          m_stream(io.get_executor(), m_tlsContext),
          m_deadline(io.get_executor()),
          m_io(io) {}

    ~BeastConnection() override { WipeCredentials(); }
    BeastConnection(const BeastConnection&) = delete;
    BeastConnection& operator=(const BeastConnection&) = delete;

    void Start() override;
    void HandshakeDone() override;
    void Write(std::string message) override;
    void Ping() override;
    void ResumeReading() override;
    void Close() override;
    void Abort(const Failure& failure) override { Finish(failure); }

private:
    void OnResolved(ResolvedHost result);
    void ConnectNext();
    void OnConnected(const ErrorCode& error);
    void StartTls();
    void OnTls(const ErrorCode& error);
    void StartUpgrade();
    void OnUpgrade(const ErrorCode& error);
    void Read();
    void OnRead(const ErrorCode& error, std::size_t bytes);
    void OnControlFrame(websocket::frame_type type);
    void WriteNext();
    void OnWrite(const ErrorCode& error);
    void CloseNow();
    Failure CloseFailure() const;

    void ArmDeadline(Milliseconds after, void (BeastConnection::*action)());
    void DisarmDeadline();
    void OnHandshakeTimeout();
    void OnLingerTimeout();
    void Finish(const Failure& failure);
    void WipeCredentials();
    TcpSocket& Socket() { return m_stream.next_layer().next_layer(); }
    SSL* NativeTls() { return m_stream.next_layer().native_handle(); }
    std::string Name() const { return m_options.target.host + ":" + std::to_string(m_options.target.port); }

    ConnectionOptions m_options;
    std::shared_ptr<ConnectionOwner> m_owner;  // null once the connection ended
    asio::ssl::context m_tlsContext;
    WebSocketStream m_stream;
    Timer m_deadline;
    std::uint64_t m_deadlineNumber = 0;  // an expiry that carries an older number is ignored
    asio::io_context& m_io;

    Stage m_stage = Stage::kResolve;
    std::shared_ptr<Lookup> m_lookup;
    std::vector<sockaddr_storage> m_addresses;
    std::size_t m_nextAddress = 0;
    Clock::time_point m_connectUntil;
    ErrorCode m_connectError;
    websocket::response_type m_response;

    std::vector<char> m_input;
    bool m_reading = false;
    bool m_closeReceived = false;
    std::deque<std::string> m_output;  // front is being written
    bool m_writing = false;
    bool m_pinging = false;
    bool m_closeWanted = false;
    bool m_closing = false;
    Failure m_lingerReason;  // what ends the connection unless the peer gives a better reason first
};

// ---- Establishing

void BeastConnection::Start() {
    const LinkTarget& target = m_options.target;
    ResolvedHost numeric;
    if (ResolveNumeric(target.host, target.port, &numeric)) {
        OnResolved(std::move(numeric));
        return;
    }
    std::string error;
    // The lookup's thread holds no reference: a connection that died there would die after its io_context.
    // While done can run, this connection has not ended, so the io_context lives.
    m_lookup = Lookup::Start(
        target.host, target.port,
        [weak = weak_from_this(), &io = m_io](ResolvedHost result) {
            asio::post(io, [weak, result = std::move(result)]() mutable {
                if (const auto self = weak.lock()) {
                    self->OnResolved(std::move(result));
                }
            });
        },
        &error);
    if (m_lookup == nullptr) {
        Failure failure;
        failure.stage = Stage::kResolve;
        failure.text = "cannot look up " + target.host + ": " + error;
        Finish(failure);
        return;
    }
    ArmDeadline(m_options.connectTimeout, &BeastConnection::OnHandshakeTimeout);
}

void BeastConnection::OnResolved(ResolvedHost result) {
    if (m_owner == nullptr || m_stage != Stage::kResolve) {
        return;
    }
    m_lookup.reset();
    if (result.addresses.empty()) {
        Failure failure;
        failure.stage = Stage::kResolve;
        failure.systemError = result.systemError;
        failure.text = "cannot look up " + m_options.target.host + ": " + result.text;
        Finish(failure);
        return;
    }
    m_stage = Stage::kConnect;
    m_addresses = std::move(result.addresses);
    m_connectUntil = Clock::now() + m_options.connectTimeout;
    ConnectNext();
}

// Each address gets an equal share of the time that is left, so that one that swallows packets leaves time
// for the others.
void BeastConnection::ConnectNext() {
    const auto left = std::chrono::duration_cast<Milliseconds>(m_connectUntil - Clock::now());
    if (m_nextAddress == m_addresses.size() || left.count() <= 0) {
        DisarmDeadline();
        Finish(DescribeError(Stage::kConnect, m_connectError ? m_connectError : asio::error::timed_out,
                             "cannot connect to " + Name()));
        return;
    }
    ArmDeadline(left / static_cast<int>(m_addresses.size() - m_nextAddress),
                &BeastConnection::OnHandshakeTimeout);
    asio::ip::tcp::endpoint endpoint;
    const sockaddr_storage& address = m_addresses[m_nextAddress++];
    endpoint.resize(address.ss_family == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in));
    std::memcpy(endpoint.data(), &address, endpoint.size());
    ErrorCode ignored;
    Socket().close(ignored);
    Socket().async_connect(endpoint,
                           [self = shared_from_this()](const ErrorCode& error) { self->OnConnected(error); });
}

void BeastConnection::OnConnected(const ErrorCode& error) {
    if (m_owner == nullptr) {
        return;
    }
    if (error || !Socket().is_open()) {  // closed: the address had its time
        m_connectError = error && error != asio::error::operation_aborted ? error : asio::error::timed_out;
        ConnectNext();
        return;
    }
    ErrorCode ignored;
    Socket().set_option(asio::ip::tcp::no_delay(true), ignored);
    ArmDeadline(m_options.handshakeTimeout, &BeastConnection::OnHandshakeTimeout);
    StartTls();
}

void BeastConnection::StartTls() {
    m_stage = Stage::kTls;
    if (!PrepareClient(NativeTls(), m_options.target.host, m_options.verify)) {
        Failure failure;
        failure.stage = Stage::kTls;
        failure.text = "TLS cannot use the host name " + m_options.target.host;
        Finish(failure);
        return;
    }
    m_stream.next_layer().async_handshake(
        asio::ssl::stream_base::client,
        [self = shared_from_this()](const ErrorCode& error) { self->OnTls(error); });
}

void BeastConnection::OnTls(const ErrorCode& error) {
    if (m_owner == nullptr) {
        return;
    }
    if (error) {
        const bool tls = error.category() == asio::error::get_ssl_category();
        Failure failure =
            DescribeTlsFailure(NativeTls(), m_options.target.host,
                               tls ? static_cast<unsigned long>(error.value()) : 0, error.message());
        failure.systemError = error.category() == boost::system::system_category() ? error.value() : 0;
        Finish(failure);
        return;
    }
    StartUpgrade();
}

void BeastConnection::StartUpgrade() {
    m_stage = Stage::kUpgrade;
    m_stream.set_option(websocket::stream_base::decorator([this](websocket::request_type& request) {
        request.set(beast::http::field::user_agent, "quor-platform-linux");
        request.set(beast::http::field::sec_websocket_protocol, "v12.stomp, v11.stomp");
        if (!m_options.target.authorization.empty()) {
            request.set(beast::http::field::authorization, m_options.target.authorization);
        }
    }));
    m_stream.control_callback(
        [this](websocket::frame_type type, beast::string_view) { OnControlFrame(type); });
    m_stream.text(true);
    m_stream.auto_fragment(false);
    m_stream.write_buffer_bytes(kWriteBytes);
    m_stream.read_message_max(0);  // many frames may share one message; the owner bounds a frame
    m_stream.async_handshake(m_response, HostHeader(m_options.target), m_options.target.path,
                             [self = shared_from_this()](const ErrorCode& error) { self->OnUpgrade(error); });
}

void BeastConnection::OnUpgrade(const ErrorCode& error) {
    WipeCredentials();
    if (m_owner == nullptr) {
        return;
    }
    if (error) {
        Failure failure = DescribeError(Stage::kUpgrade, error, "the upgrade to WebSocket failed");
        if (error == websocket::error::upgrade_declined) {
            failure.httpStatus = static_cast<int>(m_response.result_int());
            failure.text = "the server refused the upgrade to WebSocket with HTTP status " +
                           std::to_string(failure.httpStatus) + " " + OneLine(m_response.reason());
        }
        Finish(failure);
        return;
    }
    m_response = {};
    m_stage = Stage::kStomp;
    m_input.resize(kReadBytes);
    const auto owner = m_owner;  // stays while it runs, also when it aborts
    owner->OnOpen();
    Read();
}

void BeastConnection::HandshakeDone() {
    if (m_lingerReason.stage == Stage::kNone) {
        DisarmDeadline();
    }
}

// ---- Reading

void BeastConnection::Read() {
    if (m_owner == nullptr || m_reading) {
        return;
    }
    m_reading = true;
    m_stream.async_read_some(asio::buffer(m_input),
                             [self = shared_from_this()](const ErrorCode& error, std::size_t bytes) {
                                 self->OnRead(error, bytes);
                             });
}

void BeastConnection::OnRead(const ErrorCode& error, std::size_t bytes) {
    m_reading = false;
    if (m_owner == nullptr) {
        return;
    }
    if (error) {
        if (m_closeReceived) {
            Finish(CloseFailure());
        } else {
            Finish(m_lingerReason.stage != Stage::kNone
                       ? m_lingerReason
                       : DescribeError(Stage::kTransfer, error, "the link broke"));
        }
        return;
    }
    const auto owner = m_owner;
    const bool goOn = owner->OnData(std::string_view(m_input.data(), bytes), m_stream.is_message_done());
    if (goOn) {
        Read();
    }
}

void BeastConnection::ResumeReading() {
    Read();
}

void BeastConnection::OnControlFrame(websocket::frame_type type) {
    if (m_owner == nullptr) {
        return;
    }
    const auto owner = m_owner;
    owner->OnControl();
    if (type == websocket::frame_type::close && m_owner != nullptr) {
        // Beast answers it and then waits for the end of TLS and TCP, which a sloppy server never sends.
        m_closeReceived = true;
        m_lingerReason = CloseFailure();
        ArmDeadline(m_options.lingerTimeout, &BeastConnection::OnLingerTimeout);
    }
}

Failure BeastConnection::CloseFailure() const {
    const websocket::close_reason& reason = m_stream.reason();
    Failure failure;
    failure.stage = Stage::kTransfer;
    failure.closeCode = reason.code;
    failure.text = reason.code == websocket::close_code::none
                       ? "the server closed the link without a code"
                       : "the server closed the link with code " + std::to_string(reason.code);
    if (!reason.reason.empty()) {
        failure.text += ": " + OneLine(std::string_view(reason.reason.data(), reason.reason.size()));
    }
    return failure;
}

// ---- Writing

void BeastConnection::Write(std::string message) {
    if (m_owner == nullptr || m_closing || m_lingerReason.stage != Stage::kNone) {
        return;
    }
    m_output.push_back(std::move(message));
    WriteNext();
}

void BeastConnection::WriteNext() {
    if (m_writing || m_owner == nullptr) {
        return;
    }
    if (m_output.empty()) {
        if (m_closeWanted) {
            CloseNow();
        }
        return;
    }
    m_writing = true;
    m_stream.async_write(
        asio::buffer(m_output.front()),
        [self = shared_from_this()](const ErrorCode& error, std::size_t) { self->OnWrite(error); });
}

void BeastConnection::OnWrite(const ErrorCode& error) {
    m_writing = false;
    if (m_owner == nullptr) {
        return;
    }
    if (error) {
        // What the server said before it went, an ERROR frame or a close code, is worth more than a broken
        // pipe.
        m_output.clear();
        if (m_lingerReason.stage == Stage::kNone) {
            m_lingerReason = DescribeError(Stage::kTransfer, error, "the link broke");
            ArmDeadline(m_options.lingerTimeout, &BeastConnection::OnLingerTimeout);
        }
        return;
    }
    const std::size_t bytes = m_output.front().size();
    m_output.pop_front();
    const auto owner = m_owner;
    owner->OnWritten(bytes);
    WriteNext();
}

void BeastConnection::Ping() {
    if (m_owner == nullptr || m_pinging || m_closing) {
        return;
    }
    m_pinging = true;
    m_stream.async_ping({}, [self = shared_from_this()](const ErrorCode&) { self->m_pinging = false; });
}

void BeastConnection::Close() {
    m_closeWanted = true;
    WriteNext();
}

void BeastConnection::CloseNow() {
    if (m_closing) {
        return;
    }
    m_closing = true;
    m_stream.async_close(websocket::close_code::normal, [self = shared_from_this()](const ErrorCode&) {
        if (self->m_owner != nullptr) {
            Failure failure;
            failure.stage = Stage::kTransfer;
            failure.closeCode = websocket::close_code::normal;
            failure.text = "the link was closed";
            self->Finish(failure);
        }
    });
}

// ---- Time limits and the end

void BeastConnection::ArmDeadline(Milliseconds after, void (BeastConnection::*action)()) {
    const std::uint64_t number = ++m_deadlineNumber;
    m_deadline.expires_after(after);
    m_deadline.async_wait([self = shared_from_this(), number, action](const ErrorCode& error) {
        if (!error && number == self->m_deadlineNumber && self->m_owner != nullptr) {
            (self.get()->*action)();
        }
    });
}

void BeastConnection::DisarmDeadline() {
    ++m_deadlineNumber;
    m_deadline.cancel();
}

void BeastConnection::OnHandshakeTimeout() {
    ErrorCode ignored;
    switch (m_stage) {
        case Stage::kResolve:
            Finish(TimeoutFailure(Stage::kResolve, "looking up " + m_options.target.host + " took too long"));
            break;
        case Stage::kConnect:
            Socket().close(ignored);  // OnConnected goes on with the next address
            break;
        case Stage::kTls:
            Finish(TimeoutFailure(Stage::kTls, Name() + " did not finish the TLS handshake in time"));
            break;
        case Stage::kUpgrade:
            Finish(TimeoutFailure(Stage::kUpgrade, Name() + " did not answer the upgrade request in time"));
            break;
        default:
            Finish(TimeoutFailure(Stage::kStomp, Name() + " did not answer the STOMP CONNECT in time"));
    }
}

void BeastConnection::OnLingerTimeout() {
    Finish(m_lingerReason);
}

void BeastConnection::Finish(const Failure& failure) {
    if (m_owner == nullptr) {
        return;
    }
    const std::shared_ptr<ConnectionOwner> owner = std::move(m_owner);
    m_owner = nullptr;
    DisarmDeadline();
    if (m_lookup != nullptr) {
        m_lookup->Abandon();
        m_lookup.reset();
    }
    WipeCredentials();
    ErrorCode ignored;
    Socket().close(ignored);  // every operation that is under way ends
    owner->OnEnd(failure);
}

// Beast keeps its own copy of the request until it is written; what this object holds is cleared.
void BeastConnection::WipeCredentials() {
    internal::WipeCredentials(m_options.target);
}

}  // namespace

std::shared_ptr<Connection> Connection::Make(asio::io_context& io, ConnectionOptions options,
                                             std::shared_ptr<ConnectionOwner> owner) {
    return std::make_shared<BeastConnection>(io, std::move(options), std::move(owner));
}

}  // namespace quor_platform::internal
