/*
 * http_session.h - HTTP/1.1 on one connection: reads a request, has it answered, writes the answer, reads the
 * next (RFC 9112). A request for a WebSocket link is handed to the connection, which takes the stream over.
 * Included by the network sources only.
 *
 * Requests that follow without waiting for an answer stay in the buffer: they are answered one by one, in
 * their order. While an answer is delayed or held the stream is read on, within a bound, so that a client
 * that leaves is seen.
 *
 * Threads: the network thread only. Operations keep the connection alive through Owner::Self.
 */
#ifndef QUOR_SIMULATOR_HTTP_SESSION_H
#define QUOR_SIMULATOR_HTTP_SESSION_H

#include <boost/asio/basic_waitable_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "rest_service.h"
#include "tls_stream.h"

namespace quor_simulator {

class HttpSession {
public:
    using ErrorCode = boost::system::error_code;
    using Executor = TlsStream::executor_type;
    using Request = boost::beast::http::request<boost::beast::http::string_body>;

    struct Limits {
        std::size_t bodyBytes = 1U << 20;
        std::size_t pictureBytes = 16U << 20;      /* of a body that carries a picture */
        std::chrono::milliseconds patience{60000}; /* for a request, and for the client to take an answer */
    };

    class Owner {
    public:
        virtual std::shared_ptr<void> Self() = 0;
        /* Either Write with close, or the stream is the owner's from here on. */
        virtual void UpgradeRequested(Request request) = 0;
        /* The connection ends in so much time, unless it is told otherwise before; 0: never. */
        virtual void EndIn(std::chrono::milliseconds time) = 0;
        /* There is nothing more to say. */
        virtual void End(bool reset) = 0;

        virtual ~Owner() = default;
        Owner(const Owner&) = delete;
        Owner& operator=(const Owner&) = delete;

    protected:
        Owner() = default;
    };

    /* Where its requests come from. */
    struct Origin {
        std::uint64_t connection = 0;
        Port port = Port::kFirst;
    };

    HttpSession(TlsStream& stream, RestService& service, Owner& owner, Origin origin, Limits limits);

    /* After the TLS handshake. The time for the first request is the owner's. */
    void Start() { BeginRequest(); }
    void Write(PlannedAnswer plan);
    /* Looks whether the answer that is held may go out. */
    void WakeHeld();
    /* The time is over. true: nothing was under way, and the connection is being ended in order. */
    bool EndIdle();
    void Stop();                                 /* the socket has been closed */
    bool answered() const { return m_answered; } /* at least once */

private:
    using Parser = boost::beast::http::request_parser<boost::beast::http::string_body>;
    using Clock = std::chrono::steady_clock;
    using Timer = boost::asio::basic_waitable_timer<Clock, boost::asio::wait_traits<Clock>, Executor>;
    enum class State { kReading, kPaused, kWriting, kDraining, kStopped };

    void BeginRequest();
    void Read();
    void ReadDone(ErrorCode error, std::size_t count);
    void Parse();
    bool LimitBody();
    bool WantsContinue();
    void Continue();
    void Refuse(ErrorCode error);
    void RefuseWith(unsigned int status, std::string text);
    void Handle();
    void Pause();
    void Send();
    void Send(std::string bytes, void (HttpSession::*then)());
    void SendMore();
    void Sent();
    void Drain();

    TlsStream& m_stream;
    RestService& m_service;
    Owner& m_owner;
    const Origin m_origin;
    const Limits m_limits;

    State m_state = State::kReading;
    bool m_reading = false; /* a read is under way */
    bool m_continued = false;
    bool m_keepAlive = true;
    bool m_answered = false;
    boost::beast::flat_buffer m_buffer;
    std::optional<Parser> m_parser;
    PlannedAnswer m_plan;
    Timer m_pause; /* for the delay of an answer */
    std::string m_output;
    std::size_t m_sent = 0;
    void (HttpSession::*m_then)() = nullptr; /* after m_output is out */
    std::vector<char> m_waste;
};

}  // namespace quor_simulator

#endif
