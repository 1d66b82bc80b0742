/* face_service_test.cpp - the face service: its endpoints, credentials, limits, records and second port. */
#include <thread>

#include "face_fixture.h"

namespace quor_test {
namespace {

using quor_simulator::Endpoint;
using quor_simulator::Error;
using quor_simulator::Options;
using quor_simulator::Port;

class FaceService : public FaceTest {};

TEST_F(FaceService, SaysItsVersion) {
    Start();
    const HttpReply reply = Ask(VersionText());
    EXPECT_EQ(reply.status, 200U);
    EXPECT_EQ(reply.Header("Content-Type"), "application/json;charset=UTF-8");
    EXPECT_EQ(reply.body, R"({"status":"success","version":"1.0"})");
    EXPECT_EQ(Ask(FaceText("POST", kVersionTarget, "{}")).Header("Allow"), "GET");
}

TEST_F(FaceService, EveryEndpointChecksBothCredentials) {
    Options options;
    options.tokens = {"none but this"};
    options.faceAccount = "someone";
    options.facePassword = "s3cret:\xc3\xa9";
    StartWithGallery(options);
    const std::string account = "authAccount: " + Base64(options.faceAccount) + "\r\n";
    const std::string password = "authPassword: " + Base64(options.facePassword) + "\r\n";
    const std::pair<std::string, std::string> requests[] = {{"GET", kVersionTarget},
                                                            {"POST", kIdentifyTarget},
                                                            {"GET", "/eua/face/v1/users/ana.torres/data"},
                                                            {"GET", "/eua/face/v1/photos/ana-1/data"}};
    HttpsClient link;
    ASSERT_TRUE(Connect(link));
    for (const auto& [method, target] : requests) {
        const std::string body = method == "POST" ? IdentifyBody(Probe("ana.torres")) : "";
        for (const std::string& wrong :
             {std::string(), account, password, account + "authPassword:\r\n",
              account + "authPassword: " + options.facePassword + "\r\n",
              account + "authPassword: " + Base64("s3cret") + "\r\n",
              "authAccount: " + Base64("else") + "\r\n" + password, CredentialLines()}) {
            const HttpReply reply = link.Ask(FaceText(method, target, body, wrong));
            EXPECT_EQ(reply.status, 401U) << target << "\n" << wrong;
            EXPECT_EQ(reply.body, R"({"message":"authAccount or authPassword is missing or wrong"})");
        }
        EXPECT_EQ(link.Ask(FaceText(method, target, body, account + password)).status, 200U) << target;
        EXPECT_EQ(
            link.Ask(FaceText(method, target, body, "AUTHACCOUNT" + account.substr(11) + password)).status,
            200U);
    }
    const auto statistics = rest().GetStatistics();
    for (const char* name : {"faceVersion", "faceIdentify", "faceUserPhotos", "facePhotos"}) {
        EXPECT_EQ(statistics.endpoints.at(name).requests, 10U) << name;
        EXPECT_EQ(statistics.endpoints.at(name).tokenRefused, 8U) << name;
        EXPECT_EQ(statistics.endpoints.at(name).good, 2U) << name;
    }
}

TEST_F(FaceService, IdentifiesWhoIsInThePicture) {
    StartWithGallery();
    const Json answer = Good(IdentifyText(Probe("chloe.martin")));
    EXPECT_EQ(answer["status"], "success");
    ASSERT_EQ(answer["results"].size(), 1U);
    const Json& best = answer["results"][0];
    EXPECT_EQ(best.size(), 4U);
    EXPECT_EQ(best["userid"], "chloe.martin");
    EXPECT_EQ(best["photoid"], "chloe-1");
    EXPECT_EQ(best["name"], "Chlo\xc3\xa9 Martin");
    EXPECT_GT(best["score"], 90.0);
    EXPECT_EQ(
        Good(IdentifyText(ReadBytes(kGalleryFolder + "/chloe.martin-2.jpg")))["results"][0],
        Json::parse(R"({"userid":"chloe.martin","photoid":"chloe-2","score":100.0,"name":"Chloé Martin"})"));
    EXPECT_LT(Good(IdentifyText(Probe("stranger")))["results"][0]["score"], 60.0);
}

TEST_F(FaceService, LimitIsHowManyComeBestFirst) {
    StartWithGallery();
    EXPECT_EQ(All(Good(IdentifyText(Probe("lin.wei"), 8)), "userid").size(), 8U);
    const Json answer = Good(IdentifyText(Probe("lin.wei"), 1000000));
    const Numbers scores = All<double>(answer, "score");
    ASSERT_EQ(scores.size(), 8U);
    EXPECT_TRUE(std::is_sorted(scores.rbegin(), scores.rend()));
    for (const double score : scores) {
        EXPECT_EQ(score * 10, std::round(score * 10)) << "one decimal";
        EXPECT_GE(score, 0);
    }
    EXPECT_EQ(All(Good(IdentifyText(Probe("lin.wei"), 2)), "userid"),
              (Texts{"lin.wei", All(answer, "userid")[1]}));
}

TEST_F(FaceService, WithoutAGalleryNobodyIsFound) {
    Start();
    EXPECT_EQ(Ask(IdentifyText(Probe("lin.wei"))).body, R"({"status":"success","results":[]})");
    EXPECT_EQ(Good(UserPhotosText("lin.wei"))["results"][0]["status"], "failed");
}

TEST_F(FaceService, PicturesThatCannotBeReadAreAnsweredWithAReason) {
    StartWithGallery();
    const auto reason = [&](const std::string& body) {
        const Json answer = Good(FaceText("POST", kIdentifyTarget, body));
        EXPECT_EQ(answer["status"], "failed");
        EXPECT_EQ(answer["code"], "PICTURE_UNREADABLE");
        EXPECT_FALSE(answer.contains("results"));
        return answer["message"].get<std::string>();
    };
    EXPECT_EQ(reason(IdentifyBody("GIF89a")), "the picture is no PNG, JPEG or PNM");
    EXPECT_EQ(reason(IdentifyBody("")), "the picture is no PNG, JPEG or PNM");
    EXPECT_EQ(reason(IdentifyBody(Probe("lin.wei").substr(0, 2000))), "the picture is damaged or too large");
    for (const char* data :
         {"A", "AB=C", "ABC", "A===", "AB C", "AB\\nC", "====", "AB*D", "QUJD=", "Q\\u0000Ja"}) {
        EXPECT_EQ(reason(R"({"limit":1,"data":")" + std::string(data) + "\"}"), "the picture is no base64")
            << data;
    }
}

TEST_F(FaceService, BadIdentifyRequestsAreRefused) {
    StartWithGallery();
    for (const char* body :
         {"nonsense", "[]", "{}", R"({"limit":1})", R"({"limit":1,"data":5})", R"({"data":"QUJD"})",
          R"({"limit":0,"data":"QUJD"})", R"({"limit":-1,"data":"QUJD"})", R"({"limit":1.5,"data":"QUJD"})",
          R"({"limit":"1","data":"QUJD"})"}) {
        EXPECT_EQ(Ask(FaceText("POST", kIdentifyTarget, body)).status, 400U) << body;
    }
    EXPECT_EQ(Ask("POST " + kIdentifyTarget + " HTTP/1.1\r\nHost: h\r\n" + CredentialLines() +
                  "Content-Length: 2\r\n\r\n{}")
                  .status,
              415U);
}

TEST_F(FaceService, PicturesMayBeLargeAndNothingElse) {
    Options options;
    options.maxPictureBytes = 8U << 20;
    StartWithGallery(options);
    const std::string megabyte = IdentifyText(GreyPicture(1024, 1024));
    const std::string more = IdentifyText(GreyPicture(2048, 2400));
    ASSERT_GT(more.size(), 6500000U);
    HttpsClient link;
    ASSERT_TRUE(Connect(link));
    for (const std::string& request : {megabyte, more, megabyte}) {
        const HttpReply reply = link.Ask(request);
        EXPECT_EQ(reply.status, 200U);
        EXPECT_EQ(Json::parse(reply.body)["results"][0]["score"], 0.0);
    }
    EXPECT_EQ(link.Ask(IdentifyText(std::string(6300000, 'x'))).status, 413U);
    const std::string body(2U << 20, ' ');
    EXPECT_EQ(Ask(FaceText("PUT", kIdentifyTarget, body)).status, 413U) << "another method carries none";
    EXPECT_EQ(Ask(FaceText("POST", kIdentifyTarget + "/more", body)).status, 413U);
    EXPECT_EQ(Ask(ReportText("c", body)).status, 413U);
    EXPECT_EQ(rest().GetStatistics().malformed, 4U);
}

TEST_F(FaceService, ChunkedPicturesHaveTheSameLimit) {
    Options options;
    options.maxPictureBytes = 2U << 20;
    StartWithGallery(options);
    const auto chunked = [](const std::string& target, const std::string& body) {
        std::string text = "POST " + target + " HTTP/1.1\r\nHost: h\r\n" + CredentialLines() +
                           "token: t\r\nContent-Type: application/json\r\nTransfer-Encoding: chunked\r\n\r\n";
        for (std::size_t from = 0; from < body.size(); from += 0x10000) {
            const std::string piece = body.substr(from, 0x10000);
            char length[32];
            snprintf(length, sizeof(length), "%zx\r\n", piece.size());
            text += length + piece + "\r\n";
        }
        return text + "0\r\n\r\n";
    };
    const std::string body = IdentifyBody(GreyPicture(1024, 1024));
    EXPECT_EQ(Ask(chunked(kIdentifyTarget, body)).status, 200U);
    EXPECT_EQ(Ask(chunked(kIdentifyTarget, body + body)).status, 413U);
    EXPECT_EQ(Ask(chunked(SignInsTarget("c") + "/account", body)).status, 413U);
}

TEST_F(FaceService, ClientsMayAskBeforeTheySendAPicture) {
    StartWithGallery();
    const std::string body = IdentifyBody(GreyPicture(1024, 1024));
    HttpsClient link;
    ASSERT_TRUE(Connect(link));
    const std::string request =
        FaceText("POST", kIdentifyTarget, body, CredentialLines() + "Expect: 100-continue\r\n");
    ASSERT_TRUE(link.Send(request.substr(0, request.size() - body.size())));
    EXPECT_EQ(link.Read().status, 100U);
    EXPECT_EQ(link.Ask(body).status, 200U);
}

TEST_F(FaceService, PhotosComeInTheOrderAsked) {
    StartWithGallery();
    const Json users = Good(UserPhotosText("tom.keller,nobody,zoe.adams,tom.keller"));
    EXPECT_EQ(users["status"], "success");
    EXPECT_EQ(All(users, "userid"), (Texts{"tom.keller", "nobody", "zoe.adams", "tom.keller"}));
    EXPECT_EQ(All(users, "status"), (Texts{"success", "failed", "success", "success"}));
    EXPECT_EQ(FromBase64(users["results"][0]["data"]), ReadBytes(kGalleryFolder + "/tom.keller-1.png"));
    EXPECT_EQ(FromBase64(users["results"][2]["data"]), ReadBytes(kGalleryFolder + "/zoe.adams-1.jpg"));
    EXPECT_EQ(users["results"][1], Json::parse(R"({"userid":"nobody","status":"failed","code":"NOT_FOUND",)"
                                               R"("message":"there is no such picture"})"));
    const Json photos = Good(PhotosText("zoe-2,zoe.adams"));
    EXPECT_EQ(All(photos, "photoid"), (Texts{"zoe-2", "zoe.adams"}));
    EXPECT_EQ(All(photos, "status"), (Texts{"success", "failed"}));
    EXPECT_EQ(FromBase64(photos["results"][0]["data"]), ReadBytes(kGalleryFolder + "/zoe.adams-2.jpg"));
}

TEST_F(FaceService, IdsArePercentDecoded) {
    Start();
    const std::string picture = GreyPicture(4, 4);
    rest().SetGallery(
        {{"a,b c", "One", {{"p/1", picture, ""}}}, {"\xe6\x9e\x97", "Two", {{"p2", picture, ""}}}});
    EXPECT_EQ(All(Good(FaceText("GET", "/eua/face/v1/users/a%2Cb%20c,%e6%9e%97/data?x=/y/z")), "userid"),
              (Texts{"a,b c", "\xe6\x9e\x97"}));
    EXPECT_EQ(All(Good(PhotosText("p%2F1,p2")), "status"), (Texts{"success", "success"}));
    EXPECT_EQ(All(Good(PhotosText(",p2,")), "photoid"), (Texts{"", "p2", ""}));
    EXPECT_EQ(All(Good(PhotosText(",p2,")), "status"), (Texts{"failed", "success", "failed"}));
    EXPECT_EQ(Ask(PhotosText("%zz")).status, 400U);
    EXPECT_EQ(Ask(PhotosText("")).status, 404U);
}

TEST_F(FaceService, OneRequestNamesSomeIdsOnly) {
    StartWithGallery();
    const auto ids = [](std::size_t count) {
        std::string list = "x";
        for (std::size_t i = 1; i < count; ++i) {
            list += ",x";
        }
        return list;
    };
    EXPECT_EQ(Good(PhotosText(ids(64)))["results"].size(), 64U);
    const HttpReply reply = Ask(PhotosText(ids(65)));
    EXPECT_EQ(reply.status, 400U);
    EXPECT_EQ(reply.body, R"({"message":"more than 64 ids"})");
}

TEST_F(FaceService, RequestsAreRecorded) {
    StartWithGallery();
    Ask(UserPhotosText("a%2Cb"));
    Ask(IdentifyText(Probe("lin.wei")));
    ASSERT_TRUE(rest().WaitForRequests(Endpoint::kFaceIdentify, 1, kPatience));
    const auto requests = rest().Requests();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[0].endpoint, Endpoint::kFaceUserPhotos);
    EXPECT_EQ(requests[0].target, "/eua/face/v1/users/a%2Cb/data");
    EXPECT_EQ(requests[0].conference, "");
    EXPECT_EQ(requests[0].port, Port::kFirst);
    EXPECT_EQ(requests[0].headers, (quor_simulator::HeaderList{{"Host", "127.0.0.1"},
                                                               {"authAccount", "ZmFjZS1zZXJ2aWNl"},
                                                               {"authPassword", "cXVvci1mYWNlLWRlbW8="}}));
    EXPECT_EQ(requests[1].body, IdentifyBody(Probe("lin.wei")));
}

TEST_F(FaceService, TheGalleryCanBeReplaced) {
    StartWithGallery();
    const std::string picture = ReadBytes(kGalleryFolder + "/ana.torres-1.png");
    rest().SetGallery({{"u1", "One", {{"p1", picture, ""}}}});
    EXPECT_EQ(All(Good(IdentifyText(Probe("ana.torres"), 9)), "userid"), Texts{"u1"});
    const quor_simulator::Gallery bad[] = {
        {{"u2", "Two", {{"p2", "no picture", ""}}}},
        {{"u2", "Two", {}}},
        {{"", "Two", {{"p2", picture, ""}}}},
        {{"u2", "Two", {{"", picture, ""}}}},
        {{"u2", "Two", {{"p2", picture, ""}}}, {"u2", "Three", {{"p3", picture, ""}}}},
        {{"u2", "Two", {{"p2", picture, ""}, {"p2", picture, ""}}}}};
    for (const quor_simulator::Gallery& gallery : bad) {
        EXPECT_THROW(rest().SetGallery(gallery), Error);
        EXPECT_EQ(All(Good(IdentifyText(Probe("ana.torres"), 9)), "userid"), Texts{"u1"});
    }
    simulator().Stop();
    simulator().Start(); /* does not read the folder again */
    EXPECT_EQ(All(Good(IdentifyText(Probe("ana.torres"), 9)), "userid"), Texts{"u1"});
    rest().SetGallery({});
    EXPECT_TRUE(Good(IdentifyText(Probe("ana.torres")))["results"].empty());
}

TEST_F(FaceService, StartFailsWithoutTheGalleryItIsToRead) {
    Options options;
    options.galleryDirectory = "/nonexistent";
    try {
        Start(options);
        FAIL() << "started";
    } catch (const Error& error) {
        EXPECT_STREQ(error.what(), "/nonexistent/gallery.json: cannot be read");
    }
    EXPECT_FALSE(simulator().running());
}

TEST_F(FaceService, TheGalleryMayChangeDuringRequests) {
    StartWithGallery();
    const quor_simulator::Gallery gallery = quor_simulator::ReadGallery(kGalleryFolder);
    std::thread setter([&] {
        for (int i = 0; i < 20; ++i) {
            rest().SetGallery(gallery);
        }
    });
    HttpsClient link;
    ASSERT_TRUE(Connect(link));
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(Json::parse(link.Ask(IdentifyText(Probe("lin.wei"))).body)["results"][0]["userid"],
                  "lin.wei");
    }
    setter.join();
}

class SecondPort : public FaceTest {
protected:
    void StartWithSecondPort(Options options = {}) {
        options.facePort = 0;
        StartWithGallery(std::move(options));
    }
    unsigned int StatusOn(std::uint16_t port, const std::string& request = VersionText()) {
        HttpsClient link;
        return link.Connect(port, simulator().caFile()) ? link.Ask(request).status : 0;
    }
};

TEST_F(SecondPort, IsThereOnlyWhenItIsAskedFor) {
    Start();
    EXPECT_EQ(simulator().facePort(), 0);
    StartWithSecondPort();
    EXPECT_NE(simulator().facePort(), 0);
    EXPECT_NE(simulator().facePort(), simulator().port());
}

TEST_F(SecondPort, ServesTheSameThings) {
    StartWithSecondPort();
    rest().SetConference("c", quor_simulator::GenerateConference(1));
    EXPECT_EQ(StatusOn(simulator().facePort()), 200U);
    EXPECT_EQ(StatusOn(simulator().facePort(), ParticipantsText("c", 0)), 200U);
    EXPECT_EQ(StatusOn(simulator().port()), 200U);
    RawClient client;
    EXPECT_TRUE(client.ConnectStomp(simulator().facePort(), simulator().caFile()));
    std::vector<Port> ports;
    for (const auto& request : rest().Requests()) {
        ports.push_back(request.port);
    }
    EXPECT_EQ(ports, (std::vector<Port>{Port::kSecond, Port::kSecond, Port::kFirst}));
    EXPECT_EQ(rest().GetStatistics().endpoints["faceVersion"].good, 2U);
}

TEST_F(SecondPort, ComesBackAfterARestart) {
    Options options;
    options.moreAddresses = {"::1"};
    StartWithSecondPort(OnHeldPort(options));
    const std::uint16_t port = simulator().facePort();
    simulator().Stop();
    EXPECT_EQ(StatusOn(port), 0U);
    simulator().Start();
    EXPECT_EQ(simulator().facePort(), port);
    EXPECT_EQ(StatusOn(port), 200U);
    HttpsClient link;
    ASSERT_TRUE(link.Connect(port, simulator().caFile(), "::1", "::1"));
    EXPECT_EQ(link.Ask(VersionText()).status, 200U);
}

TEST_F(SecondPort, MustBeFree) {
    StartWithSecondPort();
    Options options;
    options.stateDirectory = StateDirectory();
    options.facePort = simulator().facePort();
    quor_simulator::Simulator other(options);
    try {
        other.Start();
        FAIL() << "started";
    } catch (const Error& error) {
        EXPECT_EQ(error.what(), "cannot listen on 127.0.0.1 port " + std::to_string(*options.facePort) +
                                    ": Address already in use");
    }
    EXPECT_FALSE(other.running());
}

}  // namespace
}  // namespace quor_test
