/* program_test.cpp - quor-simulator as a process: ready-file, commands, signals, statistics, exit codes. */
#include "program_fixture.h"

namespace quor_test {
namespace {

using nlohmann::json;

TEST_F(Program, ReadyFileCommandsAndQuit) {
    Process process(With({"--ready-file", Path("ready"), "--stats-file", Path("stats"), "--user", "u",
                          "--password", "p", "--token", "t1", "--token", "t2"}));
    const json ready = json::parse(process.ReadLine());
    EXPECT_EQ(ReadJson(Path("ready")), ready);
    EXPECT_EQ(ready["pid"], process.pid());

    RawClient client;
    ConnectOptions options;
    options.authorization = "Basic dTpw";
    ASSERT_TRUE(client.Connect(ready["port"], ready["caFile"], options).ok);
    client.SendFrame("CONNECT\naccept-version:1.2\n\n");
    ASSERT_EQ(client.ReadFrame()->command, "CONNECTED");
    client.SendFrame("SUBSCRIBE\nid:1\ndestination:/topic/conferences/c\ntoken:t2\nreceipt:r\n\n");
    ASSERT_EQ(client.ReadFrame()->command, "RECEIPT");

    EXPECT_EQ(json::parse(process.Ask("publish /topic/conferences/c two words")),
              json::parse(R"({"command":"publish","ok":true,"answer":"sent to 1 subscription"})"));
    EXPECT_EQ(client.ReadFrame()->body, "two words");
    EXPECT_EQ(json::parse(process.Ask("malformed"))["answer"], "sent to 1 link");
    EXPECT_EQ(json::parse(process.Ask("subscriptions"))["answer"],
              "1 subscription; link 1 /topic/conferences/c");
    EXPECT_EQ(json::parse(process.Ask("freeze"))["answer"], "1 link frozen");
    EXPECT_EQ(json::parse(process.Ask("thaw"))["answer"], "1 link thawed");
    EXPECT_EQ(json::parse(process.Ask("drop reset"))["answer"], "1 link dropped");
    EXPECT_EQ(json::parse(process.Ask("nonsense"))["ok"], false);
    EXPECT_EQ(json::parse(process.Ask("certificate golden"))["ok"], false);
    EXPECT_EQ(json::parse(process.Ask("refuse 99"))["ok"], false);
    EXPECT_EQ(json::parse(process.Ask("play /nonexistent"))["ok"], false);
    EXPECT_EQ(json::parse(json::parse(process.Ask("stats json"))["answer"].get<std::string>())["published"],
              1);
    EXPECT_EQ(json::parse(process.Ask("quit"))["answer"], "closing");
    EXPECT_EQ(process.Wait(), 0);
    const json stats = ReadJson(Path("stats"));
    EXPECT_EQ(stats["destinations"]["/topic/conferences/c"]["delivered"], 1);
    EXPECT_EQ(stats["links"]["dropped"], 1);
}

TEST_F(Program, HttpCommands) {
    Process process(With({"--people", "401", "--also-address", "::1", "--server-name", "conference.test",
                          "--token", "t1", "--stats-file", Path("stats")}));
    const json ready = json::parse(process.ReadLine());
    HttpsClient link;
    ASSERT_TRUE(link.Connect(ready["port"], ready["caFile"], "::1", "conference.test")) << link.lastError();
    const std::string question = ParticipantsText("any", 2, 200, "t1");
    EXPECT_EQ(json::parse(link.Ask(question).body)["content"].size(), 1U);
    EXPECT_EQ(link.Ask(ParticipantsText("any", 2)).status, 403U);

    const auto ask = [&](const std::string& command) { return json::parse(process.Ask(command)); };
    EXPECT_EQ(ask("people any 1601")["answer"], "any has 1601 people");
    EXPECT_EQ(json::parse(link.Ask(question).body)["totalElements"], 1601);

    EXPECT_EQ(ask("http-fault participants status=503 skip=1 times=1")["answer"],
              "requests of the kind participants meet a fault");
    EXPECT_EQ(link.Ask(question).status, 200U);
    EXPECT_EQ(link.Ask(question).status, 503U);
    EXPECT_EQ(link.Ask(question).status, 200U);

    EXPECT_EQ(ask("http-fault participants pageSize=250 omit=id,totalPages delayMs=1")["ok"], true);
    const json page = json::parse(link.Ask(question).body);
    EXPECT_EQ(page["content"].size(), 250U);
    EXPECT_FALSE(page.contains("totalPages"));
    EXPECT_FALSE(page["content"][0]["generalParam"].contains("id"));
    EXPECT_EQ(ask("http-fault participants content=notJson")["ok"], true);
    EXPECT_EQ(link.Ask(question).Header("Content-Type"), "text/html");
    EXPECT_EQ(ask("http-clear participants")["answer"], "requests are answered as they should be");
    EXPECT_EQ(link.Ask(question).status, 200U);

    EXPECT_EQ(ask("http-fault matchReport hold")["ok"], true);
    ASSERT_TRUE(link.Send(MatchText("any").replace(MatchText("any").find("token: t"), 8, "token: t1")));
    while (ask("matches")["answer"] == "0 match reports") {
    }
    EXPECT_EQ(ask("matches")["answer"], "1 match report; any s u 1.234 to 2.000");
    EXPECT_EQ(ask("http-release participants")["answer"], "0 answers released");
    EXPECT_EQ(ask("http-release")["answer"], "1 answer released");
    EXPECT_EQ(link.Read().status, 200U);

    EXPECT_EQ(ask("http-fault signInList cut=before")["ok"], true);
    EXPECT_FALSE(link.Ask(RequestText("GET", SignInsTarget("any"), "", "t1")).whole);
    for (const char* bad : {"http-fault", "http-fault participants", "http-fault nothing status=500",
                            "http-fault participants status=99", "http-fault participants status",
                            "http-fault participants cut=x", "http-fault participants content=good",
                            "http-fault participants nonsense=1", "http-fault participants holdme",
                            "http-fault participants times=0", "http-fault participants pageSize=0",
                            "http-fault participants omit=", "http-release x", "http-clear x", "people",
                            "people c", "people c x", "people c 1000001"}) {
        EXPECT_EQ(ask(bad)["ok"], false) << bad;
    }
    const std::string requests = ask("requests")["answer"];
    EXPECT_EQ(requests.substr(0, 86),
              "11 requests; 200 POST /conf-portal/online/conferences/any/participants/conditions?page");
    EXPECT_NE(requests.find("; 403 POST "), std::string::npos);
    EXPECT_EQ(ask("quit")["ok"], true);
    EXPECT_EQ(process.Wait(), 0);
    const json http = ReadJson(Path("stats"))["http"];
    EXPECT_EQ(http["endpoints"]["participants"],
              json::parse(R"({"requests":9,"good":5,"refused":1,"faulty":3,"tokenRefused":1})"));
    EXPECT_EQ(http["endpoints"]["matchReport"]["faulty"], 1);
    EXPECT_EQ(http["connectionsCut"], 1);
    EXPECT_EQ(http["unknown"], 0);
    EXPECT_EQ(http["malformed"], 0);
}

TEST_F(Program, MessageFaultCommands) {
    Process process(With({}));
    const json ready = json::parse(process.ReadLine());
    const auto ask = [&](const std::string& command) { return json::parse(process.Ask(command)); };
    RawClient client;
    ASSERT_TRUE(client.ConnectStomp(ready["port"], ready["caFile"]));
    client.SendFrame("SUBSCRIBE\nid:1\ndestination:/t\nreceipt:r\n\n");
    ASSERT_EQ(client.ReadFrame()->command, "RECEIPT");

    EXPECT_EQ(ask(R"(publish-faulty /t omit=a,b wrongType=c tooLong=d,e length=4 entries=2 otherUri=v )"
                  R"({"a":1, "b":2,"c":3,"d":"4 5","e":[6],"uri":"u"})")["answer"],
              "sent to 1 subscription");
    EXPECT_EQ(client.ReadFrame()->body, R"({"c":"3","d":"4 5x","e":[6,6],"uri":"v"})");
    EXPECT_EQ(ask(R"(publish-faulty /t omit=x {"a":1})")["answer"],
              "omit: the message has no member \"x\" (it has: a)");

    const auto report = [&] {
        client.SendFrame("SEND\ndestination:/terminal/parameter\ntoken:t\nuri:u\n\n{\n}");
    };
    EXPECT_EQ(ask("answer-fault capability wrongType=result times=1")["answer"],
              "answers of the kind capability are faulty");
    report();
    EXPECT_EQ(client.ReadFrame()->body, R"({"result":"0"})");
    EXPECT_EQ(ask("answer-fault capability hold skip=1 times=1")["ok"], true);
    report();
    EXPECT_EQ(client.ReadFrame()->body, R"({"result":0})");
    report();
    while (ask("answer-release capability")["answer"] == "0 answers released") {
    }
    EXPECT_EQ(client.ReadFrame()->body, R"({"result":0})");
    EXPECT_EQ(ask("answer-fault model otherUri=v otherNumber tooLong=content")["ok"], true);
    EXPECT_EQ(ask("answer-clear")["answer"], "answers are as they should be");
    EXPECT_EQ(ask("answer-release")["answer"], "0 answers released");
    const json sends = json::parse(ask("sends")["answer"].get<std::string>());
    ASSERT_EQ(sends.size(), 3U);
    EXPECT_EQ(sends[0],
              json::parse(R"({"link":1,"destination":"/terminal/parameter","headers":{"destination":)"
                          R"("/terminal/parameter","token":"t","uri":"u"},"body":"{\n}"})"));

    for (const char* bad : {"publish-faulty",
                            "publish-faulty /t {}",
                            "publish-faulty /t omit=a",
                            "publish-faulty /t hold {}",
                            "publish-faulty /t omit= {}",
                            "publish-faulty /t length=0 {}",
                            "publish-faulty /t entries=10001 {}",
                            "publish-faulty /t otherUri= {}",
                            "publish-faulty /t omit=a {",
                            "answer-fault",
                            "answer-fault capability",
                            "answer-fault face hold",
                            "answer-fault capability holdme",
                            "answer-fault capability times=0",
                            "answer-fault capability skip=x",
                            "answer-fault managerModel otherUri=u",
                            "answer-fault capability otherNumber",
                            "answer-fault capability omit=content",
                            "answer-release x",
                            "answer-clear x"}) {
        EXPECT_EQ(ask(bad)["ok"], false) << bad;
    }
    report();
    EXPECT_EQ(client.ReadFrame()->body, R"({"result":0})") << "refused commands change nothing";
    EXPECT_EQ(ask("quit")["ok"], true);
    EXPECT_EQ(process.Wait(), 0);
}

TEST_F(Program, SignalsEndItInOrder) {
    for (const int number : {SIGINT, SIGTERM}) {
        Process process(With({"--stats-file", Path("stats")}));
        const json ready = json::parse(process.ReadLine());
        RawClient client;
        ASSERT_TRUE(client.ConnectStomp(ready["port"], ready["caFile"]));
        process.Signal(number);
        EXPECT_TRUE(client.WaitForEnd());
        EXPECT_EQ(client.closeCode(), 1001);
        EXPECT_EQ(process.Wait(), 0);
        EXPECT_EQ(ReadJson(Path("stats"))["links"]["accepted"], 1);
    }
}

TEST_F(Program, ScenarioWaitsForSubscribersAndEndsIt) {
    Process process(
        With({"--scenario", std::string(QUOR_SCENARIO_FOLDER) + "/smoke.json", "--speed", "100",
              "--wait-for-subscribers", "2", "--exit-after-scenario", "--stats-file", Path("stats")}));
    const json ready = json::parse(process.ReadLine());
    RawClient client;
    ASSERT_TRUE(client.ConnectStomp(ready["port"], ready["caFile"]));
    client.SendFrame(
        "SUBSCRIBE\nid:1\ndestination:/topic/conferences/conf-smoke/subtitle/en-US\ntoken:t\n\n");
    client.SendFrame(
        "SUBSCRIBE\nid:2\ndestination:/topic/conferences/conf-smoke/subtitle/zh-CN\ntoken:t\n\n");
    for (int i = 0; i < 6; ++i) {
        const auto frame = client.ReadFrame();
        ASSERT_TRUE(frame);
        EXPECT_EQ(frame->command, "MESSAGE");
    }
    EXPECT_TRUE(client.WaitForEnd());
    EXPECT_EQ(process.Wait(), 0);
    const json stats = ReadJson(Path("stats"));
    EXPECT_EQ(stats["scenario"]["finished"], true);
    EXPECT_EQ(stats["published"], 6);
}

TEST_F(Program, ExitCodes) {
    EXPECT_EQ(Process({"--help"}).Wait(), 0);
    EXPECT_EQ(Process({"--nonsense"}).Wait(), 2);
    EXPECT_EQ(Process({"--port", "70000"}).Wait(), 2);
    EXPECT_EQ(Process({"--exit-after-scenario"}).Wait(), 2);
    EXPECT_EQ(Process({"--people", "many"}).Wait(), 2);
    EXPECT_EQ(Process(With({"--server-name", "no name"})).Wait(), 1);
    Process scenario(With({"--scenario", "/nonexistent.json"}));
    EXPECT_EQ(scenario.Wait(), 3);
    EXPECT_EQ(scenario.rest(), "quor-simulator: /nonexistent.json: cannot be read\n\n");
    EXPECT_EQ(Process({"--state-dir", "/proc/nothing"}).Wait(), 1);
    EXPECT_EQ(Process(With({"--ready-file", "/proc/nothing/ready"})).Wait(), 1);
    EXPECT_EQ(Process(With({"--address", "somewhere"})).Wait(), 1);
}

}  // namespace
}  // namespace quor_test
