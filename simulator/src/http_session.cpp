#include "http_session.h"

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/websocket/rfc6455.hpp>
#include <utility>

#include "upgrade.h"

namespace quor_simulator {
namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;

constexpr std::uint32_t kMaxHeadBytes = 16U << 10;
constexpr std::size_t kReadPieceBytes = 32U << 10;
/* What a client may send ahead while its answer is delayed or held. */
constexpr std::size_t kMaxAheadBytes = 256U << 10;
/* For the client to end a connection that this side has ended. */
constexpr std::chrono::milliseconds kEndPatience{5000};

bool IsForWebSocket(const HttpSession::Request& request) {
    const std::string_view target(request.target().data(), request.target().size());
    return target.substr(0, target.find('?')) == kWebSocketPath ||
           boost::beast::websocket::is_upgrade(request);
}

HttpRequest Plain(HttpSession::Request request, const HttpSession::Origin& origin) {
    HttpRequest plain;
    plain.method = std::string(request.method_string());
    plain.target = std::string(request.target());
    plain.connection = origin.connection;
    plain.port = origin.port;
    for (const auto& field : request) {
        plain.headers.emplace_back(std::string(field.name_string()), std::string(field.value()));
    }
    plain.body = std::move(request.body());
    return plain;
}

}  // namespace

HttpSession::HttpSession(TlsStream& stream, RestService& service, Owner& owner, Origin origin, Limits limits)
    : m_stream(stream),
      m_service(service),
      m_owner(owner),
      m_origin(origin),
      m_limits(limits),
      m_pause(stream.get_executor()) {}

void HttpSession::BeginRequest() {
    m_state = State::kReading;
    m_continued = false;
    m_parser.emplace();
    m_parser->header_limit(kMaxHeadBytes);
    m_parser->body_limit(std::max(m_limits.bodyBytes, m_limits.pictureBytes)); /* see LimitBody */
    if (m_answered) {
        m_owner.EndIn(m_limits.patience);
    }
    Parse();
}

/* A read that was begun during a pause serves the request after it. */
void HttpSession::Read() {
    if (m_reading) {
        return;
    }
    m_reading = true;
    m_stream.async_read_some(
        m_buffer.prepare(kReadPieceBytes),
        [this, self = m_owner.Self()](ErrorCode error, std::size_t count) { ReadDone(error, count); });
}

void HttpSession::ReadDone(ErrorCode error, std::size_t count) {
    m_reading = false;
    if (m_state == State::kStopped || m_state == State::kDraining) {
        return;
    }
    m_buffer.commit(count);
    if (error) {
        m_owner.End(false);
    } else if (m_state == State::kReading) {
        Parse();
    } else if (m_state == State::kPaused && m_buffer.size() < kMaxAheadBytes) {
        Read();
    }
}

void HttpSession::Parse() {
    while (m_buffer.size() > 0 && !m_parser->is_done()) {
        ErrorCode error;
        const bool inBody = m_parser->is_header_done();
        const std::size_t used = m_parser->put(m_buffer.data(), error);
        m_buffer.consume(used);
        if (!error && !inBody && m_parser->is_header_done() && !LimitBody()) {
            error = http::error::body_limit;
        }
        if (error && error != http::error::need_more) {
            Refuse(error);
            return;
        }
        if (error || used == 0) {
            break;
        }
    }
    if (m_parser->is_done()) {
        Handle();
    } else if (WantsContinue()) {
        m_continued = true;
        Send("HTTP/1.1 100 Continue\r\n\r\n", &HttpSession::Continue);
    } else {
        Read();
    }
}

/* Once it is known from the head which limit counts. false: the body is announced to be longer. */
bool HttpSession::LimitBody() {
    const Request& request = m_parser->get();
    const std::string_view method(request.method_string().data(), request.method_string().size());
    const std::string_view target(request.target().data(), request.target().size());
    const std::size_t limit =
        m_service.CarriesPicture(method, target) ? m_limits.pictureBytes : m_limits.bodyBytes;
    if (!m_parser->is_done()) {
        m_parser->body_limit(limit);
    }
    return m_parser->content_length().value_or(0) <= limit;
}

bool HttpSession::WantsContinue() {
    return !m_continued && m_parser->is_header_done() &&
           boost::beast::iequals(m_parser->get()[http::field::expect], "100-continue");
}

void HttpSession::Continue() {
    m_state = State::kReading;
    Parse();
}

/* What follows cannot be told from the body any more: the connection ends. */
void HttpSession::Refuse(ErrorCode error) {
    if (error == http::error::header_limit) {
        RefuseWith(431, "the head is too long\n");
    } else if (error == http::error::body_limit) {
        RefuseWith(413, "the body is too long\n");
    } else {
        RefuseWith(400, error.message() + "\n");
    }
}

void HttpSession::RefuseWith(unsigned int status, std::string text) {
    m_service.CountMalformed();
    PlannedAnswer plan;
    plan.answer = PlainAnswer(status, std::move(text));
    plan.answer.close = true;
    Write(std::move(plan));
}

void HttpSession::Handle() {
    Request request = m_parser->release();
    m_parser.reset();
    m_keepAlive = request.keep_alive();
    if (request.version() >= 11 && request.count(http::field::host) != 1) {
        RefuseWith(400, "exactly one Host is needed\n");
    } else if (IsForWebSocket(request) && m_reading) {
        /* The link's first bytes could end up in the read that is under way. */
        RefuseWith(400, "an upgrade must wait for the answers before it\n");
    } else if (IsForWebSocket(request)) {
        m_owner.UpgradeRequested(std::move(request));
    } else {
        Write(m_service.Answer(Plain(std::move(request), m_origin)));
    }
}

void HttpSession::Write(PlannedAnswer plan) {
    m_answered = true;
    m_plan = std::move(plan);
    if (m_plan.held != 0 || m_plan.delay.count() > 0) {
        Pause();
    } else {
        Send();
    }
}

void HttpSession::Pause() {
    m_state = State::kPaused;
    m_owner.EndIn(std::chrono::milliseconds(0));
    if (m_plan.held != 0) {
        m_pause.expires_at(Clock::time_point::max());
    } else {
        m_pause.expires_after(m_plan.delay);
    }
    m_pause.async_wait([this, self = m_owner.Self()](ErrorCode) {
        if (m_state != State::kPaused) {
            return;
        }
        if (m_plan.held != 0) {
            m_plan.held = 0;
            Write(std::move(m_plan)); /* its delay, if it has one, comes now */
        } else {
            Send();
        }
    });
    if (m_buffer.size() < kMaxAheadBytes) {
        Read();
    }
}

void HttpSession::WakeHeld() {
    if (m_state == State::kPaused && m_plan.held != 0 && !m_service.IsHeld(m_plan.held)) {
        m_pause.cancel();
    }
}

void HttpSession::Send() {
    m_keepAlive = m_keepAlive && !m_plan.answer.close;
    EncodedAnswer answer = Encode(std::move(m_plan.answer), m_keepAlive);
    std::string bytes;
    switch (m_plan.cut) {
        case Cut::kReset:
            m_owner.End(true);
            return;
        case Cut::kBefore:
            break;
        case Cut::kBody:
            if (!answer.body.empty()) {
                bytes = std::move(answer.head) + answer.body.substr(0, answer.body.size() / 2);
                break;
            }
            [[fallthrough]];
        case Cut::kHead:
            bytes = answer.head.substr(0, answer.head.size() / 2);
            break;
        case Cut::kNone:
            bytes = std::move(answer.head) + answer.body;
            break;
    }
    m_owner.EndIn(m_limits.patience);
    Send(std::move(bytes), &HttpSession::Sent);
}

void HttpSession::Send(std::string bytes, void (HttpSession::*then)()) {
    m_state = State::kWriting;
    m_output = std::move(bytes);
    m_sent = 0;
    m_then = then;
    SendMore();
}

void HttpSession::SendMore() {
    if (m_sent == m_output.size()) {
        (this->*m_then)();
        return;
    }
    m_stream.async_write_some(asio::buffer(m_output) + m_sent,
                              [this, self = m_owner.Self()](ErrorCode error, std::size_t count) {
                                  if (m_state == State::kStopped) {
                                      return;
                                  }
                                  if (error) {
                                      m_owner.End(false);
                                      return;
                                  }
                                  m_sent += count;
                                  SendMore();
                              });
}

/* A connection that this side ends is read to the client's end of it: closing a socket with unread bytes
 * would reset it, and the client could lose the answer. */
void HttpSession::Sent() {
    if (m_plan.cut == Cut::kNone && m_keepAlive) {
        BeginRequest();
        return;
    }
    m_state = State::kDraining;
    m_owner.EndIn(kEndPatience);
    m_waste.resize(kReadPieceBytes);
    if (m_plan.cut != Cut::kNone) {
        m_stream.gate().ShutdownSend(); /* without TLS's own farewell */
        Drain();
        return;
    }
    m_stream.Shutdown([this, self = m_owner.Self()](ErrorCode) { Drain(); });
}

/* Below TLS: nobody wants to know what it says. */
void HttpSession::Drain() {
    if (m_state == State::kStopped) {
        return;
    }
    m_stream.gate().async_read_some(asio::buffer(m_waste),
                                    [this, self = m_owner.Self()](ErrorCode error, std::size_t) {
                                        if (error && m_state != State::kStopped) {
                                            m_owner.End(false);
                                        } else {
                                            Drain();
                                        }
                                    });
}

bool HttpSession::EndIdle() {
    const bool idle = m_state == State::kReading && m_answered && m_parser && !m_parser->got_some();
    if (idle) {
        m_keepAlive = false;
        Sent();
    }
    return idle;
}

void HttpSession::Stop() {
    m_state = State::kStopped;
    m_pause.cancel();
    if (m_plan.held != 0) {
        m_service.ForgetHeld(m_plan.held);
    }
}

}  // namespace quor_simulator
