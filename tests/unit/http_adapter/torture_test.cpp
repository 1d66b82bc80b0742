// Every operation of the HTTP services with every platform call failing in turn, once and for ever after: no
// crash, no leak but the two that are documented, no lock left held, no misuse of the platform, and no secret
// left in memory that was given back.
#include <cstring>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "support/adapter_test.h"
#include "support/failing_new.h"
#include "support/stack_probe.h"

namespace QuorTest {
namespace {

using QuorAiEngine::HttpThreadExecute;

constexpr const char* kSecretToken = "Zq7=canary#Xw9~Vu5%Kj3+Pb8&Nm2";
constexpr const char* kSecretPassword = "Lt4=magpie#Rd1~Hs6%Gc0+Wf9&Ye5";
constexpr unsigned kTraceEverything = 255;

struct Operation {
    const char* name;
    // What is lost when an asynchronous request fails before the transport was asked; 0: nothing ever.
    unsigned lossBytes;
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

// Blocks of more bytes are result buffers, which are too large to be searched every time and hold no secrets.
constexpr std::size_t kSearchedBytes = 100000;

// The oldest queued request, as a worker runs it, on this thread.
void RunQueued() {
    TagAiCloudSrvResult record = {};
    if (Adapter::Pop(record)) {
        HttpThreadExecute(&Adapter::Process, record).Execute();
    }
}

// Requests are not on the stack, which is searched afterwards.
void QueryParticipants() {
    const auto info = std::make_unique<TagQuorAiKelInfo>();
    Put(info->serverAddr, "kel.example.org");
    Put(info->confId, "conf-1");
    Put(info->token, kSecretToken);
    Http().CloudQueryConfList(info.get());
    std::memset(info.get(), 0, sizeof(*info));
    RunQueued();
}

void QuerySignIn() {
    const auto query = std::make_unique<TagQuorAiQuerySignIn>();
    Put(query->serverAddr, "192.168.1.10");
    query->checkedIn = 1;
    Http().CloudQuerySignInInfo(*query);
}

void ReportSignIn(unsigned tokenSource) {
    const auto report = std::make_unique<TagQuorAiReportSiginIn>();
    Put(report->serverAddr, "kel.example.org");
    report->reportCount = 2;
    report->tokenSource = tokenSource;
    Put(report->ownToken, kSecretToken);
    Http().CloudReportSignInInfo(*report);
    std::memset(report.get(), 0, sizeof(*report));
}

void QueryAccount() {
    const auto query = std::make_unique<TagQuorAiQuerySignAccount>();
    Put(query->serverAddr, "kel.example.org");
    query->accountCount = 2;
    Put(query->account, "zhang");
    Http().CloudQueryAccountSignInInfo(*query);
}

void ReportMatch() {
    const auto data = std::make_unique<TagQuorAiAVMatchtData>();
    Put(data->serverAddr, "192.168.1.10");
    Put(data->userid, "u");
    Put(data->site, "s");
    Put(data->uuid, "c");
    Put(data->token, kSecretToken);
    Http().CloudReportAVMatchInfo(*data);
    std::memset(data.get(), 0, sizeof(*data));
}

void Recognise() {
    const auto request =
        std::make_unique<std::vector<unsigned char>>(sizeof(tagAI_FACE_S_DETECT_INFO) + 64, 'p');
    const auto head = std::make_unique<tagAI_FACE_S_DETECT_INFO>();
    Put(head->serverAddr, "https://192.168.1.20");
    Put(head->account, "operator");
    Put(head->password, "sealed-password");
    head->picLen = 64;
    std::memcpy(request->data(), head.get(), sizeof(*head));
    Http().CloudFaceRecogPhoto(reinterpret_cast<tagAI_FACE_S_DETECT_INFO*>(request->data()));
    RunQueued();
}

void QueryPhotos() {
    const auto param = std::make_unique<TagQuorAiFacePhotoParam>();
    param->idCount = 2;
    Put(param->ids[0], "a");
    Put(param->ids[1], "b");
    Put(param->serverAddr, "https://192.168.1.20");
    Put(param->account, "operator");
    Put(param->password, "sealed-password");
    Http().CloudQueryFacePhoto(param.get());
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
    return {{"Init", 0, [] {}, [] { Http().CloudHttpInit(); }},
            {"InitAndUninit", 0, [] {},
             [] {
                 Http().CloudHttpInit();
                 Http().CloudHttpUninit();
             }},
            {"NestedInit", 0, [] { Http().CloudHttpInit(); },
             [] {
                 Http().CloudHttpInit();
                 Http().CloudHttpUninit();
             }},
            {"Uninit", 0, [] { Http().CloudHttpInit(); }, [] { Http().CloudHttpUninit(); }},
            {"UninitOfNothing", 0, [] {}, [] { Http().CloudHttpUninit(); }},
            {"UninitWithAnAnswerOutstanding", 464,
             [] {
                 Http().CloudHttpInit();
                 Network().holdAnswers = true;
                 QuerySignIn();
             },
             [] { Http().CloudHttpUninit(); }},
            {"AttachAndDetach", 0, [] {},
             [] {
                 const auto another = std::make_shared<RecordingObserver>();
                 Http().Attach(another);
                 Http().Detach(another.get());
                 Http().Detach(another.get());
             }},
            {"Notify", 0, [] {},
             [] {
                 unsigned char data[4] = {};
                 Http().Notify(AI_SUB_ID_FACE_PHOTO, data, sizeof(data));
                 Http().Notify(AI_SUB_ID_FACE_PHOTO, nullptr, 0);
             }},
            {"RseAddress", 0, [] {},
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
    return {{"Participants", 0, AnswerIntoBuffersWith(SitesBody(2)), QueryParticipants},
            {"ParticipantsRefused", 0, AnswerIntoBuffersWith("{}", 500), QueryParticipants},
            {"SignInQuery", 464, AnswerWith(kSignInBody), QuerySignIn},
            {"SignInQueryRefused", 464, AnswerWith("{}", 500), QuerySignIn},
            {"SignInReport", 5872, AnswerWith("{}"), [] { ReportSignIn(0); }},
            {"SignInReportWithItsOwnToken", 5872, AnswerWith("{}"), [] { ReportSignIn(1); }},
            {"SignInReportRefused", 5872, AnswerWith("{}", 403), [] { ReportSignIn(1); }},
            {"Account", 16580, AnswerWith(kAccountBody), QueryAccount},
            {"AccountRefused", 16580, AnswerWith("{}", 401), QueryAccount},
            {"Match", 1016, AnswerWith("{}"), ReportMatch},
            {"MatchRefused", 1016, AnswerWith("{}", 401), ReportMatch}};
}

std::vector<Operation> FaceOperations() {
    return {
        {"Recognition", 0,
         AnswerWith(R"({"status":"success","results":[{"userid":"u","photoid":"p","score":90,"name":"n"}]})"),
         Recognise},
        {"RecognitionRefused", 0, AnswerWith(R"({"status":"fail","message":"m","code":"c"})"), Recognise},
        {"Photos", 0,
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

// The functions whose contract knows a failure.
std::vector<Fn> BreakableFunctions() {
    std::vector<Fn> functions;
    for (std::size_t i = 0; i < kFnCount; ++i) {
        const Fn fn = static_cast<Fn>(i);
        const bool neverFails = fn == Fn::HeapFree || fn == Fn::Base64Free || fn == Fn::Usleep ||
                                fn == Fn::LogFileId || fn == Fn::TraceLevel || fn == Fn::TraceString ||
                                fn == Fn::TracePrintf || fn == Fn::SysTime;
        if (!neverFails) {
            functions.push_back(fn);
        }
    }
    return functions;
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
        for (const BlockRecord& block : Fake().freedBlocks) {
            if (block.sizeBytes <= kSearchedBytes) {
                ExpectNoSecret(block.contentAtFree, where);
            }
        }
        ExpectOnlyTheKnownLoss(where);
    }

    // One copy at most, and only if the transport was not asked.
    static void ExpectOnlyTheKnownLoss(const std::string& where) {
        for (const BlockRecord& block : Fake().LiveBlocks()) {
            EXPECT_EQ(block.sizeBytes, GetParam().lossBytes) << where;
            EXPECT_THAT(Network().requests, IsEmpty()) << where;
            OSMemTypeFreeMon(block.address, 1, "test");
        }
    }

    static void ExpectNoSecret(const std::string& bytes, const std::string& where) {
        for (const char* secret : {kSecretToken, kSecretPassword}) {
            const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
            EXPECT_THAT(FindPieces(data, bytes.size(), secret, 8), IsEmpty()) << "freed block, " << where;
        }
    }

    // Runs the operation with the nth call of fn failing; false when there were fewer calls.
    bool Break(Fn fn, unsigned nth, FailMode mode) {
        Prepare();
        Fake().FailCall(fn, nth, mode);
        GetParam().run();
        const std::string where = std::string(GetParam().name) + ": " + FnName(fn) + " " +
                                  std::to_string(nth) +
                                  (mode == FailMode::kOnce ? " once" : " and ever after");
        bool hit = false;
        {
            const std::lock_guard<std::mutex> guard(Fake().mutex);
            hit = Fake().FaultHit(fn);
        }
        ExpectClean(where);
        return hit;
    }
};

TEST_P(HttpTortureTest, EveryCallFailsInTurn) {
    for (const Fn fn : BreakableFunctions()) {
        for (const FailMode mode : {FailMode::kOnce, FailMode::kFromThenOn}) {
            unsigned nth = 1;
            while (Break(fn, nth, mode) && !HasFailure()) {
                ++nth;
            }
        }
    }
}

TEST_P(HttpTortureTest, EveryAllocationFailsInTurn) {
    for (unsigned nth = 1; !HasFailure(); ++nth) {
        Prepare();
        bool hit = false;
        {
            const FailingNew failing(nth);
            // What the test itself and the fake allocate may fail too.
            try {
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

// The operations that handle tokens and passwords, on a stack that is searched afterwards.
class HttpSecretTest : public HttpTortureTest {
protected:
    void RunAndSearch(const std::string& where) {
        static const std::string token = kSecretToken;
        static const std::string password = kSecretPassword;
        m_probe.Run(GetParam().run);
        EXPECT_THAT(m_probe.Find(token), IsEmpty()) << where;
        EXPECT_THAT(m_probe.Find(password), IsEmpty()) << where;
    }

    StackProbe m_probe;
};

TEST_P(HttpSecretTest, NothingOfATokenStaysOnTheStackWhateverFails) {
    for (const Fn fn : BreakableFunctions()) {
        for (const FailMode mode : {FailMode::kOnce, FailMode::kFromThenOn}) {
            for (unsigned nth = 1; !HasFailure(); ++nth) {
                Prepare();
                Fake().FailCall(fn, nth, mode);
                const std::string where = std::string(FnName(fn)) + " " + std::to_string(nth) +
                                          (mode == FailMode::kOnce ? " once" : " and ever after");
                RunAndSearch(where);
                const bool hit = Fake().FaultHit(fn);
                ExpectClean(where);
                if (!hit) {
                    break;
                }
            }
        }
    }
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
