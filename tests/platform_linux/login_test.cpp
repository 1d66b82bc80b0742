#include "quor_platform/login.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "quor_platform_linux/host.h"
#include "tests/platform_linux/support/own_stack.h"

namespace {

using quor_platform::SetTokenSource;

class Login : public testing::Test {
protected:
    void SetUp() override { std::memset(m_token, 'o', sizeof m_token); }
    void TearDown() override { SetTokenSource(nullptr); }

    void ExpectRefused(const char* why) {
        EXPECT_NE(QuorLoginGetConfToken(m_token, sizeof m_token), 0);
        EXPECT_STREQ(m_token, "");
        EXPECT_EQ(quor_platform::LastFailure().stage, quor_platform::Stage::kToken);
        EXPECT_NE(quor_platform::LastFailure().text.find(why), std::string::npos)
            << quor_platform::LastFailure().text;
        std::memset(m_token, 'o', sizeof m_token);
    }

    char m_token[8];
};

TEST_F(Login, AsksTheSourceEveryTime) {
    int asked = 0;
    SetTokenSource([&](std::string& token) {
        EXPECT_EQ(token, "");
        token = "t" + std::to_string(++asked);
        return 0;
    });
    EXPECT_EQ(QuorLoginGetConfToken(m_token, sizeof m_token), 0);
    EXPECT_STREQ(m_token, "t1");
    EXPECT_EQ(QuorLoginGetConfToken(m_token, sizeof m_token), 0);
    EXPECT_STREQ(m_token, "t2");
}

TEST_F(Login, ATokenHasToFitWithItsTerminator) {
    std::string token = "1234567";
    SetTokenSource([&](std::string& out) {
        out = token;
        return 0;
    });
    EXPECT_EQ(QuorLoginGetConfToken(m_token, 8), 0);
    EXPECT_STREQ(m_token, "1234567");
    token = "12345678";
    ExpectRefused("longer");
    token = std::string(100000, 't');
    ExpectRefused("longer");
}

TEST_F(Login, RefusesWithAReason) {
    ExpectRefused("no token source");
    SetTokenSource([](std::string&) { return 0; });
    ExpectRefused("empty");
    SetTokenSource([](std::string& token) {
        token.assign("a\0b", 3);
        return 0;
    });
    ExpectRefused("NUL");
    SetTokenSource([](std::string& token) {
        token = "partial";
        return 42;
    });
    ExpectRefused("failed with 42");
    EXPECT_EQ(QuorLoginGetConfToken(m_token, sizeof m_token), 42);
    SetTokenSource([](std::string&) -> int { throw std::runtime_error("lost"); });
    ExpectRefused("exception");
    SetTokenSource([](std::string&) -> int { throw 1; });
    ExpectRefused("exception");
    EXPECT_NE(QuorLoginGetConfToken(nullptr, 8), 0);
    EXPECT_NE(QuorLoginGetConfToken(m_token, 0), 0);
}

TEST_F(Login, TellsEveryCallbackOnce) {
    static std::vector<unsigned int> events;
    const auto callback = [](unsigned int event, void* data) {
        EXPECT_EQ(data, nullptr);
        events.push_back(event);
    };
    EXPECT_EQ(QuorLoginInitialize(callback), 0);
    EXPECT_EQ(QuorLoginInitialize(callback), 0);
    EXPECT_NE(QuorLoginInitialize(nullptr), 0);
    SetTokenSource([](std::string&) { return 0; });
    SetTokenSource(nullptr);
    EXPECT_EQ(events, (std::vector<unsigned int>{1, 0}));
}

TEST_F(Login, LeavesNoTokenOnTheStack) {
    static const std::string token = "token-to-be-found";  // beyond a string's inline capacity
    static const std::string shortToken = "tok-inline";
    struct Fetch {
        static void* Run(void* out) {
            EXPECT_EQ(QuorLoginGetConfToken(static_cast<char*>(out), 64), 0);
            return nullptr;
        }
    };
    char out[64];
    SetTokenSource([](std::string& fetched) {
        fetched.assign(shortToken);
        return 0;
    });
    OwnStack stack;
    stack.Run(Fetch::Run, out);
    EXPECT_STREQ(out, shortToken.c_str());
    EXPECT_FALSE(stack.Holds(shortToken));
    SetTokenSource([](std::string& fetched) {
        fetched.assign(token);
        return 0;
    });
    stack.Run(Fetch::Run, out);
    EXPECT_FALSE(stack.Holds(token));
}

TEST_F(Login, SourcesMayChangeWhileOthersFetch) {
    std::atomic<bool> end{false};
    std::thread fetcher([&] {
        char token[8];
        while (!end) {
            if (QuorLoginGetConfToken(token, sizeof token) == 0) {
                EXPECT_STREQ(token, "t");
            }
        }
    });
    for (int i = 0; i < 500; ++i) {
        SetTokenSource([](std::string& token) {
            token = "t";
            return 0;
        });
        SetTokenSource(nullptr);
    }
    end = true;
    fetcher.join();
}

}  // namespace
