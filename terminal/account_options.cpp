// The options of 'account', which asks whether people have checked in.
#include <CLI/CLI.hpp>

#include "commands.h"
#include "quor_ai/http_records.h"
#include "request_options.h"
#include "subcommand.h"

namespace quor_terminal {
namespace {

constexpr const char* kExample =
    "Example:\n"
    "  quor-terminal account anna ben --server conf.example.org:443 --conference 900123 --token-file token\n"
    "\n"
    "One request for each account. Status 0 says that all were answered, not that all have checked in.\n";

void AddAccountOptions(CLI::App& app, Options& options) {
    app.add_option("accounts", options.account.accounts, "Whose sign-in to ask for")
        ->type_name("ACCOUNT")
        ->required();
    AddRequestOptions(app, options.account, true);
    app.footer(kExample);
}

bool CheckAccountOptions(Options& options, std::string& message) {
    for (const std::string& account : options.account.accounts) {
        if (!CheckText("an account", account, sizeof(TagQuorAiQuerySignAccount::account) - 1, message)) {
            return false;
        }
    }
    return CheckRequest(options.account, AddressUse::kAny, message);
}

}  // namespace

const Subcommand kAccountSubcommand = {"account", "Ask whether accounts have checked in", AddAccountOptions,
                                       CheckAccountOptions, RunAccount};

}  // namespace quor_terminal
