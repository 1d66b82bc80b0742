#include "support/stopped_clock.h"

#include <pthread.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstdint>

namespace QuorTest {

namespace {

thread_local StoppedClock* t_clock = nullptr;

}  // namespace

StoppedClock::StoppedClock() : m_now(std::chrono::system_clock::now().time_since_epoch()) {
    t_clock = this;
}

StoppedClock::~StoppedClock() {
    t_clock = nullptr;
}

StoppedClock* StoppedClock::OfThisThread() {
    return t_clock;
}

StoppedClock::Duration StoppedClock::Read() {
    ++m_readings;
    return m_now;
}

void StoppedClock::AfterNotifyOne() {
    ++m_notifications;
    if (onNotifyOne) {
        onNotifyOne();
    }
}

int StoppedClock::Wait(pthread_mutex_t* mutex, Duration deadline) {
    m_waits.push_back(deadline - m_now);
    pthread_mutex_unlock(mutex);
    const bool woken = onWait && onWait();
    pthread_mutex_lock(mutex);
    if (woken) {
        return 0;
    }
    m_now = std::max(m_now, deadline);
    return ETIMEDOUT;
}

}  // namespace QuorTest

using QuorTest::StoppedClock;

// The linker redirects these here (--wrap, see CMakeLists.txt), some by their mangled names. A time point
// travels as its count of nanoseconds.
extern "C" {

std::int64_t __real__ZNSt6chrono3_V212system_clock3nowEv();
std::int64_t __wrap__ZNSt6chrono3_V212system_clock3nowEv();
int __real_pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                  const timespec* deadline);
int __wrap_pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                  const timespec* deadline);
void __real__ZNSt18condition_variable10notify_oneEv(std::condition_variable* self);
void __wrap__ZNSt18condition_variable10notify_oneEv(std::condition_variable* self);
void __real__ZNSt18condition_variable10notify_allEv(std::condition_variable* self);
void __wrap__ZNSt18condition_variable10notify_allEv(std::condition_variable* self);

std::int64_t __wrap__ZNSt6chrono3_V212system_clock3nowEv() {
    StoppedClock* clock = StoppedClock::OfThisThread();
    return clock == nullptr ? __real__ZNSt6chrono3_V212system_clock3nowEv() : clock->Read().count();
}

int __wrap_pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                  const timespec* deadline) {
    StoppedClock* clock = StoppedClock::OfThisThread();
    if (clock == nullptr) {
        return __real_pthread_cond_timedwait(condition, mutex, deadline);
    }
    return clock->Wait(mutex,
                       std::chrono::seconds(deadline->tv_sec) + std::chrono::nanoseconds(deadline->tv_nsec));
}

void __wrap__ZNSt18condition_variable10notify_oneEv(std::condition_variable* self) {
    __real__ZNSt18condition_variable10notify_oneEv(self);
    if (StoppedClock* clock = StoppedClock::OfThisThread()) {
        clock->AfterNotifyOne();
    }
}

void __wrap__ZNSt18condition_variable10notify_allEv(std::condition_variable* self) {
    __real__ZNSt18condition_variable10notify_allEv(self);
    if (StoppedClock* clock = StoppedClock::OfThisThread()) {
        clock->AfterNotifyAll();
    }
}

}  // extern "C"
