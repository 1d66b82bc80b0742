// link.h - one link: the STOMP session over a Connection, from StartUp to its destruction.
//
// A link is starting, then up, then ended. An up link may also be closing, which is what a destroyed link is
// until its connection is gone. Only the change from up to ended raises a disconnect event; whoever changes
// the state under the lock decides the race between the end of the connection and a destruction.
//
// Threads: the public functions are callable from any thread, the ConnectionOwner functions and what they
// call run on the I/O thread. Locks: m_mutex guards what both sides share. It may be held while the
// dispatcher's lock is taken; it is not held while a connection or the sink is called.
#ifndef QUOR_PLATFORM_LINUX_WEBSOCKET_LINK_H
#define QUOR_PLATFORM_LINUX_WEBSOCKET_LINK_H

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "platform_linux/thread_annotations.h"
#include "platform_linux/websocket/connection.h"
#include "platform_linux/websocket/event_dispatcher.h"
#include "platform_linux/websocket/frame_record.h"
#include "platform_linux/websocket/result_codes.h"
#include "platform_linux/websocket/stomp_decoder.h"
#include "quor_platform_linux/host.h"

namespace quor_platform::internal {

class Link final : public ConnectionOwner, public std::enable_shared_from_this<Link> {
public:
    Link(unsigned int id, std::shared_ptr<boost::asio::io_context> io, const LinkSettings& settings,
         const LinkTarget& target);

    unsigned int Id() const { return m_mailbox->linkId; }

    // Begins to connect. Once.
    void Start(ConnectionOptions options);
    // Waits until the link is up (true) or refused (false, *failure set). Bounded by the time limits of the
    // settings.
    bool WaitStarted(Failure* failure) QUOR_EXCLUDES(m_mutex);

    // Queues the frames that the record stands for. Does not wait. *failure is set when the result is not
    // kSuccess.
    LinkResult Send(const OutboundFrame& frame, Failure* failure) QUOR_EXCLUDES(m_mutex);

    // Silences the link and begins to end it: politely when it is up, at once while it is starting.
    void BeginEnd() QUOR_EXCLUDES(m_mutex);
    // Waits until the connection is gone, at most for the close timeout from BeginEnd on.
    void WaitEnded() QUOR_EXCLUDES(m_mutex);

    Failure EndReason() const QUOR_EXCLUDES(m_mutex);
    LinkStatistics Statistics() const QUOR_EXCLUDES(m_mutex);

    void OnOpen() override;
    bool OnData(std::string_view bytes, bool endOfMessage) override;
    void OnControl() override;
    void OnWritten(std::size_t bytes) override QUOR_EXCLUDES(m_mutex);
    void OnEnd(const Failure& failure) override QUOR_EXCLUDES(m_mutex);

private:
    using Clock = std::chrono::steady_clock;
    using Milliseconds = std::chrono::milliseconds;
    enum class State { kStarting, kUp, kClosing, kEnded };

    // Any thread. *needless: there is nothing to send.
    LinkResult QueueFrames(const OutboundFrame& frame, bool* needless, Failure* failure)
        QUOR_EXCLUDES(m_mutex);
    void Enqueue(std::string frame) QUOR_REQUIRES(m_mutex);
    LinkResult QueueSubscribe(const OutboundFrame& frame, Failure* failure) QUOR_REQUIRES(m_mutex);
    LinkResult QueueUnsubscribe(const OutboundFrame& frame, Failure* failure) QUOR_REQUIRES(m_mutex);
    LinkResult QueueSend(const OutboundFrame& frame, Failure* failure) QUOR_REQUIRES(m_mutex);
    LinkResult RefuseFull(Failure* failure) const;
    std::string Encode(std::string_view command, const std::vector<StompHeader>& headers,
                       std::string_view body = {}) const;

    // I/O thread.
    void BecomeUp() QUOR_EXCLUDES(m_mutex);
    void DecodeFrames();
    void OnFrame(const StompFrameView& frame);
    void OnConnected(const StompFrameView& frame);
    void OnReceipt(const StompFrameView& frame);
    void OnManagerData(std::string_view bytes, bool endOfMessage);
    void Deliver(std::string text);
    void Resume();
    void Fail(Stage stage, std::string text);
    void Flush() QUOR_EXCLUDES(m_mutex);
    void WriteDirect(std::string message) QUOR_EXCLUDES(m_mutex);
    void EndPolitely();
    void CloseConnection() QUOR_EXCLUDES(m_mutex);
    void Alive();
    void CountHeartBeat(std::string_view bytes, bool endOfMessage);
    void StartLiveness(const HeartBeat& server);
    void OnTick();
    void ScheduleTick();
    // A heart-beat leaves somewhat early, so that it arrives within the interval.
    Milliseconds HeartBeatDue() const { return m_sendInterval - m_sendInterval / 5; }

    const std::shared_ptr<boost::asio::io_context> m_io;
    const LinkSettings m_settings;
    const std::string m_name;  // "host:port", for people
    const std::string m_host;
    const std::string m_lineEnd;
    const bool m_manager;
    const std::shared_ptr<Mailbox> m_mailbox;
    EventDispatcher& m_dispatcher;

    mutable Mutex m_mutex;
    Condition m_changed;
    State m_state QUOR_GUARDED_BY(m_mutex) = State::kStarting;
    bool m_wasUp QUOR_GUARDED_BY(m_mutex) = false;
    Failure m_failure QUOR_GUARDED_BY(m_mutex);
    Clock::time_point m_endUntil QUOR_GUARDED_BY(m_mutex);
    std::map<std::string, std::string> m_subscriptions QUOR_GUARDED_BY(m_mutex);  // destination to id
    std::uint64_t m_nextSubscription QUOR_GUARDED_BY(m_mutex) = 1;
    std::deque<std::string> m_pending QUOR_GUARDED_BY(m_mutex);  // not yet taken by the I/O thread
    std::size_t m_queuedBytes QUOR_GUARDED_BY(m_mutex) = 0;      // pending and handed to the connection
    bool m_flushPosted QUOR_GUARDED_BY(m_mutex) = false;

    std::atomic<std::uint64_t> m_framesSent{0};
    std::atomic<std::uint64_t> m_messagesReceived{0};
    std::atomic<std::uint64_t> m_bytesSent{0};
    std::atomic<std::uint64_t> m_bytesReceived{0};
    std::atomic<std::uint64_t> m_heartBeatsReceived{0};

    // I/O thread only.
    std::shared_ptr<Connection> m_connection;  // null once it ended
    StompDecoder m_decoder;
    std::string m_managerText;   // message of a manager link that is not complete yet
    bool m_onlyLineEnds = true;  // the current WebSocket message so far
    bool m_connected = false;    // CONNECTED came, or no session is spoken
    bool m_paused = false;
    bool m_sayingGoodbye = false;
    boost::asio::steady_timer m_tick;
    boost::asio::steady_timer m_goodbye;
    Milliseconds m_sendInterval{0};     // heart-beats that this side promised
    Milliseconds m_receiveInterval{0};  // heart-beats that the server promised
    Clock::time_point m_lastReceived;
    Clock::time_point m_lastSent;
    bool m_pingPending = false;
    Clock::time_point m_pingSent;
};

}  // namespace quor_platform::internal

#endif
