// recording_observer.h - an observer that keeps a copy of everything it is told.
#ifndef TESTS_SUPPORT_RECORDING_OBSERVER_H
#define TESTS_SUPPORT_RECORDING_OBSERVER_H

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "quor_ai/observer.h"
#include "support/failing_new.h"
#include "support/fake_platform.h"

namespace QuorTest {

class RecordingObserver : public QuorAiEngine::ICloudSrvObserver {
public:
    struct Result {
        TagQuorAiSubId id = AI_SUB_ID_CHECKIN;
        const unsigned char* data = nullptr;  // for comparison only: dead after the call
        std::string bytes;
        unsigned len = 0;
    };

    void Update(const TagAiCloudSrvResult& result) override {
        const NewsSucceed sheltered;
        Result copy;
        copy.id = result.id;
        copy.data = result.data;
        copy.len = result.len;
        if (result.data != nullptr) {
            copy.bytes.assign(reinterpret_cast<const char*>(result.data), result.len);
        }
        results.push_back(copy);
        // The order of a notification among the platform's calls is part of what tests assert.
        Fake().Mark("Notify " + std::to_string(result.id));
        if (onUpdate) {
            onUpdate(results.back());
        }
    }

    // The record of result i, which must have exactly that record's length.
    template <typename Record>
    Record As(std::size_t i) const {
        Record record{};
        if (i < results.size() && results[i].len == sizeof(Record)) {
            std::memcpy(static_cast<void*>(&record), results[i].bytes.data(), sizeof(Record));
        }
        return record;
    }

    std::vector<Result> results;
    std::function<void(const Result&)> onUpdate;
};

}  // namespace QuorTest

#endif
