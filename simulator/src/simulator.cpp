#include "quor_simulator/simulator.h"

#include <utility>

#include "certificates.h"
#include "hub.h"
#include "network.h"
#include "rest_service.h"
#include "scenario.h"
#include "scenario_player.h"
#include "sync.h"

namespace quor_simulator {

/* Lock order: m_mutex (start, stop, scenario), the rest side's mutex, the hub's mutex. */
class Simulator::Impl {
public:
    explicit Impl(Options options)
        : m_options(std::move(options)),
          m_hub(m_options),
          m_rest({m_options.people,
                  m_options.receivedKept,
                  [this](std::string_view token) { return m_hub.AcceptsToken(token); },
                  {m_options.faceAccount, m_options.facePassword}}),
          m_port(m_options.port),
          m_facePort(m_options.facePort) {}

    void Start() QUOR_SIM_EXCLUDES(m_mutex) {
        MutexLock lock(m_mutex);
        if (m_network) {
            throw Error("the simulator is running");
        }
        if (!m_options.scenarioFile.empty() && !m_options.scenarioText.empty()) {
            throw Error("scenarioFile and scenarioText exclude each other");
        }
        if (!(m_options.speed > 0)) {
            throw Error("speed must be greater than 0");
        }
        if (!m_scenario && !m_options.scenarioFile.empty()) {
            Use(ReadScenarioFile(m_options.scenarioFile));
        } else if (!m_scenario && !m_options.scenarioText.empty()) {
            Use(ParseScenario(m_options.scenarioText, "scenarioText"));
        }
        if (!m_galleryRead && !m_options.galleryDirectory.empty()) {
            m_rest.SetGallery(ReadGallery(m_options.galleryDirectory));
            m_galleryRead = true;
        }
        const Identities identities = PrepareIdentities(m_options.stateDirectory, m_options.serverNames);
        m_caFile = identities.caFile;
        NetworkSettings settings{m_options.moreAddresses,
                                 m_port,
                                 m_facePort,
                                 m_options.handshakeTimeout,
                                 m_options.keepAliveTimeout,
                                 m_options.maxLinks,
                                 m_options.maxRequestBytes,
                                 m_options.maxPictureBytes};
        settings.addresses.insert(settings.addresses.begin(), m_options.address);
        m_network = std::make_unique<Network>(m_hub, m_rest, settings, identities);
        m_port = m_network->port();
        if (m_facePort) {
            m_facePort = m_network->secondPort();
        }
    }

    void Stop() QUOR_SIM_EXCLUDES(m_mutex) {
        StopScenario();
        MutexLock lock(m_mutex);
        m_hub.Attach(nullptr);
        m_rest.Attach(nullptr);
        m_network.reset();
    }

    bool running() const QUOR_SIM_EXCLUDES(m_mutex) {
        MutexLock lock(m_mutex);
        return m_network != nullptr;
    }
    std::uint16_t port() const QUOR_SIM_EXCLUDES(m_mutex) {
        MutexLock lock(m_mutex);
        return m_port;
    }
    std::uint16_t facePort() const QUOR_SIM_EXCLUDES(m_mutex) {
        MutexLock lock(m_mutex);
        return m_facePort.value_or(0);
    }
    std::string caFile() const QUOR_SIM_EXCLUDES(m_mutex) {
        MutexLock lock(m_mutex);
        return m_caFile;
    }

    void SetScenario(Scenario scenario) QUOR_SIM_EXCLUDES(m_mutex) {
        MutexLock lock(m_mutex);
        Use(std::move(scenario));
    }
    void PlayScenario() QUOR_SIM_EXCLUDES(m_mutex) {
        MutexLock lock(m_mutex);
        if (!m_network) {
            throw Error("the simulator is not running");
        }
        if (!m_scenario) {
            throw Error("no scenario is loaded");
        }
        m_player.Play(*m_scenario, m_options.speed);
    }
    void StopScenario() { m_player.Stop(); }

    Hub& hub() { return m_hub; }
    RestService& rest() { return m_rest; }
    const ScenarioPlayer& player() const { return m_player; }

private:
    /* Its conferences are there from now on, its steps are played later. */
    void Use(Scenario scenario) QUOR_SIM_REQUIRES(m_mutex) {
        m_rest.SetConference(scenario.conference, scenario.contents);
        for (const auto& [id, conference] : scenario.history) {
            m_rest.SetHistory(id, conference);
        }
        m_scenario = std::move(scenario);
    }

    const Options m_options;
    Hub m_hub;
    RestService m_rest;
    ScenarioPlayer m_player{m_hub, m_rest};
    mutable Mutex m_mutex;
    std::uint16_t m_port QUOR_SIM_GUARDED_BY(m_mutex); /* wanted before the first start, taken after it */
    std::optional<std::uint16_t> m_facePort QUOR_SIM_GUARDED_BY(m_mutex); /* likewise */
    bool m_galleryRead QUOR_SIM_GUARDED_BY(m_mutex) = false;
    std::string m_caFile QUOR_SIM_GUARDED_BY(m_mutex);
    std::optional<Scenario> m_scenario QUOR_SIM_GUARDED_BY(m_mutex);
    std::unique_ptr<Network> m_network QUOR_SIM_GUARDED_BY(m_mutex);
};

Simulator::Simulator(Options options) : m_impl(std::make_unique<Impl>(std::move(options))) {}

Simulator::~Simulator() {
    Stop();
}

void Simulator::Start() {
    m_impl->Start();
}
void Simulator::Stop() {
    m_impl->Stop();
}
bool Simulator::running() const {
    return m_impl->running();
}
std::uint16_t Simulator::port() const {
    return m_impl->port();
}
std::uint16_t Simulator::facePort() const {
    return m_impl->facePort();
}
std::string Simulator::caFile() const {
    return m_impl->caFile();
}

std::size_t Simulator::Publish(std::string_view destination, std::string_view body,
                               const PublishOptions& options) {
    return m_impl->hub().Publish(destination, body, options);
}
std::size_t Simulator::PublishRaw(std::string_view bytes, const RawOptions& options) {
    return m_impl->hub().PublishRaw(bytes, options);
}
std::size_t Simulator::PublishMalformed(Malformed form) {
    return m_impl->hub().PublishMalformed(form);
}
bool Simulator::Flush(Milliseconds timeout) {
    return m_impl->hub().Flush(timeout);
}

std::vector<Subscription> Simulator::Subscriptions() const {
    return m_impl->hub().Subscriptions();
}
bool Simulator::WaitForSubscription(std::string_view destination, Milliseconds timeout) const {
    return m_impl->hub().WaitForSubscription(destination, timeout);
}
bool Simulator::WaitForSubscriptionCount(std::size_t count, Milliseconds timeout) const {
    return m_impl->hub().WaitForSubscriptions(count, count, timeout);
}
bool Simulator::WaitForSubscribers(std::size_t count, Milliseconds timeout) const {
    return m_impl->hub().WaitForSubscriptions(count, SIZE_MAX, timeout);
}
std::vector<LinkInfo> Simulator::Links() const {
    return m_impl->hub().Links();
}
bool Simulator::WaitForLinkCount(std::size_t count, Milliseconds timeout) const {
    return m_impl->hub().WaitForLinkCount(count, timeout);
}
std::vector<ReceivedSend> Simulator::Received() const {
    return m_impl->hub().Received();
}
bool Simulator::WaitForReceived(std::string_view destination, std::size_t count, Milliseconds timeout) const {
    return m_impl->hub().WaitForReceived(destination, count, timeout);
}
void Simulator::ClearReceived() {
    m_impl->hub().ClearReceived();
}
Statistics Simulator::GetStatistics() const {
    return m_impl->hub().GetStatistics();
}

Rest& Simulator::rest() {
    return m_impl->rest();
}

std::size_t Simulator::DropLinks(Drop how, std::uint16_t code, std::string_view reason,
                                 std::optional<LinkId> onlyLink) {
    return m_impl->hub().DropLinks(how, code, reason, onlyLink);
}
bool Simulator::WaitForNoLinks(Milliseconds timeout) const {
    return m_impl->hub().WaitForNoLinks(timeout);
}
std::size_t Simulator::FreezeLinks(bool freeze) {
    return m_impl->hub().FreezeLinks(freeze);
}
void Simulator::RefuseUpgrades(unsigned int httpStatus, std::size_t times) {
    m_impl->hub().RefuseUpgrades(httpStatus, times);
}
void Simulator::RefuseConnect(std::string_view message, std::size_t times) {
    m_impl->hub().RefuseConnect(message, times);
}
void Simulator::UseCertificate(Certificate kind) {
    m_impl->hub().UseCertificate(kind);
}
void Simulator::MuteHeartBeats(bool mute) {
    m_impl->hub().MuteHeartBeats(mute);
}
void Simulator::SlowSending(std::size_t bytesPerSecond) {
    m_impl->hub().SlowSending(bytesPerSecond);
}
void Simulator::SetTokens(std::vector<std::string> tokens, bool revoke) {
    m_impl->hub().SetTokens(std::move(tokens), revoke);
}
void Simulator::SetCredentials(std::string userName, std::string password) {
    m_impl->hub().SetCredentials(std::move(userName), std::move(password));
}
void Simulator::WithholdReceipts(bool withhold) {
    m_impl->hub().WithholdReceipts(withhold);
}
void Simulator::SetAnswerFault(AnswerKind kind, AnswerFault fault) {
    m_impl->hub().SetAnswerFault(kind, std::move(fault));
}
void Simulator::ClearAnswerFault(std::optional<AnswerKind> kind) {
    m_impl->hub().ClearAnswerFault(kind);
}
std::size_t Simulator::ReleaseAnswers(std::optional<AnswerKind> kind) {
    return m_impl->hub().ReleaseAnswers(kind);
}
bool Simulator::WaitForHeldAnswers(std::size_t count, Milliseconds timeout) const {
    return m_impl->hub().WaitForHeldAnswers(count, timeout);
}

void Simulator::LoadScenarioFile(const std::string& path) {
    m_impl->SetScenario(ReadScenarioFile(path));
}
void Simulator::LoadScenarioText(std::string_view text, const std::string& name) {
    m_impl->SetScenario(ParseScenario(text, name));
}
void Simulator::PlayScenario() {
    m_impl->PlayScenario();
}
bool Simulator::WaitScenarioEnd(Milliseconds timeout) const {
    return m_impl->player().WaitEnd(timeout);
}
void Simulator::StopScenario() {
    m_impl->StopScenario();
}
ScenarioResult Simulator::GetScenarioResult() const {
    return m_impl->player().GetResult();
}

}  // namespace quor_simulator
