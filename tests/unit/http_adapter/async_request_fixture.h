// async_request_fixture.h - the fixture of the tests of requests that the caller's thread sends and the
// transport answers.
#ifndef TESTS_UNIT_HTTP_ADAPTER_ASYNC_REQUEST_FIXTURE_H
#define TESTS_UNIT_HTTP_ADAPTER_ASYNC_REQUEST_FIXTURE_H

#include <cstddef>
#include <string>
#include <vector>

#include "support/adapter_test.h"

namespace QuorTest {

class AsyncRequestTest : public AdapterTest {
protected:
    AsyncRequestTest() { Start(); }

    virtual unsigned Send() = 0;

    // Refused before anything was sent, with these lines.
    void ExpectRefused(const std::vector<LogLine>& lines) {
        EXPECT_EQ(Send(), kRefused);
        EXPECT_EQ(Logs(), lines);
        EXPECT_THAT(Network().requests, IsEmpty());
        EXPECT_THAT(observer->results, IsEmpty());
        EXPECT_EQ(Fake().LiveBlocks().size(), 3U);  // what Start holds
        EXPECT_EQ(Fake().LiveCJsonBlocks(), 0U);
        namesResolved += Network().dnsCalls.size();
        loginsAsked += Fake().CountOf(Fn::LoginInit);
        Fake().ClearFaults();
        Fake().ClearRecords();
    }

    // Refused with this line whichever of the allocations of its body fails; there are more than so many.
    void ExpectRefusedWithoutMemoryForTheBody(const LogLine& line, unsigned moreThan) {
        // What the answer takes is not counted: everything up to the send is the body's.
        Network().holdAnswers = true;
        Send();
        const unsigned calls = Fake().CountOf(Fn::CJsonAlloc);
        Network().CompleteAll({});
        Network().holdAnswers = false;
        observer->results.clear();
        Fake().ClearRecords();
        EXPECT_GT(calls, moreThan);
        for (unsigned nth = 1; nth <= calls; ++nth) {
            Fake().FailCall(Fn::CJsonAlloc, nth);
            ExpectRefused({line});
        }
    }

    static unsigned CallbackResult() { return Network().requests.at(0).callbackResult; }

    // Of the refused requests.
    std::size_t namesResolved = 0;
    unsigned loginsAsked = 0;
};

}  // namespace QuorTest

#endif
