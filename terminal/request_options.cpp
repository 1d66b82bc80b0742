#include "request_options.h"

#include <arpa/inet.h>

#include <CLI/CLI.hpp>
#include <algorithm>

#include "connection_options.h"
#include "quor_ai/http_records.h"

namespace quor_terminal {
namespace {

constexpr const char* kConnectionGroup = "Connection";
constexpr const char* kOutputGroup = "Output";

bool IsAddress(const std::string& text) {
    in6_addr address{};
    return inet_pton(AF_INET, text.c_str(), &address) == 1 ||
           inet_pton(AF_INET6, text.c_str(), &address) == 1;
}

// "address" or "address:port", an IPv6 address in brackets where a port follows.
bool IsDnsServer(const std::string& text) {
    ServerAddress server;
    std::string message;
    return IsAddress(text) || (ParseServerAddress(text, server, message) && IsAddress(server.host));
}

// The id stands in the path of a URL; these end it or begin something else.
bool IsPathText(const std::string& text) {
    return text.find_first_of("/?#%&\\") == std::string::npos &&
           std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c < 0x7F; });
}

}  // namespace

void AddRequestOptions(CLI::App& app, RequestOptions& options, bool pages) {
    AddServerOption(app, options);
    app.add_option("--conference", options.conference, "Conference id")
        ->type_name("ID")
        ->required()
        ->group(kConnectionGroup);
    AddCertificateOptions(app, options);
    app.add_option("--dns-server", options.dnsServers,
                   "Ask this DNS server instead of the system's (repeatable; for laboratories)")
        ->type_name("ADDRESS[:PORT]")
        ->allow_extra_args(false)
        ->group(kConnectionGroup);
    app.add_option("--timeout", options.timeoutSeconds, "Limit for everything together")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.1, 86400.0))
        ->capture_default_str()
        ->group(kConnectionGroup);
    AddTokenOptions(app, options, "Credentials");
    app.add_flag("--json", options.json, "JSON documents, one a line")->group(kOutputGroup);
    if (pages) {
        app.add_flag("--progress", options.progress,
                     "Tell of every page on standard error, also where that is no terminal")
            ->group(kOutputGroup);
    }
    AddLogOptions(app, options, kOutputGroup);
}

bool CheckRequest(RequestOptions& options, AddressUse use, std::string& message) {
    if (!CheckConnection(options, true, message)) {
        return false;
    }
    if (!IsPathText(options.conference)) {
        message = "--conference holds a character that has no place in a URL's path";
        return false;
    }
    if (use == AddressUse::kNameOrIpv4 && options.server.host.find(':') != std::string::npos) {
        message = "--server: this request takes a name or an IPv4 address, not IPv6";
        return false;
    }
    if (options.token.empty() && options.tokenFile.empty()) {
        message = "the conference token is missing: give --token-file";
        return false;
    }
    for (const std::string& server : options.dnsServers) {
        if (!IsDnsServer(server)) {
            message =
                "--dns-server " + server + " is no address; 192.0.2.1, 192.0.2.1:53 and [2001:db8::1]:53 are";
            return false;
        }
    }
    return true;
}

bool CheckText(const char* option, const std::string& value, std::size_t longest, std::string& message) {
    if (value.empty() || value.size() > longest) {
        message = std::string(option) + " wants 1 to " + std::to_string(longest) + " bytes";
        return false;
    }
    if (std::any_of(value.begin(), value.end(), [](char c) { return c >= 0 && c < ' '; })) {
        message = std::string(option) + " holds a control character";
        return false;
    }
    return true;
}

}  // namespace quor_terminal
