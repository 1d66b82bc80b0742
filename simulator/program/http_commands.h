/* http_commands.h - the commands about HTTP requests. The line's words come with the command's name. */
#ifndef QUOR_SIMULATOR_PROGRAM_HTTP_COMMANDS_H
#define QUOR_SIMULATOR_PROGRAM_HTTP_COMMANDS_H

#include "words.h"

namespace quor_simulator::program {

CommandAnswer PeopleCommand(Simulator& simulator, const Words& words);
CommandAnswer HttpFaultCommand(Simulator& simulator, const Words& words);
CommandAnswer HttpReleaseCommand(Simulator& simulator, const Words& words);
CommandAnswer HttpClearCommand(Simulator& simulator, const Words& words);
CommandAnswer RequestsCommand(Simulator& simulator, const Words& words);
CommandAnswer MatchesCommand(Simulator& simulator, const Words& words);

}  // namespace quor_simulator::program

#endif
