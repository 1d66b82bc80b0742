#include "platform_linux/websocket/event_dispatcher.h"

#include <utility>

#include "platform_linux/platform_thread.h"

namespace quor_platform::internal {

EventDispatcher& EventDispatcher::Instance() {
    static auto* const instance = new EventDispatcher;
    return *instance;
}

void EventDispatcher::SetSink(LinkEventSink sink) {
    auto next = sink ? std::make_shared<const LinkEventSink>(std::move(sink)) : nullptr;
    MutexLock lock(m_mutex);
    m_sink.swap(next);
    const std::uint64_t running = m_handedOver;
    while (m_running != nullptr && m_handedOver == running && m_threadId != std::this_thread::get_id()) {
        m_sinkIdle.Wait(lock);
    }
    lock.Unlock();  // what the old sink captured ends outside the lock
}

void EventDispatcher::Start() {
    MutexLock lock(m_mutex);
    if (!m_thread.joinable()) {
        m_stopping = false;
        m_thread = StartThread("quor-link-event", [this] { Run(); });
        m_threadId = m_thread.get_id();
    }
}

void EventDispatcher::Stop() {
    MutexLock lock(m_mutex);
    m_stopping = true;
    std::deque<Event> dropped;
    dropped.swap(m_events);
    for (const Event& event : dropped) {
        event.mailbox->waitingBytes -= event.Cost();
    }
    std::thread thread = std::move(m_thread);
    m_wake.NotifyOne();
    lock.Unlock();
    if (thread.joinable()) {
        thread.join();
    }
    lock.Lock();
    m_threadId = {};
}

bool EventDispatcher::OnDispatcherThread() const {
    MutexLock lock(m_mutex);
    return m_threadId == std::this_thread::get_id();
}

bool EventDispatcher::Post(const std::shared_ptr<Mailbox>& mailbox, LinkEvent event, std::string text) {
    MutexLock lock(m_mutex);
    if (mailbox->forgotten || m_stopping || !m_thread.joinable()) {
        return true;
    }
    m_events.push_back({mailbox, event, std::move(text)});
    mailbox->waitingBytes += m_events.back().Cost();
    m_wake.NotifyOne();
    return mailbox->waitingBytes <= mailbox->limitBytes;
}

void EventDispatcher::NotifyDrained(const std::shared_ptr<Mailbox>& mailbox,
                                    std::function<void()> onDrained) {
    {
        MutexLock lock(m_mutex);
        if (!Drained(*mailbox) && !mailbox->forgotten) {
            mailbox->onDrained = std::move(onDrained);
            return;
        }
    }
    onDrained();
}

void EventDispatcher::Forget(Mailbox& mailbox) {
    std::function<void()> onDrained;
    std::uint64_t raised = 0;
    {
        MutexLock lock(m_mutex);
        mailbox.forgotten = true;
        onDrained = std::exchange(mailbox.onDrained, nullptr);
        // An event that was taken off the queue counts as raised once the sink is entered. Between the two
        // lie a few instructions of the dispatcher's thread, which are awaited here; the sink itself is not.
        raised = m_running == &mailbox && m_threadId != std::this_thread::get_id() ? m_handedOver : 0;
    }
    while (m_entered.load(std::memory_order_acquire) < raised) {
        std::this_thread::yield();
    }
    if (onDrained) {
        onDrained();  // a destroyed link reads on, to see the answer to its goodbye
    }
}

std::function<void()> EventDispatcher::TakeOff(Mailbox& mailbox, std::size_t cost) {
    mailbox.waitingBytes -= cost;
    return Drained(mailbox) ? std::exchange(mailbox.onDrained, nullptr) : nullptr;
}

void EventDispatcher::Run() {
    MutexLock lock(m_mutex);
    while (!m_stopping) {
        if (m_events.empty()) {
            m_wake.Wait(lock);
            continue;
        }
        Event event = std::move(m_events.front());
        m_events.pop_front();
        const std::function<void()> onDrained = TakeOff(*event.mailbox, event.Cost());
        std::shared_ptr<const LinkEventSink> sink = event.mailbox->forgotten ? nullptr : m_sink;
        if (sink != nullptr) {
            m_running = event.mailbox.get();
            ++m_handedOver;
        }
        const std::uint64_t number = m_handedOver;
        lock.Unlock();
        if (onDrained) {
            onDrained();
        }
        if (sink != nullptr) {
            HandOver(std::move(event), std::move(sink), number);
        }
        lock.Lock();
        if (m_running != nullptr) {
            m_running = nullptr;
            m_sinkIdle.NotifyAll();
        }
    }
}

// Takes both by value: the text and what a replaced sink captured end here, before SetSink stops waiting.
// NOLINTNEXTLINE(performance-unnecessary-value-param): the copy keeps the sink alive while it runs
void EventDispatcher::HandOver(Event event, std::shared_ptr<const LinkEventSink> sink, std::uint64_t number) {
    void* const data = event.event == LinkEvent::kReceive ? event.text.data() : nullptr;
    m_entered.store(number, std::memory_order_release);
    (*sink)(static_cast<unsigned int>(event.event), event.mailbox->linkId, event.mailbox->linkType, data);
}

}  // namespace quor_platform::internal
