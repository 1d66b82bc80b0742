// ask_link.h - a link for the keeper that tells the server to stop before it is closed.
//
// Threads: those of KeeperLink; StopSent on the control thread.
#ifndef QUOR_TERMINAL_ASK_LINK_H
#define QUOR_TERMINAL_ASK_LINK_H

#include <functional>
#include <utility>

#include "ask_session.h"
#include "link_keeper.h"

namespace quor_terminal {

class AskLink : public KeeperLink {
public:
    // sendStop sends the stop request, and says whether it could; it runs on the control thread, at most
    // once, while the link still stands. Link and session outlive this.
    AskLink(KeeperLink& link, AskSession& session, std::function<bool()> sendStop)
        : m_link(link), m_session(session), m_sendStop(std::move(sendStop)) {}

    bool Open(LinkProblem& problem) override { return m_link.Open(problem); }
    void Close() override {
        if (m_session.TakeStopDuty()) {
            m_stopSent = m_sendStop();
        }
        m_link.Close();
    }
    bool SubscribeWanted(LinkProblem& problem) override { return m_link.SubscribeWanted(problem); }
    LinkProblem WhyEnded(unsigned int linkId) override { return m_link.WhyEnded(linkId); }
    void Discard(unsigned int linkId) override { m_link.Discard(linkId); }

    bool StopSent() const { return m_stopSent; }

private:
    KeeperLink& m_link;
    AskSession& m_session;
    const std::function<bool()> m_sendStop;
    bool m_stopSent = false;
};

}  // namespace quor_terminal

#endif
