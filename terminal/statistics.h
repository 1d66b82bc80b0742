// statistics.h - what arrived, counted: the basis of the summary.
//
// Threads: the counting functions run on the link event thread, Snapshot on any.
// Locks: m_mutex guards everything.
#ifndef QUOR_TERMINAL_STATISTICS_H
#define QUOR_TERMINAL_STATISTICS_H

#include <array>
#include <cstdint>
#include <deque>
#include <string>
#include <unordered_set>

#include "mutex.h"
#include "quor_ai/ids.h"
#include "results.h"

namespace quor_terminal {

struct TextCounts {
    std::uint64_t interim = 0;
    std::uint64_t final = 0;
    std::uint64_t duplicates = 0;  // of the final ones
};

struct StatisticsSnapshot {
    std::array<std::uint64_t, kQuorAiSubIdTableSize> resultsById{};
    std::uint64_t unreadable = 0;  // results whose record was too short for their id
    TextCounts captions;
    TextCounts translations;
    std::uint64_t checkinMessages = 0;
    std::uint64_t checkins = 0;  // people in them
    std::uint64_t controls = 0;
    std::uint64_t siteMessages = 0;
    std::uint64_t sites = 0;  // in them
    std::uint64_t overlays = 0;
};

class Statistics {
public:
    void CountResult(unsigned int id) QUOR_TERMINAL_EXCLUDES(m_mutex);
    void CountUnreadable() QUOR_TERMINAL_EXCLUDES(m_mutex);

    // True: the same final text of the same speaker for the same time arrived before. Only the last
    // kRememberedFinals final texts are compared, so that memory stays flat however long a conference is.
    bool CountCaption(const Caption& caption) QUOR_TERMINAL_EXCLUDES(m_mutex);

    void CountCheckins(std::size_t people) QUOR_TERMINAL_EXCLUDES(m_mutex);

    void CountControl() QUOR_TERMINAL_EXCLUDES(m_mutex);
    void CountSites(std::size_t sites) QUOR_TERMINAL_EXCLUDES(m_mutex);
    void CountOverlay() QUOR_TERMINAL_EXCLUDES(m_mutex);

    StatisticsSnapshot Snapshot() const QUOR_TERMINAL_EXCLUDES(m_mutex);

    static constexpr std::size_t kRememberedFinals = 8192;

private:
    bool SeenBefore(const Caption& caption) QUOR_TERMINAL_REQUIRES(m_mutex);

    mutable Mutex m_mutex;
    StatisticsSnapshot m_counts QUOR_TERMINAL_GUARDED_BY(m_mutex);
    // 64-bit hashes stand for the texts: among 8192 of them two differ-but-equal ones are not to be expected
    // in the life of a product (chance below 2e-12 for each text).
    std::unordered_set<std::uint64_t> m_seen QUOR_TERMINAL_GUARDED_BY(m_mutex);
    std::deque<std::uint64_t> m_order QUOR_TERMINAL_GUARDED_BY(m_mutex);  // oldest first
};

}  // namespace quor_terminal

#endif
