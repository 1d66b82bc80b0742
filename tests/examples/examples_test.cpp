// The examples as processes of their own, against the simulator in this one.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "quor_platform_linux/host.h"
#include "quor_simulator/simulator.h"
#include "tests/terminal/process.h"

namespace quor_test {
namespace {

using quor_simulator::AnswerFault;
using quor_simulator::AnswerKind;
using quor_simulator::Drop;
using quor_simulator::Endpoint;
using quor_simulator::Milliseconds;
using quor_simulator::Options;
using quor_simulator::Simulator;
using quor_terminal::kPatience;
using quor_terminal::Process;
using quor_terminal::ReadWholeFile;
using quor_terminal::TemporaryDirectory;
using quor_terminal::WaitUntil;
using quor_terminal::WriteWholeFile;
using ::testing::EndsWith;
using ::testing::HasSubstr;

using Header = std::pair<std::string, std::string>;

constexpr char kTopic[] = "/topic/conferences/conf-1/subtitle/en-US";
constexpr char kToken[] = "good-token";
constexpr std::uint16_t kNormalClosure = 1000;
constexpr Milliseconds kBound = kPatience;

std::string Caption(const std::string& name, const std::string& text, bool final) {
    return R"({"uuid":"u","name":")" + name + R"(","text":")" + text + R"(","final":)" +
           (final ? "true" : "false") + R"(,"srcLang":"en-US","startTime":0,"endTime":1})";
}

class ExamplesTest : public testing::Test {
protected:
    void SetUp() override {
        WriteWholeFile(directory.File("token"), std::string(kToken) + "\n");
        Options options;
        options.stateDirectory = directory.File("server");
        options.tokens = {kToken};
        server = std::make_unique<Simulator>(options);
        server->Start();
    }

    // Sealed as a terminal's installation does it.
    void SealPassword(const std::string& password) {
        ASSERT_TRUE(quor_platform::CreateKeyFile(directory.File("key")));
        quor_platform::SetKeyFile(directory.File("key"));
        WriteWholeFile(directory.File("password"), quor_platform::SealSecret("QuorUIConf", password) + "\n");
        quor_platform::SetKeyFile("");
    }

    void Start(const std::string& example, const std::vector<std::string>& arguments, int input = -1) {
        std::vector<std::string> command = {std::string(QUOR_EXAMPLE_PROGRAMS) + "/" + example};
        command.insert(command.end(), arguments.begin(), arguments.end());
        program.Start(command, directory.File("out"), directory.File("err"), input);
    }
    // Host, port and trusted certificates, then the rest.
    void StartWithServer(const std::string& example, std::vector<std::string> more = {}, int input = -1) {
        more.insert(more.begin(), {"localhost", std::to_string(server->port()), server->caFile()});
        Start(example, more, input);
    }
    // One that shows captions of conf-1 in en-US.
    void StartCaptions(const std::string& example, const std::string& password = "quor-demo") {
        ASSERT_NO_FATAL_FAILURE(SealPassword(password));
        StartWithServer(example, {"terminal", directory.File("key"), directory.File("password"), "conf-1",
                                  directory.File("token"), "en-US"});
    }
    void WaitSubscribed() { ASSERT_TRUE(server->WaitForSubscription(kTopic, kBound)) << Errors(); }
    void Say(const std::string& text) { ASSERT_EQ(server->Publish(kTopic, Caption("Ana", text, true)), 1U); }

    std::string Output() const { return ReadWholeFile(directory.File("out")); }
    std::string Errors() const { return ReadWholeFile(directory.File("err")); }

    TemporaryDirectory directory;
    std::unique_ptr<Simulator> server;
    Process program;
};

// ---- All of them ----

std::set<std::string> Sources() {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(QUOR_EXAMPLE_SOURCES)) {
        if (entry.path().extension() == ".cpp") {
            names.insert(entry.path().stem());
        }
    }
    return names;
}

TEST_F(ExamplesTest, EachIsShortDescribedAndSaysHowItIsUsed) {
    const std::string readme = ReadWholeFile(std::string(QUOR_EXAMPLE_SOURCES) + "/README.md");
    EXPECT_GE(Sources().size(), 8U);
    for (const std::string& name : Sources()) {
        SCOPED_TRACE(name);
        const std::string source = ReadWholeFile(std::string(QUOR_EXAMPLE_SOURCES) + "/" + name + ".cpp");
        EXPECT_LT(std::count(source.begin(), source.end(), '\n'), 150);
        EXPECT_THAT(readme, HasSubstr("[" + name + ".cpp](" + name + ".cpp)"));
        Start(name, {"--help"});
        EXPECT_EQ(program.Wait(), 0);
        EXPECT_EQ(Output().rfind("usage: " + name + " ", 0), 0U) << Output();
        EXPECT_EQ(Errors(), "");
        Start(name, {"--nonsense"});
        EXPECT_EQ(program.Wait(), 1);
        EXPECT_EQ(Errors().rfind("usage: " + name + " ", 0), 0U) << Errors();
        EXPECT_EQ(Output(), "");
    }
}

// ---- captions_only ----

using CaptionsOnly = ExamplesTest;

TEST_F(CaptionsOnly, PrintsFinalCaptionsUntilTheServerClosesTheLink) {
    ASSERT_NO_FATAL_FAILURE(StartCaptions("captions_only"));
    ASSERT_NO_FATAL_FAILURE(WaitSubscribed());
    server->Publish(kTopic, Caption("Ana", "Good", false));
    server->Publish(kTopic, Caption("Ana", "Good morning.", true));
    server->Publish(kTopic, Caption("Ben", "Hello.", true));
    server->DropLinks(Drop::kCloseFrame, kNormalClosure, "over");
    EXPECT_EQ(program.Wait(), 0) << Errors();
    EXPECT_EQ(Output(), "Ana: Good morning.\nBen: Hello.\n");
    EXPECT_EQ(Errors(), "captions_only: the server closed the link\n");
}

TEST_F(CaptionsOnly, FailuresAreToldWithTheirReason) {
    server->SetTokens({"another"});
    ASSERT_NO_FATAL_FAILURE(StartCaptions("captions_only"));
    EXPECT_EQ(program.Wait(), 1);
    EXPECT_THAT(Errors(), HasSubstr("token refused"));
    server->RefuseUpgrades(503, 1);
    StartWithServer("captions_only", {"terminal", directory.File("key"), directory.File("password"), "conf-1",
                                      directory.File("token"), "en-US"});
    EXPECT_EQ(program.Wait(), 1);
    EXPECT_THAT(Errors(), HasSubstr("captions_only: no link: "));
    EXPECT_THAT(Errors(), HasSubstr("503"));
    StartWithServer("captions_only", {"terminal", directory.File("key"), directory.File("password"), "conf-1",
                                      directory.File("nothing"), "en-US"});
    EXPECT_EQ(program.Wait(), 1);
    EXPECT_THAT(Errors(), HasSubstr("empty or too long"));
    EXPECT_EQ(Output(), "");
}

// ---- reconnect ----

using Reconnect = ExamplesTest;

TEST_F(Reconnect, ComesBackAndSubscribesAgain) {
    ASSERT_NO_FATAL_FAILURE(StartCaptions("reconnect"));
    for (const char* text : {"one", "two", "three"}) {
        ASSERT_NO_FATAL_FAILURE(WaitSubscribed());
        ASSERT_NO_FATAL_FAILURE(Say(text));
        ASSERT_TRUE(WaitUntil([&] { return Output().find(text) != std::string::npos; }));
        if (text != std::string("three")) {
            server->DropLinks(Drop::kReset);
            ASSERT_TRUE(server->WaitForNoLinks(kBound));
        }
    }
    EXPECT_EQ(server->Subscriptions().size(), 1U);
    server->DropLinks(Drop::kCloseFrame, kNormalClosure, "over");
    EXPECT_EQ(program.Wait(), 0) << Errors();
    EXPECT_EQ(Output(), "Ana: one\nAna: two\nAna: three\n");
    EXPECT_THAT(Errors(), HasSubstr("; again in "));
    EXPECT_EQ(server->GetStatistics().linksAccepted, 3U);
}

TEST_F(Reconnect, DoesNotTryRefusedCredentialsAgain) {
    ASSERT_NO_FATAL_FAILURE(StartCaptions("reconnect", "wrong"));
    EXPECT_EQ(program.Wait(), 1);
    EXPECT_THAT(Errors(), HasSubstr("reconnect: given up: "));
    EXPECT_EQ(server->GetStatistics().upgrades401, 1U);
}

// ---- graceful_stop ----

using GracefulStop = ExamplesTest;

TEST_F(GracefulStop, EndsInOrderOnEitherSignal) {
    ASSERT_NO_FATAL_FAILURE(SealPassword("quor-demo"));
    for (const int signal : {SIGINT, SIGTERM}) {
        const std::uint64_t before = server->GetStatistics().framesIn;
        StartWithServer("graceful_stop", {"terminal", directory.File("key"), directory.File("password"),
                                          "conf-1", directory.File("token"), "en-US"});
        ASSERT_NO_FATAL_FAILURE(WaitSubscribed());
        ASSERT_NO_FATAL_FAILURE(Say("Hello."));
        ASSERT_TRUE(WaitUntil([&] { return Output() == "Ana: Hello.\n"; }));
        program.Signal(signal);
        EXPECT_EQ(program.Wait(), 0) << Errors();
        EXPECT_EQ(Errors(), "graceful_stop: everything is closed\n");
        ASSERT_TRUE(server->WaitForNoLinks(kBound));
        EXPECT_EQ(server->GetStatistics().framesIn - before, 3U) << "CONNECT, SUBSCRIBE and DISCONNECT";
    }
}

TEST_F(GracefulStop, ALostLinkIsAFailure) {
    ASSERT_NO_FATAL_FAILURE(StartCaptions("graceful_stop"));
    ASSERT_NO_FATAL_FAILURE(WaitSubscribed());
    server->DropLinks(Drop::kCloseFrame, 1001, "maintenance");
    EXPECT_EQ(program.Wait(), 1);
    EXPECT_THAT(Errors(), HasSubstr("maintenance"));
    EXPECT_THAT(Errors(), EndsWith("graceful_stop: everything is closed\n"));
}

TEST_F(GracefulStop, NoLinkIsAFailure) {
    server->UseCertificate(quor_simulator::Certificate::kSelfSigned);
    ASSERT_NO_FATAL_FAILURE(StartCaptions("graceful_stop"));
    EXPECT_EQ(program.Wait(), 1);
    EXPECT_THAT(Errors(), HasSubstr("certificate"));
}

// ---- large_model_chat ----

class LargeModelChat : public ExamplesTest {
protected:
    void AskOnStandardInput(const std::string& questions) {
        WriteWholeFile(directory.File("questions"), questions);
        const int input = open(directory.File("questions").c_str(), O_RDONLY | O_CLOEXEC);
        ASSERT_GE(input, 0);
        StartWithServer("large_model_chat", {}, input);
        close(input);
    }
};

TEST_F(LargeModelChat, EveryLineIsAQuestionOfOneConversation) {
    ASSERT_NO_FATAL_FAILURE(AskOnStandardInput("Say \"hello\" \\ and more\nAnd now?\n"));
    EXPECT_EQ(program.Wait(), 0) << Errors();
    EXPECT_EQ(Output(),
              "You asked: Say \"hello\" \\ and more; piece 1; piece 2; piece 3; piece 4\n"
              "You asked: And now?; piece 1; piece 2; piece 3; piece 4\n");
    EXPECT_EQ(Errors(), "");
    const std::vector<quor_simulator::ReceivedSend> received = server->Received();
    ASSERT_EQ(received.size(), 2U);
    EXPECT_THAT(received[1].headers, ::testing::IsSupersetOf<Header>(
                                         {{"seqNum", "2"}, {"reqType", "FREE_CHAT"}, {"roundCnt", "2"}}));
}

TEST_F(LargeModelChat, PiecesOfAnotherAnswerAreNotPrinted) {
    AnswerFault fault;
    fault.otherNumber = true;
    fault.hold = true;
    server->SetAnswerFault(AnswerKind::kManagerModel, fault);
    ASSERT_NO_FATAL_FAILURE(AskOnStandardInput("one\n"));
    ASSERT_TRUE(server->WaitForHeldAnswers(1, kBound)) << "the pieces before the last have been sent";
    server->PublishRaw(R"({"seqNum":"1","content":"only this","final":true})");
    EXPECT_EQ(program.Wait(), 0) << Errors();
    EXPECT_EQ(Output(), "only this\n");
}

TEST_F(LargeModelChat, ALinkThatEndsInTheMiddleIsAFailure) {
    AnswerFault fault;
    fault.hold = true;
    server->SetAnswerFault(AnswerKind::kManagerModel, fault);
    ASSERT_NO_FATAL_FAILURE(AskOnStandardInput("one\ntwo\n"));
    ASSERT_TRUE(server->WaitForHeldAnswers(1, kBound));
    server->DropLinks(Drop::kCloseFrame, 1001, "maintenance");
    EXPECT_EQ(program.Wait(), 1);
    EXPECT_THAT(Errors(), HasSubstr("maintenance"));
    EXPECT_EQ(Output(), "You asked: one; piece 1; piece 2; piece 3");
    EXPECT_EQ(server->Received().size(), 1U);
}

TEST_F(LargeModelChat, AnAnswerThatDoesNotEndIsStopped) {
    AnswerFault fault;
    fault.hold = true;
    server->SetAnswerFault(AnswerKind::kManagerModel, fault);
    ASSERT_NO_FATAL_FAILURE(AskOnStandardInput("one\ntwo\n"));
    ASSERT_TRUE(server->WaitForHeldAnswers(1, kBound));
    server->PublishRaw("ERROR\nmessage:no model\n\n");
    EXPECT_EQ(program.Wait(), 1);
    EXPECT_EQ(Errors(), "large_model_chat: ERROR\nmessage:no model\n");
    ASSERT_TRUE(server->WaitForReceived("", 2, kBound)) << "the question, and what stops it";
    const std::vector<quor_simulator::ReceivedSend> received = server->Received();
    ASSERT_EQ(received.size(), 2U);
    EXPECT_THAT(received[0].headers,
                ::testing::IsSupersetOf<Header>({{"seqNum", "1"}, {"reqType", "FREE_CHAT"}}));
    EXPECT_THAT(received[1].headers,
                ::testing::IsSupersetOf<Header>({{"seqNum", "1"}, {"reqType", "FREE_CHAT_STOP"}}));
}

TEST_F(LargeModelChat, AQuestionThatIsTooLongIsAFailure) {
    ASSERT_NO_FATAL_FAILURE(AskOnStandardInput(std::string(3000, 'x') + "\n"));
    EXPECT_EQ(program.Wait(), 1);
    EXPECT_THAT(Errors(), HasSubstr("2048"));
    EXPECT_EQ(server->Received().size(), 0U);
}

// ---- participants ----

using Participants = ExamplesTest;

TEST_F(Participants, ListsEverybody) {
    server->rest().SetConference("conf-1", quor_simulator::GenerateConference(450));
    StartWithServer("participants", {"conf-1", directory.File("token")});
    EXPECT_EQ(program.Wait(), 0) << Errors();
    const std::string output = Output();
    EXPECT_EQ(std::count(output.begin(), output.end(), '\n'), 450);
    EXPECT_EQ(output.rfind("Site 1 (site-1)\nSite 2 (site-2)\n", 0), 0U);
    EXPECT_THAT(output, EndsWith("Site 450 (site-450)\n"));
    EXPECT_EQ(Errors(), "");
}

TEST_F(Participants, AListThatCannotBeReadIsAFailure) {
    StartWithServer("participants", {"nowhere", directory.File("token")});
    EXPECT_EQ(program.Wait(), 1);
    EXPECT_THAT(Errors(), HasSubstr("participants: no list: "));
    EXPECT_THAT(Errors(), HasSubstr("404"));
    EXPECT_EQ(Output(), "");
}

// ---- sign_in ----

using SignIn = ExamplesTest;

TEST_F(SignIn, SignsInOnce) {
    server->rest().SetConference("conf-1", quor_simulator::GenerateConference(3));
    for (const char* time : {"2026-03-01 09:30:00", "2026-03-01 10:45:00"}) {
        StartWithServer("sign_in", {"conf-1", directory.File("token"), "Person 2", "account-2", time});
        EXPECT_EQ(program.Wait(), 0) << Errors();
        EXPECT_EQ(Output(), "account-2 is signed in since 2026-03-01 09:30:00\n");
    }
    std::vector<std::optional<Endpoint>> requests;
    for (const quor_simulator::RestRequest& request : server->rest().Requests()) {
        requests.push_back(request.endpoint);
    }
    EXPECT_THAT(requests, ::testing::ElementsAre(Endpoint::kAccountQuery, Endpoint::kSignInReport,
                                                 Endpoint::kAccountQuery, Endpoint::kAccountQuery));
}

TEST_F(SignIn, ARefusalIsAFailure) {
    server->rest().SetConference("conf-1", quor_simulator::GenerateConference(3));
    for (const Endpoint endpoint : {Endpoint::kAccountQuery, Endpoint::kSignInReport}) {
        quor_simulator::RestFault fault;
        fault.status = 503;
        fault.times = 1;
        server->rest().SetFault(endpoint, fault);
        StartWithServer("sign_in", {"conf-1", directory.File("token"), "Person 2", "account-2", "T"});
        EXPECT_EQ(program.Wait(), 1);
        EXPECT_THAT(Errors(), HasSubstr("503"));
        EXPECT_EQ(Output(), "");
    }
}

// ---- face_lookup ----

class FaceLookup : public ExamplesTest {
protected:
    std::string ServerAddress() const { return "127.0.0.1:" + std::to_string(server->port()); }
    // At the first address is nobody, unless others are given.
    void Look(const std::string& person, const std::string& servers = "") {
        if (!std::filesystem::exists(directory.File("key"))) {
            ASSERT_NO_FATAL_FAILURE(SealPassword(Options().facePassword));
            server->rest().SetGallery(quor_simulator::ReadGallery(QUOR_GALLERY));
        }
        Start("face_lookup", {servers.empty() ? "127.0.0.1:1;" + ServerAddress() : servers, server->caFile(),
                              Options().faceAccount, directory.File("key"), directory.File("password"),
                              std::string(QUOR_GALLERY) + "/probes/" + person + ".jpg"});
    }
    // No service is found, and it does not take the time limit of the search, or of a connection, to say so.
    void ExpectNoServiceSoon() {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(program.Wait(), 1);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(8));
        EXPECT_EQ(Errors().rfind("face_lookup: no face service takes the account:\n", 0), 0U) << Errors();
        EXPECT_EQ(Output(), "");
    }
};

TEST_F(FaceLookup, SaysWhoIsOnThePicture) {
    ASSERT_NO_FATAL_FAILURE(Look("ana.torres"));
    EXPECT_EQ(program.Wait(), 0) << Errors();
    EXPECT_EQ(Output(), "Ana Torres\n");
    EXPECT_EQ(Errors(), "");
    ASSERT_NO_FATAL_FAILURE(Look("stranger"));
    EXPECT_EQ(program.Wait(), 1);
    EXPECT_EQ(Output(), "");
    EXPECT_EQ(Errors().rfind("face_lookup: nobody known", 0), 0U) << Errors();
}

TEST_F(FaceLookup, ARefusalAndAMissingPictureAreFailures) {
    quor_simulator::RestFault fault;
    fault.status = 503;
    server->rest().SetFault(Endpoint::kFaceIdentify, fault);
    ASSERT_NO_FATAL_FAILURE(Look("ana.torres"));
    EXPECT_EQ(program.Wait(), 1);
    EXPECT_THAT(Errors(), HasSubstr("503"));
    EXPECT_EQ(Output(), "");
    ASSERT_NO_FATAL_FAILURE(Look("nobody"));
    EXPECT_EQ(program.Wait(), 1);
    EXPECT_EQ(Errors(), "face_lookup: the picture was not taken\n");
}

TEST_F(FaceLookup, AWrongPasswordIsToldForEachThatRefusesIt) {
    ASSERT_NO_FATAL_FAILURE(SealPassword("wrong"));
    ASSERT_NO_FATAL_FAILURE(Look("ana.torres"));
    ExpectNoServiceSoon();
    EXPECT_THAT(Errors(), HasSubstr("\n" + ServerAddress() + " answered with the HTTP status 401\n"));
    EXPECT_THAT(Errors(), HasSubstr("\n127.0.0.1:1: "));
}

TEST_F(FaceLookup, NobodyThereIsToldWithTheReason) {
    ASSERT_NO_FATAL_FAILURE(Look("ana.torres", "127.0.0.1:1;face.example.org"));
    ExpectNoServiceSoon();
    EXPECT_THAT(Errors(), HasSubstr("\n127.0.0.1:1: "));
    EXPECT_THAT(Errors(), HasSubstr("\nno IPv4 address\n"));
}

TEST_F(FaceLookup, AnAuthorityThatIsNotTrustedIsTold) {
    server->UseCertificate(quor_simulator::Certificate::kSelfSigned);
    ASSERT_NO_FATAL_FAILURE(Look("ana.torres", ServerAddress()));
    ExpectNoServiceSoon();
    EXPECT_THAT(Errors(), HasSubstr("certificate"));
}

TEST_F(FaceLookup, APasswordThatCannotBeUsedIsTold) {
    ASSERT_NO_FATAL_FAILURE(SealPassword(Options().facePassword));
    std::filesystem::permissions(directory.File("key"), std::filesystem::perms::others_read,
                                 std::filesystem::perm_options::add);
    ASSERT_NO_FATAL_FAILURE(Look("ana.torres"));
    ExpectNoServiceSoon();
    EXPECT_THAT(Errors(), HasSubstr("chmod 600"));
    WriteWholeFile(directory.File("password"), "\n");
    ASSERT_NO_FATAL_FAILURE(Look("ana.torres"));
    EXPECT_EQ(program.Wait(), 1);
    EXPECT_THAT(Errors(), HasSubstr("empty or too long"));
}

// ---- log_sink ----

using LogSink = ExamplesTest;

TEST_F(LogSink, RecordsAndTracesComeWithLevelAndPlace) {
    StartWithServer("log_sink");
    EXPECT_EQ(program.Wait(), 0) << Errors();
    EXPECT_THAT(Output(), ::testing::ContainsRegex(" info    quor_ai_kel_basic\\.cpp:[0-9]+ "
                                                   "<KelBasicDisposeMsg> connect success\\."));
    EXPECT_THAT(Output(),
                ::testing::ContainsRegex(" trace   - QuorAi \\[CloudHttpInit:[0-9]+\\]:CloudHttpInit in\n"));
    EXPECT_THAT(Output(), EndsWith(" lines were logged; the link was there\n"));
}

TEST_F(LogSink, AFailureIsLoggedAsAnError) {
    server->UseCertificate(quor_simulator::Certificate::kWrongHost);
    StartWithServer("log_sink");
    EXPECT_EQ(program.Wait(), 1);
    EXPECT_THAT(Output(), HasSubstr(" error   "));
    EXPECT_THAT(Output(), EndsWith(" lines were logged; the link could not be made\n"));
}

}  // namespace
}  // namespace quor_test
