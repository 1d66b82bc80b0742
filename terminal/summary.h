// summary.h - the account of a run, for people and for programs.
#ifndef QUOR_TERMINAL_SUMMARY_H
#define QUOR_TERMINAL_SUMMARY_H

#include <string>

#include "statistics.h"

namespace quor_terminal {

struct Summary {
    StatisticsSnapshot counts;
    unsigned int connects = 0;  // links that came up with everything subscribed
    unsigned int losses = 0;    // of such links
    double seconds = 0;
    int exitCode = 0;
    bool wholeConference = false;  // control, sites and overlay were wanted too
};

std::string SummaryText(const Summary& summary);

// One JSON document; docs/terminal.md lists its members.
std::string SummaryJson(const Summary& summary);

// Writes text under path so that a reader finds the old file or the whole new one. False: message says why
// not.
bool WriteFileWhole(const std::string& path, const std::string& text, std::string& message);

}  // namespace quor_terminal

#endif
