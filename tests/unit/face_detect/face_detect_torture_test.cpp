// Every operation of the search for the face service with every platform call failing in turn, once and for
// ever after: no crash, no leak, no lock left held, no misuse of the platform, and no password left in
// memory.
#include <cstring>
#include <functional>
#include <memory>
#include <ostream>
#include <string>

#include "support/every_fault.h"
#include "support/face_detect_test.h"
#include "support/failing_new.h"
#include "support/secret_search.h"

namespace QuorTest {
namespace {

constexpr unsigned kTraceEverything = 255;

CloudFaceSrvDetect& Face() {
    return Detector::Detect();
}

// A record that is not on the stack, which is searched afterwards; its allocation is the test's own and does
// not fail.
template <typename Record>
std::unique_ptr<Record> NewRecord() {
    const NewsSucceed sheltered;
    return std::make_unique<Record>();
}

void Configure(const char* list) {
    const auto info = NewRecord<TagQuorAiFaceServerInfo>();
    {
        const NewsSucceed sheltered;
        Put(info->addressList, list);
        Put(info->account, "operator");
        Put(info->password, kSealedFacePassword);
    }
    Face().SetCloudFaceSrvInfo(*info);
}

void ConfigureEveryForm() {
    Configure(
        "10.1.1.1;10.1.1.2:8443;https://10.1.1.3;http://10.1.1.4:81;name.example.org;;http://x:y:z;a:b");
}

void StartAndConfigure() {
    Face().CloudHttpInit();
    Configure("10.1.1.1;10.1.1.2");
}

// One probe alone: no later call covers what it leaves on the stack.
void ProbeFirst() {
    Detector::Probe(&Detector::Slot(0), "operator", kSealedFacePassword);
}

void Tick() {
    const auto timer = Fake().timers.find(Detector::Timer());
    if (timer != Fake().timers.end() && timer->second.running) {
        Fake().FireTimer(Detector::Timer());
    }
}

struct Operation {
    const char* name;
    std::function<void()> prepare;
    std::function<void()> run;
};

// What a failing test prints as its parameter.
void PrintTo(const Operation& operation, std::ostream* os) {
    *os << operation.name;
}

std::vector<Operation> AllOperations() {
    return {{"Init", [] {}, [] { Face().CloudHttpInit(); }},
            {"Configure", [] { Face().CloudHttpInit(); }, ConfigureEveryForm},
            {"ConfigureUnstarted", [] {}, ConfigureEveryForm},
            {"ConfigureAgain", StartAndConfigure, ConfigureEveryForm},
            {"Tick",
             [] {
                 StartAndConfigure();
                 Network().timeOfDaySec += 30;
             },
             Tick},
            {"Probe", StartAndConfigure, ProbeFirst},
            {"EarlyTick", StartAndConfigure, Tick},
            {"GetValid", StartAndConfigure,
             [] {
                 const auto valid = NewRecord<tagAI_FACE_S_EUA_SERVER_INFO>();
                 Face().GetValidFaceSrvInfo(*valid);
             }},
            {"Uninit", StartAndConfigure, [] { Face().CloudHttpUninit(); }},
            {"UninitWithProbesUnderWay",
             [] {
                 Network().holdAnswers = true;
                 StartAndConfigure();
             },
             [] { Face().CloudHttpUninit(); }},
            {"WholeLife", [] {},
             [] {
                 Face().CloudHttpInit();
                 Configure("10.1.1.1");
                 Network().timeOfDaySec += 30;
                 Tick();
                 const auto valid = NewRecord<tagAI_FACE_S_EUA_SERVER_INFO>();
                 Face().GetValidFaceSrvInfo(*valid);
                 Face().CloudHttpUninit();
             }}};
}

class FaceDetectTortureTest : public FaceDetectTest, public ::testing::WithParamInterface<Operation> {
protected:
    static void Prepare() {
        ResetDetect();
        Fake().traceLevel = kTraceEverything;
        Fake().plainTextByDomain["QuorUIConf"] = kSecretPassword;
        Fake().plainResidueOnFailure = kSecretPassword;
        GetParam().prepare();
        Fake().ClearRecords();
    }

    void ExpectClean(const std::string& where) const {
        CheckLogArguments();
        Fake().ClearFaults();
        Network().CompleteAll({});
        m_search.ExpectNothingFreed(where);
        Detector::Reset();
        HttpAccess::Reset();
        CheckClean(where);
    }

    SecretSearch m_search{{kSecretPassword, kSecretCode}};
};

TEST_P(FaceDetectTortureTest, EveryCallFailsInTurn) {
    const unsigned faults = ForEveryFault(
        Prepare, [] { GetParam().run(); }, [this](const std::string& where) { ExpectClean(where); });
    EXPECT_GT(faults, 4U);
}

// None of them throws across the border.
TEST_P(FaceDetectTortureTest, EveryAllocationFailsInTurn) {
    for (unsigned nth = 1; !HasFailure(); ++nth) {
        Prepare();
        bool hit = false;
        {
            const FailingNew failing(nth);
            EXPECT_NO_THROW(GetParam().run());  // a success allocates nothing
            hit = failing.Hit();
        }
        ExpectClean("allocation " + std::to_string(nth));
        if (!hit) {
            break;
        }
    }
}

TEST_P(FaceDetectTortureTest, NothingOfThePasswordStaysWhateverFails) {
    ForEveryFault(
        Prepare, [this] { m_search.Run(GetParam().run); },
        [this](const std::string& where) {
            m_search.ExpectNothingLeft(where);
            ExpectClean(where);
        });
}

INSTANTIATE_TEST_SUITE_P(All, FaceDetectTortureTest, ::testing::ValuesIn(AllOperations()),
                         [](const auto& test) { return std::string(test.param.name); });

// The search for the encoded password proves something only if it finds what is there. The password itself is
// looked for where it is opened, in the tests of the credential headers: what follows overwrites its place.
TEST_F(FaceDetectTest, SearchesNoticeWipesThatDoNotHappen) {
    Start();
    Fake().plainTextByDomain["QuorUIConf"] = kSecretPassword;
    Fake().wipesDoNothing = true;
    StackProbe probe;
    Detector::Slot(0) = SlotOf("10.1.1.1", "https://", 443);
    probe.Run(ProbeFirst);
    EXPECT_FALSE(probe.Find(kSecretCode).empty());
}

}  // namespace
}  // namespace QuorTest
