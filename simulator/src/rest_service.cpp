#include "rest_service.h"

#include <algorithm>
#include <utility>

#include "names.h"

namespace quor_simulator {
namespace {

/* Pictures are large: bodies are kept up to so many bytes together, however many requests that is. */
constexpr std::size_t kMaxKeptBytes = 64U << 20;

std::uint64_t OneIf(bool condition) {
    return condition ? 1 : 0;
}

}  // namespace

std::string_view EndpointName(Endpoint endpoint) {
    for (const Named<Endpoint>& known : kEndpointNames) {
        if (known.value == endpoint) {
            return known.name;
        }
    }
    return "?";
}

RestService::RestService(Settings settings)
    : m_requestsKept(settings.requestsKept),
      m_conferences(std::move(settings.tokenAccepted), settings.people, settings.requestsKept) {
    for (const Named<Endpoint>& known : kEndpointNames) {
        m_statistics.endpoints[std::string(known.name)] = {};
    }
}

void RestService::Attach(std::function<void()> wake) {
    MutexLock lock(m_mutex);
    m_wake = std::move(wake);
    m_held.clear();
    m_changed.NotifyAll();
}

PlannedAnswer RestService::Answer(HttpRequest request) {
    MutexLock lock(m_mutex);
    RestRequest record;
    record.method = request.method;
    record.target = request.target;
    record.connection = request.connection;
    const std::optional<HttpTarget> target = ParseTarget(request.target);
    if (!target) {
        ++m_statistics.malformed;
        return {PlainAnswer(400, "the target is no path\n")};
    }
    RouteMatch match;
    EndpointTable* table = FindTable(request.method, *target, match);
    if (table == nullptr) {
        record.headers = std::move(request.headers);
        record.body = std::move(request.body);
        return Unknown(match, std::move(record));
    }
    const Endpoint endpoint = match.route->endpoint;
    const std::optional<RestFault> fault = m_faults.Take(endpoint);
    const RestCall call{endpoint, request, *target, match.parameters, fault ? fault->pageSize : std::nullopt};
    PlannedAnswer plan = Plan(endpoint, Ask(*table, call, fault), fault);
    record.endpoint = endpoint;
    record.conference = match.parameters.empty() ? std::string() : match.parameters.front();
    record.status = plan.answer.status;
    record.faulty = fault.has_value();
    record.headers = std::move(request.headers);
    record.body = std::move(request.body);
    Record(std::move(record));
    return plan;
}

EndpointTable* RestService::FindTable(std::string_view method, const HttpTarget& target, RouteMatch& match) {
    for (EndpointTable* table : m_tables) {
        FindRoute(table->routes(), method, target, match);
        if (match.route != nullptr) {
            return table;
        }
    }
    return nullptr;
}

RestReply RestService::Ask(EndpointTable& table, const RestCall& call,
                           const std::optional<RestFault>& fault) {
    RestCount& count = m_statistics.endpoints[std::string(EndpointName(call.endpoint))];
    ++count.requests;
    if (fault) {
        ++count.faulty;
        if (fault->status.value_or(200) >= 300) {
            return RefusalOf(*fault);
        }
    }
    const std::optional<RestReply> refusal = table.Check(call);
    RestReply reply = refusal ? *refusal : table.Answer(call);
    if (!fault) {
        count.tokenRefused += OneIf(refusal.has_value());
        count.refused += OneIf(reply.status / 100 == 4);
        count.good += OneIf(reply.status / 100 == 2);
    }
    return reply;
}

PlannedAnswer RestService::Plan(Endpoint endpoint, const RestReply& reply,
                                const std::optional<RestFault>& fault) {
    PlannedAnswer plan;
    plan.answer = MakeAnswer(reply, fault);
    if (fault) {
        plan.delay = fault->delay;
        plan.cut = fault->cut;
        m_statistics.connectionsCut += OneIf(fault->cut != Cut::kNone);
        if (fault->hold) {
            plan.held = ++m_lastHeld;
            m_held[plan.held] = endpoint;
        }
    }
    return plan;
}

PlannedAnswer RestService::Unknown(const RouteMatch& match, RestRequest record) {
    PlannedAnswer plan;
    if (match.allowed.empty()) {
        plan.answer = PlainAnswer(404, "no such resource\n");
    } else {
        plan.answer = PlainAnswer(405, "not with this method\n");
        plan.answer.headers.emplace_back("Allow", match.allowed);
    }
    ++m_statistics.unknown;
    record.status = plan.answer.status;
    Record(std::move(record));
    return plan;
}

void RestService::Record(RestRequest record) {
    if (record.endpoint) {
        ++m_arrived[*record.endpoint];
    }
    m_requestBytes += record.body.size();
    m_requests.push_back(std::move(record));
    while (m_requests.size() > m_requestsKept || (m_requestBytes > kMaxKeptBytes && m_requests.size() > 1)) {
        m_requestBytes -= m_requests.front().body.size();
        m_requests.pop_front();
    }
    m_changed.NotifyAll();
}

void RestService::CountMalformed() {
    MutexLock lock(m_mutex);
    ++m_statistics.malformed;
}

bool RestService::IsHeld(std::uint64_t held) const {
    MutexLock lock(m_mutex);
    return m_held.count(held) != 0;
}

void RestService::ForgetHeld(std::uint64_t held) {
    MutexLock lock(m_mutex);
    m_held.erase(held);
    m_changed.NotifyAll();
}

void RestService::SetConference(const std::string& id, Conference conference) {
    MutexLock lock(m_mutex);
    m_conferences.SetConference(id, std::move(conference));
}

void RestService::SetHistory(const std::string& id, Conference conference) {
    MutexLock lock(m_mutex);
    m_conferences.SetHistory(id, std::move(conference));
}

void RestService::CheckIn(const std::string& conference, const Attendee& attendee) {
    MutexLock lock(m_mutex);
    m_conferences.CheckIn(conference, attendee);
}

void RestService::RemoveConference(const std::string& id) {
    MutexLock lock(m_mutex);
    m_conferences.Remove(id);
}

std::optional<Conference> RestService::FindConference(const std::string& id) const {
    MutexLock lock(m_mutex);
    return m_conferences.Find(id);
}

std::optional<Conference> RestService::FindHistory(const std::string& id) const {
    MutexLock lock(m_mutex);
    return m_conferences.FindHistory(id);
}

std::vector<RestRequest> RestService::Requests() const {
    MutexLock lock(m_mutex);
    return {m_requests.begin(), m_requests.end()};
}

std::vector<MatchReport> RestService::MatchReports() const {
    MutexLock lock(m_mutex);
    const auto& reports = m_conferences.matchReports();
    return {reports.begin(), reports.end()};
}

std::size_t RestService::Arrived(Endpoint endpoint) const {
    const auto found = m_arrived.find(endpoint);
    return found == m_arrived.end() ? 0 : found->second;
}

bool RestService::WaitForRequests(Endpoint endpoint, std::size_t count, Milliseconds timeout) const {
    const Clock::time_point deadline = Clock::now() + timeout;
    MutexLock lock(m_mutex);
    while (Arrived(endpoint) < count && m_changed.WaitUntil(m_mutex, deadline)) {
    }
    return Arrived(endpoint) >= count;
}

void RestService::ClearRequests() {
    MutexLock lock(m_mutex);
    m_requests.clear();
    m_requestBytes = 0;
    m_arrived.clear();
    m_conferences.ClearMatchReports();
}

RestStatistics RestService::GetStatistics() const {
    MutexLock lock(m_mutex);
    return m_statistics;
}

bool RestService::SetFault(Endpoint endpoint, RestFault fault) {
    if (fault.status && (*fault.status < 200 || *fault.status > 599)) {
        return false;
    }
    if (fault.pageSize) {
        fault.pageSize = std::max<std::size_t>(*fault.pageSize, 1);
    }
    MutexLock lock(m_mutex);
    m_faults.Set(endpoint, std::move(fault));
    return true;
}

void RestService::ClearFault(std::optional<Endpoint> endpoint) {
    MutexLock lock(m_mutex);
    m_faults.Clear(endpoint);
}

std::size_t RestService::ReleaseHeld(std::optional<Endpoint> endpoint) {
    MutexLock lock(m_mutex);
    const std::size_t released =
        std::erase_if(m_held, [&](const auto& entry) { return !endpoint || entry.second == *endpoint; });
    if (released > 0 && m_wake) {
        m_wake();
    }
    m_changed.NotifyAll();
    return released;
}

bool RestService::WaitForHeld(std::size_t count, Milliseconds timeout) const {
    const Clock::time_point deadline = Clock::now() + timeout;
    MutexLock lock(m_mutex);
    while (m_held.size() < count && m_changed.WaitUntil(m_mutex, deadline)) {
    }
    return m_held.size() >= count;
}

bool RestService::WaitForNoneHeld(Milliseconds timeout) const {
    const Clock::time_point deadline = Clock::now() + timeout;
    MutexLock lock(m_mutex);
    while (!m_held.empty() && m_changed.WaitUntil(m_mutex, deadline)) {
    }
    return m_held.empty();
}

}  // namespace quor_simulator
