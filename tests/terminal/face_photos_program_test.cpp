// 'face photos' against the simulator, each a process of its own.
#include <signal.h>

#include <string>
#include <vector>

#include "face_program_fixture.h"

namespace quor_terminal {
namespace {

using FacePhotosProgramTest = FaceProgramTest;

std::string GalleryFile(const std::string& name) {
    return ReadWholeFile(std::string(QUOR_GALLERY) + "/" + name);
}

TEST_F(FacePhotosProgramTest, AreSavedAsTheServiceHasThem) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServices(simulator));
    EXPECT_EQ(Run(Photos(simulator, {"ana.torres", "omar.haddad"}, {"--progress"})), kExitOk) << Errors();
    EXPECT_EQ(Saved(), (std::vector<std::string>{"ana.torres.png", "omar.haddad.jpg"}));
    const std::string ana = GalleryFile("ana.torres-1.png");
    const std::string omar = GalleryFile("omar.haddad-1.jpg");
    EXPECT_EQ(ReadWholeFile(directory.File("photos/ana.torres.png")), ana);
    EXPECT_EQ(ReadWholeFile(directory.File("photos/omar.haddad.jpg")), omar);
    EXPECT_TRUE(Contains(Output(), "\nana.torres   " + std::to_string(ana.size()) + "  " +
                                       directory.File("photos/ana.torres.png") + "\n"))
        << Output();
    const std::string total = std::to_string(ana.size() + omar.size());
    EXPECT_TRUE(Contains(Output(), "\n2 photos saved, " + total + " bytes\n")) << Output();
    EXPECT_TRUE(Contains(Errors(), "photos: 2 of 2, " + total + " bytes\n")) << Errors();
}

TEST_F(FacePhotosProgramTest, ByPhotoIdAndAsDocuments) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServices(simulator));
    EXPECT_EQ(Run(Photos(simulator, {"ana-2", "nobody"}, {"--by-photo-id", "--json"})), kExitNotFound)
        << Errors();
    const std::string photo = GalleryFile("ana.torres-2.jpg");
    const std::string file = directory.File("photos/ana-2.jpg");
    EXPECT_EQ(ReadWholeFile(file), photo);
    const std::vector<Json> expected = {
        {{"kind", "photo"}, {"id", "ana-2"}, {"saved", true}, {"bytes", photo.size()}, {"file", file}},
        {{"kind", "photo"},
         {"id", "nobody"},
         {"saved", false},
         {"code", "NOT_FOUND"},
         {"message", "there is no such picture"}},
        {{"kind", "photos"},
         {"asked", 2},
         {"saved", 1},
         {"bytes", photo.size()},
         {"missing", Json::array()},
         {"losses", Json::array()}}};
    EXPECT_EQ(Documents(), expected) << Output();
    EXPECT_EQ(Run(Photos(simulator, {"nobody"})), kExitNotFound) << Errors();
    EXPECT_TRUE(Contains(Output(), "there is no such picture (NOT_FOUND)\n0 photos saved")) << Output();
}

TEST_F(FacePhotosProgramTest, ComeInAsManyNotificationsAsTheyNeed) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServices(simulator));
    Tell(simulator, "http-fault faceUserPhotos photoBytes=2000000");
    EXPECT_EQ(Run(Photos(simulator, {"a", "b", "c", "d", "e"})), kExitOk) << Errors();
    EXPECT_EQ(Saved(), (std::vector<std::string>{"a.bin", "b.bin", "c.bin", "d.bin", "e.bin"}));
    for (const std::string& name : Saved()) {
        EXPECT_EQ(std::filesystem::file_size(directory.File("photos/" + name)), 2000000U) << name;
    }
    EXPECT_NE(ReadWholeFile(directory.File("photos/a.bin")), ReadWholeFile(directory.File("photos/b.bin")));
    EXPECT_TRUE(Contains(Output(), "5 photos saved, 10000000 bytes\n")) << Output();
    Words twelve;
    for (char id = 'a'; id < 'a' + 12; ++id) {
        twelve.emplace_back(1, id);
    }
    // The service sends thirteen; the library hands on as many as can be asked for.
    Tell(simulator, "http-fault faceUserPhotos photoBytes=348160 results=13");
    EXPECT_EQ(Run(Photos(simulator, twelve, {"--force"})), kExitOk) << Errors();
    EXPECT_EQ(Saved().size(), 12U);
}

TEST_F(FacePhotosProgramTest, WhatNeverComesIsToldWithoutWaitingForIt) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServices(simulator));
    const auto expectMissing = [&](const std::string& fault, const Words& ids, const Json& missing,
                                   const Json& losses) {
        SCOPED_TRACE(fault);
        Tell(simulator, "http-fault faceUserPhotos " + fault);
        const Words photos = Photos(simulator, ids, {"--force", "--json"});
        EXPECT_EQ(Run(photos), kExitNotFound) << Errors();
        EXPECT_TRUE(Contains(Errors(), "not everything came: " + losses[0].get<std::string>())) << Errors();
        const std::vector<Json> documents = DocumentsOf("photos");
        ASSERT_EQ(documents.size(), 1U) << Output();
        EXPECT_EQ(documents[0]["missing"], missing);
        EXPECT_EQ(documents[0]["losses"], losses);
    };
    const Words three = {"a", "b", "c"};
    expectMissing("photoBytes=1,4194000,1", three, {"b"},
                  {"a photo of 4194000 bytes is too big for the library"});
    EXPECT_EQ(Saved(), (std::vector<std::string>{"a.bin", "c.bin"}));
    expectMissing("photoBytes=4194000", {"a"}, {"a"},
                  {"a photo of 4194000 bytes is too big for the library"});
    expectMissing("photoBytes=9 results=1", three, {"b", "c"}, {"the service sent nothing under 2 ids"});
    expectMissing("results=0", {"a"}, {"a"}, {"the service sent nothing under 1 id"});
    expectMissing("photoBytes=9 omit=status", {"a", "b"}, {"a", "b"}, {"2 items could not be read"});
    // An empty photo and one that is no base64 are results without a photo.
    Tell(simulator, "http-fault faceUserPhotos photoBytes=9 badBase64=2");
    EXPECT_EQ(Run(Photos(simulator, three, {"--force"})), kExitNotFound) << Errors();
    EXPECT_TRUE(Contains(Output(), "\nb                ")) << Output();
    EXPECT_TRUE(Contains(Output(), "  no photo\n")) << Output();
    EXPECT_TRUE(Contains(Output(), "2 photos saved, 18 bytes\n")) << Output();
    EXPECT_EQ(Errors(), "");
}

TEST_F(FacePhotosProgramTest, ReplaceNothingUnlessItIsWanted) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServices(simulator));
    std::filesystem::create_directory(directory.File("photos"));
    const std::string file = directory.File("photos/ana.torres.png");
    WriteWholeFile(file, "before");
    EXPECT_EQ(Run(Photos(simulator, {"ana.torres", "omar.haddad"})), kExitFailure);
    EXPECT_TRUE(Contains(Output(), file + " is there already; --force replaces it\n")) << Output();
    EXPECT_TRUE(Contains(Output(), "\n1 photo saved, ")) << Output();
    EXPECT_EQ(ReadWholeFile(file), "before");
    EXPECT_EQ(Run(Photos(simulator, {"ana.torres"}, {"--force"})), kExitOk) << Errors();
    EXPECT_EQ(ReadWholeFile(file), GalleryFile("ana.torres-1.png"));
    EXPECT_EQ(Saved(), (std::vector<std::string>{"ana.torres.png", "omar.haddad.jpg"}));
    // Without a place to put them nothing is asked for.
    EXPECT_EQ(Run(Photos(simulator, {"nobody"}, {"--out", file})), kExitUsage) << "given twice";
    EXPECT_EQ(Run(Face(simulator, {"photos", "nobody", "--out", file})), kExitFailure);
    EXPECT_TRUE(Contains(Errors(), file + ": Not a directory")) << Errors();
    EXPECT_FALSE(Contains(Tell(simulator, "requests"), "users/nobody/data"));
}

// What the service calls its photos cannot lead out of the directory.
TEST_F(FacePhotosProgramTest, IdsThatAreNotWhatWasAskedFor) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServices(simulator));
    WriteWholeFile(directory.File("evil.json"), R"({
        "conference": "conf-evil", "languages": ["en-US"], "people": [],
        "steps": [{"at": 0, "kind": "httpFault", "endpoint": "faceUserPhotos", "body": {"results": [
            {"userid": "../../evil", "status": "success", "data": "QUJD"},
            {"userid": "..", "status": "success", "data": "QUJD"},
            {"userid": "\u001b[2J\u0007", "status": "failed", "code": "\u001b", "message": "\u001b[2Jx"}]}}]})");
    Tell(simulator, "play " + directory.File("evil.json"));
    ASSERT_TRUE(WaitUntil([&] { return Contains(Tell(simulator, "stats json"), "\"finished\":true"); }));
    EXPECT_EQ(Run(Photos(simulator, {"ana.torres"})), kExitNotFound) << Errors();
    EXPECT_EQ(Saved(), (std::vector<std::string>{"_...bin", "_.._.._evil.bin"}));
    EXPECT_FALSE(std::filesystem::exists(directory.File("evil.bin")));
    EXPECT_FALSE(Contains(Output(), "\x1b")) << Output();
    EXPECT_FALSE(Contains(Errors(), "\x1b")) << Errors();
    EXPECT_TRUE(Contains(Output(), "\nana.torres ")) << Output();
    EXPECT_TRUE(Contains(Errors(), "the service sent nothing under 1 id")) << Errors();
}

TEST_F(FacePhotosProgramTest, AnswersThatAreNone) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServices(simulator));
    const auto expect = [&](const std::string& fault, int status, const std::string& part) {
        Tell(simulator, "http-fault faceUserPhotos " + fault);
        ExpectFaceFailure(Photos(simulator, {"ana.torres", "omar.haddad"}), "face photos", status, "answer",
                          part);
        EXPECT_EQ(Saved().size(), 0U);
    };
    expect("status=401", kExitRefused, "check --account and the password");
    expect("status=500", kExitUnreachable, "HTTP status 500");
    expect("status=302", kExitFailure, "the HTTP status 302");
    expect("cut=body", kExitUnreachable, "try again later");
    for (const char* const content : {"badJson", "notJson", "otherJson", "empty"}) {
        expect(std::string("content=") + content, kExitFailure, "it is not what the request asks for: ");
    }
}

}  // namespace
}  // namespace quor_terminal
