// link_engine.h - all links of the process and the two threads that serve them: one for input and output, one
// that hands events to the sink (EventDispatcher). Both start with the first link and end in Shutdown.
//
// Threads: every function is callable from any thread. Locks: m_mutex guards the table and the life of the
// threads; of a link nothing but Start is called under it.
#ifndef QUOR_PLATFORM_LINUX_WEBSOCKET_LINK_ENGINE_H
#define QUOR_PLATFORM_LINUX_WEBSOCKET_LINK_ENGINE_H

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>

#include <map>
#include <memory>
#include <optional>
#include <thread>

#include "platform_linux/thread_annotations.h"
#include "platform_linux/websocket/link.h"
#include "platform_linux/websocket/result_codes.h"
#include "quor_platform_linux/host.h"

namespace quor_platform::internal {

class LinkEngine {
public:
    // The one engine of the process; never destroyed, because threads may use it while the process ends.
    static LinkEngine& Instance();

    LinkEngine() = default;
    LinkEngine(const LinkEngine&) = delete;
    LinkEngine& operator=(const LinkEngine&) = delete;

    // Connects a link and waits for the outcome. On success *id is set, else *failure.
    LinkResult StartLink(const LinkSettings& settings, ConnectionOptions options, unsigned int* id,
                         Failure* failure) QUOR_EXCLUDES(m_mutex);

    // Null: no such link.
    std::shared_ptr<Link> Find(unsigned int id) const QUOR_EXCLUDES(m_mutex);
    // Takes the link out of the table, so that exactly one caller ends it.
    std::shared_ptr<Link> Remove(unsigned int id) QUOR_EXCLUDES(m_mutex);

    // Ends all links, at most for their close timeout, and both threads. Called from an event it logs an
    // error and does nothing.
    void Shutdown() QUOR_EXCLUDES(m_mutex);

private:
    enum class State { kIdle, kRunning, kStopping };
    using Io = boost::asio::io_context;

    void StartThreads() QUOR_REQUIRES(m_mutex);
    unsigned int NextId() QUOR_REQUIRES(m_mutex);

    mutable Mutex m_mutex;
    Condition m_stopped;
    State m_state QUOR_GUARDED_BY(m_mutex) = State::kIdle;
    std::shared_ptr<Io> m_io QUOR_GUARDED_BY(m_mutex);
    std::optional<boost::asio::executor_work_guard<Io::executor_type>> m_work QUOR_GUARDED_BY(m_mutex);
    std::thread m_thread QUOR_GUARDED_BY(m_mutex);
    std::map<unsigned int, std::shared_ptr<Link>> m_links QUOR_GUARDED_BY(m_mutex);
    unsigned int m_lastId QUOR_GUARDED_BY(m_mutex) = 0;
};

}  // namespace quor_platform::internal

#endif
