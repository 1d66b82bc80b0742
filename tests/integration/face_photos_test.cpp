// The registered photos of people: in how many notifications they come, and what becomes of those that
// cannot.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/face_terminal_test.h"
#include "support/http_interpose.h"

namespace quor_test {
namespace {

using quor_simulator::Endpoint;
using quor_simulator::FillerPhoto;
using quor_simulator::RestFault;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr unsigned int kByUser = kQuorAiFaceIdTypeUser;
constexpr unsigned int kByPhoto = 1;

class FacePhotos : public FaceTerminalTest {
protected:
    void SetUp() override {
        FaceTerminalTest::SetUp();
        FindService();
        m_people = quor_simulator::ReadGallery(QUOR_GALLERY);
        ASSERT_GE(m_people.size(), 3U);
    }

    // The ids of the first so many people.
    std::vector<std::string> Users(std::size_t count) const {
        std::vector<std::string> ids;
        ids.reserve(count);
        for (std::size_t i = 0; i < count; ++i) {
            ids.push_back(m_people[i].userId);
        }
        return ids;
    }
    void SpoilUserPhotos(const RestFault& fault) {
        ASSERT_TRUE(rest().SetFault(Endpoint::kFaceUserPhotos, fault));
    }
    static RestFault PhotosOf(std::vector<std::size_t> bytes) {
        RestFault fault;
        fault.results = bytes.size();
        fault.photoBytes = std::move(bytes);
        return fault;
    }
    // Asks for users, and waits until the workers are done: the end of the library waits for them.
    std::vector<std::vector<NotifiedPhoto>> Ask(const std::vector<std::string>& ids) {
        EXPECT_EQ(AskPhotos(ids, kByUser), 0U);
        EXPECT_TRUE(rest().WaitForRequests(Endpoint::kFaceUserPhotos, 1, kPatience));
        EXPECT_EQ(terminal().Stop(), 0);
        return Photos(kByUser);
    }
    static std::vector<std::size_t> Sizes(const std::vector<NotifiedPhoto>& photos) {
        std::vector<std::size_t> sizes;
        sizes.reserve(photos.size());
        for (const NotifiedPhoto& photo : photos) {
            sizes.push_back(photo.data.size());
        }
        return sizes;
    }

    quor_simulator::Gallery m_people;
};

TEST_F(FacePhotos, OfUsersComeInOneNotification) {
    const auto notified = Ask(Users(3));
    ASSERT_THAT(notified, ElementsAre(SizeIs(3)));
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(notified[0][i].info.id, m_people[i].userId);
        EXPECT_EQ(notified[0][i].info.hasPhoto, 1);
        EXPECT_EQ(notified[0][i].data, m_people[i].photos[0].data);
    }
    EXPECT_EQ(rest().Requests().back().target, "/eua/face/v1/users/" + m_people[0].userId + "," +
                                                   m_people[1].userId + "," + m_people[2].userId + "/data");
    EXPECT_THAT(terminal().Errors(), IsEmpty());
}

TEST_F(FacePhotos, AreFoundByTheirOwnIdsToo) {
    const quor_simulator::FacePhoto& photo = m_people[1].photos[0];
    EXPECT_EQ(AskPhotos({photo.id}, kByPhoto), 0U);
    ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_FACE_PHOTO, 1));
    const auto notified = Photos(kByPhoto);
    ASSERT_THAT(notified, ElementsAre(SizeIs(1)));
    EXPECT_EQ(notified[0][0].info.id, photo.id);
    EXPECT_EQ(notified[0][0].data, photo.data);
}

TEST_F(FacePhotos, AnIdThatNobodyHasComesWithItsError) {
    const auto notified = Ask({m_people[0].userId, "nobody"});
    ASSERT_THAT(notified, ElementsAre(SizeIs(2)));
    const NotifiedPhoto& missing = notified[0][1];
    EXPECT_STREQ(missing.info.id, "nobody");
    EXPECT_EQ(missing.info.hasPhoto, 0);
    EXPECT_STRNE(missing.info.errorCode, "");
    EXPECT_STRNE(missing.info.errorMessage, "");
    EXPECT_THAT(missing.data, IsEmpty());
}

// Two fit together, the third goes alone.
TEST_F(FacePhotos, ThreeOfTwoMegabytesComeInTwoNotifications) {
    SpoilUserPhotos(PhotosOf({2000000, 2000000, 2000000}));
    const auto notified = Ask(Users(3));
    ASSERT_THAT(notified, ElementsAre(SizeIs(2), SizeIs(1)));
    EXPECT_EQ(observer().All(AI_SUB_ID_FACE_PHOTO)[0].size(), 4000592U + 8U);
    EXPECT_EQ(notified[0][0].data, FillerPhoto(2000000, 1));
    EXPECT_EQ(notified[0][1].data, FillerPhoto(2000000, 2));
    EXPECT_EQ(notified[1][0].data, FillerPhoto(2000000, 3));
}

TEST_F(FacePhotos, TwelveOfOneMegabyteComeInFourNotifications) {
    SpoilUserPhotos(PhotosOf(std::vector<std::size_t>(12, 1000000)));
    const auto notified = Ask(Users(3));
    EXPECT_THAT(notified, ElementsAre(SizeIs(4), SizeIs(4), SizeIs(4)));
}

// A notification stays one byte below its limit: 4,194,127 bytes with the photo's description.
TEST_F(FacePhotos, TheLargestThatCanComeAndOneByteMore) {
    constexpr std::size_t kLargest = kQuorAiFacePhotoPayloadMax - 1 - sizeof(QuorAiSingleFacePhoto);
    SpoilUserPhotos(PhotosOf({kLargest, kLargest + 1, 1}));
    const auto notified = Ask(Users(3));
    ASSERT_THAT(notified, ElementsAre(SizeIs(1), SizeIs(1)));
    EXPECT_EQ(notified[0][0].data, FillerPhoto(kLargest, 1));
    EXPECT_EQ(notified[1][0].data, FillerPhoto(1, 3));
}

TEST_F(FacePhotos, OneThatIsTooBigIsLeftOutAndTheOthersCome) {
    SpoilUserPhotos(PhotosOf({1, 4194000, 2}));
    const auto notified = Ask(Users(3));
    ASSERT_THAT(notified, ElementsAre(SizeIs(1), SizeIs(1)));
    EXPECT_THAT(Sizes(notified[0]), ElementsAre(1));
    EXPECT_THAT(Sizes(notified[1]), ElementsAre(2));
    EXPECT_THAT(terminal().Errors(),
                ElementsAre("<ProcPhotoDataToNotify> photo data is too big to send: 4194000"));
}

TEST_F(FacePhotos, OfThirteenTwelveCount) {
    SpoilUserPhotos(PhotosOf(std::vector<std::size_t>(13, 10)));
    const auto notified = Ask(Users(3));
    ASSERT_THAT(notified, ElementsAre(SizeIs(12)));
    EXPECT_EQ(notified[0][11].data, FillerPhoto(10, 12));
}

TEST_F(FacePhotos, TwelveOfTwelveCome) {
    SpoilUserPhotos(PhotosOf(std::vector<std::size_t>(12, 10)));
    EXPECT_THAT(Ask(Users(3)), ElementsAre(SizeIs(12)));
}

TEST_F(FacePhotos, AnEmptyOneIsAnEntryWithoutAPhoto) {
    SpoilUserPhotos(PhotosOf({0, 5}));
    const auto notified = Ask(Users(2));
    ASSERT_THAT(notified, ElementsAre(SizeIs(2)));
    EXPECT_EQ(notified[0][0].info.hasPhoto, 0);
    EXPECT_EQ(notified[0][1].info.hasPhoto, 1);
    EXPECT_THAT(terminal().Errors(), ElementsAre("<AiUtilityDecodeBase64> QUOR_BASE64Decode failed",
                                                 "<ParseQueryFacePhotoRes> decode photoid fail"));
}

TEST_F(FacePhotos, BadBase64IsAnEntryWithoutAPhoto) {
    RestFault fault;
    fault.badBase64 = {{2}};
    SpoilUserPhotos(fault);
    const auto notified = Ask(Users(3));
    ASSERT_THAT(notified, ElementsAre(SizeIs(3)));
    EXPECT_EQ(notified[0][0].info.hasPhoto, 1);
    EXPECT_EQ(notified[0][1].info.hasPhoto, 0);
    EXPECT_EQ(notified[0][2].info.hasPhoto, 1);
}

TEST_F(FacePhotos, AnItemThatFailedDoesNotKeepTheOthersBack) {
    RestFault fault;
    fault.failItems = {1, 3};
    SpoilUserPhotos(fault);
    const auto notified = Ask(Users(3));
    ASSERT_THAT(notified, ElementsAre(SizeIs(3)));
    EXPECT_EQ(notified[0][0].info.hasPhoto, 0);
    EXPECT_STRNE(notified[0][0].info.errorCode, "");
    EXPECT_EQ(notified[0][1].data, m_people[1].photos[0].data);
    EXPECT_EQ(notified[0][2].info.hasPhoto, 0);
}

TEST_F(FacePhotos, RefusedCredentialsNotifyNothing) {
    RestFault fault;
    fault.status = 401;
    SpoilUserPhotos(fault);
    EXPECT_THAT(Ask(Users(1)), IsEmpty());
    EXPECT_EQ(terminal().LogCount("<QueryFacePhotoRspNotify>: http status code:401"), 1U);
}

// Deliberate: the URL's buffer holds what the format of one id needs, not that of twelve long ones.
TEST_F(FacePhotos, TwoIdsOf127CharactersAreMoreThanAUrlHolds) {
    EXPECT_EQ(AskPhotos({std::string(127, 'a'), std::string(127, 'b')}, kByUser), 0U);
    EXPECT_TRUE(terminal().WaitForLog("<DoQueryFacePhoto> GetQueryFaceUrl failed"));
    EXPECT_EQ(rest().GetStatistics().endpoints.at("faceUserPhotos").requests, 0U);
}

TEST_F(FacePhotos, AWrongPasswordIsRefused) {
    ASSERT_EQ(Configure({firstPort()}, "wrong"), 0);  // the service found before stays valid
    EXPECT_THAT(Ask(Users(1)), IsEmpty());
    EXPECT_EQ(terminal().LogCount("<QueryFacePhotoRspNotify>: http status code:401"), 1U);
    EXPECT_EQ(rest().GetStatistics().endpoints.at("faceUserPhotos").refused, 1U);
}

TEST_F(FacePhotos, AServiceThatIsGoneIsSignalled) {
    server().Stop();
    EXPECT_EQ(AskPhotos({"nobody"}, kByUser), 0U);
    EXPECT_TRUE(terminal().WaitForLog("<HttpThreadExecute>: execute subId:12 failed."));
    EXPECT_THAT(terminal().Errors(),
                ::testing::Contains(::testing::MatchesRegex(
                    "<DoQueryFacePhoto>HttpSynSend failed ret:1[0-9][0-9], requestId:8")));
    EXPECT_EQ(terminal().LogCount("<Notify>: data is nullptr!"), 1U) << "the signal that finds nobody";
    ExpectSilence();
}

// A picture that the gallery takes: a portable pixmap of one colour and more than a megabyte.
std::string LargePicture(std::size_t number) {
    constexpr std::size_t kSide = 600;
    const std::string size = std::to_string(kSide);
    return "P6\n" + size + " " + size + "\n255\n" +
           std::string(kSide * kSide * 3, static_cast<char>(20 * number + 5));
}

// Several queries at once, each for another photo, share one buffer: every notification is whole.
TEST_F(FacePhotos, OfSeveralQueriesDoNotMix) {
    constexpr std::size_t kQueries = 8;
    const HostTimeLimits hostLimits;  // the library's are short for handshakes among so many megabytes
    quor_simulator::Gallery gallery;
    gallery.reserve(kQueries);
    for (std::size_t i = 0; i < kQueries; ++i) {
        const std::string id = std::to_string(i);
        gallery.push_back({"user-" + id, "Name", {{"photo-" + id, LargePicture(i), {}}}});
    }
    rest().SetGallery(gallery);
    constexpr std::size_t kRounds = 4;
    for (std::size_t i = 0; i < kRounds * kQueries; ++i) {
        EXPECT_EQ(AskPhotos({gallery[i % kQueries].userId}, kByUser), 0U);
    }
    ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_FACE_PHOTO, kRounds * kQueries));
    for (const auto& photos : Photos(kByUser)) {
        ASSERT_THAT(photos, SizeIs(1));
        const std::size_t number = static_cast<std::size_t>(photos[0].info.id[sizeof "user-" - 1] - '0');
        ASSERT_LT(number, kQueries);
        EXPECT_TRUE(photos[0].data == gallery[number].photos[0].data) << number;
    }
}

}  // namespace
}  // namespace quor_test
