// fake_link.h - a link for tests of the keeper, and behind it a server that keeps what was subscribed last.
#ifndef QUOR_TESTS_TERMINAL_FAKE_LINK_H
#define QUOR_TESTS_TERMINAL_FAKE_LINK_H

#include <deque>
#include <functional>
#include <vector>

#include "link_keeper.h"

namespace quor_terminal {

inline LinkProblem Problem(LinkProblem::Kind kind, ExitCode exitCode, const char* text) {
    return {kind, exitCode, text, ""};
}

// A link, and behind it a server that keeps the subscriptions of each link apart. A test's own thread plays
// control thread and event thread in turn.
class FakeLink : public KeeperLink {
public:
    bool Open(LinkProblem& problem) override {
        ++opens;
        if (onOpen) {
            onOpen();
        }
        if (!openProblems.empty()) {
            problem = openProblems.front();
            openProblems.pop_front();
            return false;
        }
        return true;
    }
    void Close() override { ++closes; }
    bool SubscribeWanted(LinkProblem& problem) override {
        subscribed.clear();
        for (const int service : wanted) {
            subscribed.push_back(service);
            if (onSubscribe) {
                onSubscribe(service);
            }
        }
        ++subscribeCalls;
        if (!subscribeProblems.empty()) {
            problem = subscribeProblems.front();
            subscribeProblems.pop_front();
            return false;
        }
        return true;
    }
    LinkProblem WhyEnded(unsigned int linkId) override {
        askedWhy.push_back(linkId);
        return endProblem;
    }
    void Discard(unsigned int linkId) override { discarded.push_back(linkId); }

    const std::vector<int> wanted = {0, 1, 15};
    std::deque<LinkProblem> openProblems;
    std::deque<LinkProblem> subscribeProblems;
    LinkProblem endProblem = Problem(LinkProblem::Kind::kTransient, kExitUnreachable, "reset by peer");
    std::function<void()> onOpen;
    std::function<void(int)> onSubscribe;
    std::vector<int> subscribed;  // on the last link
    std::vector<unsigned int> askedWhy;
    std::vector<unsigned int> discarded;
    int opens = 0;
    int closes = 0;
    int subscribeCalls = 0;
};

}  // namespace quor_terminal

#endif
