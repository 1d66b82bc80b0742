// signal_watcher.h - Ctrl-C, SIGTERM, SIGHUP and the end of --duration, each turned into a plain function
// call.
//
// Signals are read from a descriptor by a thread of the watcher's own, so that what they start may lock, log
// and allocate: no code runs inside a signal handler.
#ifndef QUOR_TERMINAL_SIGNAL_WATCHER_H
#define QUOR_TERMINAL_SIGNAL_WATCHER_H

#include <chrono>
#include <functional>
#include <thread>

namespace quor_terminal {

class SignalWatcher {
public:
    // Blocks the watched signals and ignores SIGPIPE, for the calling thread and those it starts: to be
    // called before the first thread starts.
    static void BlockSignals();

    // What the watcher calls, on its own thread.
    struct Actions {
        std::function<void()> end;        // the first SIGINT, SIGTERM or SIGHUP, or duration passed
        std::function<void()> impatient;  // a further one; the process is expected to be gone when it returns
        std::function<void()> report;     // SIGUSR1
    };

    // duration 0: without end.
    SignalWatcher(std::chrono::milliseconds duration, Actions actions);
    ~SignalWatcher();
    SignalWatcher(const SignalWatcher&) = delete;
    SignalWatcher& operator=(const SignalWatcher&) = delete;

private:
    void Watch();
    // Milliseconds for poll: until the deadline, or without end.
    int WaitMs(bool ended) const;

    // The number of a signal that arrived, 0 for none.
    unsigned int ReadSignal() const;

    const Actions m_actions;
    const bool m_hasDeadline;
    const std::chrono::steady_clock::time_point m_deadline;
    int m_signalFd;
    int m_quitFd;
    std::thread m_thread;
};

}  // namespace quor_terminal

#endif
