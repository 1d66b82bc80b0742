#include "support/delete_watch.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

#include "support/failing_new.h"

// A sanitizer brings operators of its own, and a hook that sees every block given back.
#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define QUOR_TEST_SANITIZER_HOOKS 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define QUOR_TEST_SANITIZER_HOOKS 1
#endif

#if defined(QUOR_TEST_SANITIZER_HOOKS)
#include <sanitizer/allocator_interface.h>
#else
extern "C" void __real_free(void* p);
#endif

namespace QuorTest {

namespace {

std::atomic<const char*> g_secret{nullptr};
std::atomic<std::size_t> g_length{0};
std::atomic<std::size_t> g_minBytes{0};
std::atomic<unsigned> g_hits{0};

// Nothing here may allocate: it runs inside operator delete.
void Look(const void* p) {
    const char* secret = g_secret.load();
    if (p == nullptr || secret == nullptr || NewsSucceed::Any()) {
        return;
    }
    const std::size_t size = malloc_usable_size(const_cast<void*>(p));
    const std::size_t minBytes = g_minBytes.load();
    for (std::size_t at = 0; at + minBytes <= g_length.load(); ++at) {
        if (memmem(p, size, secret + at, minBytes) != nullptr) {
            ++g_hits;
            return;
        }
    }
}

#if defined(QUOR_TEST_SANITIZER_HOOKS)
// The thread sanitizer calls the hook before realloc has copied the block that it gives back.
thread_local bool t_inRealloc = false;

// The thread sanitizer gives a block out again as it came back: what it held must not be found in the next
// block at this place. Larger blocks than this are no texts.
constexpr std::size_t kOverwrittenBytes = 64U << 10U;

__attribute__((no_sanitize("thread"))) void Overwrite(const volatile void* p) {
    auto* bytes = static_cast<volatile unsigned char*>(const_cast<volatile void*>(p));
    const std::size_t size = malloc_usable_size(const_cast<void*>(p));
    for (std::size_t i = 0; i < size && i < kOverwrittenBytes; ++i) {
        bytes[i] = 0xDD;
    }
}

// From the start of the program, so that nothing given back before the first watch is found either.
const int g_installed = __sanitizer_install_malloc_and_free_hooks([](const volatile void*, std::size_t) {},
                                                                  [](const volatile void* p) {
                                                                      if (p != nullptr) {
                                                                          Look(const_cast<const void*>(p));
                                                                          if (!t_inRealloc) {
                                                                              Overwrite(p);
                                                                          }
                                                                      }
                                                                  });
#endif

}  // namespace

DeleteWatch::DeleteWatch(const std::string& secret, std::size_t minBytes) {
#if defined(QUOR_TEST_SANITIZER_HOOKS)
    static_cast<void>(g_installed);
#endif
    g_hits = 0;
    g_length = secret.size();
    g_minBytes = minBytes;
    g_secret = secret.data();
}

DeleteWatch::~DeleteWatch() {
    g_secret = nullptr;
}

unsigned DeleteWatch::Hits() const {
    return g_hits.load();
}

}  // namespace QuorTest

#if defined(QUOR_TEST_SANITIZER_HOOKS)

// The sanitizer's own, which stands behind a weak name for this. Called before the sanitizer is ready, too.
extern "C" void* __interceptor_realloc(void* ptr, std::size_t size);

extern "C" __attribute__((disable_sanitizer_instrumentation, visibility("default"))) void* realloc(
    void* ptr, std::size_t size) {
    QuorTest::t_inRealloc = true;
    void* const moved = __interceptor_realloc(ptr, size);
    QuorTest::t_inRealloc = false;
    return moved;
}

#else

namespace {

// Looks, then overwrites: what this block held must not be found again in the next block at this place.
void GiveBack(void* p) {
    QuorTest::Look(p);
    if (p != nullptr) {
        std::memset(p, 0xDD, malloc_usable_size(p));
    }
    __real_free(p);
}

}  // namespace

void* operator new(std::size_t size) {
    void* p = std::malloc(size == 0 ? 1 : size);
    if (p == nullptr) {
        throw std::bad_alloc();
    }
    return p;
}

void operator delete(void* p) noexcept {
    GiveBack(p);
}

void operator delete(void* p, std::size_t) noexcept {
    GiveBack(p);
}

#endif
