#include "command_line.h"

#include <CLI/CLI.hpp>
#include <utility>
#include <vector>

#include "exit_codes.h"
#include "subcommand.h"

#ifndef QUOR_TERMINAL_VERSION
#error "the build names the version"
#endif

namespace quor_terminal {
namespace {

constexpr const char* kAbout =
    "quor-terminal - the AI services of a conference, on the command line.\n"
    "It connects to a conference management server, shows what the server pushes, asks its large model, "
    "asks\n"
    "and reports who is there, and asks a face service whose face it is.";

constexpr const char* kExitStatus =
    "Exit status:\n"
    "  0    done; captions, watch, face detect --watch: also when ended by Ctrl-C, SIGTERM or their time\n"
    "  1    failed for a reason that has no code of its own\n"
    "  2    the command line is wrong\n"
    "  3    the server refused the user name, the password, the token or the request\n"
    "  4    the server could not be reached or did not serve, or not again within --give-up-after\n"
    "  5    TLS failed, or the server's certificate is not trusted\n"
    "  6    ask and requests: the answer was stopped by Ctrl-C or SIGTERM\n"
    "  7    ask and requests: the answer did not end within --answer-timeout or --timeout\n"
    "  8    face identify: nobody matches the picture; face photos: not every photo came\n"
    "  130  ended at once by a second Ctrl-C\n";

// In the order of the help.
constexpr const Subcommand* kSubcommands[] = {
    &kCaptionsSubcommand, &kWatchSubcommand, &kAskSubcommand,  &kParticipantsSubcommand, &kSigninSubcommand,
    &kAccountSubcommand,  &kMatchSubcommand, &kFaceSubcommand, &kSealSubcommand};

std::string VersionText() {
    return std::string("quor-terminal ") + QUOR_TERMINAL_VERSION + "\n";
}

ParsedCommandLine UsageError(const std::string& message, const std::string& subcommand) {
    ParsedCommandLine parsed;
    parsed.exitCode = kExitUsage;
    parsed.error = "quor-terminal: " + message + "\nTry 'quor-terminal " +
                   (subcommand.empty() ? std::string("help") : subcommand + " --help") + "'.\n";
    return parsed;
}

ParsedCommandLine TextOnly(std::string text) {
    ParsedCommandLine parsed;
    parsed.exitCode = kExitOk;
    parsed.output = std::move(text);
    return parsed;
}

std::string Joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

// "signin list", as far as it was understood.
std::string ChosenWords(const CLI::App& app) {
    std::vector<std::string> words;
    for (auto chosen = app.get_subcommands(); !chosen.empty(); chosen = chosen.front()->get_subcommands()) {
        words.push_back(chosen.front()->get_name());
    }
    return Joined(words);
}

// Throws CLI::OptionNotFound.
std::string HelpAbout(CLI::App& app, const std::vector<std::string>& topic) {
    CLI::App* about = &app;
    std::string prefix;
    for (const std::string& word : topic) {
        prefix += (prefix.empty() ? "" : " ") + about->get_name();
        about = about->get_subcommand(word);
    }
    return about->help(prefix);
}

}  // namespace

ParsedCommandLine ParseCommandLine(int argc, const char* const* argv) {
    ParsedCommandLine parsed;
    CLI::App app(kAbout, "quor-terminal");
    app.set_help_flag("-h,--help", "Print this help, or a subcommand's");
    bool version = false;
    app.add_flag("--version", version, "Print the version");
    app.footer(std::string("'quor-terminal SUBCOMMAND --help' lists a subcommand's options.\n\n") +
               kExitStatus);
    app.require_subcommand(0, 1);  // so that "help captions" names a topic, not a second subcommand
    std::vector<std::string> helpTopic;
    for (const Subcommand* const row : kSubcommands) {
        CLI::App* const sub = app.add_subcommand(row->name, row->summary);
        row->addOptions(*sub, parsed.options);
    }
    CLI::App* const helpCommand = app.add_subcommand("help", "Print this help, or a subcommand's");
    helpCommand->add_option("subcommand", helpTopic, "What to explain");
    const CLI::App* const versionCommand = app.add_subcommand("version", "Print the version");
    try {
        app.parse(argc, argv);
        if (version || versionCommand->parsed()) {
            return TextOnly(VersionText());
        }
        if (helpCommand->parsed()) {
            app.clear();  // help() explains the subcommand that was parsed last, which is "help" itself
            return TextOnly(HelpAbout(app, helpTopic));
        }
    } catch (const CLI::CallForHelp&) {
        const auto subcommands = app.get_subcommands();
        return TextOnly(subcommands.empty() ? app.help() : subcommands.front()->help("quor-terminal"));
    } catch (const CLI::OptionNotFound&) {
        return UsageError("there is no subcommand '" + Joined(helpTopic) + "'", "");
    } catch (const CLI::Error& error) {
        return UsageError(error.what(), ChosenWords(app));
    }
    for (const Subcommand* const row : kSubcommands) {
        if (!app.got_subcommand(row->name)) {
            continue;
        }
        std::string message;
        if (!row->check(parsed.options, message)) {
            return UsageError(message, row->name);
        }
        parsed.run = row->run;
        return parsed;
    }
    return UsageError("a subcommand is missing", "");
}

}  // namespace quor_terminal
