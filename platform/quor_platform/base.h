/*
 * base.h - what every platform header shares: linkage, visibility and the annotations that let a compiler
 * check the callers. No code, no dependency.
 *
 * Everything a platform header declares is a C function with default visibility: the library leaves these
 * symbols undefined and the terminal's own libraries, libquor_platform_linux.so or a test's fake supply them.
 */
#ifndef QUOR_PLATFORM_BASE_H
#define QUOR_PLATFORM_BASE_H

#include <stddef.h>
#include <stdint.h>

#if defined(__cplusplus)
/* Opens a block of declarations with C linkage; nothing for C. */
#define QUOR_PLATFORM_EXTERN_C_BEGIN extern "C" {
/* Closes it. */
#define QUOR_PLATFORM_EXTERN_C_END }
#else
#define QUOR_PLATFORM_EXTERN_C_BEGIN
#define QUOR_PLATFORM_EXTERN_C_END
#endif

#if defined(__GNUC__)
/* Stands before the declarations of every platform header: C linkage, default visibility. */
#define QUOR_PLATFORM_BEGIN _Pragma("GCC visibility push(default)") QUOR_PLATFORM_EXTERN_C_BEGIN
/* Stands behind them. */
#define QUOR_PLATFORM_END QUOR_PLATFORM_EXTERN_C_END _Pragma("GCC visibility pop")
/* Has a compiler check calls as those of printf. The format is argument f, the first argument it prints is a;
 * both count from 1. */
#define QUOR_PLATFORM_PRINTF(f, a) __attribute__((format(printf, f, a)))
#else
#define QUOR_PLATFORM_BEGIN QUOR_PLATFORM_EXTERN_C_BEGIN
#define QUOR_PLATFORM_END QUOR_PLATFORM_EXTERN_C_END
#define QUOR_PLATFORM_PRINTF(f, a)
#endif

/* clang's thread-safety analysis (-Wthread-safety); nothing for other compilers and for C. */
#if defined(__clang__) && defined(__cplusplus)
#define QUOR_PLATFORM_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define QUOR_PLATFORM_THREAD_ATTRIBUTE(x)
#endif

/* Nails down a layout that both sides of an interface rely on, in C and in C++. */
#if defined(__cplusplus)
#define QUOR_PLATFORM_STATIC_ASSERT(condition, text) static_assert(condition, text)
#else
#define QUOR_PLATFORM_STATIC_ASSERT(condition, text) _Static_assert(condition, text)
#endif

#endif
