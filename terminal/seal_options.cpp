// The options of 'seal'.
#include <CLI/CLI.hpp>

#include "commands.h"
#include "subcommand.h"

namespace quor_terminal {
namespace {

void AddSealOptions(CLI::App& app, Options& options) {
    app.add_option("--key-file", options.seal.keyFile, "Key file, readable by its owner only")
        ->type_name("FILE")
        ->required();
    app.add_option("--domain", options.seal.domain, "What the secret is for: QuorUIConf or QuorUILogin")
        ->type_name("NAME")
        ->required()
        ->check(CLI::IsMember({"QuorUIConf", "QuorUILogin"}));
    app.add_flag("--create-key", options.seal.createKey, "Make the key file when there is none");
    app.footer(
        "The password is asked for on a terminal, without echo, and read from standard input otherwise. Only "
        "the\n"
        "owner of the same key file can open the text that is printed, and only for the same domain.\n");
}

bool CheckNothing(Options&, std::string&) {
    return true;
}

}  // namespace

const Subcommand kSealSubcommand = {"seal", "Encrypt a password for the key service", AddSealOptions,
                                    CheckNothing, RunSeal};

}  // namespace quor_terminal
