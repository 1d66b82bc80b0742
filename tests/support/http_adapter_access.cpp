#include "support/http_adapter_access.h"

#include <cstring>
#include <mutex>
#include <thread>

#include "quor_platform/os.h"
#include "support/fake_platform.h"
#include "support/thread_state.h"

namespace QuorAiEngine {

void AiHttpAdapterTestAccess::Reset(std::size_t threadCount) {
    while (Users() > 0) {
        Http().CloudHttpUninit();
    }
    EndDispatchers(threadCount);
    TagAiCloudSrvResult record = {};
    while (Pop(record)) {
        OSMemTypeFreeMon(record.data, 1, "test");
    }
    Http().m_observers.clear();
    std::memset(Http().m_confToken, 0, sizeof(Http().m_confToken));
    AiHttpAdapter::m_needsLogin = true;
    OSMemTypeFreeMon(AiHttpAdapter::m_sendMsgBuffer, 1, "test");
    AiHttpAdapter::m_sendMsgBuffer = nullptr;
    OSMemTypeFreeMon(AiHttpAdapter::m_siteInfoBuffer, 1, "test");
    AiHttpAdapter::m_siteInfoBuffer = nullptr;
}

void AiHttpAdapterTestAccess::EndDispatchers(std::size_t threadCount) {
    // A dispatcher waits for a record or half a second; records without data wake it.
    const TagAiCloudSrvResult record = {AI_SUB_ID_CHECKIN, nullptr, 0};
    while (QuorTest::ThreadCount() > threadCount) {
        Push(record);
        std::this_thread::yield();
    }
    // The threads that ended used the fake under its lock last: from here on what they recorded is the
    // caller's.
    const std::lock_guard<std::mutex> guard(QuorTest::Fake().mutex);
}

bool AiHttpAdapterTestAccess::StartWithoutThreads() {
    return Protocol().AiUtilityHttpInit() == 0 && MallocBuffers() == 0;
}

}  // namespace QuorAiEngine
