// request_run.h - one run of a subcommand that makes requests: the platform and the library set up, requests
// made one after another, last words, everything taken down.
//
// Threads: the main thread, which is the application's control thread. The library notifies and logs on
// threads of its own; what comes there goes to the RequestWait. Ctrl-C ends whatever is under way at once,
// through the platform's abort switch.
#ifndef QUOR_TERMINAL_REQUEST_RUN_H
#define QUOR_TERMINAL_REQUEST_RUN_H

#include <chrono>
#include <functional>
#include <string>

#include "command_line.h"
#include "json_documents.h"
#include "request_results.h"
#include "request_wait.h"

namespace QuorAiEngine {
class AiHttpAdapter;
}

namespace quor_terminal {

// A run and what it does besides making requests.
struct RequestSetup {
    const RequestOptions& options;
    const char* name;  // of the subcommand, for documents
    // Why a request failed.
    LinkProblem (*explain)(const quor_platform::Failure& failure, const std::string& words);
    // True: the record is none of a request's. On the thread that logs; empty: all are.
    std::function<bool(const quor_platform::LogRecord& record)> onLog;
    // At Ctrl-C, or when duration has passed; before requests under way are cut off.
    std::function<void()> onStop;
    // At a second Ctrl-C, right before the process ends.
    std::function<void()> onCutShort;
    std::chrono::milliseconds duration{0};  // 0: without end
};

class RequestRun {
public:
    // Makes the request: 0, or what the library's operation returned.
    using Send = std::function<unsigned int(QuorAiEngine::AiHttpAdapter& adapter)>;
    using OnPage = std::function<void(unsigned int pages)>;
    // Takes what came. True: that was all.
    using OnParts = std::function<bool(const RequestParts& parts)>;

    RequestRun(const RequestSetup& setup, RequestWait& wait, QuorAiEngine::AiHttpAdapter& adapter)
        : m_setup(setup), m_wait(wait), m_adapter(adapter) {}

    // Makes a request and waits for its end. False: it failed, was stopped or came to no end, and that has
    // been told; ExitCode says what to return.
    bool Ask(TagQuorAiSubId id, const Send& send, const OnPage& onPage = {});

    // The same for a request that is answered in parts, with onParts for each. What does not come is waited
    // for until the library has nothing more to do: that is no failure.
    bool AskParts(TagQuorAiSubId id, const Send& send, const OnParts& onParts);

    // The notification of the last request that Ask made, and the library's first error record about it; may
    // be empty.
    const ResultBytes& Data() const { return m_outcome.data; }
    const std::string& Words() const { return m_outcome.words; }

    // Tells why the last request failed, which its notification says. Returns the exit code.
    int Fail();
    // Tells a problem of another kind. stage: a word for it; more: further members of the document.
    int Fail(const LinkProblem& problem, const char* stage, const Json& more = Json::object());
    int ExitCode() const { return m_exitCode; }

    // The end of the time limit.
    RequestWait::TimePoint Deadline() const { return m_wait.Deadline(); }

    // Writes to standard output. False: it cannot be written any more, which has been told.
    bool Print(const std::string& text);
    bool Print(const Json& document) { return Print(PrintDocument(document)); }

    // How far it is: a line that is redrawn on a terminal, or lines, where they are wanted.
    void ShowProgress(const std::string& text);
    void HideProgress();

private:
    // Not beyond the time limit.
    void Make(const Send& send);

    const RequestSetup& m_setup;
    RequestWait& m_wait;
    QuorAiEngine::AiHttpAdapter& m_adapter;
    RequestOutcome m_outcome;
    int m_exitCode = 0;
    bool m_progressShown = false;
};

// Runs body between set-up and taking down. Returns what body returned, or the exit code of a set-up that
// failed.
int RunRequests(const RequestSetup& setup, const std::function<int(RequestRun& run)>& body);

// The same for requests that need the conference's token.
int RunRequests(const RequestOptions& options, const char* name,
                const std::function<int(RequestRun& run, const std::string& token)>& body);

}  // namespace quor_terminal

#endif
