/*
 * rest_service.h - the HTTP side behind the port: finds the endpoint, checks, answers, spoils answers on
 * command and keeps records. Implements the public Rest and serves the network.
 *
 * Locks: one mutex guards all of it. Under it the token check takes the hub's mutex, and the network's
 * wake-up is posted; neither calls back. What takes long (looking at pictures, putting long answers together)
 * happens without it.
 */
#ifndef QUOR_SIMULATOR_REST_SERVICE_H
#define QUOR_SIMULATOR_REST_SERVICE_H

#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "conference_endpoints.h"
#include "face_endpoints.h"
#include "rest_fault.h"
#include "sync.h"

namespace quor_simulator {

class RestService final : public Rest {
public:
    struct Settings {
        std::optional<std::size_t> people; /* see ConferenceEndpoints */
        std::size_t requestsKept = 1000;
        ConferenceEndpoints::TokenCheck tokenAccepted;
        FaceEndpoints::Credentials faceCredentials;
    };
    explicit RestService(Settings settings);

    /* ---- for the network, on its thread ---- */
    /* wake is called from any thread after answers were released and must only post; null: every connection
     * is gone. */
    void Attach(std::function<void()> wake);
    PlannedAnswer Answer(HttpRequest request);
    /* The body of such a request may be as long as a picture. */
    bool CarriesPicture(std::string_view method, std::string_view target);
    void CountMalformed();
    bool IsHeld(std::uint64_t held) const;
    void ForgetHeld(std::uint64_t held); /* its client has left, or it went out */

    /* ---- Rest ---- */
    void SetGallery(Gallery gallery) override;
    void SetConference(const std::string& id, Conference conference) override;
    void SetHistory(const std::string& id, Conference conference) override;
    void CheckIn(const std::string& conference, const Attendee& attendee) override;
    void RemoveConference(const std::string& id) override;
    std::optional<Conference> FindConference(const std::string& id) const override;
    std::optional<Conference> FindHistory(const std::string& id) const override;
    std::vector<RestRequest> Requests() const override;
    std::vector<quor_simulator::MatchReport> MatchReports() const override;
    bool WaitForRequests(Endpoint endpoint, std::size_t count, Milliseconds timeout) const override;
    void ClearRequests() override;
    RestStatistics GetStatistics() const override;
    bool SetFault(Endpoint endpoint, RestFault fault) override;
    void ClearFault(std::optional<Endpoint> endpoint) override;
    std::size_t ReleaseHeld(std::optional<Endpoint> endpoint) override;
    bool WaitForHeld(std::size_t count, Milliseconds timeout) const override;
    bool WaitForNoneHeld(Milliseconds timeout) const override;

private:
    using Clock = std::chrono::steady_clock;

    /* The table that has the route, which match then holds; null: none has, see match. */
    EndpointTable* FindTable(std::string_view method, const HttpTarget& target, RouteMatch& match)
        QUOR_SIM_REQUIRES(m_mutex);

    /* An answer on its way. */
    struct Course {
        std::optional<Endpoint> endpoint; /* nullopt: there is none for such a request */
        std::string conference;
        std::optional<RestFault> fault;
        bool credentialsRefused = false;
        RestReply reply;
    };
    HttpAnswer FindAnswer(const HttpRequest& request, const HttpTarget& target, Course& course)
        QUOR_SIM_EXCLUDES(m_mutex);
    void Begin(EndpointTable& table, const RestCall& call, Course& course) QUOR_SIM_REQUIRES(m_mutex);
    void Count(const Course& course) QUOR_SIM_REQUIRES(m_mutex);
    PlannedAnswer Plan(const Course& course, HttpAnswer answer) QUOR_SIM_REQUIRES(m_mutex);
    void Record(HttpRequest request, const Course& course, unsigned int status) QUOR_SIM_REQUIRES(m_mutex);
    std::size_t Arrived(Endpoint endpoint) const QUOR_SIM_REQUIRES(m_mutex);

    const std::size_t m_requestsKept;
    mutable Mutex m_mutex;
    mutable CondVar m_changed;
    std::function<void()> m_wake QUOR_SIM_GUARDED_BY(m_mutex);
    ConferenceEndpoints m_conferences QUOR_SIM_GUARDED_BY(m_mutex);
    FaceEndpoints m_faces QUOR_SIM_GUARDED_BY(m_mutex);
    /* Every service of the ports is one of these. */
    const std::vector<EndpointTable*> m_tables QUOR_SIM_GUARDED_BY(m_mutex){&m_conferences, &m_faces};
    FaultTable m_faults QUOR_SIM_GUARDED_BY(m_mutex);
    std::map<std::uint64_t, Endpoint> m_held QUOR_SIM_GUARDED_BY(m_mutex);
    std::uint64_t m_lastHeld QUOR_SIM_GUARDED_BY(m_mutex) = 0;
    std::deque<RestRequest> m_requests QUOR_SIM_GUARDED_BY(m_mutex);
    std::size_t m_requestBytes QUOR_SIM_GUARDED_BY(m_mutex) = 0; /* of bodies kept */
    std::map<Endpoint, std::size_t> m_arrived QUOR_SIM_GUARDED_BY(m_mutex);
    RestStatistics m_statistics QUOR_SIM_GUARDED_BY(m_mutex);
};

}  // namespace quor_simulator

#endif
