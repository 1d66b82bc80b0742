// The bounded functions, written from their contract and independent of any other implementation of it.
#include "quor_platform/bounded.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

#include "support/failing_new.h"
#include "support/fake_platform.h"

using QuorTest::Fake;
using QuorTest::Fn;

namespace {

// Keeps what a wipe is about to overwrite, so that tests can tell that a secret was there and went.
void RecordWipe(const void* dest, int c, std::size_t count) {
    const QuorTest::NewsSucceed sheltered;
    const char* bytes = static_cast<const char*>(dest);
    if (c != 0 || count > 8192) {
        return;
    }
    for (std::size_t i = 0; i < count; ++i) {
        if (bytes[i] != 0) {
            const std::lock_guard<std::mutex> guard(Fake().mutex);
            Fake().wipes.push_back({count, {}});
            Fake().wipes.back().before.assign(bytes, count);
            return;
        }
    }
}

}  // namespace

extern "C" {

int memset_s(void* dest, size_t destMax, int c, size_t count) {
    const bool fails = Fake().EnterBounded({Fn::MemsetS, dest, destMax, nullptr, count});
    if (dest == nullptr || destMax == 0) {
        return EINVAL;
    }
    const bool bad = fails || count > destMax;
    const std::size_t bytes = bad ? destMax : count;
    RecordWipe(dest, c, bytes);
    if (!Fake().wipesDoNothing) {
        std::memset(dest, c, bytes);
    }
    return bad ? ERANGE : 0;
}

int memcpy_s(void* dest, size_t destMax, const void* src, size_t count) {
    const bool fails = Fake().EnterBounded({Fn::MemcpyS, dest, destMax, src, count});
    if (dest == nullptr || destMax == 0) {
        return EINVAL;
    }
    if (fails || src == nullptr || count > destMax) {
        std::memset(dest, 0, destMax);
        return ERANGE;
    }
    std::memcpy(dest, src, count);
    return 0;
}

int strcpy_s(char* dest, size_t destMax, const char* src) {
    const bool fails = Fake().EnterBounded({Fn::StrcpyS, dest, destMax, src, 0});
    if (dest == nullptr || destMax == 0) {
        return EINVAL;
    }
    const std::size_t length = src == nullptr ? destMax : strnlen(src, destMax);
    if (fails || length >= destMax) {
        dest[0] = '\0';
        return ERANGE;
    }
    std::memcpy(dest, src, length + 1);
    return 0;
}

int strncpy_s(char* dest, size_t destMax, const char* src, size_t count) {
    const bool fails = Fake().EnterBounded({Fn::StrncpyS, dest, destMax, src, count});
    if (dest == nullptr || destMax == 0) {
        return EINVAL;
    }
    const std::size_t length = src == nullptr ? destMax : strnlen(src, count);
    if (fails || length >= destMax) {
        dest[0] = '\0';
        return ERANGE;
    }
    std::memcpy(dest, src, length);
    dest[length] = '\0';
    return 0;
}

int sprintf_s(char* dest, size_t destMax, const char* format, ...) {
    const bool fails = Fake().EnterBounded({Fn::SprintfS, dest, destMax, format, 0});
    if (dest == nullptr || destMax == 0) {
        return -1;
    }
    int written = -1;
    if (!fails && format != nullptr) {
        va_list args;
        va_start(args, format);
        written = std::vsnprintf(dest, destMax, format, args);
        va_end(args);
    }
    if (written < 0 || static_cast<std::size_t>(written) >= destMax) {
        dest[0] = '\0';
        return -1;
    }
    return written;
}

int snprintf_s(char* dest, size_t destMax, size_t count, const char* format, ...) {
    const bool fails = Fake().EnterBounded({Fn::SnprintfS, dest, destMax, format, count});
    if (dest == nullptr || destMax == 0) {
        return -1;
    }
    int wanted = -1;
    const std::size_t room = count < destMax ? count + 1 : destMax;
    if (!fails && format != nullptr) {
        va_list args;
        va_start(args, format);
        wanted = std::vsnprintf(dest, room, format, args);
        va_end(args);
    }
    if (wanted < 0 || (static_cast<std::size_t>(wanted) >= room && count >= destMax)) {
        dest[0] = '\0';
        return -1;
    }
    return static_cast<std::size_t>(wanted) >= room ? -1 : wanted;
}

}  // extern "C"
