// request_run.h - one run of a subcommand that makes requests: the platform and the library set up, requests
// made one after another, last words, everything taken down.
//
// Threads: the main thread, which is the application's control thread. The library notifies and logs on
// threads of its own; what comes there goes to the RequestWait. Ctrl-C ends whatever is under way at once,
// through the platform's abort switch.
#ifndef QUOR_TERMINAL_REQUEST_RUN_H
#define QUOR_TERMINAL_REQUEST_RUN_H

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

class RequestRun {
public:
    // Makes the request: 0, or what the library's operation returned.
    using Send = std::function<unsigned int(QuorAiEngine::AiHttpAdapter& adapter)>;
    using OnPage = std::function<void(unsigned int pages)>;

    RequestRun(const RequestOptions& options, const char* name, RequestWait& wait,
               QuorAiEngine::AiHttpAdapter& adapter)
        : m_options(options), m_name(name), m_wait(wait), m_adapter(adapter) {}

    // Makes a request and waits for its end. False: it failed, was stopped or came to no end, and that has
    // been told; ExitCode says what to return.
    bool Ask(TagQuorAiSubId id, const Send& send, const OnPage& onPage = {});

    // The notification of the last request.
    const ResultBytes& Data() const { return m_outcome.data; }

    // Tells why the last request failed, which its notification says. Returns the exit code.
    int Fail();
    int ExitCode() const { return m_exitCode; }

    // Writes to standard output. False: it cannot be written any more, which has been told.
    bool Print(const std::string& text);
    bool Print(const Json& document) { return Print(PrintDocument(document)); }

    // How far it is: a line that is redrawn on a terminal, or lines, where they are wanted.
    void ShowProgress(const std::string& text);
    void HideProgress();

private:
    const RequestOptions& m_options;
    const char* const m_name;
    RequestWait& m_wait;
    QuorAiEngine::AiHttpAdapter& m_adapter;
    RequestOutcome m_outcome;
    int m_exitCode = 0;
    bool m_progressShown = false;
};

// Runs body between set-up and taking down. name: of the subcommand, for documents. Returns what body
// returned, or the exit code of a set-up that failed.
int RunRequests(const RequestOptions& options, const char* name,
                const std::function<int(RequestRun& run, const std::string& token)>& body);

}  // namespace quor_terminal

#endif
