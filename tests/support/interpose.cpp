// C library calls that the linker redirects here (--wrap, see CMakeLists.txt): sleeping, duplicating a text
// and giving it back. No test sleeps, and every duplicate can fail and is counted.
#include <time.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "support/fake_platform.h"

using QuorTest::Fake;
using QuorTest::Fn;

namespace {

void RecordSleep(unsigned long us) {
    Fake().Enter(Fn::Usleep);
    const std::lock_guard<std::mutex> guard(Fake().mutex);
    Fake().sleepsUs.push_back(static_cast<unsigned>(us));
}

unsigned long Microseconds(const timespec* t) {
    return static_cast<unsigned long>(t->tv_sec) * 1000000UL +
           static_cast<unsigned long>(t->tv_nsec) / 1000UL;
}

thread_local bool t_inFake = false;  // the fake's own memory must not come back here

}  // namespace

char* QuorTest::FakePlatform::DuplicateText(const char* text) {
    if (Enter(Fn::Strdup)) {
        return nullptr;
    }
    const std::size_t size = std::strlen(text) + 1;
    auto* copy = static_cast<char*>(std::malloc(size));
    std::memcpy(copy, text, size);
    const std::lock_guard<std::mutex> guard(mutex);
    m_strdups[copy] = size;
    return copy;
}

extern "C" {

char* __wrap_strdup(const char* text);
void __real_free(void* p);
void __wrap_free(void* p);
int __wrap_usleep(useconds_t us);
int __wrap_nanosleep(const timespec* t, timespec* rest);
int __wrap_clock_nanosleep(clockid_t clock, int flags, const timespec* t, timespec* rest);

char* __wrap_strdup(const char* text) {
    return Fake().DuplicateText(text);
}

void __wrap_free(void* p) {
    if (p != nullptr && !t_inFake) {
        t_inFake = true;
        Fake().ForgetText(p);
        t_inFake = false;
    }
    __real_free(p);
}

int __wrap_usleep(useconds_t us) {
    RecordSleep(us);
    return 0;
}

int __wrap_nanosleep(const timespec* t, timespec*) {
    RecordSleep(Microseconds(t));
    return 0;
}

int __wrap_clock_nanosleep(clockid_t, int, const timespec* t, timespec*) {
    RecordSleep(Microseconds(t));
    return 0;
}

}  // extern "C"
