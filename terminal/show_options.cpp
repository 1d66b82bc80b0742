// The options of 'captions' and 'watch', which show what the server pushes.
#include <CLI/CLI.hpp>
#include <algorithm>

#include "commands.h"
#include "connection_options.h"
#include "quor_ai/records.h"
#include "subcommand.h"

namespace quor_terminal {
namespace {

constexpr const char* kCaptionsExample =
    "Example:\n"
    "  quor-terminal captions --server conf.example.org:443 --conference 900123 \\\n"
    "      --lang en-US --translate zh-CN --user anna --password-file pw --token-file token\n"
    "\n"
    "On a terminal a speaker's text is replaced in place until it is final. In a pipe there is one line for "
    "each\n"
    "final text; --json prints one JSON document a line. Ctrl-C ends with a summary on standard error.\n";

constexpr const char* kWatchExample =
    "Example:\n"
    "  quor-terminal watch --server conf.example.org:443 --conference 900123 --uri sip:room7@example.org \\\n"
    "      --terminal room7 --user anna --password-file pw --token-file token\n"
    "\n"
    "Shows captions and check-ins as 'captions' does, and with them whether the conference wants captions\n"
    "(control), who is there (sites), and whether this terminal is to hide its captions (overlay). The "
    "server\n"
    "names the terminal by --terminal in the overlay's topic and by --uri in its messages; messages for "
    "another\n"
    "uri are ignored. Ctrl-C ends with a summary on standard error.\n";

void AddOutputOptions(CLI::App& app, ShowOptions& options) {
    constexpr const char* kGroup = "Output";
    app.add_option("--lang", options.language, "Spoken language to caption")
        ->type_name("TAG")
        ->capture_default_str()
        ->group(kGroup);
    app.add_option("--translate", options.translation, "Language to translate to")
        ->type_name("TAG")
        ->group(kGroup);
    app.add_flag("--json", options.json, "One JSON document a line, interim texts included")->group(kGroup);
    app.add_flag("--interim", options.interim, "Plain lines for interim texts too")->group(kGroup);
    app.add_option("--duration", options.durationSeconds, "End after this long")
        ->type_name("SECONDS")
        ->check(CLI::PositiveNumber)
        ->group(kGroup);
    app.add_option("--summary-file", options.summaryFile,
                   "Write the summary as JSON, at the end and on SIGUSR1")
        ->type_name("FILE")
        ->group(kGroup);
    app.add_flag("--no-summary", options.noSummary, "Print no summary at the end")->group(kGroup);
    AddLogOptions(app, options, kGroup);
}

void AddShowOptions(CLI::App& app, ShowOptions& options) {
    AddConnectionOptions(app, options, true);
    AddCredentialOptions(app, options);
    AddOutputOptions(app, options);
}

void AddCaptionsOptions(CLI::App& app, Options& options) {
    AddShowOptions(app, options.captions);
    app.footer(kCaptionsExample);
}

void AddWatchOptions(CLI::App& app, Options& options) {
    AddShowOptions(app, options.watch);
    app.add_option("--terminal", options.watch.terminal,
                   "This terminal's id, which names the overlay's topic (default: the --uri)")
        ->type_name("ID")
        ->group("Connection");
    app.footer(kWatchExample);
}

bool CheckShow(ShowOptions& options, std::string& message) {
    // Conference and language stand together in a destination of at most 255 bytes:
    // "/topic/conferences/" ID "/subtitle/" LANGUAGE.
    constexpr std::size_t kLongestDestination = 255;
    constexpr std::size_t kFixedPart = sizeof("/topic/conferences/") - 1 + sizeof("/subtitle/") - 1;
    constexpr std::size_t kLongestLanguage = sizeof(TagQuorAiSubscribeInfo::language) - 1;
    if (!CheckConnection(options, true, message) ||
        !CheckField("--lang", options.language, kLongestLanguage, message) ||
        !CheckField("--translate", options.translation, kLongestLanguage, message)) {
        return false;
    }
    if (options.language.empty()) {
        message = "--lang must not be empty";
        return false;
    }
    const std::size_t language = std::max(options.language.size(), options.translation.size());
    if (kFixedPart + options.conference.size() + language > kLongestDestination) {
        message = "--conference and language together are too long for a topic of 255 bytes";
        return false;
    }
    if (options.language == options.translation) {
        message = "--translate names the spoken language; leave it out to get captions alone";
        return false;
    }
    return CheckCredentials(options, message);
}

bool CheckCaptionsOptions(Options& options, std::string& message) {
    return CheckShow(options.captions, message);
}

bool CheckWatchOptions(Options& options, std::string& message) {
    ShowOptions& watch = options.watch;
    if (!CheckShow(watch, message)) {
        return false;
    }
    const bool given = !watch.terminal.empty();
    if (!given) {
        watch.terminal = watch.uri;
    }
    constexpr std::size_t kLongestTerminal = sizeof(TagQuorAiSubscribeInfo::confId) - 1;
    if (!CheckField("--terminal", watch.terminal, kLongestTerminal, message)) {
        if (!given) {
            message = "--uri is too long to be the terminal's id as well; give --terminal";
        }
        return false;
    }
    return true;
}

}  // namespace

const Subcommand kCaptionsSubcommand = {
    "captions", "Show captions, translations and check-ins of a conference as they arrive",
    AddCaptionsOptions, CheckCaptionsOptions, RunCaptions};

const Subcommand kWatchSubcommand = {
    "watch", "Show everything of a conference: captions, check-ins, control, sites, overlay", AddWatchOptions,
    CheckWatchOptions, RunWatch};

}  // namespace quor_terminal
