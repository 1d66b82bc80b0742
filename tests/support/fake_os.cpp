// Mutexes, timers, messages, clock and thread names.
#include "quor_platform/os.h"

#include <condition_variable>
#include <utility>

#include "support/failing_new.h"
#include "support/fake_platform.h"

using QuorTest::Fake;
using QuorTest::Fn;

namespace QuorTest {

namespace {
std::condition_variable& Released() {
    static std::condition_variable& condition = *new std::condition_variable;
    return condition;
}
}  // namespace

unsigned FakePlatform::Lock(OsMutex* m) {
    const NewsSucceed sheltered;
    if (m == nullptr) {
        Violation("OsMutexLock: null");
        return 1;
    }
    if (Enter(Fn::MutexLock)) {
        const std::lock_guard<std::mutex> guard(mutex);
        m_lockFaultHit = true;
        return FailResult(Fn::MutexLock);
    }
    std::unique_lock<std::mutex> guard(mutex);
    const auto owner = m_owners.find(m);
    if (owner != m_owners.end() && owner->second == std::this_thread::get_id()) {
        violations.emplace_back("OsMutexLock: locked twice by one thread");
        return 1;
    }
    Released().wait(guard, [&] { return m_owners.find(m) == m_owners.end(); });
    m_owners[m] = std::this_thread::get_id();
    return 0;
}

unsigned FakePlatform::Unlock(OsMutex* m) {
    const bool fails = Enter(Fn::MutexUnlock);
    {
        const std::lock_guard<std::mutex> guard(mutex);
        const auto owner = m_owners.find(m);
        if (owner == m_owners.end() || owner->second != std::this_thread::get_id()) {
            if (!m_lockFaultHit) {  // a lock that was made to fail is not held, whoever unlocks it afterwards
                violations.emplace_back("OsMutexUnLock: not held by this thread");
            }
            return 1;
        }
        m_owners.erase(owner);
    }
    Released().notify_all();
    return fails ? FailResult(Fn::MutexUnlock) : 0;
}

bool FakePlatform::IsLocked(const OsMutex* m) const {
    const std::lock_guard<std::mutex> guard(mutex);
    return m_owners.count(m) != 0;
}

std::size_t FakePlatform::LocksHeld() const {
    const std::lock_guard<std::mutex> guard(mutex);
    return m_owners.size();
}

void FakePlatform::FireTimer(OsRelTimer t) {
    OsRelTimerCallback callback = nullptr;
    void* arg = nullptr;
    {
        const std::lock_guard<std::mutex> guard(mutex);
        const auto it = timers.find(t);
        if (it == timers.end() || !it->second.running) {
            violations.emplace_back("FireTimer: not running");
            return;
        }
        callback = it->second.callback;
        arg = it->second.arg;
        it->second.running = it->second.mode == OS_REL_TIMER_MODE_REPEAT;
    }
    callback(arg);
}

}  // namespace QuorTest

namespace {

// The record of a live timer, or null; the caller holds the fake's mutex.
QuorTest::TimerRecord* FindTimer(OsRelTimer t, const char* who) {
    const auto it = Fake().timers.find(t);
    if (it == Fake().timers.end() || it->second.freed) {
        Fake().violations.emplace_back(std::string(who) + ": unknown timer");
        return nullptr;
    }
    return &it->second;
}

}  // namespace

extern "C" {

// The fake decides who owns what; its own locking is invisible to the analysis.
QUOR_PLATFORM_THREAD_ATTRIBUTE(no_thread_safety_analysis) unsigned int OsMutexLock(OsMutex* m) {
    return Fake().Lock(m);
}
QUOR_PLATFORM_THREAD_ATTRIBUTE(no_thread_safety_analysis) unsigned int OsMutexUnLock(OsMutex* m) {
    return Fake().Unlock(m);
}

OsRelTimer OsCreateRelTimerM(OsRelTimerCallback callback, void* arg, unsigned int line, const char* file) {
    const QuorTest::NewsSucceed sheltered;
    if (Fake().Enter(Fn::CreateTimer)) {
        return nullptr;
    }
    const std::lock_guard<std::mutex> guard(Fake().mutex);
    // Handles count up and are no pointers: nobody may follow one.
    // NOLINTNEXTLINE(performance-no-int-to-ptr)
    auto* handle = reinterpret_cast<OsRelTimer>(0x1000 + Fake().timers.size() * 16);
    QuorTest::TimerRecord& timer = Fake().timers[handle];
    timer.callback = callback;
    timer.arg = arg;
    timer.line = line;
    timer.file = file == nullptr ? "" : file;
    return handle;
}

unsigned int OsStartRelTimer(OsRelTimer t, unsigned int periodMs, unsigned int mode) {
    const bool fails = Fake().Enter(Fn::StartTimer);
    const std::lock_guard<std::mutex> guard(Fake().mutex);
    QuorTest::TimerRecord* timer = FindTimer(t, "OsStartRelTimer");
    if (timer == nullptr || fails) {
        return Fake().FailResult(Fn::StartTimer);
    }
    timer->running = true;
    timer->periodMs = periodMs;
    timer->mode = mode;
    return 0;
}

unsigned int OsStopRelTimerSafe(OsRelTimer t) {
    const bool fails = Fake().Enter(Fn::StopTimer);
    const std::lock_guard<std::mutex> guard(Fake().mutex);
    QuorTest::TimerRecord* timer = FindTimer(t, "OsStopRelTimerSafe");
    if (timer == nullptr || fails) {
        return Fake().FailResult(Fn::StopTimer);
    }
    timer->running = false;
    return 0;
}

unsigned int OsFreeRelTimer(OsRelTimer t) {
    const bool fails = Fake().Enter(Fn::FreeTimer);
    const std::lock_guard<std::mutex> guard(Fake().mutex);
    QuorTest::TimerRecord* timer = FindTimer(t, "OsFreeRelTimer");
    if (timer == nullptr || fails) {
        return Fake().FailResult(Fn::FreeTimer);
    }
    timer->running = false;
    timer->freed = true;
    return 0;
}

unsigned int OsMsgAsynSend(void* msg) {
    const bool fails = Fake().Enter(Fn::MsgSend);
    const std::lock_guard<std::mutex> guard(Fake().mutex);
    Fake().messages.emplace_back(static_cast<const char*>(msg), OS_MSG_SIZE);
    return fails ? Fake().FailResult(Fn::MsgSend) : 0;
}

unsigned int OsGetSysTimeSec(void) {
    Fake().Enter(Fn::SysTime);
    return Fake().nowSec;
}

int OsPthreadSetName(const char* name) {
    const QuorTest::NewsSucceed sheltered;
    const bool fails = Fake().Enter(Fn::SetThreadName) || name == nullptr;
    const std::lock_guard<std::mutex> guard(Fake().mutex);
    Fake().threadNames.emplace_back(name == nullptr ? "" : name);
    return fails ? -1 : 0;
}

}  // extern "C"
