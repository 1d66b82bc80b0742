#include "conference_endpoints.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace quor_simulator {
namespace {

constexpr std::size_t kDefaultPageSize = 20;
constexpr std::size_t kMaxPageSize = 10000;
/* Ids are chosen by clients; where every id is a conference, one client could otherwise exhaust the memory.
 */
constexpr std::size_t kMaxGeneratedConferences = 1000;

/* nullopt: the parameter stands there and is no number. */
std::optional<std::size_t> Number(const RestCall& call, std::string_view name, std::size_t otherwise) {
    const std::string* text = call.target.Query(name);
    if (text == nullptr) {
        return otherwise;
    }
    std::uint32_t value = 0;
    const char* end = text->data() + text->size();
    const auto parsed = std::from_chars(text->data(), end, value);
    return !text->empty() && parsed.ec == std::errc() && parsed.ptr == end ? std::optional(std::size_t{value})
                                                                           : std::nullopt;
}

struct PageQuestion {
    std::size_t page = 0;
    std::size_t size = 0;
};

std::optional<PageQuestion> ReadPage(const RestCall& call) {
    const auto page = Number(call, "page", 0);
    auto size = Number(call, "size", kDefaultPageSize);
    if (!page || !size || *size == 0 || *size > kMaxPageSize) {
        return std::nullopt;
    }
    const std::optional<std::size_t> forced = call.fault != nullptr ? call.fault->pageSize : std::nullopt;
    return PageQuestion{*page, forced.value_or(*size)};
}

RestReply BadPage() {
    return Refuse(400, "page must be a number, size one from 1 to " + std::to_string(kMaxPageSize));
}

/* One page of entries, each made into JSON by item; pages after the last one are empty. */
template <class Entry, class Item>
RestReply Page(const std::vector<Entry>& entries, const PageQuestion& question, Item item) {
    const std::size_t total = entries.size();
    const std::size_t pages = (total + question.size - 1) / question.size;
    const std::size_t from = question.page < pages ? question.page * question.size : total;
    const std::size_t to = std::min(total, from + question.size);
    Json content = Json::array();
    for (std::size_t i = from; i < to; ++i) {
        content.push_back(item(entries[i]));
    }
    return {200, Json{{"content", std::move(content)},
                      {"totalElements", total},
                      {"totalPages", pages},
                      {"number", question.page},
                      {"size", question.size},
                      {"numberOfElements", to - from},
                      {"first", question.page == 0},
                      {"last", question.page + 1 >= pages}}};
}

/* The text of a member; null: no such member or no text. */
const std::string* TextOf(const Json& object, const char* name) {
    if (!object.is_object()) {
        return nullptr;
    }
    const auto found = object.find(name);
    return found == object.end() ? nullptr : found->get_ptr<const std::string*>();
}

/* nullopt: an entry without one of its members, or without an account. */
std::optional<Attendee> ReadReported(const Json& entry) {
    const std::string* name = TextOf(entry, "name");
    const std::string* account = TextOf(entry, "account");
    const std::string* time = TextOf(entry, "checkInTime");
    const std::string* type = TextOf(entry, "type");
    const std::string* participant = TextOf(entry, "participantName");
    if (name == nullptr || account == nullptr || account->empty() || time == nullptr || type == nullptr ||
        participant == nullptr) {
        return std::nullopt;
    }
    return Attendee{*name, *account, SignIn{*time, *type, *participant}};
}

/* Who was expected stays where he stands; who was not comes last. */
void Enter(Conference& conference, const Attendee& attendee) {
    for (Attendee& known : conference.attendees) {
        if (known.account == attendee.account) {
            known.signIn = attendee.signIn;
            return;
        }
    }
    conference.attendees.push_back(attendee);
}

std::optional<Conference> Copy(const std::map<std::string, Conference>& conferences, const std::string& id) {
    const auto found = conferences.find(id);
    return found == conferences.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace

const std::vector<Route>& ConferenceEndpoints::routes() const {
    static const std::vector<Route> kRoutes = {
        {Endpoint::kParticipants, "POST", "/conf-portal/online/conferences/{}/participants/conditions"},
        {Endpoint::kMatchReport, "POST", "/conf-portal/online/conferences/{}/participants/ai/caption"},
        {Endpoint::kSignInList, "GET", "/conf-portal/conferences/{}/checkinservices/checkininfos"},
        {Endpoint::kSignInReport, "PUT", "/conf-portal/conferences/{}/checkinservices/checkininfos"},
        {Endpoint::kAccountQuery, "POST", "/conf-portal/conferences/{}/checkinservices/checkininfos/account"},
        {Endpoint::kSignInHistory, "GET",
         "/conf-portal/conferences/history/{}/checkinservices/checkininfos"}};
    return kRoutes;
}

std::optional<RestReply> ConferenceEndpoints::Check(const RestCall& call) {
    const std::string* token = call.request.Header("token");
    if (token == nullptr || token->empty()) {
        return Refuse(401, "token is missing");
    }
    return m_tokenAccepted(*token) ? std::nullopt : std::optional(Refuse(403, "token refused"));
}

RestReply ConferenceEndpoints::Answer(const RestCall& call) {
    const bool history = call.endpoint == Endpoint::kSignInHistory;
    const std::string& id = call.parameters.at(0);
    const auto old = m_history.find(id);
    Conference* conference = nullptr;
    if (!history) {
        conference = Live(id);
    } else if (old != m_history.end()) {
        conference = &old->second;
    }
    if (conference == nullptr) {
        return Refuse(404, "no such conference");
    }
    if (call.endpoint == Endpoint::kSignInList || history) {
        const std::string* wanted = call.target.Query("checkIn");
        if (wanted == nullptr || (*wanted != "true" && *wanted != "false")) {
            return Refuse(400, "checkIn must be true or false");
        }
        /* Deliberate: of a conference that is over, "false" asks for those who checked in. Terminals depend
         * on it: they expect a sign-in's details in that answer only. */
        return SignIns(call, *conference, (*wanted == "true") != history);
    }
    if (!CarriesJson(call.request)) {
        return Refuse(415, "the body must be application/json");
    }
    const Json body = Json::parse(call.request.body, nullptr, false);
    if (!body.is_object()) {
        return Refuse(400, "the body must be a JSON object");
    }
    switch (call.endpoint) {
        case Endpoint::kParticipants:
            return Participants(call, *conference);
        case Endpoint::kSignInReport:
            return Report(body, *conference);
        case Endpoint::kAccountQuery:
            return Accounts(body, *conference);
        default:
            return Match(call, body);
    }
}

RestReply ConferenceEndpoints::Participants(const RestCall& call, const Conference& conference) const {
    const std::optional<PageQuestion> question = ReadPage(call);
    return !question ? BadPage() : Page(conference.participants, *question, [](const Participant& person) {
        return Json{{"generalParam", Json{{"id", person.id}, {"name", person.name}}}};
    });
}

RestReply ConferenceEndpoints::SignIns(const RestCall& call, const Conference& conference,
                                       bool checkedIn) const {
    const std::optional<PageQuestion> question = ReadPage(call);
    if (!question) {
        return BadPage();
    }
    std::vector<const Attendee*> wanted;
    for (const Attendee& attendee : conference.attendees) {
        if (attendee.signIn.has_value() == checkedIn) {
            wanted.push_back(&attendee);
        }
    }
    return Page(wanted, *question, [](const Attendee* attendee) {
        Json entry{{"name", attendee->name}, {"account", attendee->account}};
        if (attendee->signIn) {
            entry["checkInTime"] = attendee->signIn->time;
            entry["type"] = attendee->signIn->type;
            entry["participantName"] = attendee->signIn->participantName;
        }
        return entry;
    });
}

/* All entries or none. */
RestReply ConferenceEndpoints::Report(const Json& body, Conference& conference) {
    const auto list = body.find("checkInfoList");
    if (list == body.end() || !list->is_array() || list->empty()) {
        return Refuse(400, "checkInfoList must be an array that is not empty");
    }
    std::vector<Attendee> reported;
    for (const Json& entry : *list) {
        std::optional<Attendee> attendee = ReadReported(entry);
        if (!attendee) {
            return Refuse(400, "an entry needs name, account, checkInTime, type and participantName");
        }
        reported.push_back(std::move(*attendee));
    }
    for (const Attendee& attendee : reported) {
        Enter(conference, attendee);
    }
    return {};
}

RestReply ConferenceEndpoints::Accounts(const Json& body, const Conference& conference) const {
    const auto list = body.find("accountList");
    if (list == body.end() || !list->is_array() ||
        !std::all_of(list->begin(), list->end(), [](const Json& account) { return account.is_string(); })) {
        return Refuse(400, "accountList must be an array of texts");
    }
    Json found = Json::array();
    for (const Json& account : *list) {
        for (const Attendee& attendee : conference.attendees) {
            if (attendee.signIn && attendee.account == account.get_ref<const std::string&>()) {
                found.push_back({{"account", attendee.account}, {"checkInTime", attendee.signIn->time}});
            }
        }
    }
    return {200, Json{{"checkInInfos", std::move(found)}}};
}

RestReply ConferenceEndpoints::Match(const RestCall& call, const Json& body) {
    MatchReport report;
    report.conference = call.parameters.at(0);
    report.token = *call.request.Header("token");
    const std::pair<const char*, std::string*> members[] = {
        {"site", &report.site},     {"start", &report.start}, {"end", &report.end},
        {"userid", &report.userId}, {"doa", &report.doa},     {"score", &report.score},
        {"faceid", &report.faceId}};
    const std::string* kind = TextOf(body, "msg");
    if (kind == nullptr || *kind != "avmatch") {
        return Refuse(400, "msg must be \"avmatch\"");
    }
    for (const auto& [name, target] : members) {
        const std::string* text = TextOf(body, name);
        if (text == nullptr) {
            return Refuse(400, std::string(name) + " must be a text");
        }
        *target = *text;
    }
    constexpr const char* kSides[] = {"x", "y", "w", "h"};
    for (std::size_t i = 0; i < report.rect.size(); ++i) {
        const std::string* text = body.contains("rect") ? TextOf(body["rect"], kSides[i]) : nullptr;
        if (text == nullptr) {
            return Refuse(400, "rect must have the texts x, y, w and h");
        }
        report.rect[i] = *text;
    }
    if (m_reportsKept > 0) {
        if (m_matchReports.size() >= m_reportsKept) {
            m_matchReports.pop_front();
        }
        m_matchReports.push_back(std::move(report));
    }
    return {};
}

Conference* ConferenceEndpoints::Live(const std::string& id) {
    const auto found = m_live.find(id);
    if (found != m_live.end()) {
        return &found->second;
    }
    if (!m_people || m_live.size() >= kMaxGeneratedConferences) {
        return nullptr;
    }
    return &m_live.emplace(id, GenerateConference(*m_people)).first->second;
}

void ConferenceEndpoints::SetConference(const std::string& id, Conference conference) {
    m_live[id] = std::move(conference);
}

void ConferenceEndpoints::SetHistory(const std::string& id, Conference conference) {
    m_history[id] = std::move(conference);
}

void ConferenceEndpoints::CheckIn(const std::string& conference, const Attendee& attendee) {
    Conference* live = Live(conference);
    Enter(live == nullptr ? m_live[conference] : *live, attendee);
}

void ConferenceEndpoints::Remove(const std::string& id) {
    m_live.erase(id);
    m_history.erase(id);
}

std::optional<Conference> ConferenceEndpoints::Find(const std::string& id) const {
    return Copy(m_live, id);
}

std::optional<Conference> ConferenceEndpoints::FindHistory(const std::string& id) const {
    return Copy(m_history, id);
}

Conference GenerateConference(std::size_t people) {
    Conference conference;
    conference.participants.reserve(people);
    conference.attendees.reserve(people);
    for (std::size_t i = 1; i <= people; ++i) {
        const std::string number = std::to_string(i);
        conference.participants.push_back({"site-" + number, "Site " + number});
        conference.attendees.push_back({"Person " + number, "account-" + number, std::nullopt});
    }
    return conference;
}

}  // namespace quor_simulator
