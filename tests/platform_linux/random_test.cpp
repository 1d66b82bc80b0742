// Random numbers from a system that gives them in pieces, is interrupted or fails.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/random.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "quor_platform/key_management.h"
#include "quor_platform_linux/host.h"
#include "tests/platform_linux/support/temporary_folder.h"

namespace {

// What the system does at one call: gives at most so many bytes, or fails with this error.
struct Step {
    std::size_t most = 0;
    int error = 0;
};

constexpr Step Give(std::size_t most) {
    return {most, 0};
}

constexpr Step Fail(int error) {
    return {0, error};
}

// The calls of this thread while it lives, one step each; after the last step the system fails. The bytes
// that it gives count up from 1.
class ScriptedRandom {
public:
    explicit ScriptedRandom(std::vector<Step> steps) : m_steps(std::move(steps)) { current = this; }
    ~ScriptedRandom() { current = nullptr; }
    ScriptedRandom(const ScriptedRandom&) = delete;
    ScriptedRandom& operator=(const ScriptedRandom&) = delete;

    std::size_t Calls() const { return m_calls; }

    ssize_t Call(unsigned char* out, std::size_t length) {
        const Step step = m_calls < m_steps.size() ? m_steps[m_calls] : Fail(ENOSYS);
        ++m_calls;
        if (step.error != 0) {
            errno = step.error;
            return -1;
        }
        const std::size_t count = std::min(step.most, length);
        for (std::size_t i = 0; i < count; ++i) {
            out[i] = ++m_given;
        }
        return static_cast<ssize_t>(count);
    }

    static thread_local ScriptedRandom* current;

private:
    const std::vector<Step> m_steps;
    std::size_t m_calls = 0;
    unsigned char m_given = 0;
};

thread_local ScriptedRandom* ScriptedRandom::current = nullptr;

}  // namespace

// Stands in the test's program, so it comes before the C library's, which it calls.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the C library's names are reserved
extern "C" __attribute__((visibility("default"))) ssize_t getrandom(void* buffer, size_t length,
                                                                    unsigned int flags) {
    if (ScriptedRandom::current != nullptr) {
        return ScriptedRandom::current->Call(static_cast<unsigned char*>(buffer), length);
    }
    static auto* const real = reinterpret_cast<decltype(&getrandom)>(dlsym(RTLD_NEXT, "getrandom"));
    return real(buffer, length, flags);
}

namespace {

using quor_platform::LastFailure;
using quor_platform::Stage;

constexpr std::size_t kLength = 64;
constexpr unsigned char kUntouched = 0xEE;

// A buffer with one byte behind it that nobody may touch.
using Buffer = std::array<unsigned char, kLength + 1>;

int Fill(Buffer& buffer) {
    buffer.fill(kUntouched);
    return QuorOmKeymGenRealRandom(buffer.data(), kLength);
}

void ExpectFilled(const Buffer& buffer) {
    for (std::size_t i = 0; i < kLength; ++i) {
        ASSERT_EQ(buffer[i], i + 1);
    }
    EXPECT_EQ(buffer[kLength], kUntouched);
}

TEST(RandomFaults, ShortCountsAreContinued) {
    const std::vector<std::vector<Step>> scripts = {{Give(kLength)},
                                                    {Give(1), Give(kLength)},
                                                    {Give(kLength - 1), Give(1)},
                                                    {Give(20), Give(20), Give(99)}};
    for (const std::vector<Step>& script : scripts) {
        SCOPED_TRACE(script.size());
        const ScriptedRandom random(script);
        Buffer buffer;
        EXPECT_EQ(Fill(buffer), 0);
        ExpectFilled(buffer);
        EXPECT_EQ(random.Calls(), script.size()) << "no byte more than wanted";
    }
}

TEST(RandomFaults, AnInterruptedCallIsRepeated) {
    const std::vector<Step> script = {Fail(EINTR), Fail(EINTR), Give(10), Fail(EINTR), Give(kLength)};
    const ScriptedRandom random(script);
    Buffer buffer;
    EXPECT_EQ(Fill(buffer), 0);
    ExpectFilled(buffer);
    EXPECT_EQ(random.Calls(), script.size());
}

TEST(RandomFaults, AFailureIsToldWhereverItComes) {
    for (const int error : {EIO, ENOSYS, EAGAIN}) {
        const std::vector<std::vector<Step>> scripts = {
            {Fail(error)}, {Give(kLength - 1), Fail(error)}, {Fail(EINTR), Give(1), Fail(error)}};
        for (const std::vector<Step>& script : scripts) {
            const ScriptedRandom random(script);
            Buffer buffer;
            EXPECT_EQ(Fill(buffer), error);
            EXPECT_EQ(buffer[kLength], kUntouched);
            EXPECT_EQ(random.Calls(), script.size()) << "it is not tried again";
        }
    }
}

// A nonce that is not random would give the sealed text away.
TEST(RandomFaults, WithoutItNothingIsSealed) {
    const TemporaryFolder folder;
    const std::string keyFile = folder.File("key");
    ASSERT_TRUE(quor_platform::CreateKeyFile(keyFile));
    quor_platform::SetKeyFile(keyFile);
    for (const std::vector<Step>& script :
         {std::vector<Step>{Fail(EIO)}, std::vector<Step>{Give(11), Fail(EIO)}}) {
        const ScriptedRandom random(script);
        EXPECT_EQ(quor_platform::SealSecret("QuorUIConf", "secret"), "");
        EXPECT_EQ(LastFailure().stage, Stage::kKey);
        EXPECT_EQ(LastFailure().text, "the secret cannot be sealed");
        EXPECT_EQ(random.Calls(), script.size());
    }
    EXPECT_NE(quor_platform::SealSecret("QuorUIConf", "secret"), "");
    quor_platform::SetKeyFile({});
}

TEST(RandomFaults, WithoutItNoKeyFileIsMade) {
    const TemporaryFolder folder;
    for (const std::vector<Step>& script :
         {std::vector<Step>{Fail(EIO)}, std::vector<Step>{Give(31), Fail(EIO)}}) {
        const ScriptedRandom random(script);
        EXPECT_FALSE(quor_platform::CreateKeyFile(folder.File("key")));
        EXPECT_EQ(LastFailure().stage, Stage::kKey);
        EXPECT_EQ(LastFailure().text.rfind("no random numbers", 0), 0U) << LastFailure().text;
        EXPECT_TRUE(std::filesystem::is_empty(folder.Path())) << "nothing half done";
    }
    // In pieces it is made, and 32 bytes of the pieces are in it.
    const ScriptedRandom pieces({Give(5), Fail(EINTR), Give(26), Give(99)});
    EXPECT_TRUE(quor_platform::CreateKeyFile(folder.File("key")));
    EXPECT_EQ(pieces.Calls(), 4U);
}

}  // namespace
