// host_terminal.h - a terminal application in small: the host's settings, the channel and one observer, with
// everything that the library and the platform say about themselves recorded. One at a time; it leaves the
// process as it found it, so that several can follow each other.
//
// Threads: everything belongs to the test's thread, which plays the control thread. Subscriptions are made
// where the library wants them: inside the observer's Update for the connect notification (see
// SubscribeOnConnect).
#ifndef QUOR_TESTS_INTEGRATION_HOST_TERMINAL_H
#define QUOR_TESTS_INTEGRATION_HOST_TERMINAL_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform_linux/thread_annotations.h"
#include "quor_ai/ai_kel_basic.h"
#include "quor_platform_linux/host.h"
#include "support/recording_observer.h"
#include "support/records.h"
#include "tests/platform_linux/support/temporary_folder.h"

namespace quor_test {

// How link events reach the library.
enum class Delivery {
    kDirect,  // the library's entry is the platform's sink
    // The application lets no event in while it opens or closes a link. The library's link ids are unguarded,
    // so this is what an application needs that closes a link whose frames still flow, or opens a manager
    // link, whose id is stored by the control thread and by the connect event.
    kSerialised,
};

class HostTerminal {
public:
    explicit HostTerminal(Delivery delivery = Delivery::kDirect);
    ~HostTerminal();
    HostTerminal(const HostTerminal&) = delete;
    HostTerminal& operator=(const HostTerminal&) = delete;

    QuorAiEngine::AiKelBasic& channel() { return *QuorAiEngine::AiKelBasic::GetInstance(); }
    RecordingObserver& observer() { return *m_observer; }
    Records<LogLine>& log() { return m_log; }
    Records<LinkEvent>& linkEvents() { return m_linkEvents; }
    // Every OS message to "srvConClient", whole.
    Records<std::string>& closeNotices() { return m_closeNotices; }
    const TemporaryFolder& folder() const { return m_folder; }

    void Trust(const std::string& caFile);
    // Returns after the notification that is running; until StartEvents no other comes, and the observers may
    // be exchanged. What the link tells in between is lost.
    void StopEvents();
    void StartEvents();
    // Detaches the observer, for a test that brings its own; between StopEvents and StartEvents.
    int StopObserving();
    // The token of check-in subscriptions, taken from the login client at each of them.
    void SetLoginToken(const std::string& token) QUOR_EXCLUDES(m_tokenMutex);
    unsigned int TokenFetches() const { return m_tokenFetches; }

    // A login record for the conference link whose password is sealed with this terminal's key.
    TagQuorAiKelLoginInfo Login(std::uint16_t port, const std::string& userName,
                                const std::string& password) const;
    static TagQuorAiKelLoginInfo ManagerLogin(std::uint16_t port);

    // What the observer subscribes inside the next connect notification of a conference link: these requests,
    // each of which is remembered for recovery too. Later connects ask for everything remembered again.
    void SubscribeOnConnect(std::vector<TagQuorAiSubscribeInfo> requests);
    // Whether every subscription made inside a connect notification succeeded.
    bool SubscribedWell() const { return m_subscribeFailures == 0; }

    // KelBasicCreateWebsocket; under Delivery::kSerialised with the events locked out.
    unsigned int Create(const TagQuorAiKelLoginInfo& login) QUOR_EXCLUDES(m_gate);
    unsigned int Destroy() QUOR_EXCLUDES(m_gate);
    // Create and the wait for the connect notification, after which the subscriptions are on their way.
    bool Open(const TagQuorAiKelLoginInfo& login);
    // What an application does after the close notice: destroy, create, wait, everything subscribed again.
    bool Rebuild(const TagQuorAiKelLoginInfo& login);
    // The platform's id of the newest conference link; 0 for none.
    unsigned int LinkId() const;

private:
    void OnLinkEvent(unsigned int event, unsigned int linkId, unsigned int linkType, void* data)
        QUOR_EXCLUDES(m_gate);
    void OnConnected(const TagAiCloudSrvResult& result);
    void EndLinks();
    void ForgetSubscriptions();

    const Delivery m_delivery;
    TemporaryFolder m_folder;
    std::shared_ptr<RecordingObserver> m_observer;
    Records<LogLine> m_log;
    Records<LinkEvent> m_linkEvents;
    Records<std::string> m_closeNotices;
    quor_platform::internal::Mutex m_gate;

    mutable quor_platform::internal::Mutex m_tokenMutex;
    std::string m_token QUOR_GUARDED_BY(m_tokenMutex) = "login-token";
    std::atomic<unsigned int> m_tokenFetches{0};

    quor_platform::internal::Mutex m_requestsMutex;
    std::vector<TagQuorAiSubscribeInfo> m_requests QUOR_GUARDED_BY(m_requestsMutex);
    std::vector<TagQuorAiSubId> m_remembered QUOR_GUARDED_BY(m_requestsMutex);
    std::atomic<unsigned int> m_subscribeFailures{0};
};

// A request; texts that do not fit are cut.
TagQuorAiSubscribeInfo Request(TagQuorAiSubId id, const std::string& conference,
                               const std::string& token = {}, const std::string& language = {},
                               const std::string& uri = {});

// Copies text into a fixed field of a record, cut if it does not fit, always terminated.
template <std::size_t capacity>
void SetText(char (&field)[capacity], std::string_view text) {
    const std::size_t length = text.copy(field, capacity - 1);
    field[length] = '\0';
}

}  // namespace quor_test

#endif
