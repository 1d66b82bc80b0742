// timers.cpp - relative timers: one thread, the deadlines in an ordered set, callbacks outside the lock.
//
// A handle is a number that is never used twice, cast to a pointer: a stale or invented handle is looked up
// and refused, never followed.

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <set>
#include <thread>
#include <utility>

#include "platform_linux/host_state.h"
#include "platform_linux/platform_thread.h"
#include "platform_linux/services.h"
#include "platform_linux/thread_annotations.h"
#include "quor_platform/os.h"
#include "quor_platform_linux/host.h"

namespace {

using quor_platform::LogHost;
using quor_platform::internal::Condition;
using quor_platform::internal::Mutex;
using quor_platform::internal::MutexLock;
using Clock = std::chrono::steady_clock;
using TimerId = std::uintptr_t;  // 0 is no timer

// A callback that runs longer delays all other timers noticeably and is logged.
constexpr std::chrono::milliseconds kSlowCallback{1000};

constexpr double kSmallestScale = 1e-6;
constexpr double kLargestScale = 1e6;
std::atomic<double> timerScale{1.0};

// 32 bits of milliseconds times the largest scale: no overflow.
std::chrono::milliseconds Scaled(unsigned int periodMs) {
    return std::chrono::milliseconds(std::max(1LL, static_cast<long long>(periodMs * timerScale.load())));
}

class TimerService {
public:
    static TimerService& Get();

    TimerId Create(OsRelTimerCallback callback, void* arg, unsigned int line, const char* file);
    unsigned int Start(TimerId id, std::chrono::milliseconds period, bool repeat);
    unsigned int Stop(TimerId id, bool release);
    void Shutdown();

private:
    struct Timer {
        OsRelTimerCallback callback;
        void* arg;
        unsigned int line;
        const char* file;
        std::chrono::milliseconds period{0};
        bool repeat = false;
        bool scheduled = false;
        Clock::time_point due{};    // valid while scheduled
        unsigned int stoppers = 0;  // threads in Stop that wait for the running callback
    };

    void EndBeforeOwners(const char* file, unsigned int line) QUOR_REQUIRES(m_mutex);
    void Schedule(TimerId id, Timer& timer, Clock::time_point due) QUOR_REQUIRES(m_mutex);
    void Unschedule(TimerId id, Timer& timer) QUOR_REQUIRES(m_mutex);
    void Run();
    void RunTimer(TimerId id) QUOR_REQUIRES(m_mutex);

    Mutex m_mutex;
    Condition m_wake;      // the schedule's front changed, or the thread is to end
    Condition m_finished;  // a callback returned
    TimerId m_lastId QUOR_GUARDED_BY(m_mutex) = 0;
    std::map<TimerId, Timer> m_timers QUOR_GUARDED_BY(m_mutex);
    std::set<std::pair<const char*, unsigned int>> m_places QUOR_GUARDED_BY(m_mutex);  // that made timers
    std::set<std::pair<Clock::time_point, TimerId>> m_schedule QUOR_GUARDED_BY(m_mutex);
    TimerId m_running QUOR_GUARDED_BY(m_mutex) = 0;  // whose callback runs now
    bool m_ending QUOR_GUARDED_BY(m_mutex) = false;
    std::thread m_thread QUOR_GUARDED_BY(m_mutex);
    std::thread::id m_threadId QUOR_GUARDED_BY(m_mutex);  // also while Shutdown joins the thread
};

// Never destroyed: callbacks of a program that ends by _exit or inside a callback may still run then.
TimerService& TimerService::Get() {
    static TimerService* const service = new TimerService;
    return *service;
}

TimerId TimerService::Create(OsRelTimerCallback callback, void* arg, unsigned int line, const char* file) {
    const MutexLock lock(m_mutex);
    EndBeforeOwners(file, line);
    const TimerId id = m_lastId + 1;
    m_timers.emplace(id, Timer{callback, arg, line, file});
    m_lastId = id;
    return id;
}

// The process's exit handlers destroy what callbacks use, the latest made first. Whatever a timer of this
// place needs was made before it, so a handler from now ends the timers in time. One for each place, since
// timers that come and go would otherwise leave handlers without end.
void TimerService::EndBeforeOwners(const char* file, unsigned int line) {
    if (m_places.emplace(file, line).second) {
        std::atexit([] { Get().Shutdown(); });
    }
}

unsigned int TimerService::Start(TimerId id, std::chrono::milliseconds period, bool repeat) {
    const MutexLock lock(m_mutex);
    const auto found = m_timers.find(id);
    if (found == m_timers.end()) {
        return EINVAL;
    }
    Timer& timer = found->second;
    if (m_ending || timer.stoppers > 0) {
        return ECANCELED;  // whoever stops the timer now was promised that nothing runs afterwards
    }
    if (!m_thread.joinable()) {
        m_thread = quor_platform::internal::StartThread("quor-timer", [this] { Run(); });
        m_threadId = m_thread.get_id();
    }
    Unschedule(id, timer);
    timer.period = period;
    timer.repeat = repeat;
    Schedule(id, timer, Clock::now() + period);
    m_wake.NotifyOne();
    return 0;
}

unsigned int TimerService::Stop(TimerId id, bool release) {
    MutexLock lock(m_mutex);
    auto found = m_timers.find(id);
    if (found == m_timers.end()) {
        return EINVAL;
    }
    Unschedule(id, found->second);
    if (m_running == id && std::this_thread::get_id() != m_threadId) {
        ++found->second.stoppers;
        while (m_running == id) {
            m_finished.Wait(lock);
        }
        found = m_timers.find(id);  // its callback may have released it
        if (found == m_timers.end()) {
            return 0;
        }
        --found->second.stoppers;
    }
    if (release) {
        m_timers.erase(found);
    }
    return 0;
}

void TimerService::Shutdown() {
    std::thread ending;
    {
        MutexLock lock(m_mutex);
        if (std::this_thread::get_id() == m_threadId) {
            lock.Unlock();
            LogHost(QUOR_OM_LOG_LEVEL_ERROR, "Shutdown was called from a timer callback: timers go on");
            return;
        }
        if (!m_thread.joinable()) {
            return;
        }
        for (auto& [id, timer] : m_timers) {
            Unschedule(id, timer);
        }
        m_ending = true;
        m_wake.NotifyOne();
        ending = std::move(m_thread);
    }
    ending.join();
    const MutexLock lock(m_mutex);
    m_threadId = std::thread::id();
    m_ending = false;
}

void TimerService::Schedule(TimerId id, Timer& timer, Clock::time_point due) {
    m_schedule.emplace(due, id);
    timer.due = due;
    timer.scheduled = true;
}

void TimerService::Unschedule(TimerId id, Timer& timer) {
    if (timer.scheduled) {
        m_schedule.erase({timer.due, id});
        timer.scheduled = false;
    }
}

void TimerService::Run() {
    MutexLock lock(m_mutex);
    while (!m_ending) {
        if (m_schedule.empty()) {
            m_wake.Wait(lock);
            continue;
        }
        const auto [due, id] = *m_schedule.begin();
        if (Clock::now() < due) {
            m_wake.WaitUntil(lock, due);
            continue;
        }
        RunTimer(id);
    }
}

// Runs the callback of a timer that is due, without the lock. Allocates nothing: the schedule's node moves.
void TimerService::RunTimer(TimerId id) {
    Timer& timer = m_timers.at(id);
    const Timer call = timer;
    const Clock::time_point begin = Clock::now();
    auto node = m_schedule.extract({timer.due, id});
    timer.scheduled = call.repeat;
    if (call.repeat) {
        // From the schedule, not from now, so that periods do not drift; what a stall made us miss is
        // skipped.
        const auto missed = (begin - call.due) / call.period;
        timer.due = call.due + (missed + 1) * call.period;
        node.value().first = timer.due;
        m_schedule.insert(std::move(node));
    }
    m_running = id;
    m_mutex.unlock();
    call.callback(call.arg);
    const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin);
    if (took > kSlowCallback) {
        LogHost(QUOR_OM_LOG_LEVEL_WARNING, "the callback of the timer made at %s:%u took %lld ms",
                call.file != nullptr ? call.file : "?", call.line, static_cast<long long>(took.count()));
    }
    m_mutex.lock();
    m_running = 0;
    m_finished.NotifyAll();
}

TimerId IdOf(OsRelTimer t) {
    return reinterpret_cast<TimerId>(t);
}

}  // namespace

bool quor_platform::SetTimerScale(double factor) {
    if (!(factor >= kSmallestScale && factor <= kLargestScale)) {  // not a number neither
        return false;
    }
    timerScale = factor;
    return true;
}

void quor_platform::internal::ShutdownTimers() {
    TimerService::Get().Shutdown();
}

OsRelTimer OsCreateRelTimerM(OsRelTimerCallback callback, void* arg, unsigned int line, const char* file) {
    if (callback == nullptr) {
        return nullptr;
    }
    try {
        // NOLINTNEXTLINE(performance-no-int-to-ptr): a handle, never followed
        return reinterpret_cast<OsRelTimer>(TimerService::Get().Create(callback, arg, line, file));
    } catch (...) {
        return nullptr;
    }
}

unsigned int OsStartRelTimer(OsRelTimer t, unsigned int periodMs, unsigned int mode) {
    if (periodMs == 0 || (mode != OS_REL_TIMER_MODE_REPEAT && mode != OS_REL_TIMER_MODE_ONCE)) {
        return EINVAL;
    }
    try {
        return TimerService::Get().Start(IdOf(t), Scaled(periodMs), mode == OS_REL_TIMER_MODE_REPEAT);
    } catch (...) {
        return EAGAIN;  // no thread or no memory
    }
}

unsigned int OsStopRelTimerSafe(OsRelTimer t) {
    return TimerService::Get().Stop(IdOf(t), false);
}

unsigned int OsFreeRelTimer(OsRelTimer t) {
    return TimerService::Get().Stop(IdOf(t), true);
}
