/* commands.h - the program's commands on standard input: one line in, one line out. */
#ifndef QUOR_SIMULATOR_PROGRAM_COMMANDS_H
#define QUOR_SIMULATOR_PROGRAM_COMMANDS_H

#include <string>
#include <string_view>

#include "quor_simulator/simulator.h"

namespace quor_simulator::program {

struct CommandAnswer {
    std::string command; /* its name as given; empty for an empty line */
    bool ok = true;
    bool quit = false;
    std::string text; /* one line without a line end */
};

CommandAnswer RunCommand(Simulator& simulator, std::string_view line);

/* One line for each command, for --help. */
std::string CommandHelp();

}  // namespace quor_simulator::program

#endif
