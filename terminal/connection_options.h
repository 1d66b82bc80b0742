// connection_options.h - the options that subcommands share, and their checks.
//
// Threads: pure functions.
#ifndef QUOR_TERMINAL_CONNECTION_OPTIONS_H
#define QUOR_TERMINAL_CONNECTION_OPTIONS_H

#include <cstddef>
#include <string>

#include "command_line.h"

namespace CLI {
class App;
}

namespace quor_terminal {

// Server, certificates, conference, this terminal's identity, and how long to try. conferenceRequired: the
// parser insists on --conference.
void AddConnectionOptions(CLI::App& app, ConnectionOptions& options, bool conferenceRequired);
void AddCredentialOptions(CLI::App& app, ConnectionOptions& options);
// The parts of these that others need, too.
void AddServerOption(CLI::App& app, ConnectionOptions& options);
void AddPasswordOptions(CLI::App& app, ConnectionOptions& options, const char* group);
void AddKeyOption(CLI::App& app, ConnectionOptions& options, const char* group);
void AddCertificateOptions(CLI::App& app, ConnectionOptions& options);
void AddTokenOptions(CLI::App& app, ConnectionOptions& options, const char* group);
// Log file, its level, traces: in the option group named.
void AddLogOptions(CLI::App& app, ConnectionOptions& options, const char* group);

// value is at most longest bytes long and holds no blank, so that it fits a field and a topic.
bool CheckField(const char* option, const std::string& value, std::size_t longest, std::string& message);

// --server, --conference and --uri; fills server and, when it was not given, uri. withConference:
// --conference must not be empty.
bool CheckConnection(ConnectionOptions& options, bool withConference, std::string& message);
// The heading of the options about credentials.
inline constexpr const char* kCredentialsGroup =
    "Credentials (passwords come from files, never from the command line)";

// One way to give the password, with what it needs.
bool CheckPassword(const ConnectionOptions& options, std::string& message);
// Account, password and token of a conference link.
bool CheckCredentials(const ConnectionOptions& options, std::string& message);

}  // namespace quor_terminal

#endif
