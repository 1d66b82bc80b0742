// Every operation of the HTTP services with every platform call failing in turn, once and for ever after: no
// crash, no leak but the two that are documented, no lock left held, no misuse of the platform, and no secret
// left in memory that was given back.
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "support/adapter_test.h"
#include "support/every_fault.h"
#include "support/failing_new.h"
#include "support/secret_search.h"

namespace QuorTest {
namespace {

using QuorAiEngine::HttpThreadExecute;

constexpr const char* kSecretToken = "Lt4=magpie#Rd1~Hs6%Gc0+Wf9&Ye5";
constexpr unsigned kTraceEverything = 255;

struct Expected {
    // What is lost when an asynchronous request fails before the transport was asked; 0: nothing ever.
    unsigned lossBytes;
    // So many faults hit it, at least. Fewer: it does not get as far as it did.
    unsigned leastFaults;
    std::vector<unsigned> told;  // ids of the notifications when nothing fails
};

Expected Expect(unsigned lossBytes, unsigned leastFaults, std::vector<unsigned> told = {}) {
    return {lossBytes, leastFaults, std::move(told)};
}

struct Operation {
    const char* name;
    Expected expected;
    std::function<void()> prepare;
    std::function<void()> run;
};

// What a failing test prints as its parameter.
void PrintTo(const Operation& operation, std::ostream* os) {
    *os << operation.name;
}

AiHttpAdapter& Http() {
    return Adapter::Http();
}

// The oldest queued request, as a worker runs it, on this thread.
void RunQueued() {
    TagAiCloudSrvResult record = {};
    if (Adapter::Pop(record)) {
        HttpThreadExecute(&Adapter::Process, record).Execute();
    }
}

// A request's record: not on the stack, which is searched afterwards. What the test itself does with it is
// not searched for secrets, and does not fail.
template <typename Record>
class OwnRecord {
public:
    template <typename Fill>
    explicit OwnRecord(const Fill& fill) {
        const NewsSucceed sheltered;
        m_record = std::make_unique<Record>();
        fill(*m_record);
    }
    ~OwnRecord() {
        const NewsSucceed sheltered;
        m_record.reset();
    }
    OwnRecord(const OwnRecord&) = delete;
    OwnRecord& operator=(const OwnRecord&) = delete;

    Record& operator*() { return *m_record; }

private:
    std::unique_ptr<Record> m_record;
};

void QueryParticipants() {
    {
        OwnRecord<TagQuorAiKelInfo> info([](auto& record) {
            Put(record.serverAddr, "kel.example.org");
            Put(record.confId, "conf-1");
            Put(record.token, kSecretToken);
        });
        Http().CloudQueryConfList(&*info);
    }
    RunQueued();
}

void QuerySignIn() {
    OwnRecord<TagQuorAiQuerySignIn> query([](auto& record) {
        Put(record.serverAddr, "192.168.1.10");
        record.checkedIn = 1;
    });
    Http().CloudQuerySignInInfo(*query);
}

void ReportSignIn(unsigned tokenSource) {
    OwnRecord<TagQuorAiReportSiginIn> report([tokenSource](auto& record) {
        Put(record.serverAddr, "kel.example.org");
        record.reportCount = 2;
        record.tokenSource = tokenSource;
        Put(record.ownToken, kSecretToken);
    });
    Http().CloudReportSignInInfo(*report);
}

void QueryAccount() {
    OwnRecord<TagQuorAiQuerySignAccount> query([](auto& record) {
        Put(record.serverAddr, "kel.example.org");
        record.accountCount = 2;
        Put(record.account, "zhang");
    });
    Http().CloudQueryAccountSignInInfo(*query);
}

void ReportMatch() {
    OwnRecord<TagQuorAiAVMatchtData> data([](auto& record) {
        Put(record.serverAddr, "192.168.1.10");
        Put(record.userid, "u");
        Put(record.site, "s");
        Put(record.uuid, "c");
        Put(record.token, kSecretToken);
    });
    Http().CloudReportAVMatchInfo(*data);
}

struct RecognitionRequest {
    tagAI_FACE_S_DETECT_INFO head;
    unsigned char picture[64];
};

void Recognise() {
    OwnRecord<RecognitionRequest> request([](auto& record) {
        Put(record.head.serverAddr, "https://192.168.1.20");
        Put(record.head.account, "operator");
        Put(record.head.password, "sealed-password");
        record.head.picLen = sizeof(record.picture);
    });
    Http().CloudFaceRecogPhoto(&(*request).head);
    RunQueued();
}

void QueryPhotos() {
    OwnRecord<TagQuorAiFacePhotoParam> param([](auto& record) {
        record.idCount = 2;
        Put(record.ids[0], "a");
        Put(record.ids[1], "b");
        Put(record.serverAddr, "https://192.168.1.20");
        Put(record.account, "operator");
        Put(record.password, "sealed-password");
    });
    Http().CloudQueryFacePhoto(&*param);
    RunQueued();
}

std::string SitesBody(int count) {
    std::string text = R"({"content":[)";
    for (int i = 0; i < count; ++i) {
        text += (i == 0 ? "" : ",") + std::string(R"({"generalParam":{"id":"i","name":"n"}})");
    }
    return text + "]}";
}

// The transport is up and answers with body.
std::function<void()> AnswerWith(const std::string& body, unsigned status = 200) {
    return [=] {
        ASSERT_EQ(Adapter::Protocol().AiUtilityHttpInit(), 0U);
        HttpAnswer answer;
        answer.status = status;
        answer.body = body;
        answer.extra = true;
        Network().answer = answer;
    };
}

// The same for requests that need the result buffers.
std::function<void()> AnswerIntoBuffersWith(const std::string& body, unsigned status = 200) {
    return [=] {
        AnswerWith(body, status)();
        ASSERT_EQ(Adapter::MallocBuffers(), 0);
    };
}

std::vector<Operation> LifecycleOperations() {
    return {{"GetInstance", Expect(0, 14), [] {},
             [] {
                 AiHttpAdapter* instance = Adapter::ExchangeInstance(nullptr);
                 Adapter::Destroy(AiHttpAdapter::GetInstance());
                 Adapter::ExchangeInstance(instance);
             }},
            {"Init", Expect(0, 30), [] {}, [] { Http().CloudHttpInit(); }},
            {"InitAndUninit", Expect(0, 40), [] {},
             [] {
                 Http().CloudHttpInit();
                 Http().CloudHttpUninit();
             }},
            {"NestedInit", Expect(0, 2), [] { Http().CloudHttpInit(); },
             [] {
                 Http().CloudHttpInit();
                 Http().CloudHttpUninit();
             }},
            {"Uninit", Expect(0, 15), [] { Http().CloudHttpInit(); }, [] { Http().CloudHttpUninit(); }},
            {"UninitOfNothing", Expect(0, 2), [] {}, [] { Http().CloudHttpUninit(); }},
            {"UninitWithAnAnswerOutstanding", Expect(464, 15),
             [] {
                 Http().CloudHttpInit();
                 Network().holdAnswers = true;
                 QuerySignIn();
             },
             [] { Http().CloudHttpUninit(); }},
            {"AttachAndDetach", Expect(0, 18), [] {},
             [] {
                 const auto another = std::make_shared<RecordingObserver>();
                 Http().Attach(another);
                 Http().Detach(another.get());
                 Http().Detach(another.get());
             }},
            {"Notify", Expect(0, 6, {AI_SUB_ID_FACE_PHOTO}), [] {},
             [] {
                 unsigned char data[4] = {};
                 Http().Notify(AI_SUB_ID_FACE_PHOTO, data, sizeof(data));
                 Http().Notify(AI_SUB_ID_FACE_PHOTO, nullptr, 0);
             }},
            {"RseAddress", Expect(0, 0), [] {},
             [] {
                 QuorAiRseAddressData data = {};
                 Http().CloudQueryRSEAddress(data);
             }}};
}

const char* const kSignInBody =
    R"({"totalElements":1,"totalPages":1,"number":0,"content":[{"name":"n","account":"a",)"
    R"("checkInTime":"t","type":"y","participantName":"p"}]})";
const char* const kAccountBody = R"({"checkInInfos":[{"account":"a","checkInTime":"t"}]})";

std::vector<Operation> ConferenceOperations() {
    return {
        {"Participants", Expect(0, 110, {AI_SUB_ID_QUERY_CONF_LIST}), AnswerIntoBuffersWith(SitesBody(2)),
         QueryParticipants},
        {"ParticipantsRefused", Expect(0, 60), AnswerIntoBuffersWith("{}", 500), QueryParticipants},
        {"SignInQuery", Expect(464, 100, {AI_SUB_ID_QUERY_SIGN_IN}), AnswerWith(kSignInBody), QuerySignIn},
        {"SignInQueryRefused", Expect(464, 30), AnswerWith("{}", 500), QuerySignIn},
        {"SignInReport", Expect(5872, 125, {AI_SUB_ID_REPORT_SIGN_IN}), AnswerWith("{}"),
         [] { ReportSignIn(0); }},
        {"SignInReportWithItsOwnToken", Expect(5872, 120, {AI_SUB_ID_REPORT_SIGN_IN}), AnswerWith("{}"),
         [] { ReportSignIn(1); }},
        {"SignInReportRefused", Expect(5872, 120, {AI_SUB_ID_REPORT_SIGN_IN}), AnswerWith("{}", 403),
         [] { ReportSignIn(1); }},
        {"Account", Expect(16580, 100, {AI_SUB_ID_QUERY_ACCOUNT_SIGN_IN}), AnswerWith(kAccountBody),
         QueryAccount},
        {"AccountRefused", Expect(16580, 75, {AI_SUB_ID_QUERY_ACCOUNT_SIGN_IN}), AnswerWith("{}", 401),
         QueryAccount},
        {"Match", Expect(1016, 120, {AI_SUB_ID_REPORT_AV_MATCH}), AnswerWith("{}"), ReportMatch},
        {"MatchRefused", Expect(1016, 120, {AI_SUB_ID_REPORT_AV_MATCH}), AnswerWith("{}", 401), ReportMatch}};
}

std::vector<Operation> FaceOperations() {
    return {
        {"Recognition", Expect(0, 130, {AI_SUB_ID_FACE_RECOGNIZE}),
         AnswerWith(R"({"status":"success","results":[{"userid":"u","photoid":"p","score":90,"name":"n"}]})"),
         Recognise},
        {"RecognitionRefused", Expect(0, 110, {AI_SUB_ID_FACE_RECOGNIZE}),
         AnswerWith(R"({"status":"fail","message":"m","code":"c"})"), Recognise},
        {"Photos", Expect(0, 130, {AI_SUB_ID_FACE_PHOTO}),
         AnswerIntoBuffersWith(R"({"results":[{"status":"success","userid":"a","data":"QUJD"},)"
                               R"({"status":"fail","userid":"b","message":"m","code":"c"}]})"),
         QueryPhotos}};
}

std::vector<Operation> AllOperations() {
    std::vector<Operation> all;
    for (const auto& group : {LifecycleOperations(), ConferenceOperations(), FaceOperations()}) {
        all.insert(all.end(), group.begin(), group.end());
    }
    return all;
}

class HttpTortureTest : public AdapterTest, public ::testing::WithParamInterface<Operation> {
protected:
    // A fresh adapter, prepared without faults.
    void Prepare() {
        ResetAdapter();
        HttpAccess::Reset();
        Fake().Reset();
        Fake().traceLevel = kTraceEverything;
        Fake().confToken = kSecretToken;
        Fake().plainTextByDomain["QuorUIConf"] = kSecretPassword;
        Network().addresses = {Ipv4("10.1.2.3")};
        observer->results.clear();
        Http().Attach(observer);
        GetParam().prepare();
    }

    void ExpectClean(const std::string& where) {
        Fake().ClearFaults();
        Network().CompleteAll({});
        ResetAdapter();
        HttpAccess::Reset();
        EXPECT_EQ(Fake().LocksHeld(), 0U) << where;
        EXPECT_THAT(Fake().violations, IsEmpty()) << where;
        EXPECT_EQ(Fake().LiveCJsonBlocks(), 0U) << where;
        CheckLogArguments();
        m_search.ExpectNothingFreed(where);
        ExpectOnlyTheKnownLoss(where);
    }

    // One copy at most, and only if the transport was not asked.
    static void ExpectOnlyTheKnownLoss(const std::string& where) {
        const std::vector<BlockRecord> lost = Fake().LiveBlocks();
        EXPECT_LE(lost.size(), 1U) << where;
        for (const BlockRecord& block : lost) {
            EXPECT_EQ(block.sizeBytes, GetParam().expected.lossBytes) << where;
            EXPECT_THAT(Network().requests, IsEmpty()) << where;
            OSMemTypeFreeMon(block.address, 1, "test");
        }
    }

    SecretSearch m_search{{kSecretToken, kSecretPassword, kSecretCode}};
};

TEST_P(HttpTortureTest, NothingFails) {
    Prepare();
    GetParam().run();
    std::vector<unsigned> told;
    for (const auto& result : observer->results) {
        told.push_back(result.id);
    }
    EXPECT_EQ(told, GetParam().expected.told);
    ExpectClean("without a fault");
}

TEST_P(HttpTortureTest, EveryCallFailsInTurn) {
    const unsigned faults = ForEveryFault([this] { Prepare(); }, [] { GetParam().run(); },
                                          [this](const std::string& where) { ExpectClean(where); });
    EXPECT_GE(faults, GetParam().expected.leastFaults);
}

TEST_P(HttpTortureTest, EveryAllocationFailsInTurn) {
    for (unsigned nth = 1; !HasFailure(); ++nth) {
        Prepare();
        bool hit = false;
        {
            const FailingNew failing(nth);
            try {  // what the test itself allocates may fail too
                GetParam().run();
            } catch (const std::bad_alloc&) {
            }
            hit = failing.Hit();
        }
        ExpectClean(std::string(GetParam().name) + ": allocation " + std::to_string(nth));
        if (!hit) {
            break;
        }
    }
}

// The operations that handle tokens and passwords.
using HttpSecretTest = HttpTortureTest;

TEST_P(HttpSecretTest, NothingOfATokenStaysWhateverFails) {
    const auto check = [this](const std::string& where) {
        m_search.ExpectNothingLeft(where);
        ExpectClean(where);
    };
    const unsigned faults =
        ForEveryFault([this] { Prepare(); }, [this] { m_search.Run(GetParam().run); }, check);
    EXPECT_GE(faults, GetParam().expected.leastFaults);
}

// The searches above prove something only if they find what is there.
TEST_F(AdapterTest, SearchesNoticeWipesThatDoNotHappen) {
    AnswerWith("{}")();
    Fake().confToken = kSecretToken;
    Fake().wipesDoNothing = true;
    StackProbe probe;
    probe.Run(ReportMatch);
    EXPECT_THAT(probe.Find(kSecretToken), ::testing::Not(IsEmpty()));
    bool found = false;
    for (const BlockRecord& block : Fake().freedBlocks) {
        found = found || block.contentAtFree.find(kSecretToken) != std::string::npos;
    }
    EXPECT_TRUE(found);
}

INSTANTIATE_TEST_SUITE_P(All, HttpSecretTest, ::testing::ValuesIn(ConferenceOperations()),
                         [](const auto& test) { return std::string(test.param.name); });

INSTANTIATE_TEST_SUITE_P(All, HttpTortureTest, ::testing::ValuesIn(AllOperations()),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace QuorTest
