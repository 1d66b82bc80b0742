#include "face_view.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace quor_terminal {
namespace {

using quor_platform::Failure;
using quor_platform::Stage;

constexpr const char* kFirst = "https://10.1.1.1:443";
constexpr const char* kSecond = "https://10.1.1.2:4433";

class FaceViewTest : public testing::Test {
protected:
    FaceViewTest() {
        m_options.candidates = {{kFirst, "10.1.1.1", 443, true},
                                {kSecond, "10.1.1.2", 4433, true},
                                {"https://face.test:443", "face.test", 443, false}};
        m_probes[2].state = ProbeState::kNotAsked;
    }

    FaceView& View() {
        if (!m_view) {
            m_view.emplace(m_options, [this](const std::string& text) {
                m_text += text;
                return m_writable;
            });
        }
        return *m_view;
    }
    void Answers(std::size_t place) {
        m_probes[place] = {ProbeState::kAnswered, {}};
        m_news.changed = {place};
    }
    void Fails(std::size_t place) {
        Failure failure;
        failure.stage = Stage::kConnect;
        failure.text = "nobody listens";
        m_probes[place] = {ProbeState::kFailed, failure};
        m_news.changed = {place};
    }
    // What is written about it, without the times of day.
    std::string Shown(const std::string& service) {
        m_text.clear();
        EXPECT_EQ(View().Show(m_news, m_probes, service), m_writable);
        if (m_options.json) {
            return m_text;
        }
        std::string lines;
        for (std::size_t at = 0; at < m_text.size(); at = m_text.find('\n', at) + 1) {
            constexpr std::size_t kTime = 8;  // "hh:mm:ss"
            EXPECT_EQ(m_text.substr(at + kTime, 2), "  ");
            lines += m_text.substr(at + kTime + 2, m_text.find('\n', at) - at - kTime - 1);
        }
        return lines;
    }

    FaceDetectOptions m_options;
    std::vector<Probe> m_probes = std::vector<Probe>(3);
    SearchNews m_news;
    std::string m_text;
    bool m_writable = true;

private:
    std::optional<FaceView> m_view;
};

TEST_F(FaceViewTest, AWatcherSeesTheServiceTakenLostAndReplaced) {
    m_options.watch = true;
    Answers(0);
    EXPECT_EQ(Shown(kFirst),
              std::string(kFirst) + "  answered\n" + kFirst + "  taken: it is the face service now\n");
    Fails(1);
    EXPECT_EQ(Shown(kFirst), std::string(kSecond) + "  failed: connect: nobody listens\n");
    Fails(0);
    EXPECT_EQ(Shown(kFirst),
              std::string(kFirst) +
                  "  failed: connect: nobody listens; it stays the face service until another one answers\n");
    Answers(1);
    EXPECT_EQ(Shown(kSecond),
              std::string(kSecond) + "  answered\n" + kSecond + "  taken: it is the face service now\n");
    m_news.changed.clear();
    EXPECT_EQ(Shown(kSecond), "") << "nothing is told twice";
}

TEST_F(FaceViewTest, DocumentsTellTheSame) {
    m_options.json = true;
    Answers(1);
    EXPECT_EQ(Shown(kSecond), std::string(R"({"kind":"candidate","url":")") + kSecond +
                                  "\",\"state\":\"answered\"}\n" + R"({"kind":"service","url":")" + kSecond +
                                  "\"}\n");
    Fails(1);
    EXPECT_EQ(Shown(kSecond),
              std::string(R"({"kind":"candidate","url":")") + kSecond +
                  R"(","state":"failed","stage":"connect","problem":"connect: nobody listens"})" + "\n");
}

TEST_F(FaceViewTest, WhoDoesNotWatchSeesATableInTheEnd) {
    Fails(0);
    EXPECT_TRUE(View().Show(m_news, m_probes, ""));
    Answers(1);
    EXPECT_TRUE(View().Show(m_news, m_probes, kSecond));
    EXPECT_TRUE(View().ShowNotAsked(m_probes));
    EXPECT_EQ(m_text, "");
    EXPECT_TRUE(View().ShowTable(m_probes));
    EXPECT_EQ(m_text,
              "CANDIDATE              STATE      WHY\n"
              "https://10.1.1.1:443   failed     connect: nobody listens\n"
              "https://10.1.1.2:4433  taken\n"
              "https://face.test:443  not-asked  no IPv4 address; the library looks up no names\n"
              "the face service is https://10.1.1.2:4433\n");
}

TEST_F(FaceViewTest, WhatIsNotAskedIsToldOnce) {
    m_options.watch = true;
    EXPECT_TRUE(View().ShowNotAsked(m_probes));
    EXPECT_EQ(m_text.substr(8),
              "  https://face.test:443  not-asked: no IPv4 address; the library looks up no names\n");
}

TEST_F(FaceViewTest, NothingIsWrittenAfterOutputIsGone) {
    m_options.watch = true;
    m_writable = false;
    Answers(0);
    EXPECT_EQ(Shown(kFirst), std::string(kFirst) + "  answered\n");
}

}  // namespace
}  // namespace quor_terminal
