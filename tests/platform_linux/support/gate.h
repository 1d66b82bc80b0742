// gate.h - what tests wait with: a gate that opens once, and a count that others reach. Waits have a bound
// that no machine needs, so that a defect fails the test instead of hanging it.
#ifndef QUOR_TESTS_PLATFORM_LINUX_GATE_H
#define QUOR_TESTS_PLATFORM_LINUX_GATE_H

#include <chrono>
#include <condition_variable>
#include <mutex>

class Counter {
public:
    void Add() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        ++m_count;
        m_changed.notify_all();
    }
    int Value() const {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_count;
    }
    // False: the count was not reached within a minute.
    bool Reached(int count) const {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, std::chrono::minutes(1), [&] { return m_count >= count; });
    }

private:
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    int m_count = 0;
};

class Gate {
public:
    void Open() { m_opened.Add(); }
    bool IsOpen() const { return m_opened.Value() > 0; }
    bool Wait() const { return m_opened.Reached(1); }

private:
    Counter m_opened;
};

#endif
