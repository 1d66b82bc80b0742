/* report.h - what the program writes for machines: the ready-file and the statistics, both JSON. */
#ifndef QUOR_SIMULATOR_PROGRAM_REPORT_H
#define QUOR_SIMULATOR_PROGRAM_REPORT_H

#include <string>

#include "quor_simulator/simulator.h"

namespace quor_simulator::program {

/* One line without a line end. */
std::string ReadyJson(const Simulator& simulator);
/* indent -1: one line. */
std::string StatisticsJson(Simulator& simulator, int indent = -1);
/* One line for people. */
std::string StatisticsText(Simulator& simulator);
/* {"command":...,"ok":...,"answer":...} */
std::string AnswerJson(const std::string& command, bool ok, const std::string& answer);

/* path has the whole text or what it had before. Throws Error. */
void WriteFileAtomically(const std::string& path, const std::string& text);

}  // namespace quor_simulator::program

#endif
