// memory_search.h - whether a secret is anywhere in this process. Texts are handed over masked, so that a
// search does not find the one who asks.
#ifndef QUOR_TESTS_PLATFORM_LINUX_MEMORY_SEARCH_H
#define QUOR_TESTS_PLATFORM_LINUX_MEMORY_SEARCH_H

#include <string>

namespace quor_test {

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define QUOR_TEST_SANITIZED
#endif
#elif defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define QUOR_TEST_SANITIZED
#endif

// A sanitizer's own memory is too large to search.
#if defined(QUOR_TEST_SANITIZED)
inline constexpr bool kMemoryIsTooLarge = true;
#else
inline constexpr bool kMemoryIsTooLarge = false;
#endif

inline constexpr char kMask = 0x55;

// Of a text that is no secret yet.
std::string Masked(std::string text);

// Puts the text into to, which has room for it; a terminator is not written.
void Unmask(const std::string& masked, char* to);

// Places in the process's writable memory that hold the text.
int PlacesHolding(const std::string& masked);

}  // namespace quor_test

#endif
