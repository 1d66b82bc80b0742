// face_recognition_fixture.h - the fixture of the tests of the recognition, and answers of the service.
#ifndef TESTS_UNIT_HTTP_ADAPTER_FACE_RECOGNITION_FIXTURE_H
#define TESTS_UNIT_HTTP_ADAPTER_FACE_RECOGNITION_FIXTURE_H

#include <cstring>
#include <string>
#include <vector>

#include "face_request_fixture.h"

namespace QuorTest {

inline constexpr auto kRecogType = static_cast<TagFaceRecogType>(0x80000007U);

inline std::string Match(const std::string& score, const std::string& tag) {
    return R"({"userid":"user-)" + tag + R"(","photoid":"photo-)" + tag + R"(","score":)" + score +
           R"(,"name":"name-)" + tag + "\"}";
}

inline std::string Success(const std::string& results) {
    return R"({"status":"success","results":)" + results + "}";
}

// A record with its picture behind it.
class FaceRecognitionTest : public FaceRequestTest {
protected:
    FaceRecognitionTest() {
        Network().answer = Answer(Success("[]"));
        SetPicture("\xFF\xD8picture");
    }

    void SetPicture(const std::string& picture) {
        m_bytes.assign(sizeof(tagAI_FACE_S_DETECT_INFO) + picture.size(), 0);
        std::memcpy(m_bytes.data() + sizeof(tagAI_FACE_S_DETECT_INFO), picture.data(), picture.size());
        Info().requestId = 4294967295U;
        Info().reserved = 0x55555555U;
        Info().recogType = kRecogType;
        Info().serverPort = 9443;
        Put(Info().serverAddr, "https://10.1.1.1");
        Put(Info().account, "operator");
        Put(Info().password, "sealed-password");
        Info().picLen = static_cast<unsigned>(picture.size());
    }

    tagAI_FACE_S_DETECT_INFO& Info() { return *reinterpret_cast<tagAI_FACE_S_DETECT_INFO*>(m_bytes.data()); }
    int Recognise() { return Adapter::Recognise(Info()); }
    int Send() override { return Recognise(); }

    // Recognises with this answer, which is notified; the notification carries what the request said.
    tagQuorAiFaceEUADetectResult Told(const std::string& body) {
        observer->results.clear();
        Network().script = {Answer(body)};
        EXPECT_EQ(Recognise(), 0) << body;
        EXPECT_EQ(observer->results.size(), 1U);
        const auto result = observer->As<tagQuorAiFaceEUADetectResult>(0);
        EXPECT_EQ(result.requestId, 4294967295U);
        EXPECT_EQ(result.recogType, kRecogType);
        return result;
    }

private:
    std::vector<unsigned char> m_bytes;
};

}  // namespace QuorTest

#endif
