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

TEST(RequestResults, AFaceMatch) {
    tagQuorAiFaceEUADetectResult record{};
    record.result = 1;
    SetField(record.name, "Ana");
    SetField(record.userid, "u1");
    SetField(record.photoid, "p1");
    record.score = 91;
    SetField(record.message, "why");
    std::memset(record.code, 'x', sizeof record.code);  // not terminated
    FaceMatch match;
    ASSERT_TRUE(ReadFaceMatch(BytesOf(record), match));
    EXPECT_EQ(match.result, 1);
    EXPECT_EQ(match.name, "Ana");
    EXPECT_EQ(match.userId, "u1");
    EXPECT_EQ(match.photoId, "p1");
    EXPECT_EQ(match.score, 91);
    EXPECT_EQ(match.code, std::string(sizeof record.code, 'x'));
    EXPECT_EQ(match.message, "why");
    EXPECT_FALSE(ReadFaceMatch(BytesOf(record, sizeof record - 1), match));
}

void AddPhoto(const std::string& id, bool hasPhoto, const std::string& photo, unsigned int size,
              ResultBytes& bytes) {
    QuorAiSingleFacePhoto entry{};
    SetField(entry.id, id);
    entry.hasPhoto = hasPhoto ? 1 : 0;
    SetField(entry.errorCode, hasPhoto ? "" : "E1");
    SetField(entry.errorMessage, hasPhoto ? "" : "none");
    entry.photoSize = size;
    const ResultBytes head = BytesOf(entry);
    bytes.insert(bytes.end(), head.begin(), head.end());
    bytes.insert(bytes.end(), photo.begin(), photo.end());
}

// The second description stands behind five bytes, aligned to nothing.
TEST(RequestResults, FacePhotosAreReadOneBehindTheOther) {
    ResultBytes bytes(8);
    bytes[4] = 3;
    AddPhoto("anna", true, "photo", 5, bytes);
    AddPhoto("ben", false, "", 0, bytes);
    AddPhoto("lin", true, "x", 1, bytes);
    std::vector<FacePhoto> photos;
    ASSERT_TRUE(ReadFacePhotos(bytes, photos));
    ASSERT_EQ(photos.size(), 3U);
    EXPECT_EQ(photos[0].id, "anna");
    EXPECT_TRUE(photos[0].hasPhoto);
    EXPECT_EQ(std::string(photos[0].bytes.begin(), photos[0].bytes.end()), "photo");
    EXPECT_EQ(photos[1].id, "ben");
    EXPECT_FALSE(photos[1].hasPhoto);
    EXPECT_EQ(photos[1].code, "E1");
    EXPECT_EQ(photos[1].message, "none");
    EXPECT_EQ(photos[2].bytes, ResultBytes{'x'});
}

TEST(RequestResults, FacePhotosBeyondTheNotificationAreNotBelieved) {
    ResultBytes bytes(8);
    bytes[4] = 2;
    AddPhoto("anna", true, "photo", 5, bytes);
    AddPhoto("ben", true, "photo", 6, bytes);
    std::vector<FacePhoto> photos;
    EXPECT_FALSE(ReadFacePhotos(bytes, photos));
    ASSERT_EQ(photos.size(), 1U);
    EXPECT_EQ(photos[0].id, "anna");
    for (const std::ptrdiff_t length : {0, 7, 8, 303, 308, 309, 604}) {
        photos.clear();
        EXPECT_FALSE(ReadFacePhotos(ResultBytes(bytes.begin(), bytes.begin() + length), photos)) << length;
    }
    bytes[4] = 1;
    bytes.resize(8);
    AddPhoto("anna", true, "", 0xFFFFFFFFU, bytes);
    EXPECT_FALSE(ReadFacePhotos(bytes, photos));
}

}  // namespace
}  // namespace quor_terminal
