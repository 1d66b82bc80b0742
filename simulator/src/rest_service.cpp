#include "rest_service.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "names.h"

namespace quor_simulator {
namespace {

/* Pictures are large: bodies are kept up to so many bytes together, however many requests that is. */
constexpr std::size_t kMaxKeptBytes = 64U << 20;

std::uint64_t OneIf(bool condition) {
    return condition ? 1 : 0;
}

HttpAnswer Unknown(const RouteMatch& match) {
    if (match.allowed.empty()) {
        return PlainAnswer(404, "no such resource\n");
    }
    HttpAnswer answer = PlainAnswer(405, "not with this method\n");
    answer.headers.emplace_back("Allow", match.allowed);
    return answer;
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
      m_conferences(std::move(settings.tokenAccepted), settings.people, settings.requestsKept),
      m_faces(std::move(settings.faceCredentials)) {
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
    const std::optional<HttpTarget> target = ParseTarget(request.target);
    if (!target) {
        CountMalformed();
        return {PlainAnswer(400, "the target is no path\n")};
    }
    Course course;
    HttpAnswer answer = FindAnswer(request, *target, course);
    MutexLock lock(m_mutex);
    Count(course);
    PlannedAnswer plan = Plan(course, std::move(answer));
    Record(std::move(request), course, plan.answer.status);
    return plan;
}

HttpAnswer RestService::FindAnswer(const HttpRequest& request, const HttpTarget& target, Course& course) {
    RouteMatch match;
    std::optional<RestCall> call;
    {
        MutexLock lock(m_mutex);
        EndpointTable* table = FindTable(request.method, target, match);
        if (table == nullptr) {
            return Unknown(match);
        }
        course.endpoint = match.route->endpoint;
        course.conference = table == &m_conferences ? match.parameters.at(0) : std::string();
        course.fault = m_faults.Take(*course.endpoint, request.port);
        call.emplace(RestCall{*course.endpoint, request, target, match.parameters,
                              course.fault ? &*course.fault : nullptr});
        Begin(*table, *call, course);
    }
    if (course.reply.later) {
        course.reply = course.reply.later();
    }
    return MakeAnswer(course.reply, course.fault);
}

bool RestService::CarriesPicture(std::string_view method, std::string_view target) {
    const std::optional<HttpTarget> parts = ParseTarget(target);
    RouteMatch match;
    MutexLock lock(m_mutex);
    return parts && FindTable(method, *parts, match) != nullptr && match.route->carriesPicture;
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

void RestService::Begin(EndpointTable& table, const RestCall& call, Course& course) {
    if (course.fault && course.fault->status.value_or(200) >= 300) {
        course.reply = RefusalOf(*course.fault);
        return;
    }
    std::optional<RestReply> refusal = table.Check(call);
    course.credentialsRefused = refusal.has_value();
    course.reply = refusal ? std::move(*refusal) : table.Answer(call);
}

void RestService::Count(const Course& course) {
    if (!course.endpoint) {
        ++m_statistics.unknown;
        return;
    }
    RestCount& count = m_statistics.endpoints[std::string(EndpointName(*course.endpoint))];
    ++count.requests;
    if (course.fault) {
        ++count.faulty;
        m_statistics.connectionsCut += OneIf(course.fault->cut != Cut::kNone);
        return;
    }
    count.tokenRefused += OneIf(course.credentialsRefused);
    count.refused += OneIf(course.reply.status / 100 == 4);
    count.good += OneIf(course.reply.status / 100 == 2);
}

PlannedAnswer RestService::Plan(const Course& course, HttpAnswer answer) {
    PlannedAnswer plan;
    plan.answer = std::move(answer);
    if (course.fault) {
        plan.delay = course.fault->delay;
        plan.cut = course.fault->cut;
        if (course.fault->hold) {
            plan.held = ++m_lastHeld;
            m_held[plan.held] = *course.endpoint;
        }
    }
    return plan;
}

void RestService::Record(HttpRequest request, const Course& course, unsigned int status) {
    if (course.endpoint) {
        ++m_arrived[*course.endpoint];
    }
    RestRequest record;
    record.endpoint = course.endpoint;
    record.method = std::move(request.method);
    record.target = std::move(request.target);
    record.conference = course.conference;
    record.headers = std::move(request.headers);
    record.body = std::move(request.body);
    record.status = status;
    record.faulty = course.fault.has_value();
    record.connection = request.connection;
    record.port = request.port;
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

void RestService::SetGallery(Gallery gallery) {
    auto index = std::make_shared<const FaceIndex>(std::move(gallery));
    MutexLock lock(m_mutex);
    m_faces.SetGallery(std::move(index));
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
