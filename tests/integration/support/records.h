// records.h - the application's side of a test: log records, close notices and link events as they arrive.
//
// Threads: Add runs on threads of the platform, everything else on the test's thread.
#ifndef QUOR_TESTS_INTEGRATION_RECORDS_H
#define QUOR_TESTS_INTEGRATION_RECORDS_H

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "platform_linux/thread_annotations.h"
#include "support/patience.h"

namespace quor_test {

// What arrives on another thread, in order.
template <typename Item>
class Records {
public:
    using Predicate = std::function<bool(const Item&)>;

    void Add(Item item) QUOR_EXCLUDES(m_mutex) {
        quor_platform::internal::MutexLock lock(m_mutex);
        m_items.push_back(std::move(item));
        m_changed.NotifyAll();
    }

    std::vector<Item> All() const QUOR_EXCLUDES(m_mutex) {
        quor_platform::internal::MutexLock lock(m_mutex);
        return m_items;
    }
    std::size_t Count() const QUOR_EXCLUDES(m_mutex) {
        quor_platform::internal::MutexLock lock(m_mutex);
        return m_items.size();
    }
    std::size_t Count(const Predicate& predicate) const QUOR_EXCLUDES(m_mutex) {
        quor_platform::internal::MutexLock lock(m_mutex);
        return Matching(predicate);
    }
    void Clear() QUOR_EXCLUDES(m_mutex) {
        quor_platform::internal::MutexLock lock(m_mutex);
        m_items.clear();
    }

    // At least count items for which predicate holds have arrived since the last Clear.
    bool WaitFor(
        std::size_t count, const Predicate& predicate = [](const Item&) { return true; },
        std::chrono::milliseconds patience = kPatience) const QUOR_EXCLUDES(m_mutex) {
        const auto deadline = std::chrono::steady_clock::now() + patience;
        quor_platform::internal::MutexLock lock(m_mutex);
        while (Matching(predicate) < count) {
            if (!m_changed.WaitUntil(lock, deadline)) {
                return Matching(predicate) >= count;
            }
        }
        return true;
    }

private:
    std::size_t Matching(const Predicate& predicate) const QUOR_REQUIRES(m_mutex) {
        return static_cast<std::size_t>(std::count_if(m_items.begin(), m_items.end(), predicate));
    }

    mutable quor_platform::internal::Mutex m_mutex;
    mutable quor_platform::internal::Condition m_changed;
    std::vector<Item> m_items QUOR_GUARDED_BY(m_mutex);
};

struct LogLine {
    unsigned int level = 0;
    std::string module;
    std::string text;
};

struct LinkEvent {
    unsigned int event = 0;
    unsigned int linkId = 0;
    unsigned int linkType = 0;
};

}  // namespace quor_test

#endif
