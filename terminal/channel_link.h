// channel_link.h - a link of the library, as the link keeper drives it: the conference link, or the manager
// link.
//
// Purpose: the one place where this program calls AiKelBasic. It opens and closes the link, subscribes the
// wanted services, sends large-model requests, hands the platform's link events to the library and tells the
// keeper when the link ended: the library's close notice says so for the conference link, the platform's own
// disconnect event for the manager link, of whose end the library says nothing.
//
// Threads: Open, Close, Ask and WhyEnded on the control thread; SubscribeWanted, Discard and LinkOf on the
// link event thread. Start and Finish on the control thread while no link lives.
//
// Locks: m_gate keeps link events out of the library while the control thread opens or closes a link or sends
// a request, because both sides then write and read its link ids and its list of destinations without a lock.
// It is held while a link event is handled, observers included, and while the control thread is inside the
// library. Nothing else is locked before it by a thread that it might wait for: the keeper calls this class
// with no lock held, and the platform waits for no event in any of the calls made here.
#ifndef QUOR_TERMINAL_CHANNEL_LINK_H
#define QUOR_TERMINAL_CHANNEL_LINK_H

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "link_keeper.h"
#include "mutex.h"
#include "quor_ai/observer.h"
#include "quor_ai/records.h"

namespace quor_terminal {

// Gives the conference token. False: message says why there is none.
using TokenFetch = std::function<bool(std::string& token, std::string& message)>;

class ChannelLink : public KeeperLink {
public:
    struct Service {
        TagQuorAiSubId id;
        std::string language;  // captions: spoken; translation: wanted; else empty
    };

    // What the subscriptions of a conference link name. The texts fit the fields of TagQuorAiSubscribeInfo:
    // the command line has checked them.
    struct Session {
        std::string conference;
        std::string uri;       // this terminal's
        std::string terminal;  // its id in the overlay's topic; empty where that is not wanted
        // Subscribed in this order. The overlay comes last: see SubscribeWanted.
        std::vector<Service> services;
        TokenFetch fetchToken;
    };

    // login says which of the two links it is. A manager link subscribes nothing and has an empty session.
    ChannelLink(const TagQuorAiKelLoginInfo& login, Session session);
    ~ChannelLink() override;
    ChannelLink(const ChannelLink&) = delete;
    ChannelLink& operator=(const ChannelLink&) = delete;

    // Connects library, platform and observer. onClosed receives the end of the link, on a thread of the
    // platform. Once, before the first Open.
    bool Start(std::shared_ptr<QuorAiEngine::ICloudSrvObserver> observer,
               std::function<void(unsigned int linkId)> onClosed);

    // Undoes Start. Afterwards neither observer nor onClosed is called any more.
    void Finish();

    bool Open(LinkProblem& problem) override QUOR_TERMINAL_EXCLUDES(m_gate);
    void Close() override QUOR_TERMINAL_EXCLUDES(m_gate);
    bool SubscribeWanted(LinkProblem& problem) override;
    LinkProblem WhyEnded(unsigned int linkId) override;
    void Discard(unsigned int linkId) override;

    // The link that a connect notification is about: the library reports the manager link's as 0.
    unsigned int LinkOf(unsigned int notified) const;

    // Sends a large-model request on the link; token, conference and uri are filled in here. False: problem
    // says why it was not sent.
    bool Ask(QuorAiModelParams& request, LinkProblem& problem) QUOR_TERMINAL_EXCLUDES(m_gate);

private:
    void OnLinkEvent(unsigned int event, unsigned int linkId, unsigned int linkType, void* data)
        QUOR_TERMINAL_EXCLUDES(m_gate);
    bool PutSessionInPlace(std::string& token, LinkProblem& problem);
    bool SubscribeFirstTime(const Service& service, const std::string& token);
    LinkProblem SubscribeProblem(const std::string& what) const;
    bool IsManagerLink() const { return m_login.linkType == kKelLinkTypeManager; }

    TagQuorAiKelLoginInfo m_login;
    const Session m_session;
    std::shared_ptr<QuorAiEngine::ICloudSrvObserver> m_observer;
    std::function<void(unsigned int linkId)> m_onClosed;
    Mutex m_gate;
    std::size_t m_remembered =
        0;  // services that are in the library's list of wanted ones; event thread only
    std::atomic<unsigned int> m_liveLink{0};   // of the last connect event
    std::atomic<unsigned int> m_endedLink{0};  // of the last disconnect event: the close notice names no link
};

}  // namespace quor_terminal

#endif
