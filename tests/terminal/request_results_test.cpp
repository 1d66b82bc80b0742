#include "request_results.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "credentials.h"
#include "quor_ai/http_records.h"

namespace quor_terminal {
namespace {

template <typename Record>
ResultBytes BytesOf(const Record& record, std::size_t length = sizeof(Record)) {
    ResultBytes bytes(length);
    std::memcpy(bytes.data(), &record, length);
    return bytes;
}

TEST(RequestResults, ParticipantsAreReadUpToTheLastEntry) {
    const auto list = std::make_unique<TagQuorAiConfList>();
    list->parsed = 1;
    list->siteCount = 2;
    SetField(list->sites[0].id, "s1");
    SetField(list->sites[1].name, "Ben");
    constexpr std::size_t kLength = kQuorAiConfListHeadSize + 2 * sizeof(TagQuorAiSiteInfo);
    std::vector<Site> participants;
    ASSERT_TRUE(ReadParticipants(BytesOf(*list, kLength), participants));
    ASSERT_EQ(participants.size(), 2U);
    EXPECT_EQ(participants[0].id, "s1");
    EXPECT_EQ(participants[0].name, "");
    EXPECT_EQ(participants[1].name, "Ben");
    // A count that its length does not hold is not believed.
    EXPECT_FALSE(ReadParticipants(BytesOf(*list, kLength - 1), participants));
    EXPECT_FALSE(ReadParticipants(BytesOf(*list, kQuorAiConfListHeadSize - 1), participants));
    EXPECT_FALSE(ReadParticipants({}, participants));
}

TEST(RequestResults, ASigninPageCountsFromOneAndItsCountIsBounded) {
    TagQuorAiGetSignIn record{};
    record.number = 2;
    record.totalPages = 5;
    record.totalElements = 150;
    record.count = 1000;
    record.checkedIn = 1;
    std::memset(record.entries[0].name, 'x', sizeof record.entries[0].name);  // not terminated
    SetField(record.entries[0].account, "anna");
    SetField(record.entries[0].checkInTime, "09:00");
    SetField(record.entries[0].type, "face");
    SetField(record.entries[0].participantName, "Room 7");
    SigninPage page;
    ASSERT_TRUE(ReadSigninPage(BytesOf(record), page));
    EXPECT_EQ(page.page, 3U);
    EXPECT_EQ(page.totalPages, 5U);
    EXPECT_EQ(page.totalPeople, 150U);
    EXPECT_TRUE(page.checkedIn);
    EXPECT_FALSE(page.history);
    ASSERT_EQ(page.people.size(), kQuorAiSignInMax);
    EXPECT_EQ(page.people[0].name, std::string(sizeof record.entries[0].name, 'x'));
    EXPECT_EQ(page.people[0].account, "anna");
    EXPECT_EQ(page.people[0].time, "09:00");
    EXPECT_EQ(page.people[0].type, "face");
    EXPECT_EQ(page.people[0].participant, "Room 7");
    EXPECT_FALSE(ReadSigninPage(BytesOf(record, sizeof record - 1), page));
}

TEST(RequestResults, ReportsAccountsAndMatches) {
    TagQuorAiReportSiginIn report{};
    report.reportCount = 2;
    report.result = 1;
    SetField(report.entries[1].account, "ben");
    SigninReport read;
    ASSERT_TRUE(ReadSigninReport(BytesOf(report), read));
    EXPECT_TRUE(read.accepted);
    ASSERT_EQ(read.people.size(), 2U);
    EXPECT_EQ(read.people[1].account, "ben");
    EXPECT_FALSE(ReadSigninReport(BytesOf(report, sizeof report - 1), read));

    TagQuorAiAccountCheckInInfo account{};
    account.httpStatus = 200;
    SetField(account.account, "anna");
    SetField(account.checkInTime, "09:00");
    AccountState state;
    ASSERT_TRUE(ReadAccountState(BytesOf(account), state));
    EXPECT_EQ(state.httpStatus, 200U);
    EXPECT_EQ(state.account, "anna");
    EXPECT_EQ(state.time, "09:00");
    EXPECT_FALSE(ReadAccountState(BytesOf(account, sizeof account - 1), state));

    TagQuorAiAVMatchtData match{};
    bool accepted = true;
    ASSERT_TRUE(ReadMatch(BytesOf(match), accepted));
    EXPECT_FALSE(accepted);
    match.success = 1;
    ASSERT_TRUE(ReadMatch(BytesOf(match), accepted));
    EXPECT_TRUE(accepted);
    EXPECT_FALSE(ReadMatch(BytesOf(match, sizeof match - 1), accepted));
}

}  // namespace
}  // namespace quor_terminal
