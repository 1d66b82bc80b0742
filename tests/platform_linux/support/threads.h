// threads.h - runs one function on several threads at once.
#ifndef QUOR_TESTS_PLATFORM_LINUX_THREADS_H
#define QUOR_TESTS_PLATFORM_LINUX_THREADS_H

#include <cstddef>
#include <thread>
#include <vector>

// Calls body(0) to body(count - 1), each on a thread of its own, and waits for all.
template <typename Body>
void RunInThreads(int count, const Body& body) {
    std::vector<std::thread> threads;
    threads.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        threads.emplace_back([&body, i] { body(i); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

#endif
