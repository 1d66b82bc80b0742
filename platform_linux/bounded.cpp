// bounded.cpp - bounds-checked memory and string functions over the C library's own, which set the speed:
// beyond the checks every function is little more than one call of memset, memcpy, strnlen or vsnprintf.
// Sizes have no cap.

#include "quor_platform/bounded.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace {

// True when [a, a + count) and [b, b + count) share a byte.
bool Overlap(const void* a, const void* b, std::size_t count) {
    const auto first = reinterpret_cast<std::uintptr_t>(a);
    const auto second = reinterpret_cast<std::uintptr_t>(b);
    return (first > second ? first - second : second - first) < count;
}

// memset, in pieces for a record of a few kilobytes. The C library takes string instructions from 2 KiB on,
// whose start costs as much as filling such a record with vector stores; for large blocks they are the faster
// way.
void Fill(unsigned char* dest, int c, std::size_t count) {
    constexpr std::size_t kLongestRecord = 8192;
    std::size_t piece = 2032;
    __asm__(
        ""
        : "+r"(piece));  // hides the constant: expanded in place, memset would be a string instruction too
    if (count <= kLongestRecord) {
        for (; count > piece; count -= piece, dest += piece) {
            std::memset(dest, c, piece);
        }
    }
    std::memset(dest, c, count);
}

// Copies length characters and a terminator into dest, which has room for them.
int CopyText(char* dest, const char* src, std::size_t length) {
    if (Overlap(dest, src, length + 1)) {
        dest[0] = '\0';
        return EINVAL;
    }
    std::memcpy(dest, src, length);
    dest[length] = '\0';
    return 0;
}

// vsnprintf for a format that may be null.
__attribute__((format(printf, 3, 0))) int Format(char* dest, std::size_t capacity, const char* format,
                                                 std::va_list args) {
    return format != nullptr ? std::vsnprintf(dest, capacity, format, args) : -1;
}

}  // namespace

int memset_s(void* dest, size_t destMax, int c, size_t count) {
    if (dest == nullptr || destMax == 0) {
        return EINVAL;
    }
    Fill(static_cast<unsigned char*>(dest), c, std::min(count, destMax));
    // Tells the optimiser that somebody reads dest, so that the wipe of a dying secret stays also where this
    // file is compiled together with its callers.
    __asm__ __volatile__("" : : "r"(dest) : "memory");
    return count > destMax ? ERANGE : 0;
}

int memcpy_s(void* dest, size_t destMax, const void* src, size_t count) {
    if (dest == nullptr || destMax == 0) {
        return EINVAL;
    }
    if (src == nullptr || count > destMax || Overlap(dest, src, count)) {
        std::memset(dest, 0, destMax);
        return src != nullptr && count > destMax ? ERANGE : EINVAL;
    }
    std::memcpy(dest, src, count);
    return 0;
}

int strcpy_s(char* dest, size_t destMax, const char* src) {
    if (dest == nullptr || destMax == 0) {
        return EINVAL;
    }
    if (src == nullptr) {
        dest[0] = '\0';
        return EINVAL;
    }
    const std::size_t length = strnlen(src, destMax);
    if (length == destMax) {
        dest[0] = '\0';
        return ERANGE;
    }
    return CopyText(dest, src, length);
}

int strncpy_s(char* dest, size_t destMax, const char* src, size_t count) {
    if (dest == nullptr || destMax == 0) {
        return EINVAL;
    }
    if (src == nullptr) {
        dest[0] = '\0';
        return EINVAL;
    }
    const std::size_t length = strnlen(src, std::min(count, destMax));
    if (length == destMax) {
        dest[0] = '\0';
        return ERANGE;
    }
    return CopyText(dest, src, length);
}

int sprintf_s(char* dest, size_t destMax, const char* format, ...) {
    if (dest == nullptr || destMax == 0) {
        return -1;
    }
    std::va_list args;
    va_start(args, format);
    const int length = Format(dest, destMax, format, args);
    va_end(args);
    if (length < 0 || static_cast<std::size_t>(length) >= destMax) {
        dest[0] = '\0';
        return -1;
    }
    return length;
}

int snprintf_s(char* dest, size_t destMax, size_t count, const char* format, ...) {
    if (dest == nullptr || destMax == 0) {
        return -1;
    }
    const std::size_t room = std::min(count, destMax - 1);
    std::va_list args;
    va_start(args, format);
    const int length = Format(dest, room + 1, format, args);
    va_end(args);
    if (length >= 0 && static_cast<std::size_t>(length) <= room) {
        return length;
    }
    const bool cutAtCount = length >= 0 && count < destMax;
    if (!cutAtCount) {
        dest[0] = '\0';
    }
    return -1;
}
