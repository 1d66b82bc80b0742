// commands.h - the operations behind the subcommands. Each returns the program's exit code.
#ifndef QUOR_TERMINAL_COMMANDS_H
#define QUOR_TERMINAL_COMMANDS_H

#include "command_line.h"

namespace quor_terminal {

int RunCaptions(const Options& options);
int RunWatch(const Options& options);
int RunAsk(const Options& options);
int RunParticipants(const Options& options);
int RunSignin(const Options& options);
int RunAccount(const Options& options);
int RunMatch(const Options& options);
int RunFace(const Options& options);
int RunSeal(const Options& options);

}  // namespace quor_terminal

#endif
