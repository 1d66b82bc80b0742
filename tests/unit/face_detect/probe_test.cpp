// A probe in unusual surroundings: another user of the transport, and no memory.
#include <string>

#include "support/face_detect_test.h"
#include "support/failing_new.h"

namespace QuorTest {
namespace {

class ProbeTest : public FaceDetectTest {
protected:
    // Probes 10.1.1.1.
    static const HttpRequest& OnlyProbe() {
        TagQuorAiFaceServerInfo info = Config("10.1.1.1");
        EXPECT_EQ(Face().SetCloudFaceSrvInfo(info), 0);
        EXPECT_EQ(Network().requests.size(), 1U);
        return Network().requests.back();
    }
};

TEST_F(ProbeTest, TheTransportsFirstUserGivesItsProbesTimeLimits) {
    Start();
    const HttpRequest& request = OnlyProbe();
    EXPECT_EQ(request.firstTimeout, 3U);
    EXPECT_EQ(request.secondTimeout, 30U);
}

// No limits of the library's: those of the transport hold then, which has some of its own.
TEST_F(ProbeTest, BehindAnotherUserProbesCarryNoTimeLimits) {
    HttpProtocol another;
    ASSERT_EQ(another.AiUtilityHttpInit(), 0U);
    Start();
    const HttpRequest& request = OnlyProbe();
    EXPECT_EQ(request.firstTimeout, 0U);
    EXPECT_EQ(request.secondTimeout, 0U);
    EXPECT_EQ(Face().CloudHttpUninit(), 0);
    EXPECT_EQ(another.AiUtilityHttpUninit(), 0U);
}

// A host that is too long for a string's own buffer.
TEST_F(ProbeTest, AHostThatFindsNoMemoryIsNotProbed) {
    Start();
    TagQuorAiFaceServerInfo info = Config("face-service.example.org;10.1.1.1");
    EXPECT_EQ(Face().SetCloudFaceSrvInfo(info), 0);
    Fake().ClearRecords();
    int result = -1;
    bool hit = false;
    {
        const FailingNew failing(1);
        result = Detector::Run(true);
        hit = failing.Hit();
    }
    EXPECT_TRUE(hit);
    EXPECT_EQ(result, 0);
    EXPECT_THAT(Logs(), ElementsAre(FE("<AiFaceDoServerDetect> ParseHostPort failed. 2-0")));
    EXPECT_EQ(Network().requests.size(), 1U) << "the other candidate is";
}

}  // namespace
}  // namespace QuorTest
