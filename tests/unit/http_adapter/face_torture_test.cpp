// The two face requests, whose records are secret in part, with every platform call failing in turn, once and
// for ever after: no crash, no leak, no lock left held, and neither the password nor its encoded form left in
// memory.
#include <cstring>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "support/adapter_test.h"
#include "support/every_fault.h"
#include "support/secret_search.h"

namespace QuorTest {
namespace {

constexpr unsigned kTraceEverything = 255;

// The requests' records: not on the stack, which is searched afterwards, and not made on it, because what
// gives them back would cover what the request left there.
tagAI_FACE_S_DETECT_INFO& Recognition() {
    static const auto bytes = [] {
        auto made = std::make_unique<std::vector<unsigned char>>(sizeof(tagAI_FACE_S_DETECT_INFO) + 100, 0);
        auto* head = reinterpret_cast<tagAI_FACE_S_DETECT_INFO*>(made->data());
        Put(head->serverAddr, "https://10.1.1.1");
        Put(head->account, "operator");
        Put(head->password, "sealed-password");
        head->picLen = 100;
        return made;
    }();
    return *reinterpret_cast<tagAI_FACE_S_DETECT_INFO*>(bytes->data());
}

TagQuorAiFacePhotoParam& PhotoQuery() {
    static const auto query = [] {
        auto made = std::make_unique<TagQuorAiFacePhotoParam>();
        made->idCount = 2;
        Put(made->ids[0], "u1");
        Put(made->ids[1], "u2");
        Put(made->serverAddr, "https://10.1.1.1");
        Put(made->account, "operator");
        Put(made->password, "sealed-password");
        return made;
    }();
    return *query;
}

void Recognise() {
    Adapter::Recognise(Recognition());
}

void QueryPhotos() {
    Adapter::QueryPhotos(PhotoQuery());
}

struct Request {
    const char* name;
    unsigned status;
    const char* body;
    std::function<void()> run;
};

// What a failing test prints as its parameter.
void PrintTo(const Request& request, std::ostream* os) {
    *os << request.name;
}

std::vector<Request> Requests() {
    return {
        {"Match", 200,
         R"({"status":"success","results":[{"userid":"u","photoid":"p","score":90,"name":"n"}]})", Recognise},
        {"Failure", 200, R"({"status":"failure","message":"m","code":"c"})", Recognise},
        {"NotRecognised", 401, "{}", Recognise},
        {"Photos", 200,
         R"({"results":[{"status":"success","userid":"u1","data":"YWJj"},)"
         R"({"status":"failure","userid":"u2","message":"m","code":"c"},{},)"
         R"({"status":"success","userid":"u3","data":"!"},)"
         R"({"status":"success","userid":"u4","data":"YWJjZA=="}]})",
         QueryPhotos},
        {"NoPhotos", 500, "{}", QueryPhotos}};
}

class FaceTortureTest : public AdapterTest, public ::testing::WithParamInterface<Request> {
protected:
    void Prepare() {
        ResetAdapter();
        HttpAccess::Reset();
        Fake().Reset();
        observer->results.clear();
        ASSERT_EQ(Adapter::Protocol().AiUtilityHttpInit(), 0U);
        Adapter::Photos() = m_buffer.get();
        Http().Attach(observer);
        Fake().ClearRecords();
        Fake().traceLevel = kTraceEverything;
        Fake().plainTextByDomain["QuorUIConf"] = kSecretPassword;
        Fake().plainResidueOnFailure = kSecretPassword;
        Network().answer.status = GetParam().status;
        Network().answer.body = GetParam().body;
        Network().answer.extra = true;
    }

    void ExpectClean(const std::string& where) const {
        CheckLogArguments();
        Fake().ClearFaults();
        Adapter::Photos() = nullptr;
        m_search.ExpectNothingLeft(where);
        m_search.ExpectNothingFreed(where);
        ResetAdapter();
        HttpAccess::Reset();
        CheckClean(where);
    }

    SecretSearch m_search{{kSecretPassword, kSecretCode}};

private:
    // The test's own: one of its size cannot be made anew for every fault.
    std::unique_ptr<TagQuorAiFacePhotoList> m_buffer = std::make_unique<TagQuorAiFacePhotoList>();
};

TEST_P(FaceTortureTest, NothingIsLeftWhateverFails) {
    const unsigned faults = ForEveryFault([this] { Prepare(); }, [this] { m_search.Run(GetParam().run); },
                                          [this](const std::string& where) { ExpectClean(where); });
    EXPECT_GT(faults, 40U);
}

INSTANTIATE_TEST_SUITE_P(All, FaceTortureTest, ::testing::ValuesIn(Requests()),
                         [](const auto& test) { return std::string(test.param.name); });

// The search for the encoded password proves something only if it finds what is there. The password itself is
// looked for where it is opened, in the tests of the credential headers: what follows overwrites its place.
TEST_F(AdapterTest, SearchesNoticeFaceCredentialsThatAreNotWiped) {
    Recognition();
    PhotoQuery();
    for (const auto& run : {Recognise, QueryPhotos}) {
        Fake().plainTextByDomain["QuorUIConf"] = kSecretPassword;
        Fake().wipesDoNothing = true;
        StackProbe probe;
        probe.Run(run);
        EXPECT_FALSE(probe.Find(kSecretCode).empty());
    }
}

}  // namespace
}  // namespace QuorTest
