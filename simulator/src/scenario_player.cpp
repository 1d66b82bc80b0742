#include "scenario_player.h"

#include <pthread.h>

#include <utility>

namespace quor_simulator {

void ScenarioPlayer::Play(Scenario scenario, double speed) {
    MutexLock threadLock(m_threadMutex);
    {
        MutexLock lock(m_mutex);
        if (m_playing) {
            throw Error("a scenario is playing");
        }
        m_playing = true;
        m_stop = false;
        m_result = {};
    }
    if (m_thread.joinable()) {
        m_thread.join();
    }
    m_thread = std::thread([this, scenario = std::move(scenario), speed] {
        pthread_setname_np(pthread_self(), "quor-sim-play");
        Run(scenario, speed);
    });
}

void ScenarioPlayer::Stop() {
    MutexLock threadLock(m_threadMutex);
    {
        MutexLock lock(m_mutex);
        m_stop = true;
        m_changed.NotifyAll();
    }
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

bool ScenarioPlayer::WaitEnd(Milliseconds timeout) const {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    MutexLock lock(m_mutex);
    while (m_playing && m_changed.WaitUntil(m_mutex, deadline)) {
    }
    return !m_playing;
}

ScenarioResult ScenarioPlayer::GetResult() const {
    MutexLock lock(m_mutex);
    return m_result;
}

void ScenarioPlayer::Run(const Scenario& scenario, double speed) {
    const auto start = std::chrono::steady_clock::now();
    const auto timeOf = [&](Milliseconds at) {
        const std::chrono::duration<double, std::milli> scaled(static_cast<double>(at.count()) / speed);
        return start + std::chrono::duration_cast<std::chrono::steady_clock::duration>(scaled);
    };
    bool stopped = false;
    for (std::uint64_t round = 0; !stopped && (scenario.repeat == 0 || round < scenario.repeat); ++round) {
        const Milliseconds begin = scenario.period * static_cast<Milliseconds::rep>(round);
        for (const ScenarioAction& action : scenario.actions) {
            stopped = !SleepUntil(timeOf(begin + action.at));
            if (stopped) {
                break;
            }
            Perform(action);
        }
    }
    MutexLock lock(m_mutex);
    m_result.finished = !stopped;
    m_playing = false;
    m_changed.NotifyAll();
}

/* false: stopped. */
bool ScenarioPlayer::SleepUntil(std::chrono::steady_clock::time_point time) {
    MutexLock lock(m_mutex);
    while (!m_stop && m_changed.WaitUntil(m_mutex, time)) {
    }
    return !m_stop;
}

void ScenarioPlayer::Perform(const ScenarioAction& action) {
    std::size_t reached = 0;
    if (action.rest) {
        action.rest(m_rest); /* before the message: who gets it and asks sees it listed */
    }
    if (action.message) {
        reached = m_hub.Publish(action.message->destination, action.message->body, action.message->options);
    } else if (action.fault) {
        action.fault(m_hub);
    }
    MutexLock lock(m_mutex);
    ++m_result.actionsPlayed;
    m_result.linkDrops += action.isDrop ? 1 : 0;
    if (action.message) {
        m_result.messagesPublished += reached > 0 ? 1 : 0;
        m_result.messagesUnheard += reached > 0 ? 0 : 1;
    }
}

}  // namespace quor_simulator
