// Random interleavings of everything an application may do: in every round some threads attach, detach,
// start, stop and request at the same time. Made for the thread sanitizer; in every build each round accounts
// for all of its requests, one by one.
#include <algorithm>
#include <array>
#include <atomic>
#include <barrier>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "quor_platform/os.h"
#include "support/adapter_test.h"
#include "support/thread_state.h"

namespace QuorTest {
namespace {

constexpr std::array<unsigned, 2> kSeeds = {20240506, 77};
constexpr unsigned kRounds = 5000;  // of each seed
constexpr unsigned kThreads = 3;
constexpr unsigned kOperations = 4;  // of each thread in a round; the queue has room for all that they ask
constexpr int kMostUsers = 3;
constexpr unsigned kQueueCapacity = 30;

class CountingObserver : public QuorAiEngine::ICloudSrvObserver {
public:
    void Update(const TagAiCloudSrvResult& result) override { bytes += result.data[0] + result.len; }
    std::atomic<unsigned long> bytes{0};
};

// Starts and stops one after the other, as the adapter demands.
class Lifecycle {
public:
    void Start() {
        const std::lock_guard<std::mutex> guard(m_mutex);
        if (Adapter::Users() < kMostUsers) {
            EXPECT_EQ(Adapter::Http().CloudHttpInit(), 0);
        }
    }
    void Stop() {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_ends += Adapter::Users() == 1 ? 1U : 0U;
        EXPECT_EQ(Adapter::Http().CloudHttpUninit(), 0);
    }
    // How often the last user left since the last call.
    unsigned TakeEnds() {
        const std::lock_guard<std::mutex> guard(m_mutex);
        return std::exchange(m_ends, 0);
    }

private:
    std::mutex m_mutex;
    unsigned m_ends = 0;
};

// A request through the queue is known by a number of its own, which stands where its port would.
using Numbers = std::set<unsigned>;

struct Recognition {
    tagAI_FACE_S_DETECT_INFO head;
    unsigned char picture[4];
};

// What one thread does.
class Actor {
public:
    Actor(unsigned seed, Lifecycle& lifecycle, std::atomic<unsigned>& lastNumber)
        : m_random(seed), m_lifecycle(lifecycle), m_lastNumber(lastNumber) {
        Put(m_list.serverAddr, "192.168.1.10");
        Put(m_photos.serverAddr, "https://192.168.1.20");
        Put(m_photos.account, "operator");
        Put(m_photos.password, "sealed-password");
        Put(m_recognition.head.serverAddr, "https://192.168.1.20");
        Put(m_recognition.head.account, "operator");
        Put(m_recognition.head.password, "sealed-password");
        m_recognition.head.picLen = sizeof(m_recognition.picture);
        m_report.reportCount = 1;
        Put(m_report.serverAddr, "192.168.1.10");
        Put(m_account.serverAddr, "192.168.1.10");
        m_account.accountCount = 1;
        Put(m_match.userid, "u");
        Put(m_match.site, "s");
        Put(m_match.uuid, "c");
    }

    void Act() {
        const unsigned choice = m_random() % 64;
        if (choice < 2) {
            return choice == 0 ? m_lifecycle.Start() : m_lifecycle.Stop();
        }
        if (choice < 16) {
            return choice < 9 ? Attach() : Detach();
        }
        if (choice < 40) {
            return Queue(choice % 3);
        }
        Send(choice % 4);
    }
    void Detach() {
        EXPECT_EQ(Http().Detach(m_observer.get()), attached == 0 ? -1 : 0);
        attached -= attached == 0 ? 0U : 1U;
    }

    std::size_t attached = 0;
    Numbers queued;                     // of the round
    std::map<unsigned, unsigned> lost;  // copies of refused asynchronous requests of the round, by size

private:
    static AiHttpAdapter& Http() { return Adapter::Http(); }

    void Attach() {
        EXPECT_EQ(Http().Attach(m_observer), 0);
        ++attached;
    }

    void Queue(unsigned which) {
        const unsigned number = ++m_lastNumber;
        queued.insert(number);
        switch (which) {
            case 0:
                m_list.serverPort = number;
                EXPECT_EQ(Http().CloudQueryConfList(&m_list), 0U);
                return;
            case 1:
                m_photos.serverPort = number;
                EXPECT_EQ(Http().CloudQueryFacePhoto(&m_photos), 0U);
                return;
            default:
                m_recognition.head.serverPort = number;
                EXPECT_EQ(Http().CloudFaceRecogPhoto(&m_recognition.head), 0U);
        }
    }

    void Send(unsigned which) {
        switch (which) {
            case 0:
                return Count(sizeof(m_query), Http().CloudQuerySignInInfo(m_query));
            case 1:
                return Count(sizeof(m_report), Http().CloudReportSignInInfo(m_report));
            case 2:
                return Count(16580, Http().CloudQueryAccountSignInInfo(m_account));
            default:
                return Count(sizeof(m_match), Http().CloudReportAVMatchInfo(m_match));
        }
    }

    // Refused before the transport was asked: the copy is lost. Refused by the transport, it is not.
    void Count(unsigned size, unsigned result) {
        EXPECT_TRUE(result == 0 || result == kRefused || result == HTTP_ERRORCODE_NOT_INITIALISED) << result;
        if (result == kRefused) {
            ++lost[size];
        }
    }

    std::mt19937 m_random;
    Lifecycle& m_lifecycle;
    std::atomic<unsigned>& m_lastNumber;
    std::shared_ptr<CountingObserver> m_observer = std::make_shared<CountingObserver>();
    TagQuorAiKelInfo m_list = {};
    TagQuorAiFacePhotoParam m_photos = {};
    Recognition m_recognition = {};
    TagQuorAiQuerySignIn m_query = {};
    TagQuorAiReportSiginIn m_report = {};
    TagQuorAiQuerySignAccount m_account = {};
    TagQuorAiAVMatchtData m_match = {};
};

bool IsQueued(const BlockRecord& block) {
    return block.sizeBytes == sizeof(TagQuorAiKelInfo) ||
           block.sizeBytes == sizeof(TagQuorAiFacePhotoParam) || block.sizeBytes == sizeof(Recognition);
}

// The TLS block and the two buffers.
bool IsOfTheAdapter(const BlockRecord& block) {
    return block.sizeBytes == 520 || block.sizeBytes == 716808 || block.sizeBytes == 4194136;
}

unsigned NumberOf(const void* data, unsigned sizeBytes) {
    switch (sizeBytes) {
        case sizeof(TagQuorAiKelInfo):
            return static_cast<const TagQuorAiKelInfo*>(data)->serverPort;
        case sizeof(TagQuorAiFacePhotoParam):
            return static_cast<const TagQuorAiFacePhotoParam*>(data)->serverPort;
        default:
            return static_cast<const Recognition*>(data)->head.serverPort;
    }
}

class InterleavingsTest : public AdapterTest, public ::testing::WithParamInterface<unsigned> {
protected:
    InterleavingsTest() {
        Fake().recordLogs = false;
        Fake().plainTextByDomain["QuorUIConf"] = "password";
        Network().answer.body =
            R"({"content":[{"name":"n","account":"a"}],"totalElements":1,"totalPages":1,"number":0,)"
            R"("checkInInfos":[],"status":"success","results":[]})";
        m_actors.reserve(kThreads);
        for (unsigned i = 0; i < kThreads; ++i) {
            m_actors.push_back(std::make_unique<Actor>(GetParam() + i, m_lifecycle, m_lastNumber));
        }
    }

    // All rounds, with Check after each while the actors stand still.
    void Run() {
        std::atomic<bool> done{false};
        std::barrier<> phase(kThreads + 1);
        std::vector<std::thread> threads;
        threads.reserve(kThreads);
        for (const auto& actor : m_actors) {
            threads.emplace_back([&] {
                for (phase.arrive_and_wait(); !done; phase.arrive_and_wait()) {
                    for (unsigned i = 0; i < kOperations; ++i) {
                        actor->Act();
                    }
                    phase.arrive_and_wait();
                }
            });
        }
        m_threads = ThreadCount();
        for (unsigned round = 0; round < kRounds && !HasFailure(); ++round) {
            SCOPED_TRACE(round);
            phase.arrive_and_wait();
            phase.arrive_and_wait();
            Check();
        }
        done = true;
        phase.arrive_and_wait();
        for (std::thread& thread : threads) {
            thread.join();
        }
        for (const auto& actor : m_actors) {
            while (actor->attached != 0) {
                actor->Detach();
            }
        }
    }

    unsigned ends = 0;
    std::size_t requestsLost = 0;

private:
    // Every queued request of the round was carried out, waits for a start, was with a dispatcher when the
    // last user left, or was in the queue then and is lost; and of the asynchronous ones the refused are
    // lost.
    void Check() {
        Numbers queued;
        std::map<unsigned, unsigned> lost;
        std::size_t attached = 0;
        for (const auto& actor : m_actors) {
            attached += actor->attached;
            queued.merge(std::exchange(actor->queued, {}));
            for (const auto& [size, count] : std::exchange(actor->lost, {})) {
                lost[size] += count;
            }
        }
        EXPECT_EQ(Adapter::ObserverCount(), attached);
        const auto [endsOfRound, waiting] = ComeToRest();
        const Numbers carried = Carried();
        const auto [lostNumbers, lostCopies] = TakeLost();
        EXPECT_EQ(lostCopies, lost);
        EXPECT_LE(lostNumbers.size(), std::size_t{kQueueCapacity} * endsOfRound);
        Numbers known;
        std::size_t knownCount = 0;
        for (const Numbers& part : {carried, waiting, lostNumbers}) {
            known.insert(part.begin(), part.end());
            knownCount += part.size();
        }
        EXPECT_EQ(known.size(), knownCount) << "a request had two fates";
        EXPECT_TRUE(std::includes(queued.begin(), queued.end(), known.begin(), known.end()));
        EXPECT_LE(queued.size() - known.size(), endsOfRound) << "one for each dispatcher that ended";
        EXPECT_EQ(Fake().LiveBlocks().size(), Adapter::Users() == 0 ? 0U : 3U);
        CheckRecords();
        ends += endsOfRound;
        requestsLost += lostNumbers.size();
    }

    // Nothing is under way when it returns. How often the last user left, and which requests wait for a
    // start.
    std::pair<unsigned, Numbers> ComeToRest() {
        unsigned endsOfRound = m_lifecycle.TakeEnds();
        while (endsOfRound != 0 && Adapter::Users() != 0) {
            m_lifecycle.Stop();
        }
        endsOfRound += m_lifecycle.TakeEnds();
        Numbers waiting;
        if (Adapter::Users() == 0) {
            if (endsOfRound != 0) {
                Adapter::EndDispatchers(m_threads);
            }
            TagAiCloudSrvResult record = {};
            while (Adapter::Pop(record)) {
                if (record.data != nullptr) {
                    waiting.insert(NumberOf(record.data, record.len));
                    OSMemTypeFreeMon(record.data, 1, "test");
                }
            }
        } else {
            while (AnyQueuedAlive()) {
                std::this_thread::yield();
            }
        }
        return {endsOfRound, waiting};
    }

    static bool AnyQueuedAlive() {
        for (const BlockRecord& block : Fake().LiveBlocks()) {
            if (IsQueued(block)) {
                return true;
            }
        }
        return false;
    }

    // The queued requests that reached the transport.
    static Numbers Carried() {
        const std::lock_guard<std::mutex> guard(Network().mutex);
        Numbers numbers;
        for (const HttpRequest& request : Network().requests) {
            if (request.synchronous) {
                const std::size_t colon = request.url.find(':', std::string("https:").size());
                numbers.insert(static_cast<unsigned>(std::stoul(request.url.substr(colon + 1))));
            }
        }
        return numbers;
    }

    // What is lost of the queued requests, and of the others by size. Gives it back.
    static std::pair<Numbers, std::map<unsigned, unsigned>> TakeLost() {
        std::pair<Numbers, std::map<unsigned, unsigned>> lost;
        for (const BlockRecord& block : Fake().LiveBlocks()) {
            if (IsOfTheAdapter(block)) {
                continue;
            }
            if (IsQueued(block)) {
                lost.first.insert(NumberOf(block.address, block.sizeBytes));
            } else {
                ++lost.second[block.sizeBytes];
            }
            OSMemTypeFreeMon(block.address, 1, "test");
        }
        return lost;
    }

    // And forgets them.
    static void CheckRecords() {
        EXPECT_EQ(Fake().LocksHeld(), 0U);
        EXPECT_EQ(Fake().LiveCJsonBlocks(), 0U);
        EXPECT_THAT(Fake().violations, IsEmpty());
        for (const HttpRequest& request : Network().requests) {
            EXPECT_EQ(request.releases, request.synchronous ? 0U : 1U);
        }
        Fake().ClearRecords();
    }

    Lifecycle m_lifecycle;
    std::atomic<unsigned> m_lastNumber{0};
    std::vector<std::unique_ptr<Actor>> m_actors;
    std::size_t m_threads = 0;  // with the actors and without those of the adapter
};

TEST_P(InterleavingsTest, EveryRequestOfEveryRoundIsAccountedFor) {
    Run();
    EXPECT_EQ(Adapter::ObserverCount(), 0U);
    EXPECT_GT(ends, 0U);
    RecordProperty("ends", static_cast<int>(ends));
    RecordProperty("lost", static_cast<int>(requestsLost));  // of which there may be none: as threads meet
}

INSTANTIATE_TEST_SUITE_P(Seeds, InterleavingsTest, ::testing::ValuesIn(kSeeds));

}  // namespace
}  // namespace QuorTest
