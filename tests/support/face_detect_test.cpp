#include "support/face_detect_test.h"

#include <utility>

namespace QuorTest {

LogLine FE(std::string text) {
    return E(std::move(text), kFaceModule);
}
LogLine FI(std::string text) {
    return I(std::move(text), kFaceModule);
}

FaceDetectTest::FaceDetectTest() {
    ResetDetect();
}

FaceDetectTest::~FaceDetectTest() {
    Fake().ClearFaults();
    Network().CompleteAll({});
    Detector::Reset();
    EXPECT_EQ(LiveTimer(), nullptr);
}

void FaceDetectTest::ResetDetect() {
    Detector::Reset();
    HttpAccess::Reset();
    Fake().Reset();
    Fake().plainTextByDomain["QuorUIConf"] = kFacePassword;
}

void FaceDetectTest::Start() {
    ASSERT_EQ(Face().CloudHttpInit(), 0);
    Fake().ClearRecords();
}

TagQuorAiFaceServerInfo FaceDetectTest::Config(const std::string& list) {
    TagQuorAiFaceServerInfo info = {};
    Put(info.addressList, list);
    Put(info.account, "operator");
    Put(info.password, kSealedFacePassword);
    return info;
}

TimerRecord* FaceDetectTest::LiveTimer() {
    TimerRecord* live = nullptr;
    for (auto& [handle, timer] : Fake().timers) {
        if (!timer.freed) {
            EXPECT_EQ(live, nullptr) << "more than one timer";
            live = &timer;
        }
    }
    return live;
}

tagAiFaceServerAddrInfo FaceDetectTest::SlotOf(const std::string& host, const std::string& protocol,
                                               unsigned port) {
    tagAiFaceServerAddrInfo slot = {};
    slot.port = port;
    Put(slot.host, host);
    Put(slot.protocol, protocol);
    return slot;
}

}  // namespace QuorTest
