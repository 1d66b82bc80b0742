// logger.h - where log records go: the rotating file, the console and the program's listener.
//
// Threads: every function is callable from any thread; a record's targets see records of all threads one
// after another. Locks: Logger::m_mutex guards the targets and is a leaf; the listener runs without it.
#ifndef QUOR_PLATFORM_LINUX_LOGGER_H
#define QUOR_PLATFORM_LINUX_LOGGER_H

#include <spdlog/common.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "platform_linux/listener.h"
#include "platform_linux/storm_limit.h"
#include "platform_linux/thread_annotations.h"
#include "quor_platform_linux/host.h"

namespace quor_platform::internal {

// The highest level that somebody receives now; 0 when records go nowhere. The first thing a log call reads.
extern constinit std::atomic<unsigned int> wantedLogLevel;

class Logger {
public:
    static Logger& Get();

    // Opens what settings name and replaces the targets. False: the file cannot be opened, nothing changed.
    bool Configure(const LogSettings& settings) QUOR_EXCLUDES(m_mutex);
    void SetLevel(unsigned int level) QUOR_EXCLUDES(m_mutex);
    void SetListener(LogListener listener) QUOR_EXCLUDES(m_mutex);

    // Non-zero: a target could not take the record. Throws std::bad_alloc.
    unsigned int Write(const LogRecord& record) QUOR_EXCLUDES(m_mutex);

    // Whether a record of the storm log may be written now; one that may not is counted.
    bool AdmitStorm();

    // Writes the count of dropped storm records, if any, and everything that is still buffered.
    void Flush() QUOR_EXCLUDES(m_mutex);

    // Flushes and ends the flushing thread.
    void Shutdown() QUOR_EXCLUDES(m_mutex);

private:
    using Sinks = std::vector<spdlog::sink_ptr>;

    void UpdateWantedLevel() QUOR_REQUIRES(m_mutex);
    unsigned int WriteToSinks(const LogRecord& record) QUOR_REQUIRES(m_mutex);
    bool FlushLater() QUOR_REQUIRES(m_mutex);
    bool FlushSinks() QUOR_REQUIRES(m_mutex);  // false: a file could not take what was buffered
    void ReportDropped() QUOR_EXCLUDES(m_mutex);
    void RunFlusher() QUOR_EXCLUDES(m_mutex);

    Mutex m_mutex;
    Condition m_wakeFlusher;
    Sinks m_sinks QUOR_GUARDED_BY(m_mutex);
    unsigned int m_level QUOR_GUARDED_BY(m_mutex) = LogSettings().level;
    bool m_hasListener QUOR_GUARDED_BY(m_mutex) = false;
    bool m_buffered QUOR_GUARDED_BY(m_mutex) = false;  // something waits for the flushing thread
    bool m_ending QUOR_GUARDED_BY(m_mutex) = false;
    std::thread m_flusher QUOR_GUARDED_BY(m_mutex);
    Listener<LogListener> m_listener;
    StormLimit m_storm;
};

}  // namespace quor_platform::internal

#endif
