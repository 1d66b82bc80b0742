// clock.cpp - system clock and thread names.

#include <pthread.h>

#include <cerrno>
#include <cstring>
#include <ctime>

#include "quor_platform/os.h"

namespace {

// The kernel keeps 15 characters of a thread's name and a terminator.
constexpr std::size_t kThreadNameCapacity = 16;

}  // namespace

unsigned int OsGetSysTimeSec() {
    return static_cast<unsigned int>(std::time(nullptr));
}

int OsPthreadSetName(const char* name) {
    if (name == nullptr) {
        return EINVAL;
    }
    char cut[kThreadNameCapacity] = {};
    std::memcpy(cut, name, strnlen(name, kThreadNameCapacity - 1));
    return pthread_setname_np(pthread_self(), cut);
}
