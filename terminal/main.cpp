// main.cpp - quor-terminal: reads the command line, runs one subcommand, returns its exit code.
#include <unistd.h>

#include <exception>
#include <string>

#include "command_line.h"
#include "exit_codes.h"
#include "output.h"

int main(int argc, char** argv) {
    using namespace quor_terminal;
    try {
        const ParsedCommandLine parsed = ParseCommandLine(argc, argv);
        if (parsed.run != nullptr) {
            return parsed.run(parsed.options);
        }
        const bool written = WriteAll(STDOUT_FILENO, parsed.output) && WriteAll(STDERR_FILENO, parsed.error);
        return written ? parsed.exitCode : kExitFailure;
    } catch (const std::exception& error) {
        WriteAll(STDERR_FILENO, std::string("quor-terminal: ") + error.what() + "\n");
        return kExitFailure;
    }
}
