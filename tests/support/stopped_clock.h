// stopped_clock.h - timed waits that take no time: how long they would last is known exactly, and no test
// depends on how fast the machine is.
//
// Reached are the library's and the tests' own code, templates of the standard library included: readings of
// std::chrono::system_clock and the waits of a std::condition_variable that end by that clock.
#ifndef TESTS_SUPPORT_STOPPED_CLOCK_H
#define TESTS_SUPPORT_STOPPED_CLOCK_H

#include <pthread.h>

#include <chrono>
#include <functional>
#include <vector>

namespace QuorTest {

// While it lives, the system clock stands still for the calling thread, and a timed wait of that thread is
// over at once, with the clock at the wait's deadline. Other threads wait as ever. One at a time and thread.
class StoppedClock {
public:
    using Duration = std::chrono::nanoseconds;

    StoppedClock();
    ~StoppedClock();
    StoppedClock(const StoppedClock&) = delete;
    StoppedClock& operator=(const StoppedClock&) = delete;

    // Runs within every wait, without the lock that the wait gives up. True: the wait was woken, and the
    // clock stays where it is.
    std::function<bool()> onWait;

    // Runs when this thread has just woken one waiter of a condition, before it goes on itself.
    std::function<void()> onNotifyOne;

    // What each wait asked for, in order.
    const std::vector<Duration>& Waits() const { return m_waits; }
    // How often this thread woke one waiter of a condition, or all.
    unsigned Notifications() const { return m_notifications; }
    // How often this thread asked for the time.
    unsigned Readings() const { return m_readings; }
    void Advance(Duration duration) { m_now += duration; }

    // ---- For the functions that the linker redirects ----

    static StoppedClock* OfThisThread();
    Duration Read();
    // Returns what pthread_cond_timedwait returns.
    int Wait(pthread_mutex_t* mutex, Duration deadline);
    void AfterNotifyOne();
    void AfterNotifyAll() { ++m_notifications; }

private:
    Duration m_now;  // since 1970-01-01
    std::vector<Duration> m_waits;
    unsigned m_notifications = 0;
    unsigned m_readings = 0;
};

}  // namespace QuorTest

#endif
