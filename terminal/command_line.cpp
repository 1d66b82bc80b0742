#include "command_line.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <sstream>

#include "commands.h"
#include "exit_codes.h"
#include "quor_ai/records.h"

#ifndef QUOR_TERMINAL_VERSION
#error "the build names the version"
#endif

namespace quor_terminal {
namespace {

constexpr const char* kAbout =
    "quor-terminal - the AI services of a conference, on the command line.\n"
    "It connects to a conference management server and shows what the server pushes.";

constexpr const char* kExitStatus =
    "Exit status:\n"
    "  0    done, or ended by Ctrl-C, SIGTERM or --duration\n"
    "  1    failed for a reason that has no code of its own\n"
    "  2    the command line is wrong\n"
    "  3    the server refused the user name, the password or the token\n"
    "  4    the server could not be reached, or not again within --give-up-after\n"
    "  5    TLS failed, or the server's certificate is not trusted\n"
    "  130  ended at once by a second Ctrl-C\n";

constexpr const char* kCaptionsExample =
    "Example:\n"
    "  quor-terminal captions --server conf.example.org:443 --conference 900123 \\\n"
    "      --lang en-US --translate zh-CN --user anna --password-file pw --token-file token\n"
    "\n"
    "On a terminal a speaker's text is replaced in place until it is final. In a pipe there is one line for "
    "each\n"
    "final text; --json prints one JSON document a line. Ctrl-C ends with a summary on standard error.\n";

void AddConnectionOptions(CLI::App& app, CaptionsOptions& options) {
    constexpr const char* kGroup = "Connection";
    app.add_option("--server", options.serverText, "Conference management server")
        ->type_name("HOST:PORT")
        ->required()
        ->group(kGroup);
    app.add_option("--conference", options.conference, "Conference id")
        ->type_name("ID")
        ->required()
        ->group(kGroup);
    app.add_option("--ca-file", options.caFile, "Trusted certificates, PEM (default: the system's)")
        ->type_name("FILE")
        ->group(kGroup);
    app.add_option("--ca-dir", options.caDirectory, "Trusted certificates, a directory made by c_rehash")
        ->type_name("DIR")
        ->excludes("--ca-file")
        ->group(kGroup);
    app.add_flag("--insecure-lab", options.insecureLab, "Accept any certificate (laboratory only)")
        ->group(kGroup);
    app.add_option("--connect-timeout", options.connectTimeoutSeconds, "Limit for each step of connecting")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.1, 600.0))
        ->capture_default_str()
        ->group(kGroup);
    app.add_flag("--wait", options.wait, "Keep trying when the first attempt fails")->group(kGroup);
    app.add_flag("--retry-refused", options.retryRefused,
                 "Keep trying when the server refuses the credentials")
        ->group(kGroup);
    app.add_option("--give-up-after", options.giveUpAfterSeconds,
                   "Leave after this long without a link (0: never)")
        ->type_name("SECONDS")
        ->check(CLI::NonNegativeNumber)
        ->group(kGroup);
}

void AddCredentialOptions(CLI::App& app, CaptionsOptions& options) {
    constexpr const char* kGroup = "Credentials (passwords come from files, never from the command line)";
    app.add_option("--user", options.user, "Account name")->type_name("NAME")->group(kGroup);
    app.add_option("--password-file", options.passwordFile, "File with the password")
        ->type_name("FILE")
        ->group(kGroup);
    app.add_option("--sealed-password-file", options.sealedPasswordFile,
                   "File with the password as 'quor-terminal seal' prints it; wants --key-file")
        ->type_name("FILE")
        ->excludes("--password-file")
        ->group(kGroup);
    app.add_option("--code-file", options.codeFile, "File with ready-made Basic credentials, base64")
        ->type_name("FILE")
        ->excludes("--password-file")
        ->excludes("--sealed-password-file")
        ->group(kGroup);
    app.add_option("--key-file", options.keyFile, "Key that seals and opens passwords")
        ->type_name("FILE")
        ->group(kGroup);
    app.add_option("--token-file", options.tokenFile, "File with the conference token; read for every link")
        ->type_name("FILE")
        ->group(kGroup);
    app.add_option("--token", options.token, "The conference token itself (visible to other users in ps)")
        ->type_name("TOKEN")
        ->excludes("--token-file")
        ->group(kGroup);
}

void AddOutputOptions(CLI::App& app, CaptionsOptions& options) {
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
    app.add_option("--log-file", options.logFile, "Write the library's log")
        ->type_name("FILE")
        ->group(kGroup);
    app.add_option("--log-level", options.logLevel, "0 off, 1 errors, 2 warnings, 3 information")
        ->type_name("N")
        ->check(CLI::Range(0, 3))
        ->capture_default_str()
        ->group(kGroup);
    app.add_option("--trace", options.traceLevel, "Developer traces on standard error, 0 to 4")
        ->type_name("N")
        ->check(CLI::Range(0, 4))
        ->group(kGroup);
}

void AddCaptionsOptions(CLI::App& app, Options& options) {
    AddConnectionOptions(app, options.captions);
    AddCredentialOptions(app, options.captions);
    AddOutputOptions(app, options.captions);
    app.footer(kCaptionsExample);
}

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

bool CheckField(const char* option, const std::string& value, std::size_t longest, std::string& message) {
    if (value.size() > longest) {
        message = std::string(option) + " is longer than " + std::to_string(longest) + " bytes";
        return false;
    }
    if (value.find_first_of(" \t\r\n") != std::string::npos) {
        message = std::string(option) + " holds a blank or a line end";
        return false;
    }
    return true;
}

bool CheckCredentials(const CaptionsOptions& options, std::string& message) {
    if (options.codeFile.empty()) {
        if (options.user.empty()) {
            message =
                "who are you? Give --user with --password-file or --sealed-password-file, or --code-file";
            return false;
        }
        if (options.user.find(':') != std::string::npos) {
            message = "--user holds a colon, which ends a user name (RFC 7617)";
            return false;
        }
        if (options.passwordFile.empty() && options.sealedPasswordFile.empty()) {
            message = "the password is missing: give --password-file or --sealed-password-file";
            return false;
        }
    }
    if (!options.sealedPasswordFile.empty() && options.keyFile.empty()) {
        message = "--sealed-password-file needs the --key-file that the password was sealed with";
        return false;
    }
    if (options.token.empty() && options.tokenFile.empty()) {
        message = "the conference token is missing: give --token-file";
        return false;
    }
    return true;
}

bool CheckCaptions(CaptionsOptions& options, std::string& message) {
    // Conference and language stand together in a destination of at most 255 bytes:
    // "/topic/conferences/" ID "/subtitle/" LANGUAGE.
    constexpr std::size_t kLongestDestination = 255;
    constexpr std::size_t kFixedPart = sizeof("/topic/conferences/") - 1 + sizeof("/subtitle/") - 1;
    constexpr std::size_t kLongestLanguage = sizeof(TagQuorAiSubscribeInfo::language) - 1;
    if (!ParseServerAddress(options.serverText, options.server, message) ||
        !CheckField("--conference", options.conference, sizeof(TagQuorAiSubscribeInfo::confId) - 1,
                    message) ||
        !CheckField("--lang", options.language, kLongestLanguage, message) ||
        !CheckField("--translate", options.translation, kLongestLanguage, message)) {
        return false;
    }
    if (options.conference.empty() || options.language.empty()) {
        message = "--conference and --lang must not be empty";
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

bool CheckNothing(Options&, std::string&) {
    return true;
}
bool CheckCaptionsOptions(Options& options, std::string& message) {
    return CheckCaptions(options.captions, message);
}

struct Subcommand {
    const char* name;
    const char* summary;
    void (*addOptions)(CLI::App& app, Options& options);
    bool (*check)(Options& options, std::string& message);  // what CLI11 cannot check
    int (*run)(const Options& options);
};

constexpr Subcommand kSubcommands[] = {
    {"captions", "Show captions, translations and check-ins of a conference as they arrive",
     AddCaptionsOptions, CheckCaptionsOptions, RunCaptions},
    {"seal", "Encrypt a password for the key service", AddSealOptions, CheckNothing, RunSeal},
};

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

}  // namespace

bool ParseServerAddress(const std::string& text, ServerAddress& address, std::string& message) {
    message = "--server wants HOST:PORT, for example conf.example.org:443 or [::1]:443";
    std::size_t colon = text.rfind(':');
    if (colon == std::string::npos) {
        return false;
    }
    std::string host = text.substr(0, colon);
    if (!host.empty() && host.front() == '[') {
        if (host.size() < 3 || host.back() != ']') {
            return false;
        }
        host = host.substr(1, host.size() - 2);
    } else if (host.find(':') != std::string::npos) {
        return false;  // an IPv6 address without brackets: its last group is not a port
    }
    if (host.empty() || host.size() >= sizeof(TagQuorAiKelLoginInfo::serverAddr) ||
        host.find_first_of(" /@[]") != std::string::npos) {
        return false;
    }
    unsigned int port = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data() + colon + 1, end, port);
    if (error != std::errc() || stop != end || port == 0 || port > 65535) {
        message = "--server wants a port from 1 to 65535 after the last colon";
        return false;
    }
    address.host = host;
    address.port = port;
    message.clear();
    return true;
}

ParsedCommandLine ParseCommandLine(int argc, const char* const* argv) {
    ParsedCommandLine parsed;
    CLI::App app(kAbout, "quor-terminal");
    app.set_help_flag("-h,--help", "Print this help, or a subcommand's");
    bool version = false;
    app.add_flag("--version", version, "Print the version");
    app.footer(std::string("'quor-terminal SUBCOMMAND --help' lists a subcommand's options.\n\n") +
               kExitStatus);
    const CLI::App* const versionCommand = app.add_subcommand("version", "Print the version");
    CLI::App* const helpCommand = app.add_subcommand("help", "Print this help, or a subcommand's");
    app.require_subcommand(0, 1);  // so that "help captions" names a topic, not a second subcommand
    std::string helpTopic;
    helpCommand->add_option("subcommand", helpTopic, "What to explain");
    for (const Subcommand& row : kSubcommands) {
        CLI::App* const sub = app.add_subcommand(row.name, row.summary);
        row.addOptions(*sub, parsed.options);
    }
    const auto chosen = [&app]() -> std::string {
        const auto subcommands = app.get_subcommands();
        return subcommands.empty() ? std::string() : subcommands.front()->get_name();
    };
    try {
        app.parse(argc, argv);
        if (version || versionCommand->parsed()) {
            return TextOnly(VersionText());
        }
        if (helpCommand->parsed()) {
            app.clear();  // help() explains the subcommand that was parsed last, which is "help" itself
            return TextOnly(helpTopic.empty() ? app.help()
                                              : app.get_subcommand(helpTopic)->help("quor-terminal"));
        }
    } catch (const CLI::CallForHelp&) {
        const auto subcommands = app.get_subcommands();
        return TextOnly(subcommands.empty() ? app.help() : subcommands.front()->help("quor-terminal"));
    } catch (const CLI::OptionNotFound&) {
        return UsageError("there is no subcommand '" + helpTopic + "'", "");
    } catch (const CLI::Error& error) {
        return UsageError(error.what(), chosen());
    }
    for (const Subcommand& row : kSubcommands) {
        if (!app.got_subcommand(row.name)) {
            continue;
        }
        std::string message;
        if (!row.check(parsed.options, message)) {
            return UsageError(message, row.name);
        }
        parsed.run = row.run;
        return parsed;
    }
    return UsageError("a subcommand is missing", "");
}

}  // namespace quor_terminal
