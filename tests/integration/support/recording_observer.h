// recording_observer.h - an observer that keeps a copy of everything it is told, in order, and can act inside
// the notification, which is where an application subscribes.
//
// Threads: Update runs on the link event thread, everything else on the test's thread. Locks: m_mutex guards
// the record; it is not held while an action runs.
#ifndef QUOR_TESTS_INTEGRATION_RECORDING_OBSERVER_H
#define QUOR_TESTS_INTEGRATION_RECORDING_OBSERVER_H

#include <chrono>
#include <cstddef>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "platform_linux/thread_annotations.h"
#include "quor_ai/observer.h"
#include "support/patience.h"

namespace quor_test {

class RecordingObserver : public QuorAiEngine::ICloudSrvObserver {
public:
    // Runs inside Update, on the event thread.
    using Action = std::function<void(const TagAiCloudSrvResult& result)>;

    // Replaces the action for a service id; an empty one removes it. It runs before the notification is
    // recorded, so that a test that has seen the notification knows that the action has ended.
    void OnNotification(TagQuorAiSubId id, Action action) QUOR_EXCLUDES(m_mutex);

    void Update(const TagAiCloudSrvResult& result) override QUOR_EXCLUDES(m_mutex);

    // At least count notifications of a service id have come since the last Clear.
    bool WaitFor(TagQuorAiSubId id, std::size_t count, std::chrono::milliseconds patience = kPatience) const
        QUOR_EXCLUDES(m_mutex);
    std::size_t Count(TagQuorAiSubId id) const QUOR_EXCLUDES(m_mutex);
    // Of all service ids together.
    std::size_t Total() const QUOR_EXCLUDES(m_mutex);
    // The bytes of each notification of a service id, in order.
    std::vector<std::string> All(TagQuorAiSubId id) const QUOR_EXCLUDES(m_mutex);
    void Clear() QUOR_EXCLUDES(m_mutex);

    // The notifications of a service id as records. One whose length is not the record's is left out, so that
    // a test sees a count that it does not expect.
    template <typename Record>
    std::vector<Record> Records(TagQuorAiSubId id) const {
        std::vector<Record> records;
        for (const std::string& bytes : All(id)) {
            if (bytes.size() == sizeof(Record)) {
                Record record;
                std::memcpy(&record, bytes.data(), sizeof record);
                records.push_back(record);
            }
        }
        return records;
    }

private:
    mutable quor_platform::internal::Mutex m_mutex;
    mutable quor_platform::internal::Condition m_changed;
    std::map<TagQuorAiSubId, Action> m_actions QUOR_GUARDED_BY(m_mutex);
    std::map<TagQuorAiSubId, std::vector<std::string>> m_received QUOR_GUARDED_BY(m_mutex);
};

}  // namespace quor_test

#endif
