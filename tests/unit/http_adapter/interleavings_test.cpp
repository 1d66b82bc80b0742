// Random interleavings of everything an application may do, from several threads at once. Made for the thread
// sanitizer; in other builds it still proves that nothing is lost but what is documented.
#include <array>
#include <atomic>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "quor_platform/os.h"
#include "support/adapter_test.h"

namespace QuorTest {
namespace {

constexpr unsigned kThreads = 4;
constexpr unsigned kOperations = 10000;
constexpr std::array<unsigned, 2> kSeeds = {20240506, 77};

class CountingObserver : public QuorAiEngine::ICloudSrvObserver {
public:
    void Update(const TagAiCloudSrvResult& result) override { bytes += result.data[0] + result.len; }
    std::atomic<unsigned long> bytes{0};
};

// What one thread does. Starts and stops come one after the other, as the adapter demands.
class Actor {
public:
    Actor(unsigned seed, std::mutex& lifecycle) : m_random(seed), m_lifecycle(lifecycle) {
        Put(m_info.serverAddr, "192.168.1.10");
        m_report.reportCount = 1;
        Put(m_report.serverAddr, "192.168.1.10");
        Put(m_account.serverAddr, "192.168.1.10");
        m_account.accountCount = 1;
        Put(m_match.userid, "u");
        Put(m_match.site, "s");
        Put(m_match.uuid, "c");
        m_recognition.picLen = 1;
    }

    void Run(unsigned operations) {
        for (unsigned i = 0; i < operations; ++i) {
            Act(m_random() % 32);
        }
        while (m_attached != 0) {
            Detach();
        }
    }

    // Copies that a refused asynchronous request lost, by their size.
    std::map<unsigned, unsigned> lost;

private:
    static AiHttpAdapter& Http() { return Adapter::Http(); }

    void Act(unsigned choice) {
        switch (choice) {
            case 0:
            case 1:
                return Start();
            case 2:
                return Stop();
            case 3:
            case 4:
            case 5:
                Http().Attach(m_observer);
                ++m_attached;
                return;
            case 6:
            case 7:
            case 8:
                return Detach();
            case 9:
            case 10:
                Http().CloudQueryConfList(&m_info);
                return;
            case 11:
                Http().CloudQueryFacePhoto(&m_photos);
                return;
            case 12:
                Http().CloudFaceRecogPhoto(&m_recognitionAndPicture.head);
                return;
            default:
                return Send(choice % 4);
        }
    }

    void Send(unsigned which) {
        switch (which) {
            case 0:
                return Count(464, Http().CloudQuerySignInInfo(m_query));
            case 1:
                return Count(5872, Http().CloudReportSignInInfo(m_report));
            case 2:
                return Count(16580, Http().CloudQueryAccountSignInInfo(m_account));
            default:
                return Count(1016, Http().CloudReportAVMatchInfo(m_match));
        }
    }

    void Count(unsigned size, unsigned result) {
        if (result == kRefused) {
            ++lost[size];
        }
    }

    void Start() {
        const std::lock_guard<std::mutex> guard(m_lifecycle);
        EXPECT_EQ(Http().CloudHttpInit(), 0);
    }
    void Stop() {
        const std::lock_guard<std::mutex> guard(m_lifecycle);
        EXPECT_EQ(Http().CloudHttpUninit(), 0);
    }
    void Detach() {
        EXPECT_EQ(Http().Detach(m_observer.get()), m_attached == 0 ? -1 : 0);
        m_attached -= m_attached == 0 ? 0U : 1U;
    }

    std::mt19937 m_random;
    std::mutex& m_lifecycle;
    std::shared_ptr<CountingObserver> m_observer = std::make_shared<CountingObserver>();
    unsigned m_attached = 0;
    TagQuorAiKelInfo m_info = {};
    TagQuorAiFacePhotoParam m_photos = {};
    struct {
        tagAI_FACE_S_DETECT_INFO head;
        unsigned char picture[4];
    } m_recognitionAndPicture = {};
    tagAI_FACE_S_DETECT_INFO& m_recognition = m_recognitionAndPicture.head;
    TagQuorAiQuerySignIn m_query = {};
    TagQuorAiReportSiginIn m_report = {};
    TagQuorAiQuerySignAccount m_account = {};
    TagQuorAiAVMatchtData m_match = {};
};

class InterleavingsTest : public AdapterTest, public ::testing::WithParamInterface<unsigned> {};

TEST_P(InterleavingsTest, NothingIsLostButWhatIsDocumented) {
    Fake().recordLogs = false;
    Network().answer.body =
        R"({"content":[{"name":"n","account":"a"}],"totalElements":1,"totalPages":1,"number":0,)"
        R"("checkInInfos":[]})";
    std::mutex lifecycle;
    std::vector<std::unique_ptr<Actor>> actors;
    std::vector<std::thread> threads;
    actors.reserve(kThreads);
    threads.reserve(kThreads);
    for (unsigned i = 0; i < kThreads; ++i) {
        actors.push_back(std::make_unique<Actor>(GetParam() + i, lifecycle));
    }
    for (const auto& actor : actors) {
        threads.emplace_back([&actor] { actor->Run(kOperations / kThreads); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(Adapter::ObserverCount(), 0U);
    ResetAdapter();
    HttpAccess::Reset();
    std::map<unsigned, unsigned> lost;
    for (const BlockRecord& block : Fake().LiveBlocks()) {
        ++lost[block.sizeBytes];
        OSMemTypeFreeMon(block.address, 1, "test");
    }
    // Requests that were queued when the last user left; how many is chance.
    for (const unsigned queued : {644U, 1557U, 3088U}) {
        lost.erase(queued);
    }
    std::map<unsigned, unsigned> expected;
    for (const auto& actor : actors) {
        for (const auto& [size, count] : actor->lost) {
            expected[size] += count;
        }
    }
    EXPECT_EQ(lost, expected);
    EXPECT_FALSE(expected.empty());
}

INSTANTIATE_TEST_SUITE_P(Seeds, InterleavingsTest, ::testing::ValuesIn(kSeeds));

}  // namespace
}  // namespace QuorTest
