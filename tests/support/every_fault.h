// every_fault.h - runs a piece of work again and again, each time with another call of the platform failing:
// every call of every function that can fail, in turn, once and for ever after.
#ifndef TESTS_SUPPORT_EVERY_FAULT_H
#define TESTS_SUPPORT_EVERY_FAULT_H

#include <gtest/gtest.h>

#include <mutex>
#include <string>

#include "support/fake_platform.h"

namespace QuorTest {

// Whether the contract of fn knows a failure.
inline bool IsBreakable(Fn fn) {
    switch (fn) {
        case Fn::HeapFree:
        case Fn::Base64Free:
        case Fn::Usleep:
        case Fn::LogFileId:
        case Fn::TraceLevel:
        case Fn::TraceString:
        case Fn::TracePrintf:
        case Fn::SysTime:
            return false;
        default:
            return true;
    }
}

// prepare() runs without faults, work() with one, check(where) after it. Ends at the first failed
// expectation. Returns the number of faults that were hit.
template <typename Prepare, typename Work, typename Check>
unsigned ForEveryFault(const Prepare& prepare, const Work& work, const Check& check) {
    unsigned faults = 0;
    for (std::size_t i = 0; i < kFnCount; ++i) {
        const Fn fn = static_cast<Fn>(i);
        for (const FailMode mode : {FailMode::kOnce, FailMode::kFromThenOn}) {
            bool hit = IsBreakable(fn);
            for (unsigned nth = 1; hit && !::testing::Test::HasFailure(); ++nth) {
                prepare();
                Fake().FailCall(fn, nth, mode);
                work();
                {
                    const std::lock_guard<std::mutex> guard(Fake().mutex);
                    hit = Fake().FaultHit(fn);
                }
                faults += hit ? 1 : 0;
                check(std::string(FnName(fn)) + " " + std::to_string(nth) +
                      (mode == FailMode::kOnce ? " once" : " and ever after"));
            }
        }
    }
    return faults;
}

}  // namespace QuorTest

#endif
