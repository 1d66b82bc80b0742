// Which of the configured face services is found, lost, replaced and refused.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <semaphore>

#include "quor_platform/os.h"
#include "support/face_terminal_test.h"

namespace quor_test {
namespace {

using quor_simulator::Cut;
using quor_simulator::Endpoint;
using ServerPort = quor_simulator::Port;
using quor_simulator::RestFault;

RestFault Status(unsigned int status, ServerPort port) {
    RestFault fault;
    fault.status = status;
    fault.port = port;
    return fault;
}

constexpr char kNoneValid[] = "<GetValidFaceSrvInfo> have no valid server url";

class FaceDetect : public FaceTerminalTest {
protected:
    // The port answers version probes with this status.
    void Answer(ServerPort port, unsigned int status) {
        ASSERT_TRUE(rest().SetFault(Endpoint::kFaceVersion, Status(status, port)));
    }
    // Of a timer with the detection's period, started now: a detection that still ran would have run by then.
    static void WaitForTwoTicks() {
        std::counting_semaphore<> ticks(0);
        OsRelTimer timer =
            OsCreateRelTimerM([](void* arg) { static_cast<std::counting_semaphore<>*>(arg)->release(); },
                              &ticks, __LINE__, "face_detect_test");
        ASSERT_NE(timer, nullptr);
        ASSERT_EQ(OsStartRelTimer(timer, 30000, OS_REL_TIMER_MODE_REPEAT), 0U);
        EXPECT_TRUE(ticks.try_acquire_for(kPatience));
        EXPECT_TRUE(ticks.try_acquire_for(kPatience));
        EXPECT_EQ(OsFreeRelTimer(timer), 0U);
    }
    std::size_t Probes() { return rest().GetStatistics().endpoints.at("faceVersion").requests; }
};

TEST_F(FaceDetect, FindsTheOneThatAnswers) {
    Answer(ServerPort::kFirst, 503);
    ASSERT_EQ(Configure({firstPort(), secondPort()}), 0);
    EXPECT_TRUE(WaitForValid(secondPort()));
    EXPECT_TRUE(WaitForTrace("<FaceServerDetectRspNotify> detect error code : 0, 503."));
    tagAI_FACE_S_EUA_SERVER_INFO service = {};
    EXPECT_EQ(detect().GetValidFaceSrvInfo(service), 0);
    EXPECT_STREQ(service.url, "https://127.0.0.1");
    EXPECT_STREQ(service.account, kFaceAccount);
    EXPECT_EQ(Probes(), 2U);
}

TEST_F(FaceDetect, OneThatIsNotThereHidesNobody) {
    const std::uint16_t closed = 1;
    ASSERT_EQ(Configure({closed, secondPort(), closed}), 0);
    EXPECT_TRUE(WaitForValid(secondPort()));
}

TEST_F(FaceDetect, TheLastAnswerWins) {
    RestFault held;
    held.hold = true;
    held.port = ServerPort::kFirst;
    ASSERT_TRUE(rest().SetFault(Endpoint::kFaceVersion, held));
    ASSERT_EQ(Configure({firstPort(), secondPort()}), 0);
    ASSERT_TRUE(WaitForValid(secondPort()));
    ASSERT_TRUE(rest().WaitForHeld(1, kPatience));
    rest().ReleaseHeld();
    EXPECT_TRUE(WaitForValid(firstPort()));
}

TEST_F(FaceDetect, ARedirectCountsAsReachableAndIsNotFollowed) {
    Answer(ServerPort::kFirst, 302);
    ASSERT_EQ(Configure({firstPort()}), 0);
    EXPECT_TRUE(WaitForValid(firstPort()));
    EXPECT_EQ(rest().Requests().size(), 1U);
}

TEST_F(FaceDetect, WrongCredentialsFindNobody) {
    ASSERT_EQ(Configure({firstPort(), secondPort()}, "wrong"), 0);
    EXPECT_TRUE(WaitForTrace("<FaceServerDetectRspNotify> detect error code : 0, 401.", 2));
    EXPECT_EQ(ValidPort(), 0U);
    EXPECT_EQ(terminal().LogCount(kNoneValid), 1U);
    EXPECT_EQ(rest().GetStatistics().endpoints.at("faceVersion").refused, 2U);

    ASSERT_EQ(Configure({firstPort()}), 0);
    EXPECT_TRUE(WaitForValid(firstPort()));
}

// Each kind of answer that is none, or not a good one, leaves the valid service as it is.
TEST_F(FaceDetect, AFailedProbeForgetsNothing) {
    ASSERT_EQ(Configure({firstPort()}), 0);
    ASSERT_TRUE(WaitForValid(firstPort()));
    for (const unsigned int status : {401U, 404U, 500U, 204U}) {
        ClearTraces();
        Answer(ServerPort::kSecond, status);
        ASSERT_EQ(Configure({secondPort()}), 0);
        EXPECT_TRUE(WaitForTrace("<FaceServerDetectRspNotify> detect error code : 0, " +
                                 std::to_string(status) + "."));
        EXPECT_EQ(ValidPort(), firstPort());
    }
    RestFault cut;
    cut.cut = Cut::kBefore;
    cut.port = ServerPort::kSecond;
    ASSERT_TRUE(rest().SetFault(Endpoint::kFaceVersion, cut));
    terminal().ClearLog();
    ASSERT_EQ(Configure({secondPort()}), 0);
    EXPECT_TRUE(terminal().WaitForLog("<FaceServerDetectRspNotify> pstHttpRsp is nullptr."));
    EXPECT_EQ(ValidPort(), firstPort());
}

TEST_F(FaceDetect, NamesAreNotProbed) {
    const std::string port = std::to_string(firstPort());
    TagQuorAiFaceServerInfo info = Configuration("https://localhost:" + port + ";127.0.0.1:" + port);
    ASSERT_EQ(detect().SetCloudFaceSrvInfo(info), 0);
    EXPECT_TRUE(WaitForValid(firstPort()));
    EXPECT_EQ(terminal().LogCount("<AiFaceDoServerDetect> ParseHostPort failed. 2-0"), 1U);
    EXPECT_EQ(Probes(), 1U);
}

// Deliberate: as many places are probed as were understood, from the first one on.
TEST_F(FaceDetect, WhatIsNotUnderstoodHidesTheLastCandidate) {
    TagQuorAiFaceServerInfo info = Configuration("a:b:c:d;" + Candidates({firstPort(), secondPort()}));
    ASSERT_EQ(detect().SetCloudFaceSrvInfo(info), 0);
    EXPECT_TRUE(WaitForValid(firstPort()));
    EXPECT_EQ(terminal().LogCount("<AiFaceDoServerDetect> ParseHostPort failed. 2-0"), 1U);
    ASSERT_EQ(terminal().Stop(), 0);
    ASSERT_EQ(detect().CloudHttpUninit(), 0);  // what was sent has been answered
    EXPECT_EQ(Probes(), 1U);
}

TEST_F(FaceDetect, ACertificateThatIsNotTrustedIsNoAnswer) {
    server().UseCertificate(quor_simulator::Certificate::kSelfSigned);
    ASSERT_EQ(Configure({firstPort()}), 0);
    EXPECT_TRUE(terminal().WaitForLog("<FaceServerDetectRspNotify> pstHttpRsp is nullptr."));
    EXPECT_EQ(ValidPort(), 0U);
    EXPECT_EQ(Probes(), 0U) << "no credential was sent";
}

// The timer of half a minute, a thousand times as fast, and the clock put on when its run is wanted.
TEST_F(FaceDetect, ALostServiceIsReplacedByTheNextRunOfTheTimer) {
    ASSERT_TRUE(quor_platform::SetTimerScale(0.001));
    Answer(ServerPort::kSecond, 503);
    ASSERT_EQ(Configure({firstPort(), secondPort()}), 0);
    ASSERT_TRUE(WaitForValid(firstPort()));
    EXPECT_TRUE(WaitForTrace("<FaceServerDetectRspNotify> detect error code : 0, 503."));
    EXPECT_TRUE(terminal().WaitForLog("<AiFaceDoServerDetect> not reach 30s", 2)) << "the timer repeats";
    EXPECT_EQ(Probes(), 2U) << "but no run is due";

    rest().ClearFault(Endpoint::kFaceVersion);
    Answer(ServerPort::kFirst, 503);
    const WallClockAhead later(30);
    EXPECT_TRUE(WaitForValid(secondPort()));
    EXPECT_TRUE(WaitForTrace("<FaceServerDetectRspNotify> detect error code : 0, 503.", 2));
    EXPECT_EQ(Probes(), 4U);
}

TEST_F(FaceDetect, AFlappingServiceStaysValidOnceFound) {
    RestFault flapping;
    flapping.status = 503;
    flapping.flap = 1;
    ASSERT_TRUE(rest().SetFault(Endpoint::kFaceVersion, flapping));
    ASSERT_EQ(Configure({firstPort()}), 0);
    ASSERT_TRUE(WaitForValid(firstPort()));
    for (std::size_t bad = 1; bad <= 3; ++bad) {
        ASSERT_EQ(Configure({firstPort()}), 0);
        EXPECT_TRUE(WaitForTrace("<FaceServerDetectRspNotify> detect error code : 0, 503.", bad));
        EXPECT_EQ(ValidPort(), firstPort());
        ASSERT_EQ(Configure({firstPort()}), 0);
        EXPECT_TRUE(WaitForTrace(
            "<SetValidFaceSrvInfo> Set m_faceServerInfo url to ****, port to " + std::to_string(firstPort()),
            bad + 1));
    }
}

TEST_F(FaceDetect, TheEndForgetsTheServiceAndSendsNothingMore) {
    ASSERT_TRUE(quor_platform::SetTimerScale(0.001));
    ASSERT_EQ(Configure({firstPort()}), 0);
    ASSERT_TRUE(WaitForValid(firstPort()));
    ASSERT_TRUE(terminal().WaitForLog("<AiFaceDoServerDetect> not reach 30s"));
    ASSERT_EQ(detect().CloudHttpUninit(), 0);
    EXPECT_EQ(ValidPort(), 0U);
    const std::size_t probes = Probes();
    terminal().ClearLog();
    const WallClockAhead later(60);
    ASSERT_EQ(detect().CloudHttpInit(), 0);
    WaitForTwoTicks();
    EXPECT_EQ(terminal().LogCount("<AiFaceDoServerDetect> not reach 30s"), 0U);
    EXPECT_EQ(Probes(), probes);
    EXPECT_EQ(ValidPort(), 0U);
}

}  // namespace
}  // namespace quor_test
