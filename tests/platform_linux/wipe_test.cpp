// A wipe of memory that nobody reads again stays in the program. The source of memset_s is compiled into this
// file, so that the compiler sees both sides, as link-time optimisation would.

#include <gtest/gtest.h>

#include <cstring>
#include <string_view>

#include "platform_linux/bounded.cpp"  // NOLINT(bugprone-suspicious-include)
#include "tests/platform_linux/support/own_stack.h"

namespace {

constexpr std::string_view kSecret = "a secret of sixty-four bytes, to be found again in plain sight..";
static_assert(kSecret.size() == 64);

// Many times, because what runs between the function's end and the look at its stack may overwrite some.
constexpr std::size_t kSecretBytes = 64 * kSecret.size();

// Makes the compiler build the secret in the local variable.
void Use(char* secret) {
    for (std::size_t i = 0; i < kSecretBytes; ++i) {
        const_cast<volatile char*>(secret)[i] = static_cast<char>(kSecret[i % kSecret.size()] ^ 1);
    }
}

__attribute__((no_sanitize("address"))) void* LeaveSecret(void* /*unused*/) {
    char secret[kSecretBytes];
    Use(secret);
    return nullptr;
}

__attribute__((no_sanitize("address"))) void* WipeSecret(void* /*unused*/) {
    char secret[kSecretBytes];
    Use(secret);
    memset_s(secret, sizeof secret, 0, sizeof secret);
    return nullptr;
}

std::string Pattern() {
    std::string pattern(kSecret);
    for (char& c : pattern) {
        c = static_cast<char>(c ^ 1);
    }
    return pattern;
}

TEST(Wipe, TheProbeFindsWhatIsNotWiped) {
    OwnStack stack;
    stack.Run(LeaveSecret, nullptr);
    EXPECT_TRUE(stack.Holds(Pattern()));
}

TEST(Wipe, MemsetOfADyingVariableStays) {
    OwnStack stack;
    stack.Run(WipeSecret, nullptr);
    EXPECT_FALSE(stack.Holds(Pattern()));
}

}  // namespace
