// adapter_test.h - the fixture of every test of the HTTP services: fresh adapter, and after the test no
// thread and nothing allocated.
#ifndef TESTS_SUPPORT_ADAPTER_TEST_H
#define TESTS_SUPPORT_ADAPTER_TEST_H

#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "support/http_adapter_access.h"
#include "support/http_test.h"
#include "support/recording_observer.h"

namespace QuorTest {

using Adapter = QuorAiEngine::AiHttpAdapterTestAccess;
using QuorAiEngine::AiHttpAdapter;

inline constexpr const char* kAdapterModule = "quor_ai_http_adapter.cpp";
inline constexpr unsigned kRefused = 0xFFFFFFFFU;

// Lines of the adapter as tests write them down.
LogLine AE(std::string text);
LogLine AI(std::string text);

// A good answer with this body.
HttpAnswer Answer(const std::string& body, unsigned long status = 200);

// A door that threads wait at until it is opened, and that counts them.
class Gate {
public:
    void Pass();  // waits for Open
    void Open();
    void WaitForArrivals(unsigned count);

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    unsigned m_arrived = 0;
    bool m_open = false;
};

class AdapterTest : public HttpTest {
protected:
    AdapterTest();
    ~AdapterTest() override;

    // As after the process started; no thread is left.
    void ResetAdapter() const { Adapter::Reset(m_threads); }
    // The transport is up, the buffers are there, the observer is attached; what that logged is forgotten.
    // Queued requests are run with Adapter::Process, on this thread.
    void Start();
    // The same with workers and dispatcher.
    void StartAll();
    // Makes memset_s of so many bytes fail.
    static void FailClearOf(std::size_t size);
    // Ends everything. Exactly blocks of these sizes were lost; gives them back.
    void ExpectLost(const std::vector<unsigned>& sizes) const;
    // The log so far, while other threads may write it.
    static std::vector<LogLine> LogsNow();

    static AiHttpAdapter& Http() { return Adapter::Http(); }

    std::shared_ptr<RecordingObserver> observer = std::make_shared<RecordingObserver>();

private:
    std::size_t m_threads;
};

}  // namespace QuorTest

#endif
