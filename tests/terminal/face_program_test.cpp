// 'face detect' and 'face identify' against the simulator, each a process of its own.
#include <signal.h>

#include <string>
#include <vector>

#include "face_program_fixture.h"

namespace quor_terminal {
namespace {

// ---- face detect ----

TEST_F(FaceProgramTest, TheCandidateThatAnswersIsNamedAndTheOtherOnesReason) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServices(simulator));
    Tell(simulator, "http-fault faceVersion status=401 port=second");
    const Words detect =
        Face(simulator, {"detect"}, {"--server", second + ";" + first + ";face.test", "--all"});
    EXPECT_EQ(Run(detect), kExitOk) << Errors();
    EXPECT_EQ(Errors(), "");
    EXPECT_EQ(Output().rfind("CANDIDATE", 0), 0U) << Output();
    EXPECT_EQ(LineCount(Output()), 5U) << Output();
    EXPECT_TRUE(Contains(Output(), "https://" + first + "  taken\n")) << Output();
    EXPECT_TRUE(Contains(Output(), "failed     refuses the account or its password: HTTP status 401\n"));
    EXPECT_TRUE(Contains(Output(), "https://face.test:443    not-asked  no IPv4 address"));
    EXPECT_TRUE(Contains(Output(), "\nthe face service is https://" + first + "\n"));
    Words json = detect;
    json.emplace_back("--json");
    EXPECT_EQ(Run(json), kExitOk) << Errors();
    ASSERT_EQ(DocumentsOf("candidate").size(), 3U) << Output();
    const Json expected = {
        {"kind", "candidate"}, {"url", "https://" + second},
        {"state", "failed"},   {"stage", "answer"},
        {"httpStatus", 401},   {"problem", "refuses the account or its password: HTTP status 401"}};
    const std::vector<Json> candidates = DocumentsOf("candidate");
    EXPECT_EQ(std::count(candidates.begin(), candidates.end(), expected), 1) << Output();
    EXPECT_EQ(DocumentsOf("service"),
              std::vector<Json>({{{"kind", "service"}, {"url", "https://" + first}}}));
}

TEST_F(FaceProgramTest, WithoutAllTheFirstAnswerEndsIt) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServices(simulator));
    // A redirect is an answer to the library, too.
    Tell(simulator, "http-fault faceVersion status=302 port=first");
    Tell(simulator, "http-fault faceVersion hold port=second");
    EXPECT_EQ(Run(Face(simulator, {"detect"}, {"--server", first + ";" + second})), kExitOk) << Errors();
    EXPECT_TRUE(Contains(Output(), "https://" + first + "  taken\n")) << Output();
    EXPECT_TRUE(Contains(Output(), "https://" + second + "  asked  no answer yet\n")) << Output();
}

TEST_F(FaceProgramTest, WhyThereIsNoService) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServices(simulator));
    std::string servers = first + ";" + second;
    const auto expect = [&](const Words& more, int status, const std::string& stage,
                            const std::string& part) {
        Words options = {"--server", servers};
        options.insert(options.end(), more.begin(), more.end());
        for (const Words& words : {Words{"detect"}, Words{"identify", Probe("ana.torres")},
                                   Words{"photos", "ana.torres", "--out", directory.File("photos")}}) {
            ExpectFaceFailure(Face(simulator, words, options), "face " + words[0], status, stage, part);
            ASSERT_EQ(DocumentsOf("failure").size(), 1U);
            EXPECT_EQ(DocumentsOf("failure")[0]["candidates"].size(), 2U);
        }
    };
    WriteWholeFile(directory.File("face-password"), "wrong\n");
    expect({}, kExitRefused, "search", "check --account and the password");
    WriteWholeFile(directory.File("face-password"), "quor-face-demo\n");
    Tell(simulator, "http-fault faceVersion status=503");
    expect({}, kExitUnreachable, "search", "answered with the HTTP status 503");
    Tell(simulator, "http-fault faceVersion status=204");
    expect({}, kExitFailure, "search", "A face service does not answer so");
    Tell(simulator, "http-fault faceVersion status=404 port=second");
    expect({}, kExitRefused, "search", "There is no face service at this address");
    Tell(simulator, "http-fault faceVersion hold");
    expect({"--timeout", "0.5"}, kExitNoAnswer, "timeout", "Give it longer with --timeout");
    Tell(simulator, "http-clear faceVersion");
    Tell(simulator, "certificate selfSigned");
    expect({}, kExitNotTrusted, "search", "with --ca-file or --ca-dir");
    expect({"--ca-file", directory.File("missing")}, kExitFailure, "search", "cannot be found");
    const QuorTest::ClosedPort nobody;
    const QuorTest::ClosedPort nobodyElse;
    const std::string last = "127.0.0.1:" + std::to_string(nobodyElse.Port());
    servers = "127.0.0.1:" + std::to_string(nobody.Port()) + ";" + last;
    expect({}, kExitUnreachable, "search", "https://" + last + ": connect: ");
}

TEST_F(FaceProgramTest, SealedPasswords) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServices(simulator));
    const std::string key = directory.File("key");
    for (const char* const domain : {"QuorUIConf", "QuorUILogin"}) {
        const int input = open(directory.File("face-password").c_str(), O_RDONLY | O_CLOEXEC);
        terminal.Start({QUOR_TERMINAL_PROGRAM, "seal", "--key-file", key, "--create-key", "--domain", domain},
                       directory.File(domain), directory.File("err"), input);
        close(input);
        ASSERT_EQ(terminal.Wait(), kExitOk) << Errors();
    }
    const auto with = [&](const char* domain) {
        return Face(simulator, {"detect"},
                    {"--sealed-password-file", directory.File(domain), "--key-file", key});
    };
    EXPECT_EQ(Run(with("QuorUIConf")), kExitOk) << Errors();
    // Unlike the login's, the face service's password opens under one domain only.
    EXPECT_EQ(Run(with("QuorUILogin")), kExitFailure);
    EXPECT_TRUE(Contains(Errors(), "https://" + first + ": key: ")) << Errors();
    EXPECT_TRUE(Contains(Errors(), "for the domain QuorUIConf.")) << Errors();
    WriteWholeFile(directory.File("face-password"), std::string(382, 'p'));
    EXPECT_EQ(Run(Face(simulator, {"detect"})), kExitFailure);
    EXPECT_TRUE(Contains(Errors(), "longer than 381 bytes")) << Errors();
}

TEST_F(FaceProgramTest, AWatcherIsToldEveryChange) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServices(simulator));
    Tell(simulator, "http-fault faceVersion hold port=second times=1");
    StartTerminal(Face(simulator, {"detect"}, {"--server", first + ";" + second, "--watch"}));
    ASSERT_TRUE(WaitUntil([&] { return LineCount(Output()) >= 2; })) << Errors();
    EXPECT_TRUE(Contains(Output(), "  https://" + first + "  answered\n")) << Output();
    EXPECT_TRUE(Contains(Output(), "  https://" + first + "  taken: it is the face service now\n"));
    EXPECT_FALSE(Contains(Output(), second)) << Output();
    WaitForRequests(simulator, "/version", 2);
    Tell(simulator, "http-release faceVersion");
    ASSERT_TRUE(WaitUntil([&] { return LineCount(Output()) >= 4; })) << Errors();
    EXPECT_TRUE(Contains(Output(), "  https://" + second + "  answered\n")) << Output();
    EXPECT_TRUE(Contains(Output(), "  https://" + second + "  taken: it is the face service now\n"));
    terminal.Signal(SIGINT);
    EXPECT_EQ(terminal.Wait(), kExitOk) << Errors();
    EXPECT_EQ(LineCount(Output()), 4U) << Output();
    EXPECT_EQ(Errors(), "");
}

TEST_F(FaceProgramTest, AWatchEndsWhenItsTimeIsOver) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServices(simulator));
    Tell(simulator, "http-fault faceVersion status=401");
    EXPECT_EQ(Run(Face(simulator, {"detect"}, {"--watch", "--for", "0.3", "--timeout", "0.1", "--json"})),
              kExitOk);
    EXPECT_EQ(DocumentsOf("failure").size(), 0U) << Output();
}

// ---- face identify ----

TEST_F(FaceProgramTest, WhoIsOnAPicture) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServices(simulator));
    EXPECT_EQ(Run(Identify(simulator, "lin.wei", {"--progress"})), kExitOk) << Errors();
    EXPECT_EQ(
        Output().rfind("NAME  USER ID  PHOTO ID  SCORE\n\xE6\x9E\x97\xE4\xBC\x9F  lin.wei  wei-1     ", 0),
        0U)
        << Output();
    EXPECT_TRUE(Contains(Errors(), "looking for the face service\n")) << Errors();
    EXPECT_TRUE(Contains(Errors(), "asking https://" + first + " who this is: ")) << Errors();
    EXPECT_EQ(Run(Identify(simulator, "ana.torres", {"--json", "--server", first + ";face.test"})), kExitOk);
    EXPECT_TRUE(Contains(Errors(), "https://face.test:443 was not asked: no IPv4 address")) << Errors();
    ASSERT_EQ(Documents().size(), 1U) << Output();
    const Json identity = Documents()[0];
    EXPECT_EQ(identity["kind"], "identity");
    EXPECT_EQ(identity["known"], true);
    EXPECT_EQ(identity["name"], "Ana Torres");
    EXPECT_EQ(identity["userId"], "ana.torres");
    EXPECT_EQ(identity["photoId"].get<std::string>().rfind("ana-", 0), 0U);
    EXPECT_GE(identity["score"], 75);
}

TEST_F(FaceProgramTest, NobodyAlike) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServices(simulator));
    const auto expectNobody = [&](const std::string& person) {
        EXPECT_EQ(Run(Identify(simulator, person)), kExitNotFound) << Errors();
        EXPECT_EQ(Output(), "no match\n");
        EXPECT_EQ(Errors(), "");
        EXPECT_EQ(Run(Identify(simulator, person, {"--json"})), kExitNotFound) << Errors();
        EXPECT_EQ(Documents(), std::vector<Json>({{{"kind", "identity"}, {"known", false}}}));
    };
    expectNobody("stranger");
    Tell(simulator, "http-fault faceIdentify scores=74.9");
    expectNobody("ana.torres");
    Tell(simulator, "http-fault faceIdentify scores=90,70");
    expectNobody("ana.torres");
    Tell(simulator, "http-fault faceIdentify results=0");
    expectNobody("ana.torres");
    Tell(simulator, "http-fault faceIdentify scores=75");
    EXPECT_EQ(Run(Identify(simulator, "ana.torres", {"--json"})), kExitOk) << Errors();
    EXPECT_EQ(Documents().at(0)["score"], 75);
}

TEST_F(FaceProgramTest, PicturesThatAreNone) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServices(simulator));
    EXPECT_EQ(Run(Face(simulator, {"identify", directory.File("missing.jpg")})), kExitFailure);
    EXPECT_TRUE(Contains(Errors(), "missing.jpg: No such file")) << Errors();
    EXPECT_FALSE(Contains(Tell(simulator, "requests"), "/eua/"));
    ExpectFaceFailure(Face(simulator, {"identify", directory.File("token")}), "face identify", kExitRefused,
                      "answer", "(PICTURE_UNREADABLE)");
    EXPECT_EQ(DocumentsOf("failure").at(0)["code"], "PICTURE_UNREADABLE");
}

TEST_F(FaceProgramTest, AnswersToAPictureThatAreNone) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServices(simulator));
    const Words identify = Identify(simulator, "ana.torres");
    const auto expect = [&](const std::string& fault, int status, const std::string& part) {
        Tell(simulator, "http-fault faceIdentify " + fault);
        ExpectFaceFailure(identify, "face identify", status, "answer", part);
    };
    expect("status=401", kExitRefused, "check --account and the password");
    expect("status=413", kExitRefused, "larger than the face service takes");
    expect("status=500", kExitUnreachable, "HTTP status 500");
    expect("status=204", kExitFailure, "the HTTP status 204");
    expect("cut=before", kExitUnreachable, "try again later");
    for (const char* const content : {"badJson", "notJson", "otherJson", "empty"}) {
        expect(std::string("content=") + content, kExitFailure, "it is not what the request asks for: ");
    }
    expect("omit=userid", kExitFailure, "prase photos_result faild");
}

TEST_F(FaceProgramTest, ARequestThatIsLateOrStopped) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServices(simulator));
    const Words commands[] = {Identify(simulator, "ana.torres", {"--json", "--progress"}),
                              Photos(simulator, {"ana.torres"}, {"--json", "--progress"})};
    Tell(simulator, "http-fault faceIdentify hold");
    Tell(simulator, "http-fault faceUserPhotos hold");
    for (Words command : commands) {
        StartTerminal(command);
        ASSERT_TRUE(WaitUntil([&] { return Contains(Errors(), "asking https://"); }));
        terminal.Signal(SIGINT);
        EXPECT_EQ(terminal.Wait(), kExitStopped) << Errors();
        ASSERT_EQ(Documents().size(), 1U) << Output();
        EXPECT_EQ(Documents()[0]["stage"], "stopped");
        command.insert(command.end(), {"--timeout", "0.5"});
        EXPECT_EQ(Run(command), kExitNoAnswer) << Errors();
        ASSERT_EQ(Documents().size(), 1U) << Output();
        EXPECT_EQ(Documents()[0]["stage"], "timeout");
    }
    Tell(simulator, "http-fault faceVersion hold");
    const std::size_t before = CountRequests(simulator, "/version");
    StartTerminal(Face(simulator, {"detect"}, {"--json"}));
    WaitForRequests(simulator, "/version", before + 1);
    terminal.Signal(SIGINT);
    EXPECT_EQ(terminal.Wait(), kExitStopped) << Errors();
    ASSERT_EQ(Documents().size(), 1U) << Output();
    EXPECT_EQ(Documents()[0]["stage"], "stopped");
}

}  // namespace
}  // namespace quor_terminal
