#include "connection_options.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>
#include <charconv>

#include "quor_ai/records.h"

namespace quor_terminal {
namespace {

void AddIdentityOptions(CLI::App& app, ConnectionOptions& options, bool conferenceRequired) {
    constexpr const char* kGroup = "Connection";
    app.add_option("--conference", options.conference, "Conference id")
        ->type_name("ID")
        ->required(conferenceRequired)
        ->group(kGroup);
    app.add_option(
           "--uri", options.uri,
           "This terminal's resource identifier, as the server is told it (default: sip:USER@MACHINE)")
        ->type_name("URI")
        ->group(kGroup);
}

void AddPatienceOptions(CLI::App& app, ConnectionOptions& options) {
    constexpr const char* kGroup = "Connection";
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

// A part of a uri: what could end it or stand for something else in it becomes '-'.
std::string UriPart(const std::string& text) {
    constexpr std::size_t kLongestPart = 64;
    std::string part = text.substr(0, kLongestPart);
    for (char& c : part) {
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                           c == '-' || c == '.' || c == '_';
        c = plain ? c : '-';
    }
    return part;
}

std::string DefaultUri(const std::string& user) {
    std::array<char, 256> machine{};
    const bool named = gethostname(machine.data(), machine.size() - 1) == 0 && machine[0] != '\0';
    return "sip:" + UriPart(user.empty() ? "quor-terminal" : user) + "@" +
           UriPart(named ? machine.data() : "localhost");
}

}  // namespace

bool ParseServerAddress(const std::string& text, ServerAddress& address, std::string& message) {
    message = "--server wants HOST:PORT, for example conf.example.org:443 or [::1]:443";
    const std::size_t colon = text.rfind(':');
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

void AddServerOption(CLI::App& app, ConnectionOptions& options) {
    app.add_option("--server", options.serverText, "Conference management server")
        ->type_name("HOST:PORT")
        ->required()
        ->group("Connection");
}

void AddCertificateOptions(CLI::App& app, ConnectionOptions& options) {
    constexpr const char* kGroup = "Connection";
    app.add_option("--ca-file", options.caFile, "Trusted certificates, PEM (default: the system's)")
        ->type_name("FILE")
        ->group(kGroup);
    app.add_option("--ca-dir", options.caDirectory, "Trusted certificates, a directory made by c_rehash")
        ->type_name("DIR")
        ->excludes("--ca-file")
        ->group(kGroup);
}

void AddConnectionOptions(CLI::App& app, ConnectionOptions& options, bool conferenceRequired) {
    AddServerOption(app, options);
    AddIdentityOptions(app, options, conferenceRequired);
    AddCertificateOptions(app, options);
    app.add_flag("--insecure-lab", options.insecureLab, "Accept any certificate (laboratory only)")
        ->group("Connection");
    AddPatienceOptions(app, options);
}

void AddPasswordOptions(CLI::App& app, ConnectionOptions& options, const char* group) {
    app.add_option("--password-file", options.passwordFile, "File with the password")
        ->type_name("FILE")
        ->group(group);
    app.add_option("--sealed-password-file", options.sealedPasswordFile,
                   "File with the password as 'quor-terminal seal' prints it; wants --key-file")
        ->type_name("FILE")
        ->excludes("--password-file")
        ->group(group);
}

void AddKeyOption(CLI::App& app, ConnectionOptions& options, const char* group) {
    app.add_option("--key-file", options.keyFile, "Key that seals and opens passwords")
        ->type_name("FILE")
        ->group(group);
}

void AddCredentialOptions(CLI::App& app, ConnectionOptions& options) {
    constexpr const char* kGroup = kCredentialsGroup;
    app.add_option("--user", options.user, "Account name")->type_name("NAME")->group(kGroup);
    AddPasswordOptions(app, options, kGroup);
    app.add_option("--code-file", options.codeFile, "File with ready-made Basic credentials, base64")
        ->type_name("FILE")
        ->excludes("--password-file")
        ->excludes("--sealed-password-file")
        ->group(kGroup);
    AddKeyOption(app, options, kGroup);
    AddTokenOptions(app, options, kGroup);
}

void AddTokenOptions(CLI::App& app, ConnectionOptions& options, const char* group) {
    app.add_option("--token-file", options.tokenFile,
                   "File with the conference token; read for every link and request")
        ->type_name("FILE")
        ->group(group);
    app.add_option("--token", options.token, "The conference token itself (visible to other users in ps)")
        ->type_name("TOKEN")
        ->excludes("--token-file")
        ->group(group);
}

void AddLogOptions(CLI::App& app, ConnectionOptions& options, const char* group) {
    app.add_option("--log-file", options.logFile, "Write the library's log")->type_name("FILE")->group(group);
    app.add_option("--log-level", options.logLevel, "0 off, 1 errors, 2 warnings, 3 information")
        ->type_name("N")
        ->check(CLI::Range(0, 3))
        ->capture_default_str()
        ->group(group);
    app.add_option("--trace", options.traceLevel, "Developer traces on standard error, 0 to 4")
        ->type_name("N")
        ->check(CLI::Range(0, 4))
        ->group(group);
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

bool CheckConnection(ConnectionOptions& options, bool withConference, std::string& message) {
    if (options.uri.empty()) {
        options.uri = DefaultUri(options.user);
    }
    if (!ParseServerAddress(options.serverText, options.server, message) ||
        !CheckField("--conference", options.conference, sizeof(TagQuorAiSubscribeInfo::confId) - 1,
                    message) ||
        !CheckField("--uri", options.uri, sizeof(TagQuorAiSubscribeInfo::uri) - 1, message)) {
        return false;
    }
    if (withConference && options.conference.empty()) {
        message = "--conference must not be empty";
        return false;
    }
    return true;
}

bool CheckPassword(const ConnectionOptions& options, std::string& message) {
    if (options.passwordFile.empty() && options.sealedPasswordFile.empty()) {
        message = "the password is missing: give --password-file or --sealed-password-file";
        return false;
    }
    if (!options.sealedPasswordFile.empty() && options.keyFile.empty()) {
        message = "--sealed-password-file needs the --key-file that the password was sealed with";
        return false;
    }
    return true;
}

bool CheckCredentials(const ConnectionOptions& options, std::string& message) {
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
        if (!CheckPassword(options, message)) {
            return false;
        }
    }
    if (options.token.empty() && options.tokenFile.empty()) {
        message = "the conference token is missing: give --token-file";
        return false;
    }
    return true;
}

}  // namespace quor_terminal
