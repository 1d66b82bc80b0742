// 'participants', 'signin', 'account' and 'avmatch' against the simulator, each a process of its own: what
// they ask and report.
#include "http_program_fixture.h"

namespace quor_terminal {
namespace {

TEST_F(HttpProgramTest, ParticipantsOfSeveralPages) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServer(simulator));
    Tell(simulator, "people conf-big 450");
    EXPECT_EQ(Run(Request(simulator, {"participants"}, {"--progress"}, "conf-big")), kExitOk) << Errors();
    EXPECT_EQ(Output().rfind("NAME      ID\nSite 1    site-1\nSite 2    site-2\n", 0), 0U) << Output();
    EXPECT_TRUE(Contains(Output(), "Site 450  site-450\n450 participants\n"));
    EXPECT_EQ(LineCount(Output()), 452U);
    EXPECT_TRUE(Contains(Errors(), "participants: 3 pages of 200 people read\n")) << Errors();
    EXPECT_EQ(Run(Request(simulator, {"participants"}, {"--json"}, "conf-big")), kExitOk) << Errors();
    EXPECT_EQ(Errors(), "");
    const std::vector<Json> documents = Documents();
    ASSERT_EQ(documents.size(), 1U);
    EXPECT_EQ(documents[0]["kind"], "participants");
    EXPECT_EQ(documents[0]["conference"], "conf-big");
    EXPECT_EQ(documents[0]["count"], 450);
    EXPECT_EQ(documents[0]["complete"], true);
    ASSERT_EQ(documents[0]["participants"].size(), 450U);
    EXPECT_EQ(documents[0]["participants"][449], (Json{{"id", "site-450"}, {"name", "Site 450"}}));
}

TEST_F(HttpProgramTest, ParticipantsOfNoneAndOfMoreThanTheLibraryDelivers) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServer(simulator));
    Tell(simulator, "people conf-none 0");
    EXPECT_EQ(Run(Request(simulator, {"participants"}, {}, "conf-none")), kExitOk) << Errors();
    EXPECT_EQ(Output(), "0 participants\n");
    Tell(simulator, "people conf-huge 1700");
    EXPECT_EQ(Run(Request(simulator, {"participants"}, {}, "conf-huge")), kExitOk) << Errors();
    EXPECT_TRUE(Contains(Output(), "1600 participants\nThere may be more: the library delivers no more"));
    EXPECT_EQ(Run(Request(simulator, {"participants"}, {"--json"}, "conf-huge")), kExitOk) << Errors();
    EXPECT_EQ(Documents().at(0)["count"], 1600);
    EXPECT_EQ(Documents().at(0)["complete"], false);
}

TEST_F(HttpProgramTest, SigninListsByPageAndWhole) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServer(simulator));
    const Words list = {"signin", "list"};
    EXPECT_EQ(Run(Request(simulator, list)), kExitOk) << Errors();
    EXPECT_EQ(Output(), "0 of 0 people who checked in; page 1 of 0\n");
    EXPECT_EQ(Run(Request(simulator, list, {"--not-checked-in", "--size", "3"})), kExitOk) << Errors();
    EXPECT_EQ(Output(),
              "NAME        ACCOUNT\nAna Torres  ana\nPerson 1    account-1\nPerson 2    account-2\n"
              "3 of 70 people who did not check in; page 1 of 24\n");
    EXPECT_EQ(Run(Request(simulator, list, {"--not-checked-in", "--size", "3", "--page", "24"})), kExitOk);
    EXPECT_EQ(Output(),
              "NAME       ACCOUNT\nPerson 69  account-69\n"
              "1 of 70 people who did not check in; page 24 of 24\n");
    EXPECT_EQ(Run(Request(simulator, list, {"--not-checked-in", "--all", "--progress"})), kExitOk);
    EXPECT_EQ(LineCount(Output()), 72U);
    EXPECT_TRUE(Contains(Output(), "70 of 70 people who did not check in\n"));
    EXPECT_TRUE(Contains(Errors(), "list: page 2 of 3 read\n")) << Errors();
    EXPECT_EQ(Run(Request(simulator, list, {"--not-checked-in", "--all", "--json"})), kExitOk);
    const std::vector<Json> documents = Documents();
    ASSERT_EQ(documents.size(), 3U);
    EXPECT_EQ(documents[2]["page"], 3);
    EXPECT_EQ(documents[2]["totalPages"], 3);
    EXPECT_EQ(documents[2]["totalPeople"], 70);
    EXPECT_EQ(documents[2]["people"].size(), 6U);
    EXPECT_EQ(documents[0]["people"][0], (Json{{"name", "Ana Torres"}, {"account", "ana"}}));
    EXPECT_EQ(documents[0]["checkedIn"], false);
    EXPECT_EQ(documents[0]["history"], false);
}

TEST_F(HttpProgramTest, SigninsOfAConferenceThatIsOver) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServer(simulator));
    const Words history = {"signin", "history"};
    EXPECT_EQ(Run(Request(simulator, history, {}, "conf-over")), kExitOk) << Errors();
    EXPECT_EQ(Output(),
              "NAME        ACCOUNT  TIME                 TYPE  PARTICIPANT\n"
              "Ana Torres  ana      2026-01-01 09:00:00  face  Ana Torres\n"
              "1 of 1 person who checked in; page 1 of 1\n");
    EXPECT_EQ(Run(Request(simulator, history, {"--not-checked-in", "--all", "--json"}, "conf-over")),
              kExitOk);
    ASSERT_EQ(Documents().size(), 2U) << Output();
    EXPECT_EQ(Documents()[1]["history"], true);
    EXPECT_EQ(Documents()[1]["totalPeople"], 40);
}

TEST_F(HttpProgramTest, AReportOfSeveralPeopleChangesTheListsAndTheAccounts) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServer(simulator));
    const Words account = {"account", "ana", "account-3"};
    EXPECT_EQ(Run(Request(simulator, account)), kExitOk) << Errors();
    EXPECT_EQ(Output(), "ACCOUNT    CHECKED IN  TIME\nana        no\naccount-3  no\n");
    const Words report = {"signin", "report", "ana=Ana Torres", "guest=\xE6\x9E\x97\xE4\xBC\x9F"};
    const Words details = {"--time", "2026-01-31 09:00:00", "--type", "face", "--participant", "Room 7"};
    const std::string people =
        "NAME        ACCOUNT  TIME                 TYPE  PARTICIPANT\n"
        "Ana Torres  ana      2026-01-31 09:00:00  face  Room 7\n"
        "\xE6\x9E\x97\xE4\xBC\x9F        guest    2026-01-31 09:00:00  face  Room 7\n";
    EXPECT_EQ(Run(Request(simulator, report, details)), kExitOk) << Errors();
    EXPECT_EQ(Output(), people + "2 people checked in\n");
    EXPECT_EQ(Run(Request(simulator, {"signin", "list"})), kExitOk) << Errors();
    EXPECT_EQ(Output(), people + "2 of 2 people who checked in; page 1 of 1\n");
    EXPECT_EQ(Run(Request(simulator, account, {"--json"})), kExitOk) << Errors();
    const std::vector<Json> expected = {
        {{"kind", "account"},
         {"conference", "conf-test"},
         {"account", "ana"},
         {"checkedIn", true},
         {"checkInTime", "2026-01-31 09:00:00"}},
        {{"kind", "account"}, {"conference", "conf-test"}, {"account", "account-3"}, {"checkedIn", false}}};
    EXPECT_EQ(Documents(), expected);
}

TEST_F(HttpProgramTest, MoreThanFivePeopleAreReportedFiveAtATime) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServer(simulator));
    const Words report = {"signin", "report", "a=A", "b=B", "c=C", "d=D", "e=E", "f=F"};
    EXPECT_EQ(Run(Request(simulator, report, {"--json"})), kExitOk) << Errors();
    ASSERT_EQ(Documents().size(), 2U) << Output();
    EXPECT_EQ(Documents()[0]["kind"], "report");
    EXPECT_EQ(Documents()[0]["accepted"], true);
    EXPECT_EQ(Documents()[0]["people"].size(), 5U);
    EXPECT_EQ(Documents()[1]["people"][0]["account"], "f");
    EXPECT_EQ(Documents()[1]["people"][0]["participantName"], "F");
    // The second request fails: those of the first are told all the same.
    Tell(simulator, "http-fault signInReport status=503 skip=1 times=1");
    EXPECT_EQ(Run(Request(simulator, report)), kExitUnreachable);
    EXPECT_TRUE(Contains(Output(), "5 people checked in\n")) << Output();
    EXPECT_TRUE(Contains(Errors(), "status 503")) << Errors();
}

TEST_F(HttpProgramTest, AMatchReachesTheServer) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServer(simulator));
    const Words match = {"avmatch", "--user-id", "u17",  "--site",    "room7",  "--start",
                         "1200",    "--end",     "4800", "--face-id", "3",      "--doa",
                         "-12.5",   "--score",   "0.75", "--rect",    "1,2,3,4"};
    EXPECT_EQ(Run(Request(simulator, match)), kExitOk) << Errors();
    EXPECT_EQ(Output(), "the server took the match of u17 at room7\n");
    EXPECT_TRUE(Contains(Tell(simulator, "matches"), "1 match report; conf-test room7 u17 1.200 to 4.800"));
    EXPECT_EQ(Run(Request(simulator, match, {"--json"})), kExitOk) << Errors();
    const std::vector<Json> expected = {{{"kind", "match"},
                                         {"conference", "conf-test"},
                                         {"accepted", true},
                                         {"userId", "u17"},
                                         {"site", "room7"},
                                         {"start", 1200},
                                         {"end", 4800}}};
    EXPECT_EQ(Documents(), expected);
}

}  // namespace
}  // namespace quor_terminal
