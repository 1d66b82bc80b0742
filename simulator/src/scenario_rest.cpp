#include "scenario_rest.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

#include "choose.h"
#include "rest_fault.h"

namespace quor_simulator {
namespace {

constexpr std::int64_t kMaxDelayMs = 3600LL * 1000;
constexpr std::int64_t kMaxCount = 1000000;

std::optional<Endpoint> OptionalEndpoint(const JsonNode& step) {
    step.AllowOnly({"at", "kind", "endpoint"});
    return step.Has("endpoint") ? std::optional(Choose(step.Member("endpoint"), kEndpointNames))
                                : std::nullopt;
}

std::size_t Generated(const JsonNode& node) {
    return static_cast<std::size_t>(node.IntegerOr("generate", 0, kMaxGenerated, 0));
}

std::vector<Person> PeopleOf(const JsonNode& node, std::string_view member, const PersonFinder& find) {
    std::vector<Person> people;
    if (node.Has(member)) {
        for (const JsonNode& item : node.Member(member).Items()) {
            people.push_back(find(item));
        }
    }
    return people;
}

/* A list of numbers, or one of them alone. */
std::vector<std::size_t> NumbersOr(const JsonNode& step, std::string_view name, std::int64_t least,
                                   std::size_t most) {
    std::vector<std::size_t> numbers;
    if (step.Has(name)) {
        const JsonNode member = step.Member(name);
        for (const JsonNode& item : member.value().is_array() ? member.Items() : std::vector{member}) {
            numbers.push_back(static_cast<std::size_t>(item.Integer(least, static_cast<std::int64_t>(most))));
        }
    }
    return numbers;
}

std::vector<double> Scores(const JsonNode& list) {
    std::vector<double> scores;
    for (const JsonNode& item : list.Items()) {
        if (!item.value().is_number() || std::abs(item.value().get<double>()) > kMaxScore) {
            item.Fail("must be a number");
        }
        scores.push_back(item.value().get<double>());
    }
    if (scores.size() > kMaxResults) {
        list.Fail("must have at most " + std::to_string(kMaxResults) + " numbers");
    }
    return scores;
}

void ReadFaceFault(const JsonNode& step, RestFault& fault) {
    if (step.Has("results")) {
        fault.results = static_cast<std::size_t>(step.Member("results").Integer(0, kMaxResults));
    }
    if (step.Has("scores")) {
        fault.scores = Scores(step.Member("scores"));
    }
    fault.photoBytes = NumbersOr(step, "photoBytes", 0, kMaxPhotoBytes);
    fault.failItems = NumbersOr(step, "failItems", 1, kMaxResults);
    if (step.Has("badBase64") && step.Member("badBase64").value().is_boolean()) {
        if (step.Member("badBase64").Flag()) {
            fault.badBase64.emplace();
        }
    } else if (step.Has("badBase64")) {
        fault.badBase64 = NumbersOr(step, "badBase64", 1, kMaxResults);
        if (fault.badBase64->empty()) {
            step.Member("badBase64").Fail("must be true or name places");
        }
    }
}

}  // namespace

Conference MakeConference(const std::vector<Person>& people, std::size_t generated) {
    Conference conference;
    for (const Person& person : people) {
        conference.participants.push_back({person.uuid, person.name});
        conference.attendees.push_back({person.name, person.account, std::nullopt});
    }
    Conference more = GenerateConference(generated);
    std::move(more.participants.begin(), more.participants.end(),
              std::back_inserter(conference.participants));
    std::move(more.attendees.begin(), more.attendees.end(), std::back_inserter(conference.attendees));
    return conference;
}

Attendee CheckedIn(const Person& person, const std::string& time, const std::string& type) {
    return {person.name, person.account, SignIn{time, type, person.name}};
}

std::map<std::string, Conference> ReadHistory(const JsonNode& list, const PersonFinder& find) {
    std::map<std::string, Conference> history;
    for (const JsonNode& item : list.Items()) {
        item.AllowOnly({"conference", "people", "checkedIn", "generate", "time", "type"});
        const std::string time = item.TextOr("time", "2026-01-01 09:00:00");
        const std::string type = item.TextOr("type", "normal");
        Conference conference = MakeConference(PeopleOf(item, "people", find), Generated(item));
        for (const Person& person : PeopleOf(item, "checkedIn", find)) {
            conference.attendees.push_back(CheckedIn(person, time, type));
        }
        const std::string id = item.Member("conference").Text();
        if (!history.emplace(id, std::move(conference)).second) {
            item.Member("conference").Fail("\"" + id + "\" occurs twice");
        }
    }
    return history;
}

RestStep ReadParticipantsStep(const JsonNode& step, const std::string& conference, const PersonFinder& find) {
    step.AllowOnly({"at", "kind", "people", "generate"});
    std::vector<Participant> participants =
        MakeConference(PeopleOf(step, "people", find), Generated(step)).participants;
    return [conference, participants = std::move(participants)](Rest& rest) {
        Conference changed = rest.FindConference(conference).value_or(Conference{});
        changed.participants = participants;
        rest.SetConference(conference, std::move(changed));
    };
}

RestStep ReadHttpFaultStep(const JsonNode& step) {
    step.AllowOnly({"at",      "kind",    "endpoint", "status",     "delayMs",   "hold",     "cut",
                    "content", "omit",    "pageSize", "body",       "skip",      "times",    "flap",
                    "port",    "results", "scores",   "photoBytes", "badBase64", "failItems"});
    RestFault fault;
    if (step.Has("status")) {
        fault.status = static_cast<unsigned int>(step.Member("status").Integer(200, 599));
    }
    fault.delay = Milliseconds(step.IntegerOr("delayMs", 0, kMaxDelayMs, 0));
    fault.hold = step.FlagOr("hold", false);
    if (step.Has("cut")) {
        fault.cut = Choose(step.Member("cut"), kCutNames);
    }
    if (step.Has("content")) {
        fault.content = Choose(step.Member("content"), kContentNames);
    }
    fault.omit = step.TextsOr("omit");
    if (step.Has("pageSize")) {
        fault.pageSize = static_cast<std::size_t>(step.Member("pageSize").Integer(1, kMaxCount));
    }
    if (step.Has("body")) {
        const Json& body = step.Member("body").value();
        fault.body = body.is_string() ? body.get<std::string>() : body.dump();
    }
    fault.skip = static_cast<std::size_t>(step.IntegerOr("skip", 0, kMaxCount, 0));
    if (step.Has("times")) {
        fault.times = static_cast<std::size_t>(step.Member("times").Integer(1, kMaxCount));
    }
    fault.flap = static_cast<std::size_t>(step.IntegerOr("flap", 1, kMaxCount, 0));
    if (step.Has("port")) {
        fault.port = Choose(step.Member("port"), kPortNames);
    }
    ReadFaceFault(step, fault);
    const Endpoint endpoint = Choose(step.Member("endpoint"), kEndpointNames);
    return [endpoint, fault = std::move(fault)](Rest& rest) { rest.SetFault(endpoint, fault); };
}

RestStep ReadHttpReleaseStep(const JsonNode& step) {
    return [endpoint = OptionalEndpoint(step)](Rest& rest) { rest.ReleaseHeld(endpoint); };
}

RestStep ReadHttpClearStep(const JsonNode& step) {
    return [endpoint = OptionalEndpoint(step)](Rest& rest) { rest.ClearFault(endpoint); };
}

}  // namespace quor_simulator
