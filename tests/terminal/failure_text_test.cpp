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

LinkProblem RequestProblem(Stage stage, int httpStatus) {
    Failure failure;
    failure.stage = stage;
    failure.httpStatus = httpStatus;
    failure.text = "why";
    return ExplainRequestFailure(failure, "words");
}

TEST(ExplainRequestFailure, NamesTheStatusOfTheServer) {
    EXPECT_EQ(RequestProblem(Stage::kAnswer, 401).exitCode, kExitRefused);
    EXPECT_NE(RequestProblem(Stage::kAnswer, 403).advice.find("the token"), std::string::npos);
    EXPECT_EQ(RequestProblem(Stage::kAnswer, 404).exitCode, kExitRefused);
    EXPECT_NE(RequestProblem(Stage::kAnswer, 404).advice.find("--conference"), std::string::npos);
    EXPECT_EQ(RequestProblem(Stage::kAnswer, 400).exitCode, kExitRefused);
    EXPECT_EQ(RequestProblem(Stage::kAnswer, 503).exitCode, kExitUnreachable);
    EXPECT_EQ(RequestProblem(Stage::kAnswer, 503).text, "answer (HTTP 503): why");
    EXPECT_EQ(RequestProblem(Stage::kAnswer, 0).exitCode, kExitUnreachable);
    EXPECT_EQ(RequestProblem(Stage::kNone, 302).text, "answer: the HTTP status 302");
    EXPECT_EQ(RequestProblem(Stage::kNone, 200).text, "answer: it is not what the request asks for: words");
    EXPECT_EQ(RequestProblem(Stage::kNone, 0).exitCode, kExitFailure);
}

TEST(ExplainRequestFailure, HasACodeForEveryWayNotToReachTheServer) {
    EXPECT_EQ(RequestProblem(Stage::kResolve, 0).exitCode, kExitUnreachable);
    EXPECT_EQ(RequestProblem(Stage::kConnect, 0).exitCode, kExitUnreachable);
    EXPECT_EQ(RequestProblem(Stage::kTls, 0).exitCode, kExitNotTrusted);
    EXPECT_EQ(RequestProblem(Stage::kSettings, 0).exitCode, kExitFailure);
    EXPECT_NE(RequestProblem(Stage::kToken, 0).advice.find("--token-file"), std::string::npos);
}

LinkProblem FaceProblem(Stage stage, int httpStatus, long certificateError = 0) {
    Failure failure;
    failure.stage = stage;
    failure.httpStatus = httpStatus;
    failure.certificateError = certificateError;
    failure.text = "why";
    return ExplainFaceFailure(failure, "words");
}

TEST(ExplainFaceFailure, SaysWhatToDoAboutAFaceService) {
    EXPECT_EQ(FaceProblem(Stage::kAnswer, 401).exitCode, kExitRefused);
    EXPECT_NE(FaceProblem(Stage::kAnswer, 401).advice.find("--account"), std::string::npos);
    EXPECT_NE(FaceProblem(Stage::kAnswer, 404).advice.find("no face service"), std::string::npos);
    EXPECT_NE(FaceProblem(Stage::kAnswer, 413).advice.find("larger"), std::string::npos);
    EXPECT_EQ(FaceProblem(Stage::kAnswer, 503).exitCode, kExitUnreachable);
    for (const int status : {204, 302}) {
        EXPECT_EQ(FaceProblem(Stage::kNone, status).text,
                  "answer: the HTTP status " + std::to_string(status));
        EXPECT_NE(FaceProblem(Stage::kNone, status).advice.find("A face service"), std::string::npos);
    }
    EXPECT_EQ(FaceProblem(Stage::kNone, 200).text, "answer: it is not what the request asks for: words");
    EXPECT_EQ(FaceProblem(Stage::kKey, 0).advice.find("QuorUILogin"), std::string::npos);
    EXPECT_NE(FaceProblem(Stage::kTls, 0, 20).advice.find("the address itself"), std::string::npos);
    EXPECT_EQ(FaceProblem(Stage::kTls, 0).exitCode, kExitNotTrusted);
    EXPECT_EQ(FaceProblem(Stage::kConnect, 0).exitCode, kExitUnreachable);
}

}  // namespace
}  // namespace quor_terminal
