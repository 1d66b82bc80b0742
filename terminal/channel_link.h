// channel_link.h - the conference link of the library, as the link keeper drives it.
//
// Purpose: the one place where this program calls AiKelBasic. It opens and closes the link, subscribes the
// wanted services, hands the platform's link events to the library and the close notice to the keeper.
//
// Threads: Open, Close and WhyEnded on the control thread; SubscribeWanted and Discard on the link event
// thread. Start and Finish on the control thread while no link lives.
#ifndef QUOR_TERMINAL_CHANNEL_LINK_H
#define QUOR_TERMINAL_CHANNEL_LINK_H

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "link_keeper.h"
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

    // The texts fit the fields of TagQuorAiSubscribeInfo: the command line has checked them.
    ChannelLink(const TagQuorAiKelLoginInfo& login, std::string conference, std::vector<Service> services,
                TokenFetch fetchToken);
    ~ChannelLink() override;
    ChannelLink(const ChannelLink&) = delete;
    ChannelLink& operator=(const ChannelLink&) = delete;

    // Connects library, platform and observer. onClosed receives the close notice, on the platform's message
    // thread. Once, before the first Open.
    bool Start(std::shared_ptr<QuorAiEngine::ICloudSrvObserver> observer,
               std::function<void(unsigned int linkId)> onClosed);

    // Undoes Start. Afterwards neither observer nor onClosed is called any more.
    void Finish();

    bool Open(LinkProblem& problem) override;
    void Close() override;
    bool SubscribeWanted(LinkProblem& problem) override;
    LinkProblem WhyEnded(unsigned int linkId) override;
    void Discard(unsigned int linkId) override;

private:
    bool PutTokenInPlace(std::string& token, LinkProblem& problem);
    bool SubscribeFirstTime(const Service& service, const std::string& token);

    TagQuorAiKelLoginInfo m_login;
    const std::string m_conference;
    const std::vector<Service> m_services;
    const TokenFetch m_fetchToken;
    std::shared_ptr<QuorAiEngine::ICloudSrvObserver> m_observer;
    std::size_t m_remembered =
        0;  // services that are in the library's list of wanted ones; event thread only
    std::atomic<unsigned int> m_endedLink{0};  // of the last disconnect event: the close notice names no link
};

}  // namespace quor_terminal

#endif
