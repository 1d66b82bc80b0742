// session.h - what every subcommand that opens a link does before and after it: settings of the platform, the
// keeper's policy, last words.
//
// Threads: the main thread, before the first other one or after the last.
#ifndef QUOR_TERMINAL_SESSION_H
#define QUOR_TERMINAL_SESSION_H

#include <chrono>
#include <string>

#include "command_line.h"
#include "link_keeper.h"

namespace quor_terminal {

std::chrono::milliseconds Milliseconds(double seconds);

// A line on standard error, under the program's name.
void PrintError(const std::string& text);

// Log, certificates, time limits and the token source of the platform. False: a message was printed.
bool ConfigurePlatform(const ConnectionOptions& options);

KeeperPolicy PolicyOf(const ConnectionOptions& options);

// Prints a problem and what to do about it. Returns its exit code.
int TellProblem(const LinkProblem& problem);

}  // namespace quor_terminal

#endif
