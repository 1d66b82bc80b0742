// link_keeper.h - keeps the conference link alive: opens it, subscribes, rebuilds it when it is lost.
//
// Purpose: an application of the library has three duties that the library leaves to it: destroy and create
// the link after the close notice, wait between attempts, and ask for every service again, once each. The
// keeper is these duties and nothing else. It knows neither the library nor the platform but the interface
// KeeperLink, so it can be lifted into another application and tested without either.
//
//    Opening -> AwaitingConnect -> Up -> (link lost) -> BackingOff -> Opening ...
//                    |   \________ lost, or subscribing failed ___/|
//                    |_____________ no connect in time ___________/
//    any state -> Stopped (Stop) or GivenUp (a problem that another attempt cannot cure)
//
// Threads. Step and Run belong to one thread, the application's control thread; it alone opens and closes the
// link. OnConnected is called on the link event thread, inside the observer's Update for the connect
// notification, and subscribes there: the library reads its lists of destinations and wanted services on that
// thread without a lock, so the event thread is the place where they may be changed. OnClosed and Stop may be
// called from any thread.
//
// Ordering that the library's unguarded state relies on, and how it is kept:
// - Nothing is subscribed while KeeperLink::Open runs: OnConnected waits until Open returned. That wait ends,
//   because opening a link never waits for an event to be handled.
// - The link is not closed while OnConnected subscribes: Step waits for the end of it.
// - After a successful Open the control thread touches the link only when the connect event was seen, or did
//   not come within the time limit.
//
// Locks: m_mutex guards the state. It is held neither while KeeperLink nor while the listener runs.
#ifndef QUOR_TERMINAL_LINK_KEEPER_H
#define QUOR_TERMINAL_LINK_KEEPER_H

#include <chrono>
#include <condition_variable>
#include <functional>
#include <string>

#include "back_off.h"
#include "exit_codes.h"
#include "mutex.h"

namespace quor_terminal {

// Why a link could not be opened, or ended.
struct LinkProblem {
    enum class Kind {
        kTransient,  // another attempt may succeed
        kRefused,    // the server does not accept who we are: attempts would only lock the account
        kPermanent   // a setting, a key or a certificate is wrong: no attempt can succeed
    };
    Kind kind = Kind::kTransient;
    ExitCode exitCode = kExitFailure;  // of a program that ends because of it
    std::string text;                  // what failed; one line
    std::string advice;                // what to do next; may be empty
};

// The link as the keeper sees it.
class KeeperLink {
public:
    virtual ~KeeperLink() = default;

    // Opens a new link and waits until the server accepted (true) or refused it. Control thread.
    virtual bool Open(LinkProblem& problem) = 0;

    // Ends the link, if there is one. Control thread.
    virtual void Close() = 0;

    // Subscribes every wanted service, once each. Event thread. False: at least one is missing.
    virtual bool SubscribeWanted(LinkProblem& problem) = 0;

    // Why the link ended; kind kRefused when the server ended it with an error of its own. Called before
    // Close. Control thread.
    virtual LinkProblem WhyEnded(unsigned int linkId) = 0;

    // Ends a link that another one has replaced. Event thread.
    virtual void Discard(unsigned int linkId) = 0;
};

struct KeeperPolicy {
    std::chrono::milliseconds backOffBase{500};
    std::chrono::milliseconds backOffCap{15000};
    // A link that lived this long was a good one: the next loss starts with short waits again.
    std::chrono::milliseconds goodLinkAge{30000};
    // The connect event follows a successful Open at once; this only bounds a platform that lost it.
    std::chrono::milliseconds connectWait{15000};
    // How long to go on without a link; 0 is for ever.
    std::chrono::milliseconds giveUpAfter{0};
    // The first attempt's problem ends the keeper unless this is set.
    bool retryFirst = false;
    // A refusal ends the keeper unless this is set.
    bool retryRefused = false;
    // A server that refuses a subscription's token does it with an ERROR frame that ends the link. So many
    // links in a row that ended like this, none of them good, are a refusal.
    unsigned int refusedLinksInARow = 3;
};

struct KeeperNotice {
    enum class Kind {
        kOpening,  // attempt counts from 1 since the last good link
        kUp,       // subscribed; recovered tells whether it is not the first time
        kLost,     // problem says why
        kAttemptFailed,
        kBackingOff,  // wait is the time to the next attempt
        kGivenUp,
        kStopped
    };
    Kind kind = Kind::kOpening;
    unsigned int attempt = 0;
    bool recovered = false;
    bool afterLoss = false;  // kBackingOff: an established link was lost; else an attempt failed
    std::chrono::milliseconds wait{0};
    LinkProblem problem;
};

class LinkKeeper {
public:
    using TimePoint = std::chrono::steady_clock::time_point;
    using Clock = std::function<TimePoint()>;
    // Runs on the control thread, inside Step. It may call Stop.
    using Listener = std::function<void(const KeeperNotice&)>;

    enum class State { kOpening, kAwaitingConnect, kUp, kBackingOff, kStopped, kGivenUp };

    // link, and what listener uses, outlive the keeper. clock never runs backwards.
    LinkKeeper(KeeperLink& link, const KeeperPolicy& policy, Listener listener,
               BackOff::Random random = MakeSystemRandom(), Clock clock = std::chrono::steady_clock::now);

    LinkKeeper(const LinkKeeper&) = delete;
    LinkKeeper& operator=(const LinkKeeper&) = delete;

    // ---- Control thread ----

    // Does the one thing that is due now, if any. Returns when to call it again: a time that is not in the
    // future when there may be more to do, TimePoint::max() when nothing is due by time. It is to be called
    // earlier when OnConnected, OnClosed or Stop was.
    TimePoint Step() QUOR_TERMINAL_EXCLUDES(m_mutex);

    // Steps until the keeper ended, on the real clock. tick, when not empty, runs at least every tickInterval
    // while no step does.
    void Run(const std::function<void()>& tick, std::chrono::milliseconds tickInterval)
        QUOR_TERMINAL_EXCLUDES(m_mutex);

    // ---- Event thread ----

    // The connect event of link linkId. Subscribes before it returns.
    void OnConnected(unsigned int linkId) QUOR_TERMINAL_EXCLUDES(m_mutex);

    // ---- Any thread ----

    // The close notice for linkId. A notice for another link than the present one is late and is ignored; so
    // is a second one for the same link.
    void OnClosed(unsigned int linkId) QUOR_TERMINAL_EXCLUDES(m_mutex);

    // Ends the keeper: the link is closed by the next Step.
    void Stop() QUOR_TERMINAL_EXCLUDES(m_mutex);

    // ---- Readable at any time ----

    State CurrentState() const QUOR_TERMINAL_EXCLUDES(m_mutex);
    // Why the keeper gave up; meaningful in state kGivenUp.
    LinkProblem FinalProblem() const QUOR_TERMINAL_EXCLUDES(m_mutex);
    // Times that the keeper reached Up.
    unsigned int TimesUp() const QUOR_TERMINAL_EXCLUDES(m_mutex);
    // Times that an established link was lost.
    unsigned int TimesLost() const QUOR_TERMINAL_EXCLUDES(m_mutex);

private:
    // What one look at the state decided; carried out without the lock.
    enum class Action { kWait, kOpen, kGoUp, kRebuild, kFinish };
    // How far the subscriptions on the present link are.
    enum class Subscription { kNone, kPending, kDone, kFailed };

    Action Decide(TimePoint now, TimePoint& next) QUOR_TERMINAL_REQUIRES(m_mutex);
    Action DecideStop(TimePoint now, TimePoint& next) QUOR_TERMINAL_REQUIRES(m_mutex);
    Action DecideOnLink(TimePoint now, TimePoint& next) QUOR_TERMINAL_REQUIRES(m_mutex);
    void OpenLink() QUOR_TERMINAL_EXCLUDES(m_mutex);
    void GoUp() QUOR_TERMINAL_EXCLUDES(m_mutex);
    void Rebuild() QUOR_TERMINAL_EXCLUDES(m_mutex);
    void Finish() QUOR_TERMINAL_EXCLUDES(m_mutex);
    LinkProblem PresentProblem() QUOR_TERMINAL_EXCLUDES(m_mutex);
    void BackOffOrGiveUp(const LinkProblem& problem, bool afterLoss) QUOR_TERMINAL_EXCLUDES(m_mutex);
    void ForgiveLinkErrors(LinkProblem& problem) QUOR_TERMINAL_REQUIRES(m_mutex);
    bool EndsTheKeeper(const LinkProblem& problem) const QUOR_TERMINAL_REQUIRES(m_mutex);
    bool OutOfTime(TimePoint now) const QUOR_TERMINAL_REQUIRES(m_mutex);
    bool Ended() const QUOR_TERMINAL_REQUIRES(m_mutex);
    void Signal() QUOR_TERMINAL_REQUIRES(m_mutex);

    KeeperLink& m_link;
    const KeeperPolicy m_policy;
    const Listener m_listener;
    const Clock m_clock;

    mutable Mutex m_mutex;
    std::condition_variable_any m_changed;
    bool m_signalled QUOR_TERMINAL_GUARDED_BY(m_mutex) = false;  // for Run: there may be something to do
    BackOff m_backOff QUOR_TERMINAL_GUARDED_BY(m_mutex);
    State m_state QUOR_TERMINAL_GUARDED_BY(m_mutex) = State::kOpening;
    bool m_stopRequested QUOR_TERMINAL_GUARDED_BY(m_mutex) = false;
    bool m_openRunning QUOR_TERMINAL_GUARDED_BY(m_mutex) = false;
    unsigned int m_linkId QUOR_TERMINAL_GUARDED_BY(m_mutex) = 0;  // of the last connect event, 0 none
    bool m_closed QUOR_TERMINAL_GUARDED_BY(m_mutex) = false;      // the close notice for m_linkId came
    Subscription m_subscription QUOR_TERMINAL_GUARDED_BY(m_mutex) = Subscription::kNone;
    LinkProblem m_subscribeProblem QUOR_TERMINAL_GUARDED_BY(m_mutex);  // of kFailed
    LinkProblem m_finalProblem QUOR_TERMINAL_GUARDED_BY(m_mutex);
    TimePoint m_connectDeadline QUOR_TERMINAL_GUARDED_BY(m_mutex);
    TimePoint m_retryAt QUOR_TERMINAL_GUARDED_BY(m_mutex);
    TimePoint m_upSince QUOR_TERMINAL_GUARDED_BY(m_mutex);
    TimePoint m_downSince QUOR_TERMINAL_GUARDED_BY(m_mutex);
    unsigned int m_linkErrorsInARow QUOR_TERMINAL_GUARDED_BY(m_mutex) = 0;
    unsigned int m_timesUp QUOR_TERMINAL_GUARDED_BY(m_mutex) = 0;
    unsigned int m_timesLost QUOR_TERMINAL_GUARDED_BY(m_mutex) = 0;
};

}  // namespace quor_terminal

#endif
