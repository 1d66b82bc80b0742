// Every operation of the utilities with every platform call failing in turn, once and for ever after: no
// crash, no leak, no lock left held, no misuse of the platform.
#include <functional>
#include <memory>
#include <ostream>
#include <string>

#include "support/every_fault.h"
#include "support/http_test.h"

namespace QuorTest {
namespace {

struct Operation {
    const char* name;
    bool started;  // the transport is up before
    std::function<void()> run;
};

// What a failing test prints as its parameter.
void PrintTo(const Operation& operation, std::ostream* os) {
    *os << operation.name;
}

constexpr char kUrl[] = "https://192.168.1.10:443/x";

unsigned Answered(unsigned long handle, EN_HTTP_ERRORCODE, tagST_HTTP_RSP*, void*) {
    HTTPAPI_ReleaseHandle(handle);
    return 0;
}

void SendSynchronously() {
    HttpProtocol http;
    tagHTTP_S_SYN_SEND_PARAM param = {};
    param.url = kUrl;
    param.urlLen = sizeof(kUrl);
    http.AiCommonHttpSynSend(&param);
    HttpProtocol::FreeSyncRequestParam(param);
}

void SendAsynchronously() {
    HttpProtocol http;
    tagHTTP_S_ASYN_SEND_PARAM param = {};
    param.url = kUrl;
    param.callback = &Answered;
    http.AiCommonHttpAsynSend(&param);
}

void Resolve() {
    char name[256] = "host.example.org";
    HttpProtocol::GetAddressType(name, sizeof(name));
    EXPECT_LT(std::string(name).size(), sizeof(name));
}

void MakeHeaders() {
    const auto header = std::make_unique<tagHTTP_HEADER>();
    HttpProtocol::GenerateHeaderAccount(*header, "operator", 256);
    HttpProtocol::GenerateHeaderPwd(*header, "sealed", 1024);
}

std::vector<Operation> AllOperations() {
    return {{"InitAndUninit", false,
             [] {
                 HttpProtocol http;
                 HttpProtocol second;
                 http.AiUtilityHttpInit();
                 second.AiUtilityHttpInit();
                 http.AiUtilityHttpUninit();
                 second.AiUtilityHttpUninit();
             }},
            {"SynchronousSend", true, SendSynchronously},
            {"AsynchronousSend", true, SendAsynchronously},
            {"GetAddressType", false, Resolve},
            {"Headers", false, MakeHeaders}};
}

class UtilityTortureTest : public HttpTest, public ::testing::WithParamInterface<Operation> {
protected:
    static void Prepare() {
        HttpAccess::Reset();
        Fake().Reset();
        Fake().plainTextByDomain["QuorUIConf"] = "password";
        Network().answer.extra = true;
        Network().addressResult = 1;
        Network().services = {Service("a", 1, 1, "10.0.0.1"), Service("b", 1, 1, "10.0.0.2")};
        if (GetParam().started) {
            HttpProtocol http;
            http.AiUtilityHttpInit();
        }
        Fake().ClearRecords();
    }

    static void ExpectClean(const std::string& where) {
        CheckLogArguments();
        Fake().ClearFaults();
        HttpAccess::Reset();
        CheckClean(where);
    }
};

TEST_P(UtilityTortureTest, EveryCallFailsInTurn) {
    const unsigned faults = ForEveryFault(
        Prepare, [] { GetParam().run(); }, ExpectClean);
    EXPECT_GT(faults, 2U);
}

INSTANTIATE_TEST_SUITE_P(All, UtilityTortureTest, ::testing::ValuesIn(AllOperations()),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace QuorTest
