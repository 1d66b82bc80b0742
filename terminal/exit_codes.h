// exit_codes.h - what quor-terminal's exit status tells a script. The same list stands in --help and in
// docs/terminal.md.
#ifndef QUOR_TERMINAL_EXIT_CODES_H
#define QUOR_TERMINAL_EXIT_CODES_H

namespace quor_terminal {

enum ExitCode : int {
    kExitOk = 0,
    kExitFailure = 1,  // anything that has no code of its own
    kExitUsage = 2,    // the command line is wrong; nothing was tried
    kExitRefused = 3,  // the server refused the user name, the password, the token or the request
    kExitUnreachable =
        4,                // the server could not be reached or did not serve, or not again in --give-up-after
    kExitNotTrusted = 5,  // TLS failed, or the server's certificate is not trusted
    kExitStopped = 6,     // an answer was stopped before its end, by Ctrl-C or SIGTERM
    kExitNoAnswer = 7,    // an answer did not come to its end in time
    kExitNotFound = 8,    // the face service knows nobody like this, or not every photo came
    kExitInterrupted = 130  // the second Ctrl-C: left without saying good-bye
};

}  // namespace quor_terminal

#endif
