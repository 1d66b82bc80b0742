#include <chrono>
#include <cstring>
#include <string>
#include <vector>

#include "support/adapter_test.h"
#include "support/stopped_clock.h"

namespace QuorTest {
namespace {

using QueuedRequestsTest = AdapterTest;

TagQuorAiKelInfo KelInfo() {
    TagQuorAiKelInfo info = {};
    Put(info.serverAddr, "192.168.1.10");
    info.serverPort = 443;
    Put(info.confId, "conf");
    Put(info.token, "secret-token-of-the-record");
    return info;
}

// A recognition request with a picture of length bytes.
std::vector<unsigned char> Recognition(unsigned length) {
    std::vector<unsigned char> bytes(sizeof(tagAI_FACE_S_DETECT_INFO) + length, 'p');
    tagAI_FACE_S_DETECT_INFO head = {};
    head.requestId = 9;
    head.picLen = length;
    std::memcpy(bytes.data(), &head, sizeof(head));
    return bytes;
}

unsigned Recognise(std::vector<unsigned char>& bytes) {
    return Adapter::Http().CloudFaceRecogPhoto(reinterpret_cast<tagAI_FACE_S_DETECT_INFO*>(bytes.data()));
}

// The queued record's bytes; gives the block back.
std::string TakeQueued(TagQuorAiSubId id) {
    TagAiCloudSrvResult record = {};
    if (!Adapter::Pop(record)) {
        return "nothing queued";
    }
    EXPECT_EQ(record.id, id);
    std::string bytes(reinterpret_cast<char*>(record.data), record.len);
    OSMemTypeFreeMon(record.data, 1, "test");
    return bytes;
}

TEST_F(QueuedRequestsTest, TheParticipantQueryIsCopiedWholeAndSaysSo) {
    TagQuorAiKelInfo info = KelInfo();
    EXPECT_EQ(Http().CloudQueryConfList(&info), 0U);
    const std::string expected(reinterpret_cast<char*>(&info), sizeof(info));
    std::memset(&info, 0, sizeof(info));  // the caller's again
    EXPECT_EQ(TakeQueued(AI_SUB_ID_QUERY_CONF_LIST), expected);
    EXPECT_EQ(expected.size(), 644U);
    EXPECT_THAT(Logs(), ElementsAre(AI("<CloudQueryConfList> succeed")));
}

TEST_F(QueuedRequestsTest, ARecognitionIsCopiedWithItsPictureAndSaysNothing) {
    std::vector<unsigned char> bytes = Recognition(5);
    EXPECT_EQ(Recognise(bytes), 0U);
    EXPECT_EQ(TakeQueued(AI_SUB_ID_FACE_RECOGNIZE), std::string(bytes.begin(), bytes.end()));
    EXPECT_EQ(bytes.size(), 1561U);
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(QueuedRequestsTest, APhotoQueryIsCopiedWholeAndSaysNothing) {
    TagQuorAiFacePhotoParam param = {};
    param.requestId = 3;
    Put(param.ids[11], "last");
    EXPECT_EQ(Http().CloudQueryFacePhoto(&param), 0U);
    EXPECT_EQ(TakeQueued(AI_SUB_ID_FACE_PHOTO), std::string(reinterpret_cast<char*>(&param), 3088));
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(QueuedRequestsTest, NullArgumentsHaveTheirOwnTexts) {
    EXPECT_EQ(Http().CloudQueryConfList(nullptr), kRefused);
    EXPECT_EQ(Http().CloudFaceRecogPhoto(nullptr), kRefused);
    EXPECT_EQ(Http().CloudQueryFacePhoto(nullptr), kRefused);
    EXPECT_THAT(Logs(), ElementsAre(AE("<CloudQueryConfList> failed cloudKelInfo is nullptr"),
                                    AE("Null ptr."), AE("Null ptr.")));
}

TEST_F(QueuedRequestsTest, PicturesWithoutBytesOrTooLargeToCountAreRefused) {
    std::vector<unsigned char> bytes = Recognition(0);
    EXPECT_EQ(Recognise(bytes), kRefused);
    tagAI_FACE_S_DETECT_INFO head = {};
    for (const unsigned length : {4294965740U, 4294967295U}) {
        head.picLen = length;
        EXPECT_EQ(Http().CloudFaceRecogPhoto(&head), kRefused);
    }
    const LogLine refused = AE("<CloudFaceRecogPhoto>:err datalen");
    EXPECT_THAT(Logs(), ElementsAre(refused, refused, refused));
    EXPECT_EQ(Fake().CountOf(Fn::HeapAlloc), 0U);
}

TEST_F(QueuedRequestsTest, TheLongestPictureIsAskedForWhole) {
    tagAI_FACE_S_DETECT_INFO head = {};
    head.picLen = 4294965739U;
    Fake().FailCall(Fn::HeapAlloc, 1);
    EXPECT_EQ(Http().CloudFaceRecogPhoto(&head), kRefused);
    EXPECT_THAT(Logs(), ElementsAre(AE("<CloudFaceRecogPhoto> failed: malloc recogInfo failed")));
}

// Runs the three requests.
void RequestAll() {
    TagQuorAiKelInfo info = KelInfo();
    EXPECT_EQ(Adapter::Http().CloudQueryConfList(&info), kRefused);
    std::vector<unsigned char> bytes = Recognition(1);
    EXPECT_EQ(Recognise(bytes), kRefused);
    TagQuorAiFacePhotoParam param = {};
    EXPECT_EQ(Adapter::Http().CloudQueryFacePhoto(&param), kRefused);
}

TEST_F(QueuedRequestsTest, NoMemoryForACopy) {
    Fake().FailCall(Fn::HeapAlloc, 1, FailMode::kFromThenOn);
    RequestAll();
    EXPECT_THAT(Logs(), ElementsAre(AE("<CloudQueryConfList> failed malloc kelInfo failed"),
                                    AE("<CloudFaceRecogPhoto> failed: malloc recogInfo failed"),
                                    AE("<CloudQueryFacePhoto> failed: malloc faceParam failed")));
}

// The participant query's text calls its record recogInfo, too.
TEST_F(QueuedRequestsTest, ACopyThatFailsIsFreed) {
    Fake().FailCall(Fn::MemcpyS, 1, FailMode::kFromThenOn);
    RequestAll();
    EXPECT_THAT(Logs(), ElementsAre(AE("<CloudQueryConfList> failed: memcpy recogInfo failed"),
                                    AE("<CloudFaceRecogPhoto> failed: memcpy recogInfo failed"),
                                    AE("<CloudQueryFacePhoto> failed: memcpy faceParam failed")));
    EXPECT_EQ(Fake().LiveBlocks().size(), 0U);
}

constexpr std::chrono::milliseconds kPushWait{500};

class FullQueueTest : public AdapterTest {
protected:
    FullQueueTest() {
        for (int i = 0; i < 30; ++i) {
            EXPECT_TRUE(Adapter::Push({AI_SUB_ID_CHECKIN, nullptr, 0}));
        }
    }
};

// The photo query's text names the recognition.
TEST_F(FullQueueTest, The31stRequestFailsAndItsCopyIsFreedAndWiped) {
    const StoppedClock clock;
    RequestAll();
    EXPECT_THAT(clock.Waits(), ElementsAre(kPushWait, kPushWait, kPushWait));
    EXPECT_THAT(Logs(), ElementsAre(AE("<CloudQueryConfList> failed: push kelInfo failed"),
                                    AE("<CloudFaceRecogPhoto> failed: push recogInfo failed"),
                                    AE("<CloudFaceRecogPhoto> failed: push faceParam failed")));
    EXPECT_EQ(Fake().LiveBlocks().size(), 0U);
    ASSERT_EQ(Fake().freedBlocks.size(), 3U);
    for (const BlockRecord& block : Fake().freedBlocks) {
        EXPECT_EQ(block.contentAtFree, std::string(block.sizeBytes, '\0'));
    }
}

TEST_F(FullQueueTest, ARequestWaitsForRoom) {
    {
        StoppedClock clock;
        clock.onWait = [] {
            TagAiCloudSrvResult taken = {};
            return Adapter::Pop(taken);
        };
        TagQuorAiKelInfo info = KelInfo();
        EXPECT_EQ(Http().CloudQueryConfList(&info), 0U);
        EXPECT_THAT(clock.Waits(), ElementsAre(kPushWait));
    }
    EXPECT_FALSE(Adapter::Push({AI_SUB_ID_CHECKIN, nullptr, 0}));
}

TEST_F(QueuedRequestsTest, TheRseAddressIsNotAskedFor) {
    QuorAiRseAddressData data = {5};
    EXPECT_EQ(Http().CloudQueryRSEAddress(data), 0U);
    EXPECT_EQ(data.reserved, 5U);
    EXPECT_THAT(Logs(), IsEmpty());
    EXPECT_THAT(Fake().Trail(), IsEmpty());
}

}  // namespace
}  // namespace QuorTest
