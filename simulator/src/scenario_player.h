/*
 * scenario_player.h - plays a scenario's actions at their times on a thread of its own.
 *
 * Locks: one mutex over the state, not held while an action runs; one over the thread object, held while it
 * is started or joined. All functions may be called from any thread.
 */
#ifndef QUOR_SIMULATOR_SCENARIO_PLAYER_H
#define QUOR_SIMULATOR_SCENARIO_PLAYER_H

#include <thread>

#include "hub.h"
#include "scenario.h"
#include "sync.h"

namespace quor_simulator {

class ScenarioPlayer {
public:
    ScenarioPlayer(Hub& hub, Rest& rest) : m_hub(hub), m_rest(rest) {}
    ~ScenarioPlayer() { Stop(); }
    ScenarioPlayer(const ScenarioPlayer&) = delete;
    ScenarioPlayer& operator=(const ScenarioPlayer&) = delete;

    /* Times are divided by speed. Throws Error while one is playing. */
    void Play(Scenario scenario, double speed);
    void Stop();                              /* returns when the thread has ended */
    bool WaitEnd(Milliseconds timeout) const; /* true at once when none is playing */
    ScenarioResult GetResult() const;

private:
    void Run(const Scenario& scenario, double speed);
    bool SleepUntil(std::chrono::steady_clock::time_point time);
    void Perform(const ScenarioAction& action);

    Hub& m_hub;
    Rest& m_rest;
    Mutex m_threadMutex; /* start and end of the thread; taken before m_mutex */
    std::thread m_thread QUOR_SIM_GUARDED_BY(m_threadMutex);
    mutable Mutex m_mutex;
    mutable CondVar m_changed;
    bool m_playing QUOR_SIM_GUARDED_BY(m_mutex) = false;
    bool m_stop QUOR_SIM_GUARDED_BY(m_mutex) = false;
    ScenarioResult m_result QUOR_SIM_GUARDED_BY(m_mutex);
};

}  // namespace quor_simulator

#endif
