/*
 * bounded.h - bounds-checked memory and string functions.
 *
 * Threads: all functions are pure in their arguments and callable from any thread.
 * Sizes are bytes. No function keeps a pointer. Source and destination must not overlap.
 * Common rules of the four copying and clearing functions: the result is 0 on success and a non-zero,
 * errno-like value on failure; a null destination or a capacity of 0 is a failure that touches nothing.
 * On every other failure the destination is emptied, so that nobody reads a half-written text.
 */
#ifndef QUOR_PLATFORM_BOUNDED_H
#define QUOR_PLATFORM_BOUNDED_H

#include "quor_platform/base.h"

QUOR_PLATFORM_BEGIN

/*
 * Sets the first count bytes of dest to c. The compiler may not remove the call, also when dest is never read
 * again: this is the way to wipe a secret.
 * Failure: count > destMax; then all destMax bytes are set to c and the result is non-zero.
 */
int memset_s(void* dest, size_t destMax, int c, size_t count);

/*
 * Copies count bytes. A count of 0 succeeds and changes nothing.
 * Failure: src null or count > destMax; then all destMax bytes of dest are zeroed.
 */
int memcpy_s(void* dest, size_t destMax, const void* src, size_t count);

/*
 * Copies the NUL-terminated src whole, with its terminator. Reads at most destMax bytes of src, so that a
 * field its owner forgot to terminate is refused instead of over-read.
 * Failure: src null, or src together with its terminator does not fit; then dest[0] is 0.
 */
int strcpy_s(char* dest, size_t destMax, const char* src);

/*
 * Copies at most count characters of src and terminates. Reads at most count bytes of src.
 * Failure: src null, or the characters to copy (the shorter of count and the text) and a terminator do not
 * fit; then dest[0] is 0.
 */
int strncpy_s(char* dest, size_t destMax, const char* src, size_t count);

/*
 * Formats into dest, always terminated. Returns the number of characters written without the terminator.
 * Failure: a null argument, a bad format, or a text that does not fit with its terminator; the result is -1
 * and dest[0] is 0 (when dest is not null and destMax is not 0).
 */
int sprintf_s(char* dest, size_t destMax, const char* format, ...) QUOR_PLATFORM_PRINTF(3, 4);

/*
 * Formats at most count characters into dest, always terminated. Returns the number of characters written.
 * Failure: a null argument, a bad format, count >= destMax with a text that does not fit, or a text of more
 * than count characters: the result is -1. A text that was cut at count stays in dest, terminated; on every
 * other failure dest[0] is 0.
 */
int snprintf_s(char* dest, size_t destMax, size_t count, const char* format, ...) QUOR_PLATFORM_PRINTF(4, 5);

QUOR_PLATFORM_END

#endif
