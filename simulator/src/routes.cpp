#include "routes.h"

namespace quor_simulator {
namespace {

/* The segments that stood for each {}, if path is the pattern's. */
std::optional<std::vector<std::string>> MatchPath(std::string_view pattern,
                                                  const std::vector<std::string>& segments) {
    std::vector<std::string> parameters;
    for (const std::string& segment : segments) {
        if (pattern.empty()) {
            return std::nullopt;
        }
        pattern.remove_prefix(1);
        const std::string_view wanted = pattern.substr(0, pattern.find('/'));
        if (wanted == "{}" ? segment.empty() : segment != wanted) {
            return std::nullopt;
        }
        if (wanted == "{}") {
            parameters.push_back(segment);
        }
        pattern.remove_prefix(wanted.size());
    }
    return pattern.empty() ? std::optional(std::move(parameters)) : std::nullopt;
}

}  // namespace

RestReply Refuse(unsigned int status, const std::string& text) {
    return {status, Json{{"message", text}}};
}

bool CarriesJson(const HttpRequest& request) {
    constexpr std::string_view kJson = "application/json";
    const std::string* type = request.Header("Content-Type");
    return type != nullptr && std::string_view(*type).substr(0, kJson.size()) == kJson;
}

void FindRoute(const std::vector<Route>& routes, std::string_view method, const HttpTarget& target,
               RouteMatch& match) {
    for (const Route& route : routes) {
        std::optional<std::vector<std::string>> parameters = MatchPath(route.path, target.segments);
        if (!parameters) {
            continue;
        }
        if (route.method == method) {
            match.route = &route;
            match.parameters = std::move(*parameters);
            return;
        }
        match.allowed.append(match.allowed.empty() ? "" : ", ").append(route.method);
    }
}

}  // namespace quor_simulator
