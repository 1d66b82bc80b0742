// http_terminal.h - the HTTP side of a terminal application in small: the host's settings, the HTTP adapter
// and one observer, with everything that the library says about itself recorded. One at a time; it leaves the
// process as it found it, so that several can follow each other.
//
// Threads: everything belongs to the test's thread; notifications run on workers and on the transport's
// thread.
#ifndef QUOR_TESTS_INTEGRATION_HTTP_TERMINAL_H
#define QUOR_TESTS_INTEGRATION_HTTP_TERMINAL_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform_linux/thread_annotations.h"
#include "quor_ai/ai_http_adapter.h"
#include "quor_platform_linux/host.h"
#include "support/recording_observer.h"
#include "support/records.h"
#include "tests/platform_linux/support/temporary_folder.h"

namespace quor_test {

class HttpTerminal {
public:
    HttpTerminal();
    // Stops, also what Stop would have to wait for.
    ~HttpTerminal();
    HttpTerminal(const HttpTerminal&) = delete;
    HttpTerminal& operator=(const HttpTerminal&) = delete;

    QuorAiEngine::AiHttpAdapter& adapter() { return *QuorAiEngine::AiHttpAdapter::GetInstance(); }
    RecordingObserver& observer() { return *m_observer; }
    const TemporaryFolder& folder() const { return m_folder; }

    static void Trust(const std::string& caFile);
    // Names are asked for there.
    static void AskDnsServer(const std::string& address);
    // What the login client hands out; empty: it fails.
    void SetLoginToken(const std::string& token) QUOR_EXCLUDES(m_tokenMutex);
    unsigned int TokenFetches() const { return m_tokenFetches; }

    // CloudHttpInit and CloudHttpUninit.
    int Start();
    int Stop();

    // The texts of the records at error level, in order.
    std::vector<std::string> Errors() const;
    // A record with this text has been logged so often since the last ClearLog.
    bool WaitForLog(const std::string& text, std::size_t count = 1) const;
    std::size_t LogCount(const std::string& text) const;
    void ClearLog() { m_log.Clear(); }

    // What the platform said inside each notification of the transport's thread, in order: why the request
    // failed.
    Records<quor_platform::Failure>& failures() { return m_failures; }

    // Accounted heap that is in use now and was not when this terminal was made.
    std::size_t HeapGrowth() const { return quor_platform::HeapLiveBytes() - m_heapBefore; }

private:
    TemporaryFolder m_folder;
    const std::size_t m_heapBefore;
    std::shared_ptr<RecordingObserver> m_observer;
    Records<LogLine> m_log;
    Records<quor_platform::Failure> m_failures;
    bool m_started = false;

    mutable quor_platform::internal::Mutex m_tokenMutex;
    std::string m_token QUOR_GUARDED_BY(m_tokenMutex);
    std::atomic<unsigned int> m_tokenFetches{0};
};

}  // namespace quor_test

#endif
