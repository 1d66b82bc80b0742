#include "failure_text.h"

#include <gtest/gtest.h>

namespace quor_terminal {
namespace {

using quor_platform::Failure;
using quor_platform::Stage;

Failure At(Stage stage, const char* text = "") {
    Failure failure;
    failure.stage = stage;
    failure.text = text;
    return failure;
}

TEST(ExplainOpenFailure, NamesTheStageAndTheReason) {
    const LinkProblem problem = ExplainOpenFailure(At(Stage::kConnect, "connection refused"));
    EXPECT_EQ(problem.text, "connect: connection refused");
    EXPECT_EQ(problem.exitCode, kExitUnreachable);
    EXPECT_EQ(problem.kind, LinkProblem::Kind::kTransient);
    EXPECT_FALSE(problem.advice.empty());
}

TEST(ExplainOpenFailure, EveryStageHasAText) {
    for (const Stage stage :
         {Stage::kNone, Stage::kSettings, Stage::kResolve, Stage::kConnect, Stage::kTls, Stage::kUpgrade,
          Stage::kStomp, Stage::kTransfer, Stage::kLiveness, Stage::kQueue, Stage::kKey, Stage::kToken}) {
        EXPECT_FALSE(ExplainOpenFailure(At(stage)).text.empty());
        EXPECT_FALSE(ExplainLinkEnd(At(stage)).text.empty());
        EXPECT_NE(ExplainOpenFailure(At(stage)).exitCode, kExitOk);
    }
}

TEST(ExplainOpenFailure, Credentials) {
    Failure failure = At(Stage::kUpgrade, "unauthorized");
    for (const int status : {401, 403}) {
        failure.httpStatus = status;
        const LinkProblem problem = ExplainOpenFailure(failure);
        EXPECT_EQ(problem.kind, LinkProblem::Kind::kRefused);
        EXPECT_EQ(problem.exitCode, kExitRefused);
        EXPECT_EQ(problem.text, "upgrade (HTTP " + std::to_string(status) + "): unauthorized");
    }
    EXPECT_EQ(ExplainOpenFailure(At(Stage::kStomp)).exitCode, kExitRefused);
    EXPECT_EQ(ExplainOpenFailure(At(Stage::kKey)).kind, LinkProblem::Kind::kPermanent);
}

TEST(ExplainOpenFailure, ABusyServerIsWorthAnotherAttempt) {
    Failure failure = At(Stage::kUpgrade);
    failure.httpStatus = 503;
    EXPECT_EQ(ExplainOpenFailure(failure).kind, LinkProblem::Kind::kTransient);
    EXPECT_EQ(ExplainOpenFailure(failure).exitCode, kExitUnreachable);
}

TEST(ExplainOpenFailure, OnlyACertificateMakesTlsPermanent) {
    Failure failure = At(Stage::kTls, "connection reset");
    EXPECT_EQ(ExplainOpenFailure(failure).kind, LinkProblem::Kind::kTransient);
    failure.certificateError = 20;
    EXPECT_EQ(ExplainOpenFailure(failure).kind, LinkProblem::Kind::kPermanent);
    EXPECT_EQ(ExplainOpenFailure(failure).exitCode, kExitNotTrusted);
}

TEST(ExplainLinkEnd, AnErrorFrameIsARefusalOthersAreNot) {
    EXPECT_EQ(ExplainLinkEnd(At(Stage::kStomp)).kind, LinkProblem::Kind::kRefused);
    EXPECT_EQ(ExplainLinkEnd(At(Stage::kTransfer)).kind, LinkProblem::Kind::kTransient);
    EXPECT_EQ(ExplainLinkEnd(At(Stage::kNone)).text, "the server closed it");
    Failure failure = At(Stage::kTransfer, "going away");
    failure.closeCode = 1001;
    EXPECT_EQ(ExplainLinkEnd(failure).text, "transfer (close code 1001): going away");
    failure.text = "closed with code 1001";  // said once is enough
    EXPECT_EQ(ExplainLinkEnd(failure).text, "transfer: closed with code 1001");
}

}  // namespace
}  // namespace quor_terminal
