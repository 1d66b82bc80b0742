#include "line_views.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "captions.h"

namespace quor_terminal {
namespace {

class LineViewsTest : public testing::Test {
protected:
    TextSink Into(std::string& text) {
        return [&text](std::string_view piece) {
            text += piece;
            return true;
        };
    }
    PlainView Plain(bool interim) {
        return PlainView(Into(out), Into(notices), interim, [] { return std::string("10:20:30"); });
    }
    nlohmann::json OneDocument() const {
        EXPECT_EQ(out.back(), '\n');
        EXPECT_EQ(out.find('\n'), out.size() - 1);
        return nlohmann::json::parse(out);
    }

    std::string out;
    std::string notices;
};

TEST_F(LineViewsTest, PlainShowsFinalsOnly) {
    PlainView view = Plain(false);
    view.ShowCaption(Spoken("Anna", 1, "Good mor", false));
    EXPECT_EQ(out, "");
    view.ShowCaption(Spoken("Anna", 1, "Good morning.", true));
    view.ShowCaption(Translated("Anna", 1, "Good morning.", "早上好。", true));
    EXPECT_EQ(out,
              "10:20:30  Anna              en-US     Good morning.\n"
              "10:20:30  Anna              zh-CN     早上好。\n");
}

TEST_F(LineViewsTest, PlainMarksInterimTexts) {
    PlainView view = Plain(true);
    view.ShowCaption(Spoken("王小明", 1, "Good mor", false));
    EXPECT_EQ(out, "10:20:30  王小明            en-US     ~ Good mor\n");
}

TEST_F(LineViewsTest, PlainKeepsLongTextsWhole) {
    PlainView view = Plain(false);
    view.ShowCaption(Spoken("Anna", 1, std::string(1000, 'x'), true));
    EXPECT_NE(out.find(std::string(1000, 'x') + "\n"), std::string::npos);
}

TEST_F(LineViewsTest, PlainShowsCheckinsAndKeepsNoticesApart) {
    PlainView view = Plain(false);
    view.ShowCheckins({{"li.na", "acc", "09:00", "0", "Li Na"}, {"bo", "acc2", "09:01", "0", ""}});
    EXPECT_EQ(out,
              "10:20:30  Li Na             check-in  acc  09:00\n"
              "10:20:30  bo                check-in  acc2  09:01\n");
    view.ShowLink(Notice(KeeperNotice::Kind::kLost, false, "transfer: reset"));
    EXPECT_EQ(notices, "quor-terminal: link lost: transfer: reset\n");
}

TEST_F(LineViewsTest, JsonCaption) {
    JsonView view(Into(out));
    view.ShowCaption(Spoken("Anna", 1.5, "Say \"hi\"\n", false));
    const nlohmann::json document = OneDocument();
    EXPECT_EQ(document, nlohmann::json::parse(R"({"id":1,"kind":"caption","speaker":"Anna","site":"site-Anna",
        "srcLang":"en-US","text":"Say \"hi\"\n","startTime":1.5,"endTime":2.5,"final":false,"duplicate":false})"));
}

TEST_F(LineViewsTest, JsonTranslation) {
    JsonView view(Into(out));
    view.ShowCaption(Translated("Anna", 1, "Good morning.", "早上好。", true));
    const nlohmann::json document = OneDocument();
    EXPECT_EQ(document["id"], 1);
    EXPECT_EQ(document["kind"], "translation");
    EXPECT_EQ(document["dstLang"], "zh-CN");
    EXPECT_EQ(document["transText"], "早上好。");
    EXPECT_EQ(document["final"], true);
}

TEST_F(LineViewsTest, JsonRepairsTextThatIsNotUtf8) {
    JsonView view(Into(out));
    view.ShowCaption(Spoken("Anna", 1, "ab\xFF", true));
    EXPECT_EQ(OneDocument()["text"], "ab\xEF\xBF\xBD");
}

TEST_F(LineViewsTest, JsonCheckins) {
    JsonView view(Into(out));
    view.ShowCheckins({{"li.na", "acc", "09:00", "0", "Li Na"}});
    EXPECT_EQ(OneDocument(), nlohmann::json::parse(R"({"id":0,"kind":"checkin","people":[{"name":"li.na",
        "account":"acc","checkInTime":"09:00","type":"0","participantName":"Li Na"}]})"));
}

TEST_F(LineViewsTest, JsonLinkAndOther) {
    JsonView view(Into(out));
    KeeperNotice notice = Notice(KeeperNotice::Kind::kBackingOff, false, "x");
    notice.wait = std::chrono::milliseconds(250);
    view.ShowLink(notice);
    EXPECT_EQ(OneDocument(),
              nlohmann::json::parse(R"({"kind":"link","state":"waiting","problem":"x","waitMs":250})"));
    out.clear();
    unsigned char data[3] = {};
    view.ShowOther({AI_SUB_ID_LLM_RESULT_KEL, data, 3});
    EXPECT_EQ(OneDocument(), nlohmann::json::parse(R"({"id":8,"kind":"other","bytes":3})"));
}

}  // namespace
}  // namespace quor_terminal
