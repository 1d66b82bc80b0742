// heap.cpp - the accounted heap: calloc and free, a header before each block and live counts per place of
// allocation. The C library's heap stays underneath, so that sanitizers see leaks and overruns as always.

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "platform_linux/host_state.h"
#include "platform_linux/thread_annotations.h"
#include "quor_platform/os.h"

namespace quor_platform {
namespace {

using internal::Mutex;
using internal::MutexLock;

struct Header {
    std::uint32_t size;   // what the caller asked for
    std::uint32_t place;  // index in the accounts
    std::uint64_t
        guard;  // GuardOf(*this) while the block lives; nearest to the block, so an underrun hits it
};
static_assert(sizeof(Header) % alignof(std::max_align_t) == 0, "blocks have to be aligned for any type");

// Depends on the address, so that a copy of a header is no header, and on what the header says.
std::uint64_t GuardOf(const Header& header) {
    constexpr std::uint64_t kLive = 0x51B0'C4A1'7E5D'93F6U;
    const std::uint64_t content = (static_cast<std::uint64_t>(header.size) << 32U) | header.place;
    return kLive ^ reinterpret_cast<std::uintptr_t>(&header) ^ content;
}

// Live counts of one place. The place is written once, before used is published; the counts are on their own.
struct alignas(64) Place {
    std::atomic<bool> used{false};
    const char* module = nullptr;
    unsigned int line = 0;
    std::atomic<std::size_t> blocks{0};
    std::atomic<std::size_t> bytes{0};
};

// Open addressing over a fixed table: finding a place takes no lock, adding one does. Places stay for ever. A
// program has as many as it has calls of the allocator; should the table ever fill up, the rest share one.
class Accounts {
public:
    static constexpr std::uint32_t kCapacity = 2048;
    static constexpr std::uint32_t kShared = kCapacity;  // index of the place for all others

    std::uint32_t Find(const char* module, unsigned int line) QUOR_EXCLUDES(m_adding);
    Place& At(std::uint32_t index) { return m_places[index]; }
    std::array<Place, kCapacity + 1>& Places() { return m_places; }

private:
    Mutex m_adding;
    std::array<Place, kCapacity + 1> m_places;
};

constinit Accounts accounts;

std::uint32_t Accounts::Find(const char* module, unsigned int line) {
    const std::uint64_t key = reinterpret_cast<std::uintptr_t>(module) + line;
    const auto start = static_cast<std::uint32_t>((key * 0x9E37'79B9'7F4A'7C15U) >> 40U) % kCapacity;
    for (std::uint32_t step = 0; step < kCapacity; ++step) {
        const std::uint32_t index = (start + step) % kCapacity;
        Place& place = m_places[index];
        if (!place.used.load(std::memory_order_acquire)) {
            const MutexLock lock(m_adding);
            if (!place.used.load(std::memory_order_relaxed)) {
                place.module = module;
                place.line = line;
                place.used.store(true, std::memory_order_release);
                return index;
            }
        }
        if (place.module == module && place.line == line) {
            return index;
        }
    }
    return kShared;
}

}  // namespace

std::vector<HeapEntry> HeapReport() {
    std::vector<HeapEntry> report;
    for (const Place& place : accounts.Places()) {
        const std::size_t blocks = place.blocks.load(std::memory_order_relaxed);
        if (blocks == 0) {
            continue;
        }
        const std::string_view module = place.module != nullptr ? place.module : "(other)";
        const auto same = std::find_if(report.begin(), report.end(), [&](const HeapEntry& entry) {
            return entry.line == place.line && entry.module == module;
        });
        HeapEntry& entry = same != report.end() ? *same : report.emplace_back();
        entry.module = module;
        entry.line = place.line;
        entry.liveBlocks += blocks;
        entry.liveBytes += place.bytes.load(std::memory_order_relaxed);
    }
    std::stable_sort(report.begin(), report.end(),
                     [](const HeapEntry& a, const HeapEntry& b) { return a.liveBytes > b.liveBytes; });
    return report;
}

std::size_t HeapLiveBytes() {
    std::size_t bytes = 0;
    for (const Place& place : accounts.Places()) {
        bytes += place.bytes.load(std::memory_order_relaxed);
    }
    return bytes;
}

}  // namespace quor_platform

void* OsMemMallocSetCharMon(unsigned int size, unsigned char fill, unsigned int line, const char* module) {
    using namespace quor_platform;
    if (size == 0) {
        return nullptr;
    }
    const std::size_t total = sizeof(Header) + size;
    // calloc knows which pages are zero already: a large block costs no clearing.
    auto* header = static_cast<Header*>(fill == 0 ? std::calloc(1, total) : std::malloc(total));
    if (header == nullptr) {
        return nullptr;
    }
    const std::uint32_t place = accounts.Find(module != nullptr ? module : "?", line);
    accounts.At(place).blocks.fetch_add(1, std::memory_order_relaxed);
    accounts.At(place).bytes.fetch_add(size, std::memory_order_relaxed);
    *header = Header{size, place, 0};
    header->guard = GuardOf(*header);
    void* block = header + 1;
    if (fill != 0) {
        std::memset(block, fill, size);
    }
    return block;
}

void OSMemTypeFreeMon(void* p, unsigned int line, const char* module) {
    using namespace quor_platform;
    if (p == nullptr) {
        return;
    }
    if (reinterpret_cast<std::uintptr_t>(p) % alignof(std::max_align_t) != 0) {
        AbortHost("%s:%u frees %p, which is no block of the accounted heap", module != nullptr ? module : "?",
                  line, p);
    }
    Header* header = static_cast<Header*>(p) - 1;
    if (header->guard != GuardOf(*header)) {
        AbortHost(
            "%s:%u frees %p, which is no live block of the accounted heap: freed before, overwritten or "
            "foreign",
            module != nullptr ? module : "?", line, p);
    }
    header->guard = 0;
    __asm__ __volatile__("" : : "r"(header) : "memory");  // the store above is for whoever frees p again
    Place& place = accounts.At(header->place);
    place.blocks.fetch_sub(1, std::memory_order_relaxed);
    place.bytes.fetch_sub(header->size, std::memory_order_relaxed);
    std::free(header);
}
