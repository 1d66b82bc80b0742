// request_options.h - the options that the requests over HTTPS share, and their checks.
//
// Threads: pure functions.
#ifndef QUOR_TERMINAL_REQUEST_OPTIONS_H
#define QUOR_TERMINAL_REQUEST_OPTIONS_H

#include <string>

#include "command_line.h"

namespace CLI {
class App;
}

namespace quor_terminal {

// Server, certificates, conference, token, time limit, JSON and log. pages: the request may take several
// pages, whose progress is worth telling.
void AddRequestOptions(CLI::App& app, RequestOptions& options, bool pages);

// What the library makes of the server's address.
enum class AddressUse {
    kAny,         // a name, IPv4 or IPv6
    kNameOrIpv4,  // put into the URL as it stands, without the brackets of IPv6
};

// Fills what was given as a text.
bool CheckRequest(RequestOptions& options, AddressUse use, std::string& message);

// value has 1 to longest bytes; unlike CheckField it may hold blanks, but no line ends.
bool CheckText(const char* option, const std::string& value, std::size_t longest, std::string& message);

}  // namespace quor_terminal

#endif
