// link_session.cpp - the part of Link that runs on the I/O thread: the STOMP session and its liveness.
#include <boost/asio/post.hpp>

#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

#include "platform_linux/host_state.h"
#include "platform_linux/websocket/link.h"
#include "platform_linux/websocket/message_text.h"

namespace quor_platform::internal {
namespace {

constexpr const char* kGoodbye = "quor-goodbye";  // receipt id of DISCONNECT
constexpr std::size_t kMaxReasonCharacters = 200;

// The words of an ERROR frame on one line. Only the message header, or without one the first line of the
// body, is taken: brokers put the refused frame, tokens included, into the body's further lines.
std::string ErrorReason(const StompFrameView& frame) {
    std::string reason = frame.Find("message").value_or("");
    if (reason.empty()) {
        reason = frame.body.substr(0, frame.body.find_first_of("\r\n"));
    }
    reason.resize(std::min(reason.size(), kMaxReasonCharacters));
    std::replace_if(
        reason.begin(), reason.end(),
        [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; }, ' ');
    return reason.empty() ? "without a reason" : reason;
}

}  // namespace

// ---- From the connection

void Link::OnOpen() {
    if (m_manager) {
        m_connected = true;  // no session is spoken on a manager link
        BecomeUp();
        StartLiveness({});
        return;
    }
    const std::string beat = std::to_string(m_settings.heartBeatSend.count()) + "," +
                             std::to_string(m_settings.heartBeatReceive.count());
    WriteDirect(EncodeStompFrame("CONNECT",
                                 {{"accept-version", "1.1,1.2"}, {"host", m_host}, {"heart-beat", beat}}, {},
                                 m_lineEnd, HeaderEscapes::kNone));
    ++m_framesSent;
}

bool Link::OnData(std::string_view bytes, bool endOfMessage) {
    m_bytesReceived += bytes.size();
    Alive();
    if (m_manager) {
        OnManagerData(bytes, endOfMessage);
    } else {
        CountHeartBeat(bytes, endOfMessage);
        m_decoder.Append(bytes);
        DecodeFrames();
    }
    if (m_connection != nullptr && m_paused) {
        m_dispatcher.NotifyDrained(m_mailbox, [weak = weak_from_this(), io = m_io] {
            boost::asio::post(*io, [weak] {
                if (const auto self = weak.lock()) {
                    self->Resume();
                }
            });
        });
    }
    return m_connection != nullptr && !m_paused;
}

void Link::OnControl() {
    Alive();
}

void Link::OnWritten(std::size_t bytes) {
    m_bytesSent += bytes;
    MutexLock lock(m_mutex);
    m_queuedBytes -= std::min(bytes, m_queuedBytes);
}

void Link::OnEnd(const Failure& failure) {
    m_connection.reset();
    m_tick.cancel();
    m_goodbye.cancel();
    m_managerText = {};
    MutexLock lock(m_mutex);
    const State before = std::exchange(m_state, State::kEnded);
    m_failure = failure;
    m_pending.clear();
    m_queuedBytes = 0;
    m_subscriptions.clear();
    if (before == State::kUp) {
        m_dispatcher.Post(m_mailbox, LinkEvent::kDisconnect, {});
    }
    m_changed.NotifyAll();
    lock.Unlock();
    // Later, because a frame in it may be the reason of this end and still be read.
    boost::asio::post(*m_io, [self = shared_from_this()] { self->m_decoder.Release(); });
    if (before == State::kUp) {
        LogHost(QUOR_OM_LOG_LEVEL_WARNING, "link %u to %s ended: %s", Id(), m_name.c_str(),
                failure.text.c_str());
    }
}

// ---- The session

void Link::BecomeUp() {
    m_connection->HandshakeDone();
    MutexLock lock(m_mutex);
    if (m_state == State::kStarting) {
        // Under the lock, so that nobody sees the link before its connect event is queued.
        m_state = State::kUp;
        m_wasUp = true;
        m_dispatcher.Post(m_mailbox, LinkEvent::kConnect, {});
        m_changed.NotifyAll();
    }
}

void Link::DecodeFrames() {
    while (m_connection != nullptr) {
        switch (m_decoder.Next()) {
            case StompDecoder::Result::kNeedMore:
                return;
            case StompDecoder::Result::kFrame:
                OnFrame(m_decoder.Frame());
                break;
            case StompDecoder::Result::kError:
                Fail(Stage::kStomp, "malformed STOMP: " + m_decoder.ErrorText());
                return;
        }
    }
}

void Link::OnFrame(const StompFrameView& frame) {
    if (frame.command == "ERROR") {
        Fail(Stage::kStomp, "the server reported an error: " + ErrorReason(frame));
    } else if (!m_connected) {
        OnConnected(frame);
    } else if (frame.command == "MESSAGE") {
        if (!m_sayingGoodbye) {
            Deliver(BuildMessageText(frame, m_settings.addMissingContentType));
        }
    } else if (frame.command == "RECEIPT") {
        OnReceipt(frame);
    } else if (frame.command != "CONNECTED") {
        Fail(Stage::kStomp,
             "malformed STOMP: the server sent a frame that only clients send or nobody knows");
    }
}

void Link::OnConnected(const StompFrameView& frame) {
    if (frame.command != "CONNECTED") {
        Fail(Stage::kStomp, "the server answered CONNECT with something else than CONNECTED");
        return;
    }
    const std::string version = frame.Find("version").value_or("1.0");
    if (version != "1.1" && version != "1.2") {
        Fail(Stage::kStomp, "the server speaks neither STOMP 1.1 nor 1.2");
        return;
    }
    m_connected = true;
    BecomeUp();
    StartLiveness(ParseHeartBeat(frame.Find("heart-beat").value_or("0,0")).value_or(HeartBeat{}));
}

void Link::OnReceipt(const StompFrameView& frame) {
    const std::string id = frame.Find("receipt-id").value_or("");
    if (m_sayingGoodbye && id == kGoodbye) {
        CloseConnection();
    }
}

// A manager link hands up every message whole and as it is, whatever it holds.
void Link::OnManagerData(std::string_view bytes, bool endOfMessage) {
    if (m_managerText.size() + bytes.size() > m_settings.maxFrameBytes) {
        Fail(Stage::kStomp,
             "a message is longer than the limit of " + std::to_string(m_settings.maxFrameBytes) + " bytes");
        return;
    }
    m_managerText.append(bytes);
    if (endOfMessage) {
        std::string text = std::exchange(m_managerText, {});
        if (!m_sayingGoodbye) {
            Deliver(std::move(text));
        }
    }
}

void Link::Deliver(std::string text) {
    ++m_messagesReceived;
    if (!m_dispatcher.Post(m_mailbox, LinkEvent::kReceive, std::move(text))) {
        m_paused = true;
    }
}

void Link::Resume() {
    if (m_paused && m_connection != nullptr) {
        m_paused = false;
        Alive();
        ScheduleTick();
        m_connection->ResumeReading();
    }
}

void Link::Fail(Stage stage, std::string text) {
    const auto connection = m_connection;  // OnEnd runs inside Abort
    if (connection != nullptr) {
        Failure failure;
        failure.stage = stage;
        failure.systemError = stage == Stage::kLiveness ? ETIMEDOUT : 0;
        failure.text = std::move(text);
        connection->Abort(failure);
    }
}

// ---- Writing

void Link::Flush() {
    std::deque<std::string> frames;
    {
        MutexLock lock(m_mutex);
        m_flushPosted = false;
        frames.swap(m_pending);
    }
    for (std::string& frame : frames) {
        if (m_connection != nullptr) {
            ++m_framesSent;
            m_lastSent = Clock::now();
            m_connection->Write(std::move(frame));
        }
    }
}

// Past the limit of the queue: what keeps the session itself going.
void Link::WriteDirect(std::string message) {
    {
        MutexLock lock(m_mutex);
        m_queuedBytes += message.size();
    }
    m_lastSent = Clock::now();
    m_connection->Write(std::move(message));
}

// ---- The end

// DISCONNECT, its receipt, the WebSocket close; each is waited for a part of the close timeout only, because
// servers leave out the one or the other.
void Link::EndPolitely() {
    if (m_connection == nullptr) {
        return;
    }
    m_sayingGoodbye = true;
    m_tick.cancel();
    Flush();
    if (m_manager) {
        CloseConnection();
        return;
    }
    WriteDirect(Encode("DISCONNECT", {{"receipt", kGoodbye}}));
    ++m_framesSent;
    m_goodbye.expires_after(m_settings.closeTimeout / 2);
    m_goodbye.async_wait([self = shared_from_this()](const boost::system::error_code& error) {
        if (!error) {
            self->CloseConnection();
        }
    });
}

void Link::CloseConnection() {
    if (m_connection == nullptr) {
        return;
    }
    Clock::time_point until;
    {
        MutexLock lock(m_mutex);
        until = m_endUntil;
    }
    m_goodbye.expires_at(until);
    m_goodbye.async_wait([self = shared_from_this()](const boost::system::error_code& error) {
        if (!error) {
            self->Fail(Stage::kTransfer, "the server did not answer the close in time");
        }
    });
    m_connection->Close();
}

// ---- Liveness

void Link::Alive() {
    m_lastReceived = Clock::now();
    m_pingPending = false;
}

// A WebSocket message of nothing but line ends between frames.
void Link::CountHeartBeat(std::string_view bytes, bool endOfMessage) {
    m_onlyLineEnds =
        m_onlyLineEnds && m_decoder.Idle() && bytes.find_first_not_of("\r\n") == std::string_view::npos;
    if (endOfMessage) {
        m_heartBeatsReceived += m_onlyLineEnds ? 1U : 0U;
        m_onlyLineEnds = true;
    }
}

// STOMP 1.2, "Heart-beating": a direction beats at the slower of what one side can and the other wants, and
// not at all when either says 0.
void Link::StartLiveness(const HeartBeat& server) {
    const auto agree = [](Milliseconds sends, Milliseconds wants) {
        return sends.count() > 0 && wants.count() > 0 ? std::max(sends, wants) : Milliseconds(0);
    };
    m_sendInterval = agree(m_settings.heartBeatSend, server.wants);
    m_receiveInterval = agree(server.sends, m_settings.heartBeatReceive);
    m_lastSent = Clock::now();
    Alive();
    ScheduleTick();
}

void Link::OnTick() {
    if (m_connection == nullptr || m_sayingGoodbye) {
        return;
    }
    const Clock::time_point now = Clock::now();
    if (!m_paused) {  // a link that does not read has no opinion about its peer
        if (m_receiveInterval.count() > 0 && now >= m_lastReceived + 2 * m_receiveInterval) {
            Fail(Stage::kLiveness, "the server sent no heart-beat for twice the agreed interval");
            return;
        }
        if (m_pingPending && now >= m_pingSent + m_settings.pingInterval) {
            Fail(Stage::kLiveness, "the server did not answer a ping");
            return;
        }
        if (!m_pingPending && m_settings.pingInterval.count() > 0 &&
            now >= m_lastReceived + m_settings.pingInterval) {
            m_pingPending = true;
            m_pingSent = now;
            m_connection->Ping();
        }
    }
    if (m_sendInterval.count() > 0 && now >= m_lastSent + HeartBeatDue()) {
        WriteDirect("\n");
    }
    ScheduleTick();
}

void Link::ScheduleTick() {
    Clock::time_point next = Clock::time_point::max();
    if (!m_paused && m_receiveInterval.count() > 0) {
        next = std::min(next, m_lastReceived + 2 * m_receiveInterval);
    }
    if (!m_paused && m_settings.pingInterval.count() > 0) {
        next = std::min(next, (m_pingPending ? m_pingSent : m_lastReceived) + m_settings.pingInterval);
    }
    if (m_sendInterval.count() > 0) {
        next = std::min(next, m_lastSent + HeartBeatDue());
    }
    if (next == Clock::time_point::max()) {
        return;
    }
    m_tick.expires_at(next);
    m_tick.async_wait([self = shared_from_this()](const boost::system::error_code& error) {
        if (!error) {
            self->OnTick();
        }
    });
}

}  // namespace quor_platform::internal
