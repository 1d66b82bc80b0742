// face_terminal_test.h - the fixture of the face service's integration tests: the simulator with its gallery
// on two ports, the detection and the HTTP adapter of a terminal, and a key to seal passwords with.
#ifndef QUOR_TESTS_INTEGRATION_FACE_TERMINAL_TEST_H
#define QUOR_TESTS_INTEGRATION_FACE_TERMINAL_TEST_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "quor_ai/ai_cloud_face_srv_detect.h"
#include "support/http_terminal_test.h"

namespace quor_test {

inline constexpr char kFaceAccount[] = "face-service";
inline constexpr char kFacePassword[] = "quor-face-demo";

// The wall clock as the library reads it is so much ahead of the real one while this lives: the periodic
// detection, which asks it, sees half a minute pass in no time.
class WallClockAhead {
public:
    explicit WallClockAhead(long long seconds);
    ~WallClockAhead();
    WallClockAhead(const WallClockAhead&) = delete;
    WallClockAhead& operator=(const WallClockAhead&) = delete;
};

// A photo as observers get it.
struct NotifiedPhoto {
    QuorAiSingleFacePhoto info;
    std::string data;
};

class FaceTerminalTest : public HttpTerminalTest {
protected:
    void SetUp() override;
    void TearDown() override;

    QuorAiEngine::CloudFaceSrvDetect& detect() { return *QuorAiEngine::CloudFaceSrvDetect::GetInstance(); }
    std::uint16_t firstPort() { return server().port(); }
    std::uint16_t secondPort() { return server().facePort(); }

    // "https://127.0.0.1:port;..." of these ports.
    static std::string Candidates(const std::vector<std::uint16_t>& ports);
    // What an application hands over, the password sealed.
    static TagQuorAiFaceServerInfo Configuration(const std::string& candidates,
                                                 const std::string& password = kFacePassword);
    // SetCloudFaceSrvInfo.
    int Configure(const std::vector<std::uint16_t>& ports, const std::string& password = kFacePassword);
    // The port of the valid service; 0: there is none.
    unsigned int ValidPort();
    // The service on that port has become the valid one; false: not in kPatience.
    bool WaitForValid(unsigned int port);
    // Traces that end with this text since the last ClearTraces; the texts name no file and no line.
    bool WaitForTrace(const std::string& text, std::size_t count = 1) const;
    void ClearTraces() { m_traces.Clear(); }

    // Configures the first port alone and waits until it is valid, for tests of requests.
    void FindService();
    // Requests as an application makes them of the valid service.
    unsigned int Identify(std::string_view picture, unsigned int requestId = 7);
    unsigned int AskPhotos(const std::vector<std::string>& ids, unsigned int idType);

    // A file of the gallery that the simulator serves, "probes/..." for one that shows the same face.
    static std::string PictureFile(const std::string& name);

    // The notifications of photos, each taken apart. A layout that does not add up is a failure.
    std::vector<std::vector<NotifiedPhoto>> Photos(unsigned int idType);

private:
    const QuorTest::ClosedPort m_secondPort;
    Records<std::string> m_traces;
};

}  // namespace quor_test

#endif
