#include "face_search.h"

#include <gtest/gtest.h>

#include <future>
#include <string>
#include <vector>

namespace quor_terminal {
namespace {

using quor_platform::Failure;
using quor_platform::Stage;
using Places = std::vector<std::size_t>;

constexpr const char* kEnded = "QuorAi [FaceServerDetectRspNotify:135]:<FaceServerDetectRspNotify> IN.";
constexpr const char* kTaken =
    "QuorAi [SetValidFaceSrvInfo:174]:<SetValidFaceSrvInfo> Set m_faceServerInfo url to ****, port to 443";
constexpr unsigned int kError = 1;
constexpr unsigned int kWarning = 2;

FaceCandidate Candidate(const std::string& host, unsigned int port, bool isAddress = true) {
    return {"https://" + host + ":" + std::to_string(port), host, port, isAddress};
}

// Two that are easily mistaken for one another, a name, and one more.
std::vector<FaceCandidate> Candidates() {
    return {Candidate("10.1.1.1", 443), Candidate("10.1.1.1", 4433), Candidate("face.test", 443, false),
            Candidate("110.1.1.1", 443)};
}

Failure Answer(int status, const std::string& peer) {
    Failure failure;
    failure.stage = status >= 400 ? Stage::kAnswer : Stage::kNone;
    failure.httpStatus = status;
    failure.text = peer + " answered with the HTTP status " + std::to_string(status);
    return failure;
}

Failure Failed(Stage stage, const std::string& text) {
    Failure failure;
    failure.stage = stage;
    failure.text = text;
    return failure;
}

// What there is to tell now.
SearchNews Now(FaceSearch& search) {
    return search.Wait(FaceSearch::TimePoint::clock::now());
}

ProbeState StateOf(const FaceSearch& search, std::size_t place) {
    return search.Probes().at(place).state;
}

TEST(FaceSearch, NothingIsKnownAtFirst) {
    FaceSearch search(Candidates());
    EXPECT_EQ(StateOf(search, 0), ProbeState::kAsked);
    EXPECT_EQ(StateOf(search, 2), ProbeState::kNotAsked);
    EXPECT_FALSE(search.AllEnded());
    EXPECT_FALSE(search.NothingFound());
    const SearchNews news = Now(search);
    EXPECT_TRUE(news.timedOut);
    EXPECT_TRUE(news.changed.empty());
    EXPECT_FALSE(news.taken);
    EXPECT_FALSE(news.stopped);
}

TEST(FaceSearch, AnAnswerBelongsToTheServerThatItsReasonNames) {
    FaceSearch search(Candidates());
    search.OnTrace(kEnded, Answer(200, "10.1.1.1:4433"));
    EXPECT_EQ(Now(search).changed, Places{1});
    search.OnTrace(kEnded, Answer(401, "110.1.1.1:443"));
    EXPECT_EQ(Now(search).changed, Places{3});
    EXPECT_EQ(StateOf(search, 0), ProbeState::kAsked);
    search.OnTrace(kEnded, Failed(Stage::kTls, "the certificate of 10.1.1.1:443 is refused: why"));
    EXPECT_EQ(Now(search).changed, Places{0});
    EXPECT_EQ(StateOf(search, 0), ProbeState::kFailed);
    EXPECT_EQ(StateOf(search, 1), ProbeState::kAnswered);
    EXPECT_EQ(StateOf(search, 2), ProbeState::kNotAsked);
    EXPECT_EQ(StateOf(search, 3), ProbeState::kFailed);
    EXPECT_EQ(search.Probes()[3].reason.httpStatus, 401);
    search.OnTrace(kEnded, Answer(200, "10.9.9.9:443"));
    search.OnTrace(kEnded, {});
    search.OnTrace("something else", Answer(200, "10.1.1.1:443"));
    EXPECT_TRUE(Now(search).changed.empty());
}

TEST(FaceSearch, WhatTheLibraryTakesForAnAnswer) {
    for (const int status : {200, 302}) {
        FaceSearch search(Candidates());
        search.OnTrace(kEnded, Answer(status, "10.1.1.1:443"));
        EXPECT_EQ(StateOf(search, 0), ProbeState::kAnswered) << status;
    }
    for (const int status : {201, 204, 301, 304, 401, 500}) {
        FaceSearch search(Candidates());
        search.OnTrace(kEnded, Answer(status, "10.1.1.1:443"));
        EXPECT_EQ(StateOf(search, 0), ProbeState::kFailed) << status;
    }
}

TEST(FaceSearch, AProbeThatWasNotSentNamesItsPlace) {
    FaceSearch search(Candidates());
    const std::string text = "<AiFaceDoServerDetect> HttpServerConnectingDetect failed. 4-3";
    search.OnLog(kWarning, text, Failed(Stage::kKey, "why"));
    search.OnLog(kError, "<AiFaceDoServerDetect> not reach 30s", Failed(Stage::kKey, "why"));
    for (const char* const broken : {"", "4", "4-", "4-4", "4-x"}) {
        search.OnLog(kError, text.substr(0, text.size() - 3) + broken, Failed(Stage::kKey, "why"));
    }
    EXPECT_TRUE(Now(search).changed.empty());
    search.OnLog(kError, text, Failed(Stage::kKey, "why"));
    EXPECT_EQ(Now(search).changed, Places{3});
    EXPECT_EQ(StateOf(search, 3), ProbeState::kFailed);
    EXPECT_EQ(search.Probes()[3].reason.stage, Stage::kKey);
}

TEST(FaceSearch, OnlyChangesAreNews) {
    FaceSearch search(Candidates());
    search.OnTrace(kEnded, Failed(Stage::kConnect, "10.1.1.1:443: after 2 ms"));
    search.OnTrace(kEnded, Answer(200, "10.1.1.1:443"));
    EXPECT_EQ(Now(search).changed, Places{0});
    search.OnTrace(kEnded, Answer(200, "10.1.1.1:443"));
    EXPECT_TRUE(Now(search).changed.empty());
    search.OnTrace(kEnded, Answer(302, "10.1.1.1:443"));
    EXPECT_EQ(Now(search).changed, Places{0});
    search.OnTrace(kEnded, Failed(Stage::kConnect, "10.1.1.1:443: after 2 ms"));
    EXPECT_EQ(Now(search).changed, Places{0});
    search.OnTrace(kEnded, Failed(Stage::kConnect, "10.1.1.1:443: after 3 ms"));
    EXPECT_TRUE(Now(search).changed.empty());
}

TEST(FaceSearch, WhatIsLeftToHopeFor) {
    FaceSearch search(Candidates());
    search.OnTrace(kEnded, Answer(500, "10.1.1.1:443"));
    search.OnTrace(kEnded, Answer(500, "10.1.1.1:4433"));
    EXPECT_FALSE(search.AllEnded());
    EXPECT_FALSE(search.NothingFound());
    search.OnTrace(kEnded, Answer(500, "110.1.1.1:443"));
    EXPECT_TRUE(search.AllEnded());
    EXPECT_TRUE(search.NothingFound());
    search.OnTrace(kEnded, Answer(200, "110.1.1.1:443"));
    EXPECT_TRUE(search.AllEnded());
    EXPECT_FALSE(search.NothingFound());
}

TEST(FaceSearch, ThatTheLibraryTookAServiceIsToldEachTime) {
    FaceSearch search(Candidates());
    search.OnTrace(kTaken, {});
    EXPECT_TRUE(Now(search).taken);
    EXPECT_FALSE(Now(search).taken);
    search.OnTrace(kTaken, {});
    EXPECT_TRUE(Now(search).taken);
}

TEST(FaceSearch, StopEndsEveryWait) {
    FaceSearch search(Candidates());
    std::future<bool> stopped =
        std::async(std::launch::async, [&search] { return search.Wait(std::nullopt).stopped; });
    search.Stop();
    EXPECT_TRUE(stopped.get());
    search.OnTrace(kEnded, Failed(Stage::kAborted, "10.1.1.1:443: the request was cancelled"));
    const SearchNews news = search.Wait(std::nullopt);
    EXPECT_TRUE(news.stopped);
    EXPECT_TRUE(news.changed.empty());
    EXPECT_EQ(StateOf(search, 0), ProbeState::kAsked);
}

TEST(FaceSearch, NewsFromAnotherThreadWakeTheWait) {
    FaceSearch search(Candidates());
    std::future<Places> changed =
        std::async(std::launch::async, [&search] { return search.Wait(std::nullopt).changed; });
    search.OnTrace(kEnded, Answer(200, "10.1.1.1:443"));
    EXPECT_EQ(changed.get(), Places{0});
}

}  // namespace
}  // namespace quor_terminal
