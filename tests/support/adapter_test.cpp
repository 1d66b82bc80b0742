#include "support/adapter_test.h"

#include <utility>

#include "quor_platform/os.h"
#include "support/thread_state.h"

namespace QuorTest {

LogLine AE(std::string text) {
    return E(std::move(text), kAdapterModule);
}
LogLine AI(std::string text) {
    return I(std::move(text), kAdapterModule);
}

HttpAnswer Answer(const std::string& body, unsigned long status) {
    HttpAnswer answer;
    answer.status = status;
    answer.body = body;
    answer.extra = true;
    return answer;
}

void Gate::Pass() {
    std::unique_lock<std::mutex> lock(m_mutex);
    ++m_arrived;
    m_changed.notify_all();
    m_changed.wait(lock, [this] { return m_open; });
}

void Gate::Open() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_open = true;
    m_changed.notify_all();
}

void Gate::WaitForArrivals(unsigned count) {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(lock, [&] { return m_arrived >= count; });
}

AdapterTest::AdapterTest() : m_threads(ThreadCount()) {
    Adapter::Reset(m_threads);
    Fake().Reset();
}

AdapterTest::~AdapterTest() {
    Fake().ClearFaults();
    Network().CompleteAll({});
    ResetAdapter();
}

void AdapterTest::Start() {
    ASSERT_TRUE(Adapter::StartWithoutThreads());
    Http().Attach(observer);
    Fake().ClearRecords();
}

void AdapterTest::StartAll() {
    ASSERT_EQ(Http().CloudHttpInit(), 0);
    Http().Attach(observer);
}

void AdapterTest::FailClearOf(std::size_t size) {
    Fake().boundedFault = [size](const BoundedCall& call) {
        return call.fn == Fn::MemsetS && call.count == size;
    };
}

void AdapterTest::ExpectLost(const std::vector<unsigned>& sizes) const {
    ResetAdapter();
    HttpAccess::Reset();
    std::vector<unsigned> lost;
    for (const BlockRecord& block : Fake().LiveBlocks()) {
        lost.push_back(block.sizeBytes);
        OSMemTypeFreeMon(block.address, 1, "test");
    }
    EXPECT_THAT(lost, ::testing::UnorderedElementsAreArray(sizes));
}

std::vector<LogLine> AdapterTest::LogsNow() {
    const std::lock_guard<std::mutex> guard(Fake().mutex);
    return Fake().logs;
}

}  // namespace QuorTest
