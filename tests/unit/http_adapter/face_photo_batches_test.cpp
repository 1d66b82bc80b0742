#include <algorithm>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "support/adapter_test.h"

namespace QuorTest {
namespace {

constexpr unsigned kInfoSize = 296;
constexpr unsigned kIdType = 0xA1B2C3D4U;
// The largest item, and what a notification stays below.
constexpr unsigned kItemMax = 4194127;
constexpr unsigned kLimit = 4194128;

// One entry of a notification, as an observer reads it.
struct Entry {
    std::string id;
    unsigned photoSize;
    char fill;  // of every byte of the photo; 0 without one
    bool operator==(const Entry& o) const { return id == o.id && photoSize == o.photoSize && fill == o.fill; }
};

// For a failing test.
void PrintTo(const Entry& entry, std::ostream* os) {
    *os << "{" << entry.id << ", " << entry.photoSize << ", '" << entry.fill << "'}";
}

// Reads a whole notification: nothing is left over and nothing missing. Descriptions are copied out, because
// they are not aligned.
std::vector<Entry> Read(const std::string& bytes) {
    unsigned head[2] = {};
    EXPECT_GE(bytes.size(), sizeof(head));
    std::memcpy(head, bytes.data(), sizeof(head));
    EXPECT_EQ(head[0], kIdType);
    std::vector<Entry> entries;
    std::size_t at = sizeof(head);
    for (unsigned i = 0; i < head[1]; ++i) {
        QuorAiSingleFacePhoto info = {};
        if (at + kInfoSize > bytes.size()) {
            ADD_FAILURE() << "an entry is missing";
            return entries;
        }
        std::memcpy(&info, bytes.data() + at, kInfoSize);
        at += kInfoSize;
        if (at + info.photoSize > bytes.size()) {
            ADD_FAILURE() << "a photo is missing";
            return entries;
        }
        const std::string photo = bytes.substr(at, info.photoSize);
        EXPECT_TRUE(std::all_of(photo.begin(), photo.end(), [&](char c) { return c == photo[0]; }));
        entries.push_back({info.id, info.photoSize, photo.empty() ? '\0' : photo[0]});
        at += info.photoSize;
    }
    EXPECT_EQ(at, bytes.size()) << "bytes are left over";
    return entries;
}

class FacePhotoBatchesTest : public AdapterTest {
protected:
    FacePhotoBatchesTest() { Start(); }

    // Appends an item; its photo's bytes are all the id.
    void Add(char id, unsigned photoSize) {
        QuorAiSingleFacePhoto info = {};
        info.id[0] = id;
        info.hasPhoto = photoSize != 0 ? 1 : 0;
        info.photoSize = photoSize;
        infos.push_back(info);
        photos.emplace_back(photoSize, static_cast<unsigned char>(id));
    }

    // The entries of every notification.
    std::vector<std::vector<Entry>> Send() {
        EXPECT_EQ(Adapter::NotifyInBatches(infos, photos, kIdType), 0);
        std::vector<std::vector<Entry>> batches;
        for (const auto& result : observer->results) {
            EXPECT_EQ(result.id, AI_SUB_ID_FACE_PHOTO);
            EXPECT_LE(result.len, 8 + kItemMax);
            batches.push_back(Read(result.bytes));
        }
        EXPECT_THAT(photos, IsEmpty());
        return batches;
    }

    static Entry Full(char id, unsigned photoSize) { return {std::string(1, id), photoSize, id}; }
    static std::vector<std::vector<Entry>> Batches(std::vector<std::vector<Entry>> batches) {
        return batches;
    }

    std::vector<QuorAiSingleFacePhoto> infos;
    std::vector<std::vector<unsigned char>> photos;
};

TEST_F(FacePhotoBatchesTest, TheLayoutByteForByte) {
    Add('a', 1);  // every later description is unaligned
    Add('b', 0);
    Add('c', 2);
    EXPECT_EQ(Send().size(), 1U);
    std::string expected("\xD4\xC3\xB2\xA1\3\0\0\0", 8);
    const std::pair<char, unsigned> items[] = {{'a', 1}, {'b', 0}, {'c', 2}};
    for (const auto& [id, size] : items) {
        std::string entry(kInfoSize, '\0');
        entry[0] = id;
        entry[128] = size != 0 ? '\1' : '\0';
        entry[292] = static_cast<char>(size);
        expected += entry + std::string(size, id);
    }
    EXPECT_EQ(observer->results.at(0).bytes, expected);
    EXPECT_EQ(observer->results.at(0).len, 8U + 3 * kInfoSize + 3);
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(FacePhotoBatchesTest, ThreePhotosOfTwoMillionBytesAreTwoNotifications) {
    Add('a', 2000000);
    Add('b', 2000000);
    Add('c', 2000000);
    EXPECT_EQ(Send(), Batches({{Full('a', 2000000), Full('b', 2000000)}, {Full('c', 2000000)}}));
    EXPECT_EQ(observer->results.at(0).len, 8U + 4000592U);
    EXPECT_EQ(observer->results.at(1).len, 8U + 2000296U);
}

TEST_F(FacePhotoBatchesTest, ATooBigPhotoIsDroppedAndTheOthersAreSent) {
    Add('a', 10);
    Add('b', 4194000);
    Add('c', 20);
    EXPECT_EQ(Send(), Batches({{Full('a', 10)}, {Full('c', 20)}}));
    EXPECT_THAT(Logs(), ElementsAre(AE("<ProcPhotoDataToNotify> photo data is too big to send: 4194000")));
}

// The small item behind it starts a notification of its own although there was room in the open one.
TEST_F(FacePhotoBatchesTest, ATooBigPhotoClosesTheOpenNotification) {
    Add('a', 1);
    Add('b', 1);
    Add('x', kItemMax);
    Add('c', 1);
    EXPECT_EQ(Send(), Batches({{Full('a', 1), Full('b', 1)}, {Full('c', 1)}}));
}

TEST_F(FacePhotoBatchesTest, TooBigPhotosAtBothEndsAndInARow) {
    Add('x', kItemMax);
    Add('y', kItemMax);
    Add('a', 5);
    Add('z', kItemMax);
    EXPECT_EQ(Send(), Batches({{Full('a', 5)}}));
    EXPECT_EQ(Logs().size(), 3U);
}

TEST_F(FacePhotoBatchesTest, OnlyTooBigPhotosAreASuccessWithoutNotification) {
    Add('x', kItemMax);
    EXPECT_THAT(Send(), IsEmpty());
}

TEST_F(FacePhotoBatchesTest, TheLargestItemThatIsSent) {
    Add('a', kItemMax - kInfoSize);
    EXPECT_EQ(Send(), Batches({{Full('a', kItemMax - kInfoSize)}}));
    EXPECT_EQ(observer->results.at(0).len, 8 + kItemMax);
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(FacePhotoBatchesTest, OneByteMoreIsTooBig) {
    Add('a', kItemMax - kInfoSize + 1);
    EXPECT_THAT(Send(), IsEmpty());
    EXPECT_THAT(Logs(), ElementsAre(AE("<ProcPhotoDataToNotify> photo data is too big to send: 4193832")));
}

// A notification of exactly the capacity is never sent.
TEST_F(FacePhotoBatchesTest, TheLastByteOfTheBufferIsNeverUsed) {
    Add('a', 2000000);
    const unsigned rest = kLimit - 2 * kInfoSize - 2000000;
    Add('b', rest - 1);
    EXPECT_EQ(Send(), Batches({{Full('a', 2000000), Full('b', rest - 1)}}));
    EXPECT_EQ(observer->results.at(0).len, 8U + 4194127U);
    observer->results.clear();
    infos.clear();
    Add('a', 2000000);
    Add('b', rest);
    EXPECT_EQ(Send(), Batches({{Full('a', 2000000)}, {Full('b', rest)}}));
}

TEST_F(FacePhotoBatchesTest, ItemsWithoutPhotoTravelWithTheOthers) {
    Add('a', 0);
    Add('b', kItemMax - 2 * kInfoSize);
    Add('c', 0);
    EXPECT_EQ(Send(), Batches({{{"a", 0, '\0'}, Full('b', kItemMax - 2 * kInfoSize)}, {{"c", 0, '\0'}}}));
}

TEST_F(FacePhotoBatchesTest, ListsThatDoNotGoTogether) {
    const auto expectRefused = [this](const char* line) {
        Fake().ClearRecords();
        EXPECT_EQ(Adapter::NotifyInBatches(infos, photos, kIdType), -1);
        EXPECT_THAT(Logs(), ElementsAre(AE(line)));
    };
    expectRefused(
        "<ProcPhotoDataToNotify> faceInfoVec is empty(0) or photoDataVec is empty(0) or not same size");
    Add('a', 1);
    photos.clear();
    expectRefused(
        "<ProcPhotoDataToNotify> faceInfoVec is empty(1) or photoDataVec is empty(0) or not same size");
    photos.resize(2);
    expectRefused(
        "<ProcPhotoDataToNotify> faceInfoVec is empty(1) or photoDataVec is empty(2) or not same size");
    infos.clear();
    expectRefused(
        "<ProcPhotoDataToNotify> faceInfoVec is empty(0) or photoDataVec is empty(2) or not same size");
}

TEST_F(FacePhotoBatchesTest, ObserversReadTheLockedBuffer) {
    Add('a', 3);
    bool locked = false;
    observer->onUpdate = [&](const RecordingObserver::Result& result) {
        locked = Fake().IsLocked(&Adapter::PhotosLock()) &&
                 result.data == reinterpret_cast<unsigned char*>(Adapter::Photos());
    };
    Send();
    EXPECT_TRUE(locked);
    EXPECT_EQ(Fake().LocksHeld(), 0U);
}

TEST_F(FacePhotoBatchesTest, TheBufferIsFilledUnderItsLock) {
    Add('a', 3);
    Add('b', 2200000);
    Add('c', 2200000);  // in a notification of its own
    std::vector<bool> locked;
    Fake().boundedFault = [&](const BoundedCall& call) {
        if (call.fn == Fn::MemcpyS) {
            locked.push_back(Fake().IsLocked(&Adapter::PhotosLock()));
        }
        return false;
    };
    EXPECT_EQ(Send().size(), 2U);
    EXPECT_EQ(locked, std::vector<bool>(6, true)) << "a description and a photo each";
    EXPECT_EQ(Fake().LocksHeld(), 0U);
}

// Every notification fails by itself; the whole is a success all the same.
TEST_F(FacePhotoBatchesTest, WithoutTheBuffer) {
    Add('a', 2200000);
    Add('b', 2200000);
    TagQuorAiFacePhotoList* buffer = std::exchange(Adapter::Photos(), nullptr);
    EXPECT_THAT(Send(), IsEmpty());
    Adapter::Photos() = buffer;
    const LogLine failed = AE("<NotifyFacePhotoHelp>: photoResult is nullptr");
    EXPECT_THAT(Logs(), ElementsAre(failed, failed));
    EXPECT_EQ(Fake().LocksHeld(), 0U);
}

TEST_F(FacePhotoBatchesTest, OneNotificationAlone) {
    Add('a', 1);
    EXPECT_EQ(Adapter::NotifyBatch(infos, photos, 297, 1, 0, kIdType), 0);
    EXPECT_THAT(Logs(), ElementsAre(AI("<NotifyFacePhotoHelp> [1, 0] has no pic")));
    Fake().ClearRecords();
    EXPECT_EQ(Adapter::NotifyBatch(infos, photos, kLimit + 1, 0, 0, kIdType), -1);
    EXPECT_THAT(Logs(), ElementsAre(AE("<NotifyFacePhotoHelp> photoListSize is invalid: 4194129")));
    EXPECT_THAT(observer->results, IsEmpty());
    EXPECT_EQ(Adapter::NotifyBatch(infos, photos, kLimit, 0, 0, kIdType), 0);
    EXPECT_EQ(observer->results.at(0).len, 8 + kLimit);
}

// The copies after the failing one close up; what was meant for it stands empty at the end, so that the count
// and the length still hold.
TEST_F(FacePhotoBatchesTest, AnItemThatCannotBeCopiedIsLeftOut) {
    const LogLine failed = AE("<NotifyFacePhotoHelp>: memcpy QuorAiSingleFacePhoto fail");
    std::memset(Adapter::Photos()->payload, 'S', 4096);  // of an earlier notification
    for (const unsigned nth : {1U, 2U}) {                // the description, and the photo
        Fake().ClearRecords();
        observer->results.clear();
        infos.clear();
        Add('a', 7);
        Add('b', 7);
        Add('c', 7);
        Fake().FailCall(Fn::MemcpyS, 2 + nth);
        EXPECT_EQ(Adapter::NotifyInBatches(infos, photos, kIdType), 0);
        EXPECT_THAT(Logs(), ElementsAre(failed));
        ASSERT_EQ(observer->results.size(), 1U);
        const std::string& bytes = observer->results[0].bytes;
        EXPECT_EQ(bytes.size(), 8U + 3 * 303U);
        EXPECT_EQ(bytes[4], 3);
        EXPECT_EQ(bytes[8], 'a');
        EXPECT_EQ(bytes[8 + 303], 'c');
        EXPECT_EQ(bytes.substr(8 + 606), std::string(303, '\0'));
    }
}

// The photo of the last item is missing: its description stands, and empty bytes behind it.
TEST_F(FacePhotoBatchesTest, APhotoThatCannotBeCopiedAtTheEndIsEmpty) {
    Add('a', 7);
    std::memset(Adapter::Photos()->payload, 'S', 4096);
    Fake().FailCall(Fn::MemcpyS, 2);
    EXPECT_EQ(Send(), Batches({{{"a", 7, '\0'}}}));
}

}  // namespace
}  // namespace QuorTest
