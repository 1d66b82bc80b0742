#include <cstring>
#include <string>
#include <vector>

#include "support/adapter_test.h"

namespace QuorTest {
namespace {

constexpr unsigned kUsers = 0;
constexpr unsigned kPhotos = 1;

const LogLine kNoItem = AE("<ParseQueryFacePhotoRes> prase photos_result failed, continue");

std::string Item(const std::string& id) {
    return R"({"status":"success","userid":"u)" + id + R"(","photoid":"p)" + id + R"(","data":"YWJj"})";
}

std::string Body(const std::vector<std::string>& items) {
    std::string text = R"({"results":[)";
    for (std::size_t i = 0; i < items.size(); ++i) {
        text += (i == 0 ? "" : ",") + items[i];
    }
    return text + "]}";
}

class FacePhotoAnswerTest : public AdapterTest {
protected:
    int Parse(const std::string& body, unsigned idType = kUsers) {
        infos.clear();
        photos.clear();
        const int result = Adapter::ParsePhotos(body.c_str(), idType, infos, photos);
        EXPECT_EQ(infos.size(), photos.size());
        return result;
    }

    // The one item of an answer, which counts as parsed.
    QuorAiSingleFacePhoto Only(const std::string& item) {
        Fake().ClearRecords();
        EXPECT_EQ(Parse(Body({item})), 0);
        EXPECT_EQ(infos.size(), 1U) << item;
        return infos.empty() ? QuorAiSingleFacePhoto{} : infos[0];
    }

    void ExpectSkipped(const std::string& item, const LogLine& line) {
        Fake().ClearRecords();
        EXPECT_EQ(Parse(Body({Item("1"), item, Item("3")})), 0);
        EXPECT_THAT(Logs(),
                    ElementsAre(line, AE("<ParseQueryFacePhotoRes> Parse array item 1 failed, continue")))
            << item;
        ASSERT_EQ(infos.size(), 2U);
        EXPECT_STREQ(infos[1].id, "u3");
    }

    std::vector<QuorAiSingleFacePhoto> infos;
    std::vector<std::vector<unsigned char>> photos;
};

TEST_F(FacePhotoAnswerTest, ItemsInOrderWithTheirBytes) {
    EXPECT_EQ(Parse(Body({Item("1"), Item("2")})), 0);
    ASSERT_EQ(infos.size(), 2U);
    EXPECT_STREQ(infos[0].id, "u1");
    EXPECT_STREQ(infos[1].id, "u2");
    EXPECT_EQ(infos[0].hasPhoto, 1);
    EXPECT_EQ(infos[0].photoSize, 3U);
    EXPECT_EQ(photos[0], (std::vector<unsigned char>{'a', 'b', 'c'}));
    EXPECT_STREQ(infos[0].errorCode, "");
    EXPECT_STREQ(infos[0].errorMessage, "");
    EXPECT_EQ(Parse(Body({Item("1")}), kPhotos), 0);
    EXPECT_STREQ(infos.at(0).id, "p1");
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(FacePhotoAnswerTest, OfThirteenItemsTwelveAreRead) {
    std::vector<std::string> items;
    items.reserve(14);
    for (int i = 0; i < 12; ++i) {
        items.push_back(Item(std::to_string(i)));
    }
    EXPECT_EQ(Parse(Body(items)), 0);
    EXPECT_EQ(infos.size(), 12U);
    items.push_back(Item("12"));
    items.emplace_back("null");
    EXPECT_EQ(Parse(Body(items)), 0);
    ASSERT_EQ(infos.size(), 12U);
    EXPECT_STREQ(infos[11].id, "u11");
    EXPECT_THAT(Logs(), IsEmpty());
}

// A bad one among the first twelve counts: no thirteenth comes in its place.
TEST_F(FacePhotoAnswerTest, SkippedItemsCountAmongTheTwelve) {
    std::vector<std::string> items = {"{}"};
    for (int i = 1; i < 14; ++i) {
        items.push_back(Item(std::to_string(i)));
    }
    EXPECT_EQ(Parse(Body(items)), 0);
    ASSERT_EQ(infos.size(), 11U);
    EXPECT_STREQ(infos[10].id, "u11");
    EXPECT_THAT(Logs(),
                ElementsAre(kNoItem, AE("<ParseQueryFacePhotoRes> Parse array item 0 failed, continue")));
}

TEST_F(FacePhotoAnswerTest, BodiesThatAreNotUnderstood) {
    EXPECT_EQ(Adapter::ParsePhotos(nullptr, kUsers, infos, photos), -1);
    EXPECT_EQ(Parse("{"), -1);
    for (const char* body : {"{}", R"({"results":{}})", R"({"results":null})", "[]", "7"}) {
        EXPECT_EQ(Parse(body), -1);
    }
    const LogLine noList = AE("<ParseQueryFacePhotoRes> cannot parse this body");
    EXPECT_THAT(Logs(), ElementsAre(AE("Null ptr."), AE("<ParseQueryFacePhotoRes>: parse root faild"), noList,
                                    noList, noList, noList, noList));
    EXPECT_EQ(Parse(R"({"results":[]})"), 0);
}

TEST_F(FacePhotoAnswerTest, ItemsWithoutStatusOrIdAreSkipped) {
    for (const char* item :
         {"null", "7", "{}", "[]", R"({"status":"success","photoid":"p"})", R"({"userid":"u","data":"YWJj"})",
          R"({"status":0,"userid":"u"})", R"({"status":"success","userid":9})"}) {
        ExpectSkipped(item, kNoItem);
    }
}

TEST_F(FacePhotoAnswerTest, WithoutAnItem) {
    QuorAiSingleFacePhoto info = {};
    std::vector<unsigned char> photo;
    EXPECT_EQ(Adapter::ParsePhoto(nullptr, info, photo, kUsers), -1);
    EXPECT_THAT(Logs(), ElementsAre(AE("<ParseSingleFaceItem> jsonItem is null")));
}

TEST_F(FacePhotoAnswerTest, IdsAreCutAndTheirCopyMayFail) {
    const auto info =
        Only(R"({"status":"success","userid":")" + std::string(200, 'i') + R"(","data":"YQ=="})");
    EXPECT_EQ(info.id, std::string(127, 'i'));
    EXPECT_EQ(info.photoSize, 1U);
    Fake().boundedFault = [](const BoundedCall& call) {
        return call.fn == Fn::StrncpyS && call.SourceIs("u2");
    };
    ExpectSkipped(Item("2"), AE("<ParseQueryFacePhotoRes> cpy photo id fail"));
}

TEST_F(FacePhotoAnswerTest, ARefusedItemCarriesTheReason) {
    const auto info = Only(R"({"status":"failure","userid":"u","message":")" + std::string(200, 'm') +
                           R"(","code":"404","data":"YWJj"})");
    EXPECT_STREQ(info.id, "u");
    EXPECT_EQ(info.hasPhoto, 0);
    EXPECT_EQ(info.photoSize, 0U);
    EXPECT_STREQ(info.errorCode, "404");
    EXPECT_EQ(info.errorMessage, std::string(127, 'm'));
    EXPECT_THAT(photos.at(0), IsEmpty());
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(FacePhotoAnswerTest, ARefusedItemWithoutReasonCountsAllTheSame) {
    const auto info = Only(R"({"status":"failure","userid":"u"})");
    EXPECT_EQ(info.hasPhoto, 0);
    EXPECT_THAT(Logs(), ElementsAre(AE("status is failure but get message and code fail"),
                                    AE("<ParseQueryFacePhotoRes> photoNum get massage and code fail")));
}

TEST_F(FacePhotoAnswerTest, TheCaseOfSuccessDoesNotMatter) {
    EXPECT_EQ(Only(R"({"status":"SUCCESS","userid":"u","data":"YWJj"})").hasPhoto, 1);
}

TEST_F(FacePhotoAnswerTest, DataThatIsNoBase64CountsAsAnItemWithoutPhoto) {
    const LogLine noPhoto = AE("<ParseQueryFacePhotoRes> decode photoid fail");
    const LogLine noText = UE("<AiUtilityDecodeBase64> data is null or is not string");
    const LogLine notDecoded = UE("<AiUtilityDecodeBase64> QUOR_BASE64Decode failed");
    const auto expectNoPhoto = [&](const std::string& data, const LogLine& line) {
        const auto info = Only(R"({"status":"success","userid":"u")" + data + "}");
        EXPECT_STREQ(info.id, "u");
        EXPECT_EQ(info.hasPhoto, 0);
        EXPECT_EQ(info.photoSize, 0U);
        EXPECT_THAT(photos.at(0), IsEmpty());
        EXPECT_THAT(Logs(), ElementsAre(line, noPhoto));
    };
    expectNoPhoto("", noText);
    expectNoPhoto(R"(,"data":7)", noText);
    expectNoPhoto(R"(,"data":null)", noText);
    expectNoPhoto(R"(,"data":"")", notDecoded);
    expectNoPhoto(R"(,"data":"YWJ")", notDecoded);
    expectNoPhoto(R"(,"data":"Y!Jj")", notDecoded);
}

TEST_F(FacePhotoAnswerTest, EveryDecodedBlockIsGivenBack) {
    EXPECT_EQ(Parse(Body({Item("1"), Item("2")})), 0);
    EXPECT_EQ(Fake().CountOf(Fn::Base64Free), 2U);
    EXPECT_EQ(Fake().LiveBlocks().size(), 0U);
}

// Whatever else the decoding said.
TEST_F(FacePhotoAnswerTest, ADecodedBlockWithoutBytesIsNoPhotoAndGivenBackToo) {
    Fake().SetFailResult(Fn::Base64Decode, 0);
    Fake().FailCall(Fn::Base64Decode, 1);
    const auto info = Only(Item("1"));
    EXPECT_EQ(Fake().CountOf(Fn::Base64Free), 1U);
    EXPECT_EQ(Fake().LiveBlocks().size(), 0U);
    EXPECT_EQ(info.hasPhoto, 0);
    EXPECT_EQ(info.photoSize, 0U);
    EXPECT_THAT(Logs(), ElementsAre(UE("<AiUtilityDecodeBase64> QUOR_BASE64Decode failed"),
                                    AE("<ParseQueryFacePhotoRes> decode photoid fail")));
}

TEST_F(FacePhotoAnswerTest, ZoomingChangesNothingAndRefusesNothing) {
    std::vector<unsigned char> photo = {1, 2, 3};
    EXPECT_EQ(Adapter::Zoom(photo), 0);
    EXPECT_EQ(photo, (std::vector<unsigned char>{1, 2, 3}));
    photo.clear();
    EXPECT_EQ(Adapter::Zoom(photo), -1);
    EXPECT_THAT(Logs(), ElementsAre(AE("<ZoomPictures> srcphoto size:0.")));
}

}  // namespace
}  // namespace QuorTest
