#include "signal_watcher.h"

#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <utility>

namespace quor_terminal {
namespace {

sigset_t WatchedSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGHUP);
    sigaddset(&signals, SIGUSR1);
    return signals;
}

}  // namespace

void SignalWatcher::BlockSignals() {
    const sigset_t signals = WatchedSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &ignore, nullptr);
}

SignalWatcher::SignalWatcher(std::chrono::milliseconds duration, Actions actions)
    : m_actions(std::move(actions)),
      m_hasDeadline(duration.count() > 0),
      m_deadline(std::chrono::steady_clock::now() + duration) {
    const sigset_t signals = WatchedSignals();
    m_signalFd = signalfd(-1, &signals, SFD_CLOEXEC);
    m_quitFd = eventfd(0, EFD_CLOEXEC);
    m_thread = std::thread([this] { Watch(); });
}

SignalWatcher::~SignalWatcher() {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(m_quitFd, &one, sizeof one);
    m_thread.join();
    close(m_signalFd);
    close(m_quitFd);
}

int SignalWatcher::WaitMs(bool ended) const {
    if (ended || !m_hasDeadline) {
        return -1;
    }
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(m_deadline - std::chrono::steady_clock::now());
    return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, std::numeric_limits<int>::max()));
}

unsigned int SignalWatcher::ReadSignal() const {
    signalfd_siginfo info{};
    const ssize_t got = read(m_signalFd, &info, sizeof info);
    return got == static_cast<ssize_t>(sizeof info) ? info.ssi_signo : 0;
}

void SignalWatcher::Watch() {
    bool ended = false;
    for (;;) {
        std::array<pollfd, 2> sources = {{{m_signalFd, POLLIN, 0}, {m_quitFd, POLLIN, 0}}};
        const int ready = poll(sources.data(), sources.size(), WaitMs(ended));
        if (ready < 0) {
            continue;
        }
        if (sources[1].revents != 0) {
            return;
        }
        const unsigned int signal = sources[0].revents != 0 ? ReadSignal() : 0;
        if (signal == SIGUSR1) {
            m_actions.report();
        } else if (signal != 0 && ended) {
            m_actions.impatient();
        } else if (signal != 0 || ready == 0) {
            ended = true;
            m_actions.end();
        }
    }
}

}  // namespace quor_terminal
