// subcommand.h - one row of the table of subcommands, and the rows there are.
#ifndef QUOR_TERMINAL_SUBCOMMAND_H
#define QUOR_TERMINAL_SUBCOMMAND_H

#include <string>

#include "command_line.h"

namespace CLI {
class App;
}

namespace quor_terminal {

struct Subcommand {
    const char* name;
    const char* summary;  // one line of 'quor-terminal help'
    void (*addOptions)(CLI::App& app, Options& options);
    // What the parser cannot check by itself. False: message says what to give instead.
    bool (*check)(Options& options, std::string& message);
    // Returns the program's exit code (commands.h).
    int (*run)(const Options& options);
};

extern const Subcommand kCaptionsSubcommand;
extern const Subcommand kWatchSubcommand;
extern const Subcommand kAskSubcommand;
extern const Subcommand kParticipantsSubcommand;
extern const Subcommand kSigninSubcommand;
extern const Subcommand kAccountSubcommand;
extern const Subcommand kMatchSubcommand;
extern const Subcommand kFaceSubcommand;
extern const Subcommand kSealSubcommand;

}  // namespace quor_terminal

#endif
