// mutex.cpp - OsMutex: a POSIX mutex with its owner and the place where it was locked.
//
// All zeros are PTHREAD_MUTEX_INITIALIZER on Linux, which is what lets OsMutex do without creation (a test
// holds that). Owner and place are words beside the POSIX mutex; only the owner changes them, and every other
// thread compares the owner with itself only, so they need no ordering.

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "platform_linux/host_state.h"
#include "platform_linux/thread_annotations.h"
#include "quor_platform/os.h"

namespace {

constexpr std::size_t kOwnerWord = 6;
constexpr std::size_t kSiteWord = 7;
static_assert(sizeof(OsMutex) == 64);
static_assert(sizeof(pthread_mutex_t) <= kOwnerWord * sizeof(std::uint64_t));
static_assert(alignof(OsMutex) >= alignof(pthread_mutex_t));

pthread_mutex_t* PosixMutex(OsMutex* m) {
    return reinterpret_cast<pthread_mutex_t*>(m->opaque);
}

std::atomic_ref<std::uint64_t> Owner(OsMutex* m) {
    return std::atomic_ref<std::uint64_t>(m->opaque[kOwnerWord]);
}

std::atomic_ref<std::uint64_t> Site(OsMutex* m) {
    return std::atomic_ref<std::uint64_t>(m->opaque[kSiteWord]);
}

// Unlike a thread id of the kernel it costs no call and stays the same in the child of a fork.
std::uint64_t Self() {
    return static_cast<std::uint64_t>(pthread_self());
}

// "symbol+0x1c (libname.so+0x5a1c)", with what the dynamic linker knows.
struct SiteText {
    explicit SiteText(std::uint64_t address) {
        const auto at = static_cast<std::uintptr_t>(address);
        Dl_info info{};
        // NOLINTNEXTLINE(performance-no-int-to-ptr): the address was a pointer, see OsMutexLock
        if (dladdr(reinterpret_cast<void*>(at), &info) == 0 || info.dli_fname == nullptr) {
            std::snprintf(m_text, sizeof m_text, "0x%" PRIxPTR, at);
            return;
        }
        const auto base = reinterpret_cast<std::uintptr_t>(info.dli_fbase);
        const auto symbol = reinterpret_cast<std::uintptr_t>(info.dli_saddr);
        std::snprintf(m_text, sizeof m_text, "%s+0x%" PRIxPTR " (%s+0x%" PRIxPTR ")",
                      info.dli_sname != nullptr ? info.dli_sname : "?", symbol != 0 ? at - symbol : at - base,
                      info.dli_fname, at - base);
    }
    char m_text[512];
};

}  // namespace

// The analysis cannot see that the POSIX mutex inside is the capability.
QUOR_NO_THREAD_SAFETY_ANALYSIS unsigned int OsMutexLock(OsMutex* m) {
    if (m == nullptr) {
        return EINVAL;
    }
    const auto site = reinterpret_cast<std::uint64_t>(__builtin_return_address(0));
    if (Owner(m).load(std::memory_order_relaxed) == Self()) {
        const SiteText first(Site(m).load(std::memory_order_relaxed));
        const SiteText second(site);
        quor_platform::AbortHost("a mutex is locked again by its owner: locked at %s, again at %s",
                                 first.m_text, second.m_text);
    }
    const int result = pthread_mutex_lock(PosixMutex(m));
    if (result != 0) {
        return static_cast<unsigned int>(result);
    }
    Owner(m).store(Self(), std::memory_order_relaxed);
    Site(m).store(site, std::memory_order_relaxed);
    return 0;
}

QUOR_NO_THREAD_SAFETY_ANALYSIS unsigned int OsMutexUnLock(OsMutex* m) {
    if (m == nullptr) {
        return EINVAL;
    }
    if (Owner(m).load(std::memory_order_relaxed) != Self()) {
        return EPERM;
    }
    Owner(m).store(0, std::memory_order_relaxed);
    return static_cast<unsigned int>(pthread_mutex_unlock(PosixMutex(m)));
}
