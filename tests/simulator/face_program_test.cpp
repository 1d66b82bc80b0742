/* face_program_test.cpp - the program as a face service: options, ports, commands, and what it never shows.
 */
#include "face_fixture.h"
#include "program_fixture.h"

namespace quor_test {
namespace {

using nlohmann::json;

class FaceProgram : public Program {};

TEST_F(FaceProgram, OptionsAndCommands) {
    Process process(
        With({"--gallery", kGalleryFolder, "--face-port", "0", "--face-account", "me", "--face-password",
              "p4ss word", "--ready-file", Path("ready"), "--stats-file", Path("stats")}));
    const json ready = json::parse(process.ReadLine());
    EXPECT_EQ(ReadJson(Path("ready")), ready);
    ASSERT_TRUE(ready["facePort"].is_number());
    HttpsClient first;
    HttpsClient second;
    ASSERT_TRUE(first.Connect(ready["port"], ready["caFile"]));
    ASSERT_TRUE(second.Connect(ready["facePort"], ready["caFile"]));
    const std::string credentials = CredentialLines("me", "p4ss word");
    const std::string version = FaceText("GET", kVersionTarget, "", credentials);
    const std::string photos = FaceText("GET", "/eua/face/v1/users/lin.wei,ana.torres/data", "", credentials);
    const std::string question =
        FaceText("POST", kIdentifyTarget, IdentifyBody(Probe("lin.wei")), credentials);
    EXPECT_EQ(first.Ask(VersionText()).status, 401U);
    EXPECT_EQ(first.Ask(version).status, 200U);
    EXPECT_EQ(json::parse(second.Ask(question).body)["results"][0]["userid"], "lin.wei");

    const auto ask = [&](const std::string& command) { return json::parse(process.Ask(command)); };
    EXPECT_EQ(ask("http-fault faceVersion status=302 port=second flap=1")["answer"],
              "requests of the kind faceVersion meet a fault");
    EXPECT_EQ(first.Ask(version).status, 200U);
    EXPECT_EQ(second.Ask(version).status, 200U);
    EXPECT_EQ(second.Ask(version).status, 302U);
    EXPECT_EQ(ask("http-fault faceIdentify scores=90,74.5,75 results=2")["ok"], true);
    const json matches = json::parse(first.Ask(question).body)["results"];
    ASSERT_EQ(matches.size(), 2U);
    EXPECT_EQ(matches[0]["score"], 90.0);
    EXPECT_EQ(matches[1]["score"], 74.5);
    EXPECT_EQ(ask("http-fault faceUserPhotos results=3 photoBytes=0,1 badBase64=2 failItems=3")["ok"], true);
    const json results = json::parse(first.Ask(photos).body)["results"];
    ASSERT_EQ(results.size(), 3U);
    EXPECT_EQ(results[0]["data"], "");
    EXPECT_EQ(results[1]["data"], "*** this is no base64 ***");
    EXPECT_EQ(results[2]["status"], "failed");
    EXPECT_EQ(ask("http-fault faceUserPhotos badBase64")["ok"], true);
    EXPECT_EQ(json::parse(first.Ask(photos).body)["results"][0]["data"], "*** this is no base64 ***");

    const std::string requests = ask("requests")["answer"];
    EXPECT_NE(requests.find("302 GET /eua/face/v1/version on the second port"), std::string::npos)
        << requests;
    EXPECT_NE(requests.find("200 GET /eua/face/v1/version;"), std::string::npos) << requests;
    const std::string statistics = ask("stats json")["answer"];
    EXPECT_EQ(ask("quit")["ok"], true);
    EXPECT_EQ(process.Wait(), 0);
    EXPECT_EQ(ReadJson(Path("stats"))["http"]["endpoints"]["faceVersion"],
              json::parse(R"({"requests":5,"good":3,"refused":1,"faulty":1,"tokenRefused":1})"));
    for (const std::string& shown : {requests, statistics, process.rest(), ReadBytes(Path("stats"))}) {
        EXPECT_EQ(shown.find("p4ss word"), std::string::npos);
        EXPECT_EQ(shown.find(Base64("p4ss word")), std::string::npos);
    }
}

TEST_F(FaceProgram, BadSettingsAreRefused) {
    Process process(With({}));
    EXPECT_FALSE(json::parse(process.ReadLine()).contains("facePort"));
    for (const char* setting :
         {"flap=0",       "flap=x",      "port=third",         "port=",          "results=65", "results=-1",
          "scores=",      "scores=x",    "scores=90,",         "scores=1e16",    "scores=nan", "scores=inf",
          "scores=0x10",  "photoBytes=", "photoBytes=8388609", "photoBytes=1,x", "badBase64=", "badBase64=0",
          "badBase64=65", "failItems=0", "failItems=2,",       "failItems",      "scores",     "hold=1"}) {
        EXPECT_EQ(json::parse(process.Ask(std::string("http-fault faceIdentify ") + setting))["ok"], false)
            << setting;
    }
    const std::string usage = json::parse(process.Ask("http-fault faceIdentify"))["answer"];
    for (const char* part : {"[flap=N]", "[port=first, second]", "[results=N]", "[scores=N,...]",
                             "[photoBytes=N,...]", "[badBase64[=PLACE,...]]", "[failItems=PLACE,...]",
                             "faceVersion, faceIdentify, faceUserPhotos, facePhotos"}) {
        EXPECT_NE(usage.find(part), std::string::npos) << part;
    }
}

TEST_F(FaceProgram, SaysWhereItListens) {
    Process process({"--state-dir", Path("state"), "--face-port", "0", "--ready-file", Path("ready")});
    const std::string line = process.ReadLine();
    const json ready = ReadJson(Path("ready"));
    EXPECT_EQ(line, "listening on 127.0.0.1 port " + ready["port"].dump() + " and " +
                        ready["facePort"].dump() + ", CA " + Path("state") + "/ca.pem");
}

TEST_F(FaceProgram, ExitCodes) {
    Process missing(With({"--gallery", "/nonexistent"}));
    EXPECT_EQ(missing.Wait(), 3);
    EXPECT_EQ(missing.rest(), "quor-simulator: /nonexistent/gallery.json: cannot be read\n\n");
    std::ofstream(Path("gallery.json")) << R"({"people":[{"userid":"u","name":"n","photos":[{"photoid":"p",)"
                                           R"("file":"gallery.json"}]}]})";
    Process wrong(With({"--gallery", Path(".")}));
    EXPECT_EQ(wrong.Wait(), 3);
    EXPECT_EQ(wrong.rest(), "quor-simulator: " + Path(".") + "/gallery.json: is no PNG, JPEG or PNM\n\n");
    EXPECT_EQ(Process({"--face-port", "70000"}).Wait(), 2);
    Process first(With({"--face-port", "0"}));
    const std::string port = json::parse(first.ReadLine())["facePort"].dump();
    EXPECT_EQ(Process(With({"--face-port", port})).Wait(), 1);
}

}  // namespace
}  // namespace quor_test
