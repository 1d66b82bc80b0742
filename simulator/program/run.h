/*
 * run.h - the program's life: start, ready-file, commands and signals, scenario, statistics, end.
 */
#ifndef QUOR_SIMULATOR_PROGRAM_RUN_H
#define QUOR_SIMULATOR_PROGRAM_RUN_H

#include <cstddef>
#include <string>

#include "quor_simulator/simulator.h"

namespace quor_simulator::program {

enum ExitCode : int {
    kExitGood = 0,
    kExitFailure = 1,  /* could not listen, write a file, make certificates, ... */
    kExitUsage = 2,    /* command line */
    kExitScenario = 3, /* the scenario or the gallery is missing or wrong */
};

struct RunSettings {
    Options options;
    std::string readyFile;
    std::string statsFile;
    std::size_t waitForSubscribers = 0; /* before the scenario begins */
    bool exitAfterScenario = false;
    bool json = false;
};

/* Returns an ExitCode. SIGINT and SIGTERM end it in order, with kExitGood. */
int Run(const RunSettings& settings);

}  // namespace quor_simulator::program

#endif
