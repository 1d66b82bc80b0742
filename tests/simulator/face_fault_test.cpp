/* face_fault_test.cpp - faults on the face service's endpoints, and those that only it has. */
#include "face_fixture.h"

namespace quor_test {
namespace {

using quor_simulator::Content;
using quor_simulator::Cut;
using quor_simulator::Endpoint;
using quor_simulator::EndpointName;
using quor_simulator::FillerPhoto;
using quor_simulator::Milliseconds;
using quor_simulator::Options;
using quor_simulator::Port;
using quor_simulator::RestFault;

class FaceFaults : public FaceTest {
protected:
    void SetUp() override {
        Options options;
        options.facePort = 0;
        StartWithGallery(options);
    }
    void Set(const RestFault& fault, Endpoint endpoint = Endpoint::kFaceVersion) {
        EXPECT_TRUE(rest().SetFault(endpoint, fault));
    }
    /* The statuses of so many probes on one connection. */
    std::vector<unsigned int> Statuses(std::size_t count, Port port = Port::kFirst) {
        HttpsClient link;
        EXPECT_TRUE(link.Connect(port == Port::kFirst ? simulator().port() : simulator().facePort(),
                                 simulator().caFile()));
        std::vector<unsigned int> statuses;
        for (std::size_t i = 0; i < count; ++i) {
            statuses.push_back(link.Ask(VersionText()).status);
        }
        return statuses;
    }
    /* Of the next answers: the photos' bytes, or how they failed. */
    Texts PhotosOf(const Json& answer) {
        Texts photos;
        for (const Json& result : answer["results"]) {
            photos.push_back(result["status"] == "success" ? FromBase64(result["data"])
                                                           : result["code"].get<std::string>());
        }
        return photos;
    }
    using Statusing = std::vector<unsigned int>;

    const std::string kQuestion = IdentifyText(Probe("lin.wei"));
};

TEST_F(FaceFaults, EveryEndpointTakesTheGeneralOnes) {
    const std::pair<Endpoint, std::string> requests[] = {
        {Endpoint::kFaceVersion, VersionText()},
        {Endpoint::kFaceIdentify, kQuestion},
        {Endpoint::kFaceUserPhotos, UserPhotosText("lin.wei")},
        {Endpoint::kFacePhotos, PhotosText("wei-1")}};
    for (const auto& [endpoint, request] : requests) {
        SCOPED_TRACE(EndpointName(endpoint));
        const std::string good = Ask(request).body;
        for (const unsigned int status : {302U, 401U, 503U, 204U}) {
            RestFault fault;
            fault.status = status;
            Set(fault, endpoint);
            const HttpReply reply = Ask(request);
            EXPECT_EQ(reply.status, status);
            EXPECT_EQ(reply.Header("Location"), status == 302 ? "/redirected" : "");
        }
        RestFault fault;
        fault.delay = Milliseconds(20);
        Set(fault, endpoint);
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(Ask(request).body, good);
        EXPECT_GE(std::chrono::steady_clock::now() - begin, Milliseconds(20));
        fault = {};
        fault.cut = Cut::kBody;
        Set(fault, endpoint);
        EXPECT_EQ(Ask(request).body, good.substr(0, good.size() / 2));
        fault = {};
        fault.content = Content::kBadJson;
        Set(fault, endpoint);
        EXPECT_FALSE(Json::accept(Ask(request).body));
        fault = {};
        fault.omit = {"status"};
        Set(fault, endpoint);
        EXPECT_EQ(Ask(request).body.find("\"status\""), std::string::npos);
        fault = {};
        fault.body = R"({"status":"SUCCESS"})";
        Set(fault, endpoint);
        EXPECT_EQ(Ask(request).body, R"({"status":"SUCCESS"})");
        rest().ClearFault(endpoint);
        EXPECT_EQ(Ask(request).body, good);
    }
}

TEST_F(FaceFaults, HeldAnswersKeepTheirPicture) {
    RestFault fault;
    fault.hold = true;
    Set(fault, Endpoint::kFaceIdentify);
    HttpsClient link;
    ASSERT_TRUE(Connect(link));
    ASSERT_TRUE(link.Send(kQuestion));
    ASSERT_TRUE(rest().WaitForHeld(1, kPatience));
    rest().SetGallery({}); /* the answer was made before */
    EXPECT_EQ(rest().ReleaseHeld(Endpoint::kFaceIdentify), 1U);
    EXPECT_EQ(Json::parse(link.Read().body)["results"][0]["userid"], "lin.wei");
}

TEST_F(FaceFaults, WrongTypesAreWrongForScoresToo) {
    RestFault fault;
    fault.content = Content::kWrongTypes;
    fault.scores = {90.5};
    Set(fault, Endpoint::kFaceIdentify);
    EXPECT_EQ(Ask(kQuestion).body,
              R"({"status":7,"results":[{"userid":7,"photoid":7,"score":"90.5","name":7}]})");
}

TEST_F(FaceFaults, Flap) {
    RestFault fault;
    fault.status = 503;
    fault.flap = 1;
    Set(fault);
    EXPECT_EQ(Statuses(5), (Statusing{200, 503, 200, 503, 200}));
    fault.flap = 2;
    fault.skip = 1;
    Set(fault);
    EXPECT_EQ(Statuses(9), (Statusing{200, 200, 200, 503, 503, 200, 200, 503, 503}));
    fault.skip = 0;
    fault.times = 3;
    Set(fault);
    EXPECT_EQ(Statuses(9), (Statusing{200, 200, 503, 503, 200, 200, 503, 200, 200}));
    EXPECT_EQ(rest().GetStatistics().endpoints["faceVersion"].faulty, 2U + 4U + 3U);
}

TEST_F(FaceFaults, OfOnePortLeaveTheOtherAlone) {
    RestFault fault;
    fault.status = 401;
    fault.port = Port::kSecond;
    fault.skip = 1;
    Set(fault);
    EXPECT_EQ(Statuses(3), (Statusing{200, 200, 200})); /* and they count nothing */
    EXPECT_EQ(Statuses(2, Port::kSecond), (Statusing{200, 401}));

    fault = {};
    fault.status = 302;
    fault.port = Port::kFirst;
    Set(fault);
    EXPECT_EQ(Statuses(1), (Statusing{302}));
    EXPECT_EQ(Statuses(1, Port::kSecond), (Statusing{401}));

    fault = {};
    fault.status = 500;
    Set(fault, Endpoint::kFaceVersion); /* for both, behind those of one */
    EXPECT_EQ(Statuses(1), (Statusing{302}));
    EXPECT_EQ(Statuses(1, Port::kSecond), (Statusing{401}));

    rest().ClearFault(Endpoint::kFaceIdentify);
    EXPECT_EQ(Statuses(1), (Statusing{302}));
    rest().ClearFault(Endpoint::kFaceVersion);
    EXPECT_EQ(Statuses(1), (Statusing{200}));
    EXPECT_EQ(Statuses(1, Port::kSecond), (Statusing{200}));
}

TEST_F(FaceFaults, OfOnePortEndAndUncoverThoseOfBoth) {
    RestFault fault;
    fault.status = 500;
    Set(fault);
    fault.status = 401;
    fault.port = Port::kSecond;
    fault.times = 1;
    Set(fault);
    EXPECT_EQ(Statuses(2, Port::kSecond), (Statusing{401, 500}));
    EXPECT_EQ(Statuses(1), (Statusing{500}));
    rest().ClearFault();
    EXPECT_EQ(Statuses(1), (Statusing{200}));
}

TEST_F(FaceFaults, ScoresAreSentAsTheyAre) {
    RestFault fault;
    const auto scoresOf = [&](std::vector<double> scores) {
        fault.scores = std::move(scores);
        Set(fault, Endpoint::kFaceIdentify);
        return Good(kQuestion);
    };
    EXPECT_EQ(All<double>(scoresOf({75}), "score"), Numbers{75});
    EXPECT_NE(Ask(kQuestion).body.find("\"score\":75.0,"), std::string::npos);
    EXPECT_EQ(All<double>(scoresOf({74.999}), "score"), Numbers{74.999});
    const Json answer = scoresOf({90, 80});
    EXPECT_EQ(All<double>(answer, "score"), (Numbers{90, 80}));
    EXPECT_EQ(All(answer, "userid")[0], "lin.wei") << "the best match still comes first";
    EXPECT_EQ(All<double>(scoresOf({90, 70, 1e15}), "score"), (Numbers{90, 70, 1e15}));
    fault.results = 4;
    EXPECT_EQ(All<double>(scoresOf({90, 70}), "score"), (Numbers{90, 70, 70, 70}));
}

TEST_F(FaceFaults, ForcedResultsNeedNoPicture) {
    RestFault fault;
    fault.scores = {80};
    Set(fault, Endpoint::kFaceIdentify);
    EXPECT_EQ(All(Good(IdentifyText("no picture at all")), "userid"), Texts{"ana.torres"});
    EXPECT_EQ(Ask(FaceText("POST", kIdentifyTarget, "{}")).status, 400U);
}

TEST_F(FaceFaults, SoManyPeopleAreFound) {
    RestFault fault;
    for (const std::size_t count : {0U, 1U, 8U, 12U, 13U}) {
        fault.results = count;
        Set(fault, Endpoint::kFaceIdentify);
        const Texts ids = All(Good(kQuestion), "userid");
        ASSERT_EQ(ids.size(), count);
        EXPECT_EQ(count > 0 ? ids[0] : "lin.wei", "lin.wei");
        EXPECT_EQ(count > 8 ? ids[8] : "extra-9", "extra-9");
    }
    EXPECT_EQ(Good(kQuestion)["results"][12],
              Json::parse(R"({"userid":"extra-13","photoid":"extra-13","score":0.0,"name":"Extra 13"})"));
}

TEST_F(FaceFaults, SoManyPhotosAreSent) {
    RestFault fault;
    for (const std::size_t count : {0U, 1U, 12U, 13U}) {
        fault.results = count;
        Set(fault, Endpoint::kFacePhotos);
        const Json answer = Good(PhotosText("wei-1,none"));
        const Texts photos = PhotosOf(answer);
        ASSERT_EQ(photos.size(), count);
        if (count == 13) {
            EXPECT_EQ(photos[0], ReadBytes(kGalleryFolder + "/lin.wei-1.png"));
            EXPECT_EQ(photos[1], "NOT_FOUND");
            EXPECT_EQ(photos[12], FillerPhoto(1024, 13));
            EXPECT_EQ(answer["results"][12]["photoid"], "extra-13");
        }
    }
}

TEST_F(FaceFaults, PhotosHaveAnySize) {
    RestFault fault;
    fault.photoBytes = {0, 1, 2000000, 4194000};
    Set(fault, Endpoint::kFaceUserPhotos);
    const Json answer = Good(UserPhotosText("lin.wei,nobody,ana.torres,ben.okafor"));
    EXPECT_EQ(answer["results"][0]["data"], "");
    EXPECT_EQ(All(answer, "userid"), (Texts{"lin.wei", "nobody", "ana.torres", "ben.okafor"}));
    EXPECT_EQ(PhotosOf(answer),
              (Texts{"", FillerPhoto(1, 2), FillerPhoto(2000000, 3), FillerPhoto(4194000, 4)}));
    fault.photoBytes = {7};
    Set(fault, Endpoint::kFaceUserPhotos);
    EXPECT_EQ(PhotosOf(Good(UserPhotosText("a,b"))), (Texts{FillerPhoto(7, 1), FillerPhoto(7, 2)}));
}

TEST_F(FaceFaults, DataMayBeNoBase64) {
    RestFault fault;
    const std::string bad = "*** this is no base64 ***";
    fault.badBase64.emplace();
    Set(fault, Endpoint::kFacePhotos);
    EXPECT_EQ(All(Good(PhotosText("wei-1,ana-1")), "data"), (Texts{bad, bad}));
    EXPECT_EQ(All(Good(PhotosText("wei-1,none")), "status"), (Texts{"success", "failed"}));
    fault.badBase64 = std::vector<std::size_t>{2, 9};
    Set(fault, Endpoint::kFacePhotos);
    const Texts data = All(Good(PhotosText("wei-1,ana-1,ben-1")), "data");
    EXPECT_EQ(data[0], Base64(ReadBytes(kGalleryFolder + "/lin.wei-1.png")));
    EXPECT_EQ(data[1], bad);
    EXPECT_EQ(data[2], Base64(ReadBytes(kGalleryFolder + "/ben.okafor-1.png")));
}

TEST_F(FaceFaults, SingleItemsFail) {
    RestFault fault;
    fault.failItems = {2, 5};
    fault.photoBytes = {10};
    fault.results = 5;
    Set(fault, Endpoint::kFacePhotos);
    const Json answer = Good(PhotosText("wei-1,ana-1"));
    EXPECT_EQ(answer["status"], "success");
    EXPECT_EQ(All(answer, "status"), (Texts{"success", "failed", "success", "success", "failed"}));
    EXPECT_EQ(answer["results"][1],
              Json::parse(R"({"photoid":"ana-1","status":"failed",)"
                          R"("code":"FAILED_ON_COMMAND","message":"failed on command"})"));
    EXPECT_EQ(answer["results"][4]["photoid"], "extra-5");
}

}  // namespace
}  // namespace quor_test
