// face_request_fixture.h - the fixture of the tests of the two requests to the face service.
#ifndef TESTS_UNIT_HTTP_ADAPTER_FACE_REQUEST_FIXTURE_H
#define TESTS_UNIT_HTTP_ADAPTER_FACE_REQUEST_FIXTURE_H

#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "support/adapter_test.h"

namespace QuorTest {

class FaceRequestTest : public AdapterTest {
protected:
    FaceRequestTest() {
        Start();
        Fake().plainTextByDomain["QuorUIConf"] = "face-password";
    }

    virtual int Send() = 0;

    // Tells nobody.
    void ExpectFailure(const std::vector<LogLine>& lines, int result = -1) {
        EXPECT_EQ(Send(), result);
        EXPECT_EQ(Logs(), lines);
        EXPECT_THAT(observer->results, IsEmpty());
        EXPECT_EQ(Fake().LocksHeld(), 0U);
        Fake().ClearFaults();
        Fake().ClearRecords();
    }

    // The transport's number is the result, and only those of an unreachable server are signalled.
    void ExpectTransportFailures(const std::function<std::string(unsigned)>& text) {
        for (const unsigned result : {1U, 100U, 101U, 150U, 199U, 200U, 777U}) {
            HttpAnswer answer;
            answer.result = result;
            Network().script = {answer};
            std::vector<LogLine> lines = {AE(text(result))};
            if (result > 100 && result < 200) {
                lines.push_back(AE("<Notify>: data is nullptr!"));
            }
            ExpectFailure(lines, static_cast<int>(result));
        }
    }

    void ExpectFailureWithoutBody(const std::string& text) {
        HttpAnswer none = Answer("");
        none.body.reset();
        for (const HttpAnswer& answer : {none, Answer("")}) {
            Network().script = {answer};
            ExpectFailure({AE(text)});
        }
    }

    // With the faults that are set. Clears them.
    void ExpectWiped(std::size_t headersSize, const char* where) {
        Send();
        EXPECT_TRUE(Wiped(headersSize, "authAccount")) << where;
        Fake().ClearFaults();
        Fake().ClearRecords();
    }

    // From now on the platform refuses to wipe headers of this size, all but the first time, when they are
    // cleared; and whatever it is asked to overwrite, it leaves as it is.
    void RefuseWipesOf(std::size_t headersSize) {
        m_clears = 0;
        Fake().wipesDoNothing = true;
        Fake().boundedFault = [this, headersSize](const BoundedCall& call) {
            if (call.fn != Fn::MemsetS || call.count != headersSize) {
                return false;
            }
            m_headers.first = static_cast<const char*>(call.dest);
            m_headers.second = headersSize;
            return ++m_clears > 1;
        };
    }
    // The bytes of those headers, while the request still runs.
    std::string HeadersNow() const { return {m_headers.first, m_headers.second}; }

    // The account's text is the nth that is encoded.
    void ExpectFailuresOfCredentials(unsigned nthEncoding) {
        Fake().FailCall(Fn::Base64Encode, nthEncoding);
        ExpectFailure({US("<AiUtilityCovert2Base64> QUOR_BASE64Encode pIn failed."),
                       UE("<GenerateHeaderAccount> create auth account base64  fail"),
                       AE("<GenerateRequestHeader> GenerateHeaderAccount fail")});
        Fake().FailCall(Fn::Decrypt, 1);
        ExpectFailure({UE("<GenerateHeaderPwd> failed: Decrypt euaPassword failed."),
                       AE("<GenerateRequestHeader> GenerateHeaderPwd fail")});
    }

private:
    std::pair<const char*, std::size_t> m_headers{};
    unsigned m_clears = 0;
};

}  // namespace QuorTest

#endif
