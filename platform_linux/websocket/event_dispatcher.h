// event_dispatcher.h - hands the events of all links to the program's event sink, one after another, on one
// thread, in the order in which they were posted.
//
// Memory is bounded per link: a mailbox counts the bytes of its link's waiting messages, and when they exceed
// its limit, Post says so; the link then stops reading until OnDrained. Connect and disconnect events are
// always taken.
//
// Threads: every function is callable from any thread. The dispatcher's lock is never held while the sink or
// OnDrained runs; it may be taken while a link's lock is held, not the other way round.
#ifndef QUOR_PLATFORM_LINUX_WEBSOCKET_EVENT_DISPATCHER_H
#define QUOR_PLATFORM_LINUX_WEBSOCKET_EVENT_DISPATCHER_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "platform_linux/thread_annotations.h"
#include "quor_platform_linux/host.h"

namespace quor_platform::internal {

// Values of the event argument of LinkEventSink (quor_platform/websocket.h).
enum class LinkEvent : unsigned int { kConnect = 28, kDisconnect = 29, kReceive = 30 };

// What the dispatcher knows of one link. The members after the constants belong to the dispatcher's lock.
struct Mailbox {
    Mailbox(unsigned int id, unsigned int type, std::size_t limit)
        : linkId(id), linkType(type), limitBytes(limit) {}
    const unsigned int linkId;
    const unsigned int linkType;
    const std::size_t limitBytes;
    std::size_t waitingBytes = 0;
    bool forgotten = false;           // destroyed: nothing comes out any more
    std::function<void()> onDrained;  // set while the link does not read
};

class EventDispatcher {
public:
    // The one dispatcher of the process; never destroyed, because a thread may use it while the process ends.
    static EventDispatcher& Instance();

    EventDispatcher() = default;
    EventDispatcher(const EventDispatcher&) = delete;
    EventDispatcher& operator=(const EventDispatcher&) = delete;

    // As SetLinkEventSink.
    void SetSink(LinkEventSink sink) QUOR_EXCLUDES(m_mutex);

    // Starts the thread if it does not run. May throw std::system_error.
    void Start() QUOR_EXCLUDES(m_mutex);
    // Drops the waiting events, waits for a running one and ends the thread. Not from the sink.
    void Stop() QUOR_EXCLUDES(m_mutex);
    bool OnDispatcherThread() const QUOR_EXCLUDES(m_mutex);

    // Queues an event; text is used for kReceive. False: the mailbox is over its limit; the caller stops
    // reading and calls NotifyDrained. An event of a forgotten mailbox, or without a running thread, is
    // dropped.
    bool Post(const std::shared_ptr<Mailbox>& mailbox, LinkEvent event, std::string text)
        QUOR_EXCLUDES(m_mutex);
    // Calls onDrained once, on the dispatcher's thread or at once on this one, when at most half of the
    // mailbox's limit is waiting.
    void NotifyDrained(const std::shared_ptr<Mailbox>& mailbox, std::function<void()> onDrained)
        QUOR_EXCLUDES(m_mutex);
    // After it returned no event of the mailbox is raised any more. Does not wait for a sink that runs.
    void Forget(Mailbox& mailbox) QUOR_EXCLUDES(m_mutex);

private:
    struct Event {
        std::shared_ptr<Mailbox> mailbox;
        LinkEvent event;
        std::string text;
        std::size_t Cost() const { return text.size() + sizeof(Event); }
    };

    void Run() QUOR_EXCLUDES(m_mutex);
    void HandOver(Event event, std::shared_ptr<const LinkEventSink> sink, std::uint64_t number)
        QUOR_EXCLUDES(m_mutex);
    std::function<void()> TakeOff(Mailbox& mailbox, std::size_t cost) QUOR_REQUIRES(m_mutex);
    static bool Drained(const Mailbox& mailbox) { return mailbox.waitingBytes <= mailbox.limitBytes / 2; }

    mutable Mutex m_mutex;
    Condition m_wake;      // an event or the end has come
    Condition m_sinkIdle;  // the sink returned
    std::shared_ptr<const LinkEventSink> m_sink QUOR_GUARDED_BY(m_mutex);
    std::deque<Event> m_events QUOR_GUARDED_BY(m_mutex);
    std::thread m_thread QUOR_GUARDED_BY(m_mutex);
    std::thread::id m_threadId QUOR_GUARDED_BY(m_mutex);
    bool m_stopping QUOR_GUARDED_BY(m_mutex) = false;
    const Mailbox* m_running QUOR_GUARDED_BY(m_mutex) = nullptr;  // whose event the sink handles
    std::uint64_t m_handedOver QUOR_GUARDED_BY(m_mutex) = 0;      // events given to the sink so far
    std::atomic<std::uint64_t> m_entered{0};                      // of these, the calls that were entered
};

}  // namespace quor_platform::internal

#endif
