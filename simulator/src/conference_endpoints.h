/*
 * conference_endpoints.h - the conferences that the HTTP requests are about, and the table of endpoints that
 * asks and changes them: participants, sign-in lists and reports, accounts, match reports.
 *
 * Threads: none of its own; the rest side calls it under its mutex.
 */
#ifndef QUOR_SIMULATOR_CONFERENCE_ENDPOINTS_H
#define QUOR_SIMULATOR_CONFERENCE_ENDPOINTS_H

#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "routes.h"

namespace quor_simulator {

class ConferenceEndpoints : public EndpointTable {
public:
    using TokenCheck = std::function<bool(std::string_view)>;

    /* people: a conference that nobody set is there with so many generated people; nullopt: it is not. */
    ConferenceEndpoints(TokenCheck tokenAccepted, std::optional<std::size_t> people, std::size_t reportsKept)
        : m_tokenAccepted(std::move(tokenAccepted)), m_people(people), m_reportsKept(reportsKept) {}

    const std::vector<Route>& routes() const override;
    std::optional<RestReply> Check(const RestCall& call) override;
    RestReply Answer(const RestCall& call) override;

    void SetConference(const std::string& id, Conference conference);
    void SetHistory(const std::string& id, Conference conference);
    void CheckIn(const std::string& conference, const Attendee& attendee);
    void Remove(const std::string& id);
    std::optional<Conference> Find(const std::string& id) const;
    std::optional<Conference> FindHistory(const std::string& id) const;
    const std::deque<MatchReport>& matchReports() const { return m_matchReports; }
    void ClearMatchReports() { m_matchReports.clear(); }

private:
    using Conferences = std::map<std::string, Conference>;

    Conference* Live(const std::string& id);
    RestReply Participants(const RestCall& call, const Conference& conference) const;
    RestReply SignIns(const RestCall& call, const Conference& conference, bool checkedIn) const;
    RestReply Report(const Json& body, Conference& conference);
    RestReply Accounts(const Json& body, const Conference& conference) const;
    RestReply Match(const RestCall& call, const Json& body);

    const TokenCheck m_tokenAccepted;
    const std::optional<std::size_t> m_people;
    const std::size_t m_reportsKept;
    Conferences m_live;
    Conferences m_history;
    std::deque<MatchReport> m_matchReports;
};

}  // namespace quor_simulator

#endif
