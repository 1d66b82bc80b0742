// face_detect_test.h - the fixture of every test of the search for the face service: nothing configured, and
// after the test no timer and nothing allocated.
#ifndef TESTS_SUPPORT_FACE_DETECT_TEST_H
#define TESTS_SUPPORT_FACE_DETECT_TEST_H

#include <string>

#include "support/face_detect_access.h"
#include "support/http_test.h"

namespace QuorTest {

using Detector = QuorAiEngine::CloudFaceSrvDetectTestAccess;
using QuorAiEngine::CloudFaceSrvDetect;

inline constexpr const char* kFaceModule = "quor_ai_cloud_face_srv_detect.cpp";
inline constexpr const char* kFacePassword = "face-password";
inline constexpr const char* kSealedFacePassword = "sealed-face-password";

// Lines of the detection as tests write them down.
LogLine FE(std::string text);
LogLine FI(std::string text);

class FaceDetectTest : public HttpTest {
protected:
    FaceDetectTest();
    ~FaceDetectTest() override;

    static CloudFaceSrvDetect& Face() { return Detector::Detect(); }
    // Forgets what happened before; passwords open.
    static void ResetDetect();
    // The transport is up; what that logged is forgotten.
    static void Start();
    // A configuration with this list.
    static TagQuorAiFaceServerInfo Config(const std::string& list);
    // The only timer that is not freed; null: there is none.
    static TimerRecord* LiveTimer();
    // A slot as the list's parsing fills one.
    static tagAiFaceServerAddrInfo SlotOf(const std::string& host, const std::string& protocol,
                                          unsigned port);
};

}  // namespace QuorTest

#endif
