// liveness.h - the timer callback of the ten-minute report.
#ifndef CONFERENCE_CHANNEL_LIVENESS_H
#define CONFERENCE_CHANNEL_LIVENESS_H

namespace QuorAiEngine {

// Runs on the platform's timer thread; arg is not used.
void SubAliveCallback(void* arg) noexcept;

}  // namespace QuorAiEngine

#endif
