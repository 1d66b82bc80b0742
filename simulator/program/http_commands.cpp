#include "http_commands.h"

#include <charconv>
#include <cmath>

#include "names.h"
#include "rest_fault.h"

namespace quor_simulator::program {
namespace {

constexpr std::size_t kMaxPeople = 1000000;
constexpr std::size_t kMaxDelayMs = std::size_t{3600} * 1000;

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

/* "2,5", each a number from least to most. */
bool ReadNumbers(const std::string& value, std::size_t least, std::size_t most,
                 std::vector<std::size_t>& target) {
    target.clear();
    for (const std::string& item : SplitList(value)) {
        const std::optional<std::size_t> number = Number(item, most);
        if (!number || *number < least) {
            return false;
        }
        target.push_back(*number);
    }
    return true;
}

/* "90,74.9" */
bool ReadScores(const std::string& value, std::vector<double>& target) {
    target.clear();
    for (const std::string& item : SplitList(value)) {
        double score = 0;
        const char* end = item.data() + item.size();
        const auto parsed = std::from_chars(item.data(), end, score);
        if (parsed.ec != std::errc() || parsed.ptr != end || !(std::abs(score) <= kMaxScore)) {
            return false;
        }
        target.push_back(score);
    }
    return target.size() <= kMaxResults;
}

struct Setting {
    std::string_view key;
    bool (*read)(const std::string& value, RestFault& fault);
};

constexpr Setting kSettings[] = {
    {"status", [](auto& value, auto& fault) { return Read(value, 200, 599, fault.status); }},
    {"delayMs", [](auto& value, auto& fault) { return Read(value, 0, kMaxDelayMs, fault.delay); }},
    {"cut", [](auto& value, auto& fault) { return ReadName(value, kCutNames, fault.cut); }},
    {"content", [](auto& value, auto& fault) { return ReadName(value, kContentNames, fault.content); }},
    {"omit",
     [](auto& value, auto& fault) {
         fault.omit = SplitList(value);
         return !value.empty();
     }},
    {"pageSize", [](auto& value, auto& fault) { return Read(value, 1, kMaxPeople, fault.pageSize); }},
    {"skip", [](auto& value, auto& fault) { return Read(value, 0, kMaxPeople, fault.skip); }},
    {"times", [](auto& value, auto& fault) { return Read(value, 1, kMaxPeople, fault.times); }},
    {"flap", [](auto& value, auto& fault) { return Read(value, 1, kMaxPeople, fault.flap); }},
    {"port",
     [](auto& value, auto& fault) {
         fault.port = FindNamed(kPortNames, value);
         return fault.port.has_value();
     }},
    {"results", [](auto& value, auto& fault) { return Read(value, 0, kMaxResults, fault.results); }},
    {"scores", [](auto& value, auto& fault) { return ReadScores(value, fault.scores); }},
    {"photoBytes",
     [](auto& value, auto& fault) { return ReadNumbers(value, 0, kMaxPhotoBytes, fault.photoBytes); }},
    {"badBase64",
     [](auto& value, auto& fault) { return ReadNumbers(value, 1, kMaxResults, fault.badBase64.emplace()); }},
    {"failItems",
     [](auto& value, auto& fault) { return ReadNumbers(value, 1, kMaxResults, fault.failItems); }},
};

/* word is KEY or KEY=VALUE. */
bool ReadSetting(const std::string& word, RestFault& fault) {
    if (word == "hold") {
        fault.hold = true;
        return true;
    }
    if (word == "badBase64") {
        fault.badBase64.emplace();
        return true;
    }
    const std::size_t equals = word.find('=');
    for (const Setting& setting : kSettings) {
        if (equals != std::string::npos && setting.key == std::string_view(word).substr(0, equals)) {
            return setting.read(word.substr(equals + 1), fault);
        }
    }
    return false;
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
        return Usage(
            "http-fault ENDPOINT [status=N] [delayMs=N] [hold] [cut=" + ListNames(kCutNames) +
            "] [content=" + ListNames(kContentNames) +
            "] [omit=NAME,...] [pageSize=N] [skip=N] [times=N] [flap=N] [port=" + ListNames(kPortNames) +
            "] [results=N] [scores=N,...] [photoBytes=N,...] [badBase64[=PLACE,...]] "
            "[failItems=PLACE,...]");
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
        text += request.port == Port::kSecond ? " on the second port" : "";
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
