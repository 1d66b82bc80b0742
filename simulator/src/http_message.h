/*
 * http_message.h - an HTTP request and its answer as plain records, what becomes of the answer on its way,
 * and the text of an answer's head. Pure functions; the HTTP library stays in the network sources.
 */
#ifndef QUOR_SIMULATOR_HTTP_MESSAGE_H
#define QUOR_SIMULATOR_HTTP_MESSAGE_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "quor_simulator/rest.h"

namespace quor_simulator {

struct HttpRequest {
    std::string method;
    std::string target;
    HeaderList headers;
    std::string body;
    std::uint64_t connection = 0;
    Port port = Port::kFirst;

    /* The value of the first header of that name, whatever its letter case; null if there is none. */
    const std::string* Header(std::string_view name) const;
};

struct HttpAnswer {
    unsigned int status = 200;
    HeaderList headers; /* those about body and connection excepted */
    std::string body;
    bool close = false; /* the connection ends after it, whatever the client wants */
};

HttpAnswer PlainAnswer(unsigned int status, std::string text);

/* An answer and its way to the client. */
struct PlannedAnswer {
    HttpAnswer answer;
    Milliseconds delay{0};
    std::uint64_t held = 0; /* not 0: a number that the rest side releases */
    Cut cut = Cut::kNone;
};

struct EncodedAnswer {
    std::string head; /* with the empty line */
    std::string body; /* empty for a status that has none */
};
EncodedAnswer Encode(HttpAnswer answer, bool keepAlive);

/* A request's target taken apart; texts without percent-encoding. */
struct HttpTarget {
    std::vector<std::string> segments; /* of the path: "/a/b" has two, "/a/" has "a" and an empty one */
    std::vector<std::pair<std::string, std::string>> query;

    const std::string* Query(std::string_view name) const; /* the first of that name, or null */
};

/* nullopt: a percent sign that two hexadecimal digits do not follow, or that encodes a NUL. */
std::optional<std::string> PercentDecode(std::string_view text);

/* nullopt: no path, or a percent sign that two hexadecimal digits do not follow, or that encodes a NUL. */
std::optional<HttpTarget> ParseTarget(std::string_view target);

}  // namespace quor_simulator

#endif
