// ask_command.cpp - 'quor-terminal ask': one request to the large model, its answer, and the request that
// stops it.
//
// The main thread is the application's control thread, as in the other commands. It sends the request when
// the keeper says that the link is up, and the stop request, when one is due, right before the link is
// closed. A request is never sent twice: whether the server has begun to answer it cannot be known after a
// lost link.
#include <string.h>
#include <unistd.h>

#include <functional>
#include <memory>
#include <random>
#include <string>
#include <utility>

#include "answer.h"
#include "ask_link.h"
#include "ask_request.h"
#include "ask_session.h"
#include "ask_view.h"
#include "channel_link.h"
#include "commands.h"
#include "credentials.h"
#include "exit_codes.h"
#include "output.h"
#include "quor_platform_linux/host.h"
#include "results.h"
#include "session.h"
#include "signal_watcher.h"

namespace quor_terminal {
namespace {

// Small enough for every system on the way, and unlikely to be another terminal's at the same time.
unsigned int ChooseNumber() {
    constexpr unsigned int kLargest = 999999999;
    std::random_device source;
    return std::uniform_int_distribution<unsigned int>(1, kLargest)(source);
}

QuorAiModelParams RequestOf(const AskOptions& options, unsigned int number) {
    QuorAiModelParams request{};
    request.modelVersion = options.model;
    request.reqType = options.kind;
    request.seqNum = number;
    request.roundCnt = options.round;
    SetField(request.content, options.text);
    return request;
}

// Runs on the link event thread.
class AskObserver : public QuorAiEngine::ICloudSrvObserver {
public:
    AskObserver(ChannelLink& link, LinkKeeper& keeper, AskSession& session, AskView& view)
        : m_link(link), m_keeper(keeper), m_session(session), m_view(view) {}

    void Update(const TagAiCloudSrvResult& result) noexcept override {
        unsigned int linkId = 0;
        AnswerPiece piece;
        if (ReadLinkId(result, linkId)) {
            m_keeper.OnConnected(m_link.LinkOf(linkId));
        } else if (ReadAnswer(result, piece)) {
            if (m_session.Take(piece)) {
                m_view.ShowPiece(piece);
            }
            if (m_session.Ended()) {
                m_keeper.Stop();
            }
        }
    }

private:
    ChannelLink& m_link;
    LinkKeeper& m_keeper;
    AskSession& m_session;
    AskView& m_view;
};

ChannelLink::Session SessionOf(const AskOptions& options) {
    ChannelLink::Session session;
    if (options.managerLink) {
        return session;
    }
    session.conference = options.conference;
    session.uri = options.uri;
    session.services = {{AI_SUB_ID_ABILITY_REPORT, ""}};
    if (!IsStopKind(options.kind)) {  // to which nothing is answered
        session.services.push_back({AI_SUB_ID_LLM_RESULT_KEL, ""});
    }
    session.fetchToken = [&options](std::string& token, std::string& message) {
        return FetchToken(options, token, message);
    };
    return session;
}

std::unique_ptr<AskView> MakeView(const AskOptions& options, const std::function<void()>& onBroken) {
    TextSink answer = MakeFileSink(STDOUT_FILENO, onBroken);
    if (options.json) {
        return std::make_unique<JsonAskView>(std::move(answer));
    }
    return std::make_unique<PlainAskView>(std::move(answer), MakeFileSink(STDERR_FILENO, {}));
}

// Everything that one run of the command owns. Members are in the order in which they depend on each other.
class AskRun {
public:
    // options outlives the run.
    AskRun(const AskOptions& options, unsigned int number, const TagQuorAiKelLoginInfo& login)
        : m_request(RequestOf(options, number)),
          m_subject{number, KindOf(options.kind).name, options.managerLink},
          m_session(number, !IsStopKind(options.kind), Milliseconds(options.answerTimeoutSeconds)),
          m_channel(login, SessionOf(options)),
          m_link(m_channel, m_session, [this] { return SendStop(); }),
          m_keeper(m_link, PolicyOf(options), [this](const KeeperNotice& notice) { OnNotice(notice); }),
          m_view(MakeView(options, [this] { End(AskOutcome::kOutputBroken); })) {}

    int Run(const TemporaryKeyFile& temporaryKey) {
        // The watcher lives until everything is down, so that a second Ctrl-C cuts even that short.
        const SignalWatcher watcher(std::chrono::milliseconds(0), {[this] { End(AskOutcome::kStopped); },
                                                                   [&temporaryKey] {
                                                                       temporaryKey.Remove();
                                                                       _exit(kExitInterrupted);
                                                                   },
                                                                   [] {}});
        const bool started =
            m_channel.Start(std::make_shared<AskObserver>(m_channel, m_keeper, m_session, *m_view),
                            [this](unsigned int linkId) { m_keeper.OnClosed(linkId); });
        if (started) {
            m_keeper.Run([this] { CheckTime(); }, kTickInterval);
        } else {
            LinkProblem problem;
            problem.text = "the library did not take the login record";
            m_session.End(AskOutcome::kNotSent, problem);
        }
        m_channel.Finish();
        quor_platform::Shutdown();
        const AskReport report = m_session.Report();
        m_view->Finish(m_subject, report);
        return Conclude(report);
    }

private:
    void End(AskOutcome outcome, const LinkProblem& problem = {}) {
        m_session.End(outcome, problem);
        m_keeper.Stop();
    }

    void CheckTime() {
        m_session.CheckTime(AskSession::TimePoint::clock::now());
        if (m_session.Ended()) {
            m_keeper.Stop();
        }
    }

    void OnNotice(const KeeperNotice& notice) {
        if (notice.kind == KeeperNotice::Kind::kBackingOff && m_session.Ended()) {
            return;  // there will be no further attempt
        }
        m_view->ShowLink(notice);
        if (notice.kind == KeeperNotice::Kind::kUp) {
            Send();
        } else if (notice.kind == KeeperNotice::Kind::kLost) {
            LinkProblem problem = notice.problem;
            problem.text = "the link was lost before the answer was complete: " + problem.text;
            if (problem.advice.empty()) {
                problem.advice = "Ask again when the server is back.";
            }
            End(AskOutcome::kLost, problem);
        } else if (notice.kind == KeeperNotice::Kind::kGivenUp) {
            m_session.End(AskOutcome::kNotSent, notice.problem);
        }
    }

    void Send() {
        if (!m_session.Begin(AskSession::TimePoint::clock::now())) {
            return;
        }
        m_view->ShowRequest(m_subject);
        QuorAiModelParams request = m_request;
        LinkProblem problem;
        if (!m_channel.Ask(request, problem)) {
            End(AskOutcome::kNotSent, problem);
            return;
        }
        m_session.Sent();
        if (m_session.Ended()) {
            m_keeper.Stop();
        }
    }

    // False: the kind cannot be stopped, or the link is gone, which has stopped everything.
    bool SendStop() {
        const auto stopKind = StopKindOf(m_request.reqType);
        if (!stopKind) {
            return false;
        }
        QuorAiModelParams stop = m_request;
        stop.reqType = *stopKind;
        stop.content[0] = '\0';
        LinkProblem problem;
        return m_channel.Ask(stop, problem);
    }

    int Conclude(const AskReport& report) const {
        const std::string told = m_link.StopSent() ? "; the server was asked to stop it" : "";
        switch (report.outcome) {
            case AskOutcome::kAnswered:
            case AskOutcome::kSent:
                return kExitOk;
            case AskOutcome::kStopped:
                PrintError("stopped before the answer was complete" + told);
                return kExitStopped;
            case AskOutcome::kTimedOut:
                PrintError("the answer was not complete in time" + told);
                PrintError("Give it longer with --answer-timeout, or ask for less.");
                return kExitNoAnswer;
            case AskOutcome::kOutputBroken:
                PrintError("standard output cannot be written any more" + told);
                return kExitFailure;
            case AskOutcome::kRefused:
            case AskOutcome::kNotSent:
            case AskOutcome::kLost:
            case AskOutcome::kPending:
                return TellProblem(report.problem);
        }
        return kExitFailure;
    }

    const QuorAiModelParams m_request;
    const AskSubject m_subject;
    AskSession m_session;
    ChannelLink m_channel;
    AskLink m_link;
    LinkKeeper m_keeper;
    const std::unique_ptr<AskView> m_view;
};

// Reads the text where it comes from standard input, and refuses one that makes too long a request.
bool PrepareText(AskOptions& options, std::string& message) {
    if (options.text == "-") {
        Secret text;
        if (!ReadSecretFromDescriptor(STDIN_FILENO, text, message)) {
            message = "standard input: " + message;
            return false;
        }
        options.text = text.Text();
        if (options.text.empty() && KindOf(options.kind).wantsText) {
            message = "standard input is empty";
            return false;
        }
    }
    const std::size_t bytes = options.managerLink
                                  ? ManagerRequestBytes(options.text)
                                  : ConferenceRequestBytes(options.conference, options.uri, options.text);
    if (bytes > kLongestRequest) {
        message = "the text is too long: the whole request would have " + std::to_string(bytes) +
                  " bytes, and at most " + std::to_string(kLongestRequest) + " can be sent. Shorten it by " +
                  std::to_string(bytes - kLongestRequest) + " bytes.";
        return false;
    }
    return true;
}

}  // namespace

int RunAsk(const Options& options) {
    SignalWatcher::BlockSignals();
    AskOptions wanted = options.ask;
    TemporaryKeyFile temporaryKey;
    TagQuorAiKelLoginInfo login;
    std::string message;
    if (!PrepareText(wanted, message)) {
        PrintError(message);
        return kExitUsage;
    }
    if (!ConfigurePlatform(wanted)) {
        return kExitFailure;
    }
    // A token that cannot be read is better told before the server is bothered.
    std::string token;
    const bool prepared = wanted.managerLink ? PrepareManagerLogin(wanted, login, message)
                                             : FetchToken(wanted, token, message) &&
                                                   PrepareLogin(wanted, temporaryKey, login, message);
    if (!prepared) {
        PrintError(message);
        return kExitFailure;
    }
    const unsigned int number = wanted.sequenceNumber != 0 ? wanted.sequenceNumber : ChooseNumber();
    AskRun run(wanted, number, login);
    explicit_bzero(&login, sizeof login);
    return run.Run(temporaryKey);
}

}  // namespace quor_terminal
