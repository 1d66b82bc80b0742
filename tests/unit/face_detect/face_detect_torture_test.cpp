// Every operation of the search for the face service with every platform call failing in turn, once and for
// ever after: no crash, no leak, no lock left held, no misuse of the platform, and no password left in
// memory.
#include <cstring>
#include <functional>
#include <memory>
#include <ostream>
#include <string>

#include "support/delete_watch.h"
#include "support/every_fault.h"
#include "support/face_detect_test.h"
#include "support/stack_probe.h"

namespace QuorTest {
namespace {

constexpr const char* kSecretPassword = "Zq7=canary#Xw9~Vu5%Kj3+Pb8&Nm2";
// base64 of it.
constexpr const char* kSecretCode = "WnE3PWNhbmFyeSNYdzl+VnU1JUtqMytQYjgmTm0y";
constexpr unsigned kTraceEverything = 255;

CloudFaceSrvDetect& Face() {
    return Detector::Detect();
}

void Configure(const std::string& list) {
    const auto info = std::make_unique<TagQuorAiFaceServerInfo>();
    Put(info->addressList, list);
    Put(info->account, "operator");
    Put(info->password, kSealedFacePassword);
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
                 const auto valid = std::make_unique<tagAI_FACE_S_EUA_SERVER_INFO>();
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
                 const auto valid = std::make_unique<tagAI_FACE_S_EUA_SERVER_INFO>();
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

    static void ExpectClean(const std::string& where) {
        CheckLogArguments();
        Fake().ClearFaults();
        Network().CompleteAll({});
        for (const BlockRecord& block : Fake().freedBlocks) {
            for (const char* secret : {kSecretPassword, kSecretCode}) {
                const auto* data = reinterpret_cast<const unsigned char*>(block.contentAtFree.data());
                EXPECT_THAT(FindPieces(data, block.contentAtFree.size(), secret, 8), IsEmpty()) << where;
            }
        }
        Detector::Reset();
        HttpAccess::Reset();
        CheckClean(where);
    }
};

TEST_P(FaceDetectTortureTest, EveryCallFailsInTurn) {
    const unsigned faults = ForEveryFault(
        Prepare, [] { GetParam().run(); }, ExpectClean);
    EXPECT_GT(faults, 4U);
}

TEST_P(FaceDetectTortureTest, NothingOfThePasswordStaysWhateverFails) {
    static const std::string password = kSecretPassword;
    static const std::string code = kSecretCode;
    StackProbe probe;
    unsigned deleted = 0;
    const auto work = [&] {
        const DeleteWatch watch(password);
        probe.Run(GetParam().run);
        deleted = watch.Hits();
    };
    ForEveryFault(Prepare, work, [&](const std::string& where) {
        EXPECT_EQ(deleted, 0U) << where;
        EXPECT_THAT(probe.Find(password), IsEmpty()) << where;
        EXPECT_THAT(probe.Find(code), IsEmpty()) << where;
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
