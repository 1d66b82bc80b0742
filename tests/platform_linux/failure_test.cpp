#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "quor_platform/login.h"
#include "quor_platform_linux/host.h"

namespace {

using quor_platform::LastFailure;
using quor_platform::Stage;

TEST(Failure, BelongsToTheThreadThatFailed) {
    char token[8];
    std::thread([&] {
        EXPECT_EQ(LastFailure().stage, Stage::kNone);
        EXPECT_NE(QuorLoginGetConfToken(nullptr, 8), 0);
        EXPECT_EQ(LastFailure().stage, Stage::kToken);
        EXPECT_FALSE(LastFailure().text.empty());
        std::thread([] { EXPECT_EQ(LastFailure().stage, Stage::kNone); }).join();
    }).join();
    EXPECT_NE(QuorLoginGetConfToken(token, 0), 0);
    EXPECT_EQ(LastFailure().stage, Stage::kToken);
}

}  // namespace
