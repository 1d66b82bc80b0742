// thread_state.h - knowing that a thread waits, without a guess at how long it needs to get there.
#ifndef TESTS_SUPPORT_THREAD_STATE_H
#define TESTS_SUPPORT_THREAD_STATE_H

#include <sys/types.h>

#include <atomic>
#include <cstddef>

namespace QuorTest {

// The calling thread's number, as WaitUntilAsleep takes it.
pid_t ThreadNumber();

// Returns once the thread whose number stands (or is going to stand) in number sleeps in the kernel. The
// thread stores its number as the last step before what it waits in.
void WaitUntilAsleep(const std::atomic<pid_t>& number);

// Threads of this process. One that was joined may still be counted for a moment.
std::size_t ThreadCount();

// Returns once there are no more than so many: hangs, and fails by its time limit, when one stays.
void WaitForThreads(std::size_t atMost);

}  // namespace QuorTest

#endif
