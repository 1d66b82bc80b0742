#include "platform_linux/dns/address_names.h"

#include <algorithm>
#include <chrono>
#include <deque>

#include "platform_linux/thread_annotations.h"

namespace quor_platform::internal {
namespace {

using Clock = std::chrono::steady_clock;

// Enough for every server a terminal talks to; a linear search over them costs nothing beside a request.
constexpr std::size_t kMostAnswers = 256;
constexpr std::chrono::hours kKept{24};

struct Answer {
    std::uint32_t ipv4;
    std::string name;
    Clock::time_point when;
};

struct Answers {
    Mutex mutex;
    std::deque<Answer> newestFirst QUOR_GUARDED_BY(mutex);
};

Answers& Stored() {
    static auto* const answers = new Answers;
    return *answers;
}

}  // namespace

void RememberName(std::uint32_t ipv4, const std::string& name) {
    Answers& answers = Stored();
    const MutexLock lock(answers.mutex);
    auto& list = answers.newestFirst;
    const auto old = std::find_if(list.begin(), list.end(), [&](const Answer& a) { return a.ipv4 == ipv4; });
    if (old != list.end()) {
        list.erase(old);
    } else if (list.size() == kMostAnswers) {
        list.pop_back();
    }
    list.push_front({ipv4, name, Clock::now()});
}

std::string NameOfAddress(std::uint32_t ipv4) {
    Answers& answers = Stored();
    const MutexLock lock(answers.mutex);
    for (const Answer& answer : answers.newestFirst) {
        if (answer.ipv4 == ipv4) {
            return Clock::now() - answer.when < kKept ? answer.name : std::string();
        }
    }
    return {};
}

void ForgetNames() {
    Answers& answers = Stored();
    const MutexLock lock(answers.mutex);
    answers.newestFirst.clear();
}

CancelRegistry& BlockingLookups() {
    static auto* const registry = new CancelRegistry;
    return *registry;
}

}  // namespace quor_platform::internal
