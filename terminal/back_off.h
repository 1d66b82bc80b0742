// back_off.h - how long to wait before the next attempt to rebuild a link.
//
// Full jitter: attempt n waits for a time drawn evenly from [0, min(cap, base * 2^n)]. When a server
// restarts, all its terminals lose their links in the same instant; waits drawn over the whole span spread
// their return, where a fixed or lightly jittered wait would bring them back in waves.
//
// Threads: none of its own; the caller serialises.
#ifndef QUOR_TERMINAL_BACK_OFF_H
#define QUOR_TERMINAL_BACK_OFF_H

#include <chrono>
#include <functional>

namespace quor_terminal {

class BackOff {
public:
    // Draws evenly from [0, 1).
    using Random = std::function<double()>;

    BackOff(std::chrono::milliseconds base, std::chrono::milliseconds cap, Random random);

    // The wait before the next attempt; every call counts as one attempt.
    std::chrono::milliseconds Next();

    // The longest wait that Next can return now.
    std::chrono::milliseconds Ceiling() const;

    // The next wait is drawn from [0, base] again.
    void Reset() { m_attempts = 0; }

    unsigned int Attempts() const { return m_attempts; }

private:
    std::chrono::milliseconds m_base;
    std::chrono::milliseconds m_cap;
    Random m_random;
    unsigned int m_attempts = 0;
};

// A Random over the system's random device: terminals that start together must not draw the same waits.
BackOff::Random MakeSystemRandom();

}  // namespace quor_terminal

#endif
