// platform_thread.h - how the platform makes its own threads.
#ifndef QUOR_PLATFORM_LINUX_PLATFORM_THREAD_H
#define QUOR_PLATFORM_LINUX_PLATFORM_THREAD_H

#include <pthread.h>
#include <signal.h>

#include <thread>
#include <utility>

#include "quor_platform/os.h"

namespace quor_platform::internal {

// Starts a named thread that takes no signals, so that a program's handlers run on the program's threads.
// name has at most 15 characters and outlives the start (a literal). Throws std::system_error or
// std::bad_alloc.
template <typename Body>
std::thread StartThread(const char* name, Body body) {
    struct SignalsOff {
        SignalsOff() {
            sigset_t all;
            sigfillset(&all);
            pthread_sigmask(SIG_SETMASK, &all, &m_before);
        }
        ~SignalsOff() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
        SignalsOff(const SignalsOff&) = delete;
        SignalsOff& operator=(const SignalsOff&) = delete;
        sigset_t m_before{};
    };
    const SignalsOff inheritedByTheThread;
    return std::thread([name, body = std::move(body)]() mutable {
        OsPthreadSetName(name);
        body();
    });
}

}  // namespace quor_platform::internal

#endif
