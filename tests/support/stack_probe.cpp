#include "support/stack_probe.h"

#include <pthread.h>
#include <sys/mman.h>

#include <cstdlib>
#include <cstring>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QUOR_TEST_ASAN 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define QUOR_TEST_ASAN 1
#endif
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define QUOR_TEST_TSAN 1
#endif
#endif
#if defined(__SANITIZE_THREAD__)
#define QUOR_TEST_TSAN 1
#endif

namespace QuorTest {

namespace {

constexpr std::size_t kStackBytes = 256UL * 1024UL;
constexpr unsigned char kPattern = 0xA5;

void* RunOnThread(void* arg) {
    (*static_cast<const std::function<void()>*>(arg))();
    return nullptr;
}

}  // namespace

// Stack memory of an ended thread may still be marked as out of bounds, and is slow to read, under a
// sanitizer: read it unchecked. Returns the part from the first byte that was touched.
#if defined(QUOR_TEST_ASAN)
__attribute__((no_sanitize("address"), noinline))
#elif defined(QUOR_TEST_TSAN)
__attribute__((no_sanitize("thread"), noinline))
#endif
static std::size_t
CopyTouched(unsigned char* to, const unsigned char* from, std::size_t size) {
    std::size_t start = 0;
    while (start < size && from[start] == kPattern) {
        ++start;
    }
    for (std::size_t i = start; i < size; ++i) {
        // Volatile, so that no copying function that checks is called instead.
        *static_cast<volatile unsigned char*>(to + (i - start)) = from[i];
    }
    return size - start;
}

StackProbe::StackProbe() {
    void* memory = mmap(nullptr, kStackBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        std::abort();
    }
    m_stack = static_cast<unsigned char*>(memory);
}

StackProbe::~StackProbe() {
    munmap(m_stack, kStackBytes);
}

void StackProbe::Run(const std::function<void()>& work) {
    std::memset(m_stack, kPattern, kStackBytes);
    pthread_attr_t attributes;
    pthread_t thread;
    pthread_attr_init(&attributes);
    if (pthread_attr_setstack(&attributes, m_stack, kStackBytes) != 0 ||
        pthread_create(&thread, &attributes, RunOnThread, const_cast<std::function<void()>*>(&work)) != 0) {
        std::abort();
    }
    pthread_attr_destroy(&attributes);
    pthread_join(thread, nullptr);
}

std::size_t StackProbe::UsedBytes() const {
    std::vector<unsigned char> copy(kStackBytes);
    return CopyTouched(copy.data(), m_stack, kStackBytes);
}

std::vector<std::string> StackProbe::Find(const std::string& secret, std::size_t minBytes) const {
    std::vector<unsigned char> copy(kStackBytes);
    const std::size_t used = CopyTouched(copy.data(), m_stack, kStackBytes);
    return FindPieces(copy.data(), used, secret, minBytes);
}

std::vector<std::string> FindPieces(const unsigned char* bytes, std::size_t size, const std::string& secret,
                                    std::size_t minBytes) {
    std::vector<std::string> found;
    if (secret.size() < minBytes) {
        return found;
    }
    // Each window of the secret, so that a half-overwritten copy is found too.
    for (std::size_t at = 0; at + minBytes <= secret.size(); ++at) {
        const unsigned char* from = bytes;
        std::size_t left = size;
        while (const void* hit =
                   left < minBytes ? nullptr : memmem(from, left, secret.data() + at, minBytes)) {
            const auto* place = static_cast<const unsigned char*>(hit);
            std::size_t length = minBytes;
            while (at + length < secret.size() && place + length < bytes + size &&
                   place[length] == static_cast<unsigned char>(secret[at + length])) {
                ++length;
            }
            found.push_back(secret.substr(at, length));
            from = place + 1;
            left = static_cast<std::size_t>(bytes + size - from);
        }
    }
    return found;
}

}  // namespace QuorTest
