// patience.h - how long a test waits for a condition before it gives up.
#ifndef QUOR_TESTS_INTEGRATION_PATIENCE_H
#define QUOR_TESTS_INTEGRATION_PATIENCE_H

#include <chrono>
#include <thread>

namespace quor_test {

// A bound, not a pause: a test that passes waits as long as its condition takes, which is milliseconds. It is
// wide enough for a loaded machine and a sanitizer together.
inline constexpr std::chrono::milliseconds kPatience{20000};

// Waits for a condition that nobody announces. False: it did not come true in time.
template <typename Condition>
bool Eventually(Condition condition) {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

}  // namespace quor_test

#endif
