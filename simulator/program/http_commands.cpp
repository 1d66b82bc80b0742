#include "http_commands.h"

#include <algorithm>

#include "names.h"

namespace quor_simulator::program {
namespace {

constexpr std::size_t kMaxPeople = 1000000;
constexpr std::size_t kMaxDelayMs = std::size_t{3600} * 1000;

/* "a,b" */
std::vector<std::string> List(const std::string& text) {
    std::vector<std::string> items;
    for (std::size_t from = 0; from <= text.size();) {
        const std::size_t comma = std::min(text.find(',', from), text.size());
        items.push_back(text.substr(from, comma - from));
        from = comma + 1;
    }
    return items;
}

/* true when value is a number from least to most, which target then is. */
template <class Target>
bool Read(const std::string& value, std::size_t least, std::size_t most, Target& target) {
    const std::optional<std::size_t> number = Number(value, most);
    if (!number || *number < least) {
        return false;
    }
    target = Target(static_cast<unsigned int>(*number));
    return true;
}

template <class Value, std::size_t N>
bool ReadName(const std::string& value, const Named<Value> (&names)[N], Value& target) {
    const std::optional<Value> found = FindNamed(names, value);
    target = found.value_or(target);
    return found.has_value();
}

/* word is KEY or KEY=VALUE. */
bool ReadSetting(const std::string& word, RestFault& fault) {
    const std::size_t equals = std::min(word.find('='), word.size());
    const std::string key = word.substr(0, equals);
    const std::string value = word.substr(std::min(equals + 1, word.size()));
    if (key == "status") {
        return Read(value, 200, 599, fault.status);
    }
    if (key == "delayMs") {
        return Read(value, 0, kMaxDelayMs, fault.delay);
    }
    if (key == "cut") {
        return ReadName(value, kCutNames, fault.cut);
    }
    if (key == "content") {
        return ReadName(value, kContentNames, fault.content);
    }
    if (key == "pageSize") {
        return Read(value, 1, kMaxPeople, fault.pageSize);
    }
    if (key == "skip") {
        return Read(value, 0, kMaxPeople, fault.skip);
    }
    if (key == "times") {
        return Read(value, 1, kMaxPeople, fault.times);
    }
    if (key == "omit" && !value.empty()) {
        fault.omit = List(value);
        return true;
    }
    fault.hold = fault.hold || word == "hold";
    return word == "hold";
}

/* The endpoint that the line names or, as an empty optional, all of them; false: it names none that exists.
 */
bool ReadEndpoint(const Words& words, std::optional<Endpoint>& endpoint) {
    if (words.size() > 1) {
        endpoint = FindNamed(kEndpointNames, words[1]);
    }
    return words.size() == 1 || endpoint.has_value();
}

CommandAnswer Usage(const std::string& text) {
    return Bad("usage: " + text + "; endpoints: " + ListNames(kEndpointNames));
}

}  // namespace

CommandAnswer PeopleCommand(Simulator& simulator, const Words& words) {
    const auto count = Number(words.size() > 2 ? words[2] : "", kMaxPeople);
    if (!count) {
        return Bad("usage: people CONFERENCE NUMBER");
    }
    simulator.rest().SetConference(words[1], GenerateConference(*count));
    return Good(words[1] + " has " + std::to_string(*count) + " people");
}

CommandAnswer HttpFaultCommand(Simulator& simulator, const Words& words) {
    std::optional<Endpoint> endpoint;
    RestFault fault;
    bool good = words.size() > 2 && ReadEndpoint(words, endpoint);
    for (std::size_t i = 2; good && i < words.size(); ++i) {
        good = ReadSetting(words[i], fault);
    }
    if (!good || !simulator.rest().SetFault(*endpoint, fault)) {
        return Usage("http-fault ENDPOINT [status=N] [delayMs=N] [hold] [cut=" + ListNames(kCutNames) +
                     "] [content=" + ListNames(kContentNames) +
                     "] [omit=NAME,...] [pageSize=N] [skip=N] [times=N]");
    }
    return Good("requests of the kind " + words[1] + " meet a fault");
}

CommandAnswer HttpReleaseCommand(Simulator& simulator, const Words& words) {
    std::optional<Endpoint> endpoint;
    if (!ReadEndpoint(words, endpoint)) {
        return Usage("http-release [ENDPOINT]");
    }
    return Good(Counted(simulator.rest().ReleaseHeld(endpoint), "answer") + " released");
}

CommandAnswer HttpClearCommand(Simulator& simulator, const Words& words) {
    std::optional<Endpoint> endpoint;
    if (!ReadEndpoint(words, endpoint)) {
        return Usage("http-clear [ENDPOINT]");
    }
    simulator.rest().ClearFault(endpoint);
    return Good("requests are answered as they should be");
}

CommandAnswer RequestsCommand(Simulator& simulator, const Words&) {
    const std::vector<RestRequest> requests = simulator.rest().Requests();
    std::string text = Counted(requests.size(), "request");
    for (const RestRequest& request : requests) {
        text += "; " + std::to_string(request.status) + " " + request.method + " " + request.target;
    }
    return Good(text);
}

CommandAnswer MatchesCommand(Simulator& simulator, const Words&) {
    const std::vector<MatchReport> matches = simulator.rest().MatchReports();
    std::string text = Counted(matches.size(), "match report");
    for (const MatchReport& match : matches) {
        text += "; " + match.conference + " " + match.site + " " + match.userId + " " + match.start + " to " +
                match.end;
    }
    return Good(text);
}

}  // namespace quor_simulator::program
