// participant_list_fixture.h - the fixture of the tests of the participant list, and pages of a server.
#ifndef TESTS_UNIT_HTTP_ADAPTER_PARTICIPANT_LIST_FIXTURE_H
#define TESTS_UNIT_HTTP_ADAPTER_PARTICIPANT_LIST_FIXTURE_H

#include <string>
#include <vector>

#include "support/adapter_test.h"

namespace QuorTest {

inline constexpr const char* kConfListToken = "conference-token-of-the-record";

inline std::string Site(unsigned number) {
    return R"({"generalParam":{"id":"id)" + std::to_string(number) + R"(","name":"name)" +
           std::to_string(number) + "\"}}";
}

inline std::string Page(unsigned count, unsigned from = 0) {
    std::string text = R"({"content":[)";
    for (unsigned i = 0; i < count; ++i) {
        text += (i == 0 ? "" : ",") + Site(from + i);
    }
    return text + "]}";
}

class ParticipantListTest : public AdapterTest {
protected:
    ParticipantListTest() {
        Start();
        Put(info.serverAddr, "192.168.1.10");
        info.serverPort = 8443;
        Put(info.confId, "conf-77");
        Put(info.token, kConfListToken);
    }

    int Query() { return Adapter::QueryConfList(info); }

    // The failing query tells nobody and leaves nothing locked: the next one succeeds.
    void ExpectFailure(const std::vector<LogLine>& lines) {
        EXPECT_EQ(Query(), -1);
        EXPECT_EQ(Logs(), lines);
        EXPECT_THAT(observer->results, IsEmpty());
        ExpectNextSucceeds();
    }

    void ExpectNextSucceeds() {
        EXPECT_EQ(Fake().LocksHeld(), 0U);
        Fake().ClearFaults();
        Fake().ClearRecords();
        observer->results.clear();
        Network().script = {Answer(Page(1))};
        Put(info.serverAddr, "192.168.1.10");
        EXPECT_EQ(Query(), 0);
        EXPECT_EQ(observer->results.size(), 1U);
    }

    TagQuorAiKelInfo info = {};
};

}  // namespace QuorTest

#endif
