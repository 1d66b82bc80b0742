#include "link_keeper.h"

#include <algorithm>
#include <utility>

namespace quor_terminal {

LinkKeeper::LinkKeeper(KeeperLink& link, const KeeperPolicy& policy, Listener listener,
                       BackOff::Random random, Clock clock)
    : m_link(link),
      m_policy(policy),
      m_listener(std::move(listener)),
      m_clock(std::move(clock)),
      m_backOff(policy.backOffBase, policy.backOffCap, std::move(random)),
      m_downSince(m_clock()) {}

// ---- Control thread ----

LinkKeeper::TimePoint LinkKeeper::Step() {
    const TimePoint now = m_clock();
    TimePoint next = TimePoint::max();
    Action action = Action::kWait;
    {
        const MutexLock lock(m_mutex);
        action = Decide(now, next);
    }
    switch (action) {
        case Action::kWait:
            return next;
        case Action::kOpen:
            OpenLink();
            break;
        case Action::kGoUp:
            GoUp();
            break;
        case Action::kRebuild:
            Rebuild();
            break;
        case Action::kFinish:
            Finish();
            break;
    }
    return now;
}

void LinkKeeper::Run(const std::function<void()>& tick, std::chrono::milliseconds tickInterval) {
    for (;;) {
        const TimePoint next = Step();
        if (tick) {
            tick();
        }
        const MutexLock lock(m_mutex);
        if (Ended()) {
            return;
        }
        const TimePoint wake = tick ? std::min(next, m_clock() + tickInterval) : next;
        while (!m_signalled && m_clock() < wake) {
            // The end of the clock's range cannot be waited for: its conversion overflows.
            if (wake == TimePoint::max()) {
                m_changed.wait(m_mutex);
            } else {
                m_changed.wait_until(m_mutex, wake);
            }
        }
        m_signalled = false;
    }
}

// ---- Event thread ----

void LinkKeeper::OnConnected(unsigned int linkId) {
    unsigned int replaced = 0;
    {
        const MutexLock lock(m_mutex);
        if (Ended()) {
            return;
        }
        // A link whose connect event came after the time limit may still be here when the next one connects.
        replaced = m_linkId == linkId ? 0 : m_linkId;
        m_linkId = linkId;
        m_closed = false;
        m_subscription = Subscription::kPending;
        while (m_openRunning) {
            m_changed.wait(m_mutex);
        }
        if (m_stopRequested) {
            m_subscription = Subscription::kNone;
            Signal();
            return;
        }
    }
    if (replaced != 0) {
        m_link.Discard(replaced);
    }
    LinkProblem problem;
    const bool subscribed = m_link.SubscribeWanted(problem);
    const MutexLock lock(m_mutex);
    m_subscription = subscribed ? Subscription::kDone : Subscription::kFailed;
    m_subscribeProblem = std::move(problem);
    Signal();
}

// ---- Any thread ----

void LinkKeeper::OnClosed(unsigned int linkId) {
    const MutexLock lock(m_mutex);
    if (linkId != 0 && linkId == m_linkId) {
        m_closed = true;
        Signal();
    }
}

void LinkKeeper::Stop() {
    const MutexLock lock(m_mutex);
    m_stopRequested = true;
    Signal();
}

LinkKeeper::State LinkKeeper::CurrentState() const {
    const MutexLock lock(m_mutex);
    return m_state;
}

LinkProblem LinkKeeper::FinalProblem() const {
    const MutexLock lock(m_mutex);
    return m_finalProblem;
}

unsigned int LinkKeeper::TimesUp() const {
    const MutexLock lock(m_mutex);
    return m_timesUp;
}

unsigned int LinkKeeper::TimesLost() const {
    const MutexLock lock(m_mutex);
    return m_timesLost;
}

// ---- Decisions ----

LinkKeeper::Action LinkKeeper::Decide(TimePoint now, TimePoint& next) {
    if (Ended() || m_subscription == Subscription::kPending) {
        return Action::kWait;  // OnConnected signals when it is through
    }
    if (m_stopRequested) {
        return DecideStop(now, next);
    }
    switch (m_state) {
        case State::kOpening:
            return Action::kOpen;
        case State::kAwaitingConnect:
        case State::kUp:
            return DecideOnLink(now, next);
        case State::kBackingOff:
            if (m_linkId != 0) {  // given up too early: its connect event came after all
                m_state = State::kAwaitingConnect;
                return DecideOnLink(now, next);
            }
            if (now >= m_retryAt) {
                return Action::kOpen;
            }
            next = m_retryAt;
            return Action::kWait;
        case State::kStopped:
        case State::kGivenUp:
            break;
    }
    return Action::kWait;
}

LinkKeeper::Action LinkKeeper::DecideStop(TimePoint now, TimePoint& next) {
    // The connect event of an opened link is on its way. Closing before it is handled would miss the link,
    // whose id the library learns from that event.
    if (m_state == State::kAwaitingConnect && m_linkId == 0 && now < m_connectDeadline) {
        next = m_connectDeadline;
        return Action::kWait;
    }
    return Action::kFinish;
}

LinkKeeper::Action LinkKeeper::DecideOnLink(TimePoint now, TimePoint& next) {
    if (m_linkId == 0) {
        if (now >= m_connectDeadline) {
            return Action::kRebuild;
        }
        next = m_connectDeadline;
        return Action::kWait;
    }
    if (m_closed || m_subscription == Subscription::kFailed) {
        return Action::kRebuild;
    }
    return m_state == State::kUp ? Action::kWait : Action::kGoUp;
}

bool LinkKeeper::EndsTheKeeper(const LinkProblem& problem) const {
    if (problem.kind == LinkProblem::Kind::kPermanent) {
        return true;
    }
    if (problem.kind == LinkProblem::Kind::kRefused && !m_policy.retryRefused) {
        return true;
    }
    return m_timesUp == 0 && !m_policy.retryFirst;
}

bool LinkKeeper::OutOfTime(TimePoint now) const {
    return m_policy.giveUpAfter.count() > 0 && now - m_downSince >= m_policy.giveUpAfter;
}

bool LinkKeeper::Ended() const {
    return m_state == State::kStopped || m_state == State::kGivenUp;
}

void LinkKeeper::Signal() {
    m_signalled = true;
    m_changed.notify_all();
}

// ---- Actions ----

void LinkKeeper::OpenLink() {
    KeeperNotice notice;
    {
        const MutexLock lock(m_mutex);
        m_state = State::kOpening;
        m_openRunning = true;
        notice.attempt = m_backOff.Attempts() + 1;
        notice.recovered = m_timesUp > 0;
    }
    m_listener(notice);
    LinkProblem problem;
    const bool opened = m_link.Open(problem);
    {
        const MutexLock lock(m_mutex);
        m_openRunning = false;
        m_changed.notify_all();
        if (opened || m_linkId != 0) {
            m_state = State::kAwaitingConnect;
            m_connectDeadline = m_clock() + m_policy.connectWait;
            return;
        }
    }
    KeeperNotice failed;
    failed.kind = KeeperNotice::Kind::kAttemptFailed;
    failed.problem = problem;
    m_listener(failed);
    BackOffOrGiveUp(problem, false);
}

void LinkKeeper::GoUp() {
    KeeperNotice notice;
    notice.kind = KeeperNotice::Kind::kUp;
    {
        const MutexLock lock(m_mutex);
        m_state = State::kUp;
        m_upSince = m_clock();
        notice.recovered = m_timesUp > 0;
        ++m_timesUp;
    }
    m_listener(notice);
}

LinkProblem LinkKeeper::PresentProblem() {
    unsigned int linkId = 0;
    {
        const MutexLock lock(m_mutex);
        linkId = m_linkId;
        if (!m_closed && m_subscription == Subscription::kFailed) {
            return m_subscribeProblem;
        }
    }
    if (linkId != 0) {
        return m_link.WhyEnded(linkId);
    }
    LinkProblem problem;
    problem.text = "the server accepted the link, but no connect event followed";
    return problem;
}

// A server that refuses a token ends the link with an error frame; so does one that is shutting down. Only
// several such ends in a row, none of them after a good life, are a refusal.
void LinkKeeper::ForgiveLinkErrors(LinkProblem& problem) {
    if (problem.kind != LinkProblem::Kind::kRefused) {
        m_linkErrorsInARow = 0;
        return;
    }
    ++m_linkErrorsInARow;
    if (m_linkErrorsInARow < m_policy.refusedLinksInARow) {
        problem.kind = LinkProblem::Kind::kTransient;
    }
}

void LinkKeeper::Rebuild() {
    LinkProblem problem = PresentProblem();
    unsigned int endedLink = 0;
    KeeperNotice notice;
    {
        const MutexLock lock(m_mutex);
        const TimePoint now = m_clock();
        endedLink = m_linkId;
        const bool wasUp = m_state == State::kUp;
        notice.kind = wasUp ? KeeperNotice::Kind::kLost : KeeperNotice::Kind::kAttemptFailed;
        if (wasUp) {
            ++m_timesLost;
            m_downSince = now;
        }
        if (wasUp && now - m_upSince >= m_policy.goodLinkAge) {
            m_backOff.Reset();
            m_linkErrorsInARow = 0;
        }
        ForgiveLinkErrors(problem);
    }
    m_link.Close();
    {
        const MutexLock lock(m_mutex);
        if (m_linkId == endedLink) {
            m_linkId = 0;
            m_closed = false;
            m_subscription = Subscription::kNone;
        }
    }
    notice.problem = problem;
    m_listener(notice);
    BackOffOrGiveUp(problem, notice.kind == KeeperNotice::Kind::kLost);
}

void LinkKeeper::BackOffOrGiveUp(const LinkProblem& problem, bool afterLoss) {
    KeeperNotice notice;
    notice.afterLoss = afterLoss;
    notice.problem = problem;
    {
        const MutexLock lock(m_mutex);
        const TimePoint now = m_clock();
        const bool outOfTime = OutOfTime(now);
        if (outOfTime) {
            notice.problem.exitCode = kExitUnreachable;
        }
        if (outOfTime || EndsTheKeeper(problem)) {
            notice.kind = KeeperNotice::Kind::kGivenUp;
            m_finalProblem = notice.problem;
            m_state = State::kGivenUp;
        } else {
            notice.kind = KeeperNotice::Kind::kBackingOff;
            notice.wait = m_backOff.Next();
            if (m_policy.giveUpAfter.count() > 0) {  // the last attempt is made when the time is up
                const auto left = m_downSince + m_policy.giveUpAfter - now;
                notice.wait =
                    std::min(notice.wait, std::chrono::duration_cast<std::chrono::milliseconds>(left));
            }
            notice.attempt = m_backOff.Attempts();
            m_retryAt = now + notice.wait;
            m_state = State::kBackingOff;
        }
    }
    m_listener(notice);
}

void LinkKeeper::Finish() {
    m_link.Close();
    {
        const MutexLock lock(m_mutex);
        m_linkId = 0;
        m_subscription = Subscription::kNone;
        m_state = State::kStopped;
    }
    KeeperNotice notice;
    notice.kind = KeeperNotice::Kind::kStopped;
    m_listener(notice);
}

}  // namespace quor_terminal
