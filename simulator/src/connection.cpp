#include "connection.h"

#include <boost/asio/buffer.hpp>
#include <boost/beast/websocket/rfc6455.hpp>
#include <utility>

namespace quor_simulator {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
namespace websocket = boost::beast::websocket;

constexpr std::size_t kReadPieceBytes = 32U << 10;

constexpr char kServerName[] = "quor-simulator/1.0";

std::string FieldText(const http::fields& fields, http::field name) {
    const auto found = fields.find(name);
    return found == fields.end() ? std::string() : std::string(found->value());
}

}  // namespace

Connection::Connection(std::uint64_t serial, Port port, Socket socket,
                       std::shared_ptr<asio::ssl::context> context, const Servers& servers,
                       const Events& events)
    : m_serial(serial),
      m_context(std::move(context)),
      m_hub(servers.hub),
      m_events(events),
      m_socket(std::move(socket), *m_context),
      m_http(m_socket.next_layer(), servers.rest, *this, {serial, port}, servers.limits),
      m_deadline(m_socket.get_executor()) {}

void Connection::Start(std::chrono::milliseconds handshakeTimeout) {
    EndIn(handshakeTimeout);
    m_socket.next_layer().Handshake([self = shared_from_this()](ErrorCode error) {
        if (self->m_finished) {
            return;
        }
        if (error) {
            self->Finish(false);
        } else {
            self->m_http.Start();
        }
    });
}

void Connection::EndIn(std::chrono::milliseconds time) {
    if (time.count() == 0) {
        m_deadline.expires_at(Timer::time_point::max());
        return;
    }
    m_deadline.expires_after(time);
    m_deadline.async_wait([self = shared_from_this()](ErrorCode error) {
        /* An expiry that was on its way here when the time was changed counts for nothing. */
        if (!error && self->m_deadline.expiry() <= std::chrono::steady_clock::now() &&
            !self->m_http.EndIdle()) {
            self->Finish(true);
        }
    });
}

void Connection::UpgradeRequested(Request request) {
    m_request = std::move(request);
    UpgradeRequest question;
    question.target = std::string(m_request.target());
    question.isUpgrade = websocket::is_upgrade(m_request);
    if (m_request.find(http::field::authorization) != m_request.end()) {
        question.authorization = FieldText(m_request, http::field::authorization);
    }
    question.protocols = FieldText(m_request, http::field::sec_websocket_protocol);
    const UpgradeDecision decision = m_hub.Decide(question);
    if (decision.status == 101) {
        Upgrade(decision);
    } else {
        Refuse(decision);
    }
}

/* One answer, then the connection ends: what comes after a refusal is a new attempt. */
void Connection::Refuse(const UpgradeDecision& decision) {
    PlannedAnswer plan;
    plan.answer = PlainAnswer(decision.status, decision.reason);
    plan.answer.close = true;
    if (decision.challenge) {
        plan.answer.headers.emplace_back("WWW-Authenticate",
                                         "Basic realm=\"conf-portal\", charset=\"UTF-8\"");
    }
    if (decision.status == 426) {
        plan.answer.headers.emplace_back("Upgrade", "websocket");
    }
    m_http.Write(std::move(plan));
}

void Connection::Upgrade(const UpgradeDecision& decision) {
    websocket::stream_base::timeout timeout{};
    timeout.handshake_timeout = std::chrono::seconds(5);
    timeout.idle_timeout = websocket::stream_base::none(); /* STOMP's heart-beats do this */
    timeout.keep_alive_pings = false;
    m_socket.set_option(timeout);
    m_socket.set_option(
        websocket::stream_base::decorator([protocol = decision.protocol](websocket::response_type& response) {
            response.set(http::field::server, kServerName);
            if (!protocol.empty()) {
                response.set(http::field::sec_websocket_protocol, protocol);
            }
        }));
    m_socket.auto_fragment(false);
    m_socket.read_message_max(0); /* read in pieces; the STOMP parser bounds the frame */
    m_peer = Gate().PeerText();
    m_socket.async_accept(m_request,
                          [self = shared_from_this(), manager = decision.manager](ErrorCode error) {
                              if (error) {
                                  self->Finish(false);
                              } else {
                                  self->Open(manager);
                              }
                          });
}

void Connection::Open(bool manager) {
    if (m_finished) {
        return;
    }
    EndIn(std::chrono::milliseconds(0));
    m_request = {};
    m_input.resize(kReadPieceBytes);
    m_link = m_hub.OpenLink(m_peer, manager);
    m_events.opened(m_link, shared_from_this());
    m_socket.control_callback([this](websocket::frame_type kind, beast::string_view) {
        if (kind == websocket::frame_type::close && !m_serverCloses) {
            m_clientCloses = true;
            m_hub.ClientCloses(m_link);
        }
    });
    Read();
    Pump();
}

void Connection::Read() {
    m_socket.async_read_some(asio::buffer(m_input),
                             [self = shared_from_this()](ErrorCode error, std::size_t n) {
                                 if (self->m_finished) {
                                     return;
                                 }
                                 if (error) {
                                     /* While the server closes in order, the close operation ends the
                                      * connection. */
                                     if (!self->m_serverCloses || !self->m_socket.is_open()) {
                                         self->Finish(false);
                                     }
                                     return;
                                 }
                                 self->m_hub.Receive(self->m_link, {self->m_input.data(), n});
                                 self->Read();
                             });
}

void Connection::Pump() {
    if (m_finished) {
        return;
    }
    LinkEnd end;
    switch (m_hub.Take(m_link, m_output, end)) {
        case Hub::Taken::kNothing:
            return;
        case Hub::Taken::kEnd:
            Close(end);
            return;
        case Hub::Taken::kData:
            break;
    }
    m_slices = CutIntoSlices(m_output);
    m_nextSlice = 0;
    WriteSlice();
}

void Connection::WriteSlice() {
    if (m_nextSlice == m_slices.size()) {
        Pump();
        return;
    }
    const Slice& slice = m_slices[m_nextSlice++];
    if (slice.begins) {
        m_socket.binary(m_output.binary);
    }
    m_socket.async_write_some(slice.ends, asio::buffer(slice.bytes.data(), slice.bytes.size()),
                              [self = shared_from_this()](ErrorCode error, std::size_t) {
                                  /* After an error the read side reports the end of the connection. */
                                  if (!error && !self->m_finished) {
                                      self->WriteSlice();
                                  }
                              });
}

void Connection::Close(const LinkEnd& end) {
    if (m_clientCloses) {
        return; /* the read under way answers the client's close frame and ends the connection */
    }
    m_serverCloses = true;
    if (end.how == Drop::kCloseFrame) {
        websocket::close_reason reason(static_cast<websocket::close_code>(end.code));
        reason.reason.assign(end.reason.data(), end.reason.size());
        m_socket.async_close(reason, [self = shared_from_this()](ErrorCode) { self->Finish(false); });
    } else {
        m_serverCloses = false; /* the client's end of stream, seen by the read, finishes */
        Gate().ShutdownSend();
    }
}

void Connection::Finish(bool reset) {
    if (std::exchange(m_finished, true)) {
        return;
    }
    m_deadline.cancel();
    m_http.Stop();
    Gate().Close(reset);
    m_events.finished(m_serial, m_link, m_http.answered());
}

}  // namespace quor_simulator
