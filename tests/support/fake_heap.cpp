// The accounted heap, and the memory of cJSON and of strdup, all of them counted and breakable.
#include <cjson/cJSON.h>

#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "quor_platform/os.h"
#include "support/failing_new.h"
#include "support/fake_platform.h"

namespace QuorTest {

namespace {
constexpr int kFreedPattern = 0xDD;  // what a use after free reads
// Larger blocks are the adapter's result buffers: to keep them costs more than all the rest of a test.
constexpr std::size_t kKeptBytes = 100000;
}  // namespace

void* FakePlatform::Allocate(unsigned size, unsigned char fill, unsigned line, const char* module) {
    const NewsSucceed sheltered;
    void* p = ::operator new(size);
    std::memset(p, fill, size);
    const std::lock_guard<std::mutex> guard(mutex);
    BlockRecord& record = m_blocks[p];
    record.address = p;
    record.sizeBytes = size;
    record.fill = fill;
    record.line = line;
    record.module = module == nullptr ? "" : module;
    return p;
}

void FakePlatform::Release(void* p, unsigned line, const char* module) {
    const NewsSucceed sheltered;
    if (p == nullptr) {
        return;
    }
    BlockRecord record;
    {
        const std::lock_guard<std::mutex> guard(mutex);
        auto node = m_blocks.extract(p);
        if (node.empty()) {
            violations.emplace_back("OSMemTypeFreeMon: not a live block");
            return;
        }
        record = std::move(node.mapped());
    }
    if (record.sizeBytes <= kKeptBytes) {
        record.contentAtFree.assign(static_cast<const char*>(p), record.sizeBytes);
    }
    record.freeLine = line;
    record.freeModule = module == nullptr ? "" : module;
    std::memset(p, kFreedPattern, record.sizeBytes);
    ::operator delete(p);
    const std::lock_guard<std::mutex> guard(mutex);
    freedBlocks.push_back(std::move(record));
}

std::vector<BlockRecord> FakePlatform::LiveBlocks() const {
    const std::lock_guard<std::mutex> guard(mutex);
    std::vector<BlockRecord> blocks;
    for (const auto& [address, record] : m_blocks) {
        blocks.push_back(record);
    }
    return blocks;
}

void* FakePlatform::CJsonAllocate(std::size_t size) {
    const NewsSucceed sheltered;
    if (Enter(Fn::CJsonAlloc)) {
        return nullptr;
    }
    void* p = std::malloc(size);
    const std::lock_guard<std::mutex> guard(mutex);
    m_cjsonBlocks[p] = size;
    return p;
}

void FakePlatform::CJsonRelease(void* p) {
    {
        const std::lock_guard<std::mutex> guard(mutex);
        if (p != nullptr && m_cjsonBlocks.erase(p) == 0) {
            violations.emplace_back("cJSON: free of an unknown block");
            return;
        }
    }
    std::free(p);
}

std::size_t FakePlatform::LiveCJsonBlocks() const {
    const std::lock_guard<std::mutex> guard(mutex);
    return m_cjsonBlocks.size();
}

std::size_t FakePlatform::LiveStrdups() const {
    const std::lock_guard<std::mutex> guard(mutex);
    return m_strdups.size();
}

void FakePlatform::ForgetText(const void* p) {
    const std::lock_guard<std::mutex> guard(mutex);
    m_strdups.erase(p);
}

void InstallCJsonHooks() {
    cJSON_Hooks hooks;
    hooks.malloc_fn = [](std::size_t size) { return Fake().CJsonAllocate(size); };
    hooks.free_fn = [](void* p) { Fake().CJsonRelease(p); };
    cJSON_InitHooks(&hooks);
}

}  // namespace QuorTest

using QuorTest::Fake;
using QuorTest::Fn;

extern "C" {

void* OsMemMallocSetCharMon(unsigned int size, unsigned char fill, unsigned int line, const char* module) {
    if (Fake().Enter(Fn::HeapAlloc) || size == 0) {
        return nullptr;
    }
    return Fake().Allocate(size, fill, line, module);
}

void OSMemTypeFreeMon(void* p, unsigned int line, const char* module) {
    if (p != nullptr) {  // giving back nothing is no event
        Fake().Enter(Fn::HeapFree);
        Fake().Release(p, line, module);
    }
}

}  // extern "C"
