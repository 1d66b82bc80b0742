// The options of 'participants', which lists who is in a conference.
#include <CLI/CLI.hpp>

#include "commands.h"
#include "request_options.h"
#include "subcommand.h"

namespace quor_terminal {
namespace {

constexpr const char* kExample =
    "Example:\n"
    "  quor-terminal participants --server conf.example.org:443 --conference 900123 --token-file token\n"
    "\n"
    "The list is read in pages of 200; the library delivers the first 1600 participants.\n";

void AddParticipantsOptions(CLI::App& app, Options& options) {
    AddRequestOptions(app, options.participants, true);
    app.footer(kExample);
}

bool CheckParticipantsOptions(Options& options, std::string& message) {
    return CheckRequest(options.participants, AddressUse::kAny, message);
}

}  // namespace

const Subcommand kParticipantsSubcommand = {"participants", "List who is in a conference",
                                            AddParticipantsOptions, CheckParticipantsOptions,
                                            RunParticipants};

}  // namespace quor_terminal
