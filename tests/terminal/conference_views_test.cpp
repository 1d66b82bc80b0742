// Control, sites and overlay: from the library's records to what each view shows.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "captions.h"
#include "conference_text.h"
#include "line_views.h"
#include "live_view.h"
#include "screen.h"

namespace quor_terminal {
namespace {

TagAiCloudSrvResult ResultOf(TagQuorAiSubId id, void* data, std::size_t length) {
    return {id, static_cast<unsigned char*>(data), static_cast<unsigned int>(length)};
}

SiteList Sites(unsigned int count) {
    SiteList list;
    list.type = 2;
    for (unsigned int i = 0; i < count; ++i) {
        list.sites.push_back({"id-" + std::to_string(i), "Site " + std::to_string(i)});
    }
    return list;
}

// ---- Reading ----

TEST(ConferenceResults, ControlStatusIsCopiedOut) {
    TagQuorAiConfCtrlStatusInfo record{};
    record.status = 1;
    std::strcpy(record.srcLang, "en-US");
    std::strcpy(record.dstLang, "zh-CN");
    record.enforce = -1;
    ControlStatus status;
    ASSERT_TRUE(ReadControl(ResultOf(AI_SUB_ID_CONF_CTRL, &record, sizeof record), status));
    EXPECT_EQ(status.status, 1);
    EXPECT_EQ(status.srcLang, "en-US");
    EXPECT_EQ(status.dstLang, "zh-CN");
    EXPECT_EQ(status.enforce, -1);
    EXPECT_FALSE(ReadControl(ResultOf(AI_SUB_ID_CONF_CTRL, &record, sizeof record - 1), status));
    EXPECT_FALSE(ReadControl(ResultOf(AI_SUB_ID_CAPTION_OVERLAY, &record, sizeof record), status));
}

TEST(ConferenceResults, OverlayIsCopiedOut) {
    TagQuorAiConfCtrlStatusInfo record{};
    record.pause = 1;
    bool paused = false;
    ASSERT_TRUE(ReadOverlay(ResultOf(AI_SUB_ID_CAPTION_OVERLAY, &record, sizeof record), paused));
    EXPECT_TRUE(paused);
    record.pause = 0;
    ASSERT_TRUE(ReadOverlay(ResultOf(AI_SUB_ID_CAPTION_OVERLAY, &record, sizeof record), paused));
    EXPECT_FALSE(paused);
    EXPECT_FALSE(ReadOverlay(ResultOf(AI_SUB_ID_CAPTION_OVERLAY, nullptr, sizeof record), paused));
}

TEST(ConferenceResults, SitesEndWithTheLastEntry) {
    const auto list = std::make_unique<TagQuorAiSiteInfoList>();
    list->type = 2;
    list->count = 2;
    std::strcpy(list->sites[0].id, "id-0");
    std::strcpy(list->sites[0].name, "Site 0");
    std::memset(list->sites[1].name, 'n', sizeof list->sites[1].name);
    // Exactly what there is, so that reading further is seen.
    std::vector<unsigned char> bytes(kQuorAiSiteHeadSize + 2 * sizeof(TagQuorAiSiteInfo));
    std::memcpy(bytes.data(), list.get(), bytes.size());
    SiteList sites;
    ASSERT_TRUE(ReadSites(ResultOf(AI_SUB_ID_CONF_SITE, bytes.data(), bytes.size()), sites));
    EXPECT_EQ(sites.type, 2U);
    ASSERT_EQ(sites.sites.size(), 2U);
    EXPECT_EQ(sites.sites[0].id, "id-0");
    EXPECT_EQ(sites.sites[0].name, "Site 0");
    EXPECT_EQ(sites.sites[1].name, std::string(256, 'n')) << "a field without its end stops at its capacity";
    EXPECT_FALSE(ReadSites(ResultOf(AI_SUB_ID_CONF_SITE, bytes.data(), bytes.size() - 1), sites));
    EXPECT_FALSE(ReadSites(ResultOf(AI_SUB_ID_CONF_SITE, bytes.data(), kQuorAiSiteHeadSize - 1), sites));
    EXPECT_FALSE(ReadSites(ResultOf(AI_SUB_ID_CONF_SITE, nullptr, bytes.size()), sites));
    EXPECT_FALSE(ReadSites(ResultOf(AI_SUB_ID_CAPTION, bytes.data(), bytes.size()), sites));
}

// ---- Words ----

TEST(ConferenceText, Control) {
    EXPECT_EQ(ControlText({1, "en-US", "zh-CN", 1}), "captions on, en-US to zh-CN, enforced");
    EXPECT_EQ(ControlText({0, "", "", -1}), "captions off");
    EXPECT_EQ(ControlText({1, "en-US", "", 0}), "captions on, en-US");
    EXPECT_EQ(ControlText({1, "", "zh-CN", 0}), "captions on, to zh-CN");
    EXPECT_EQ(ControlText({7, "", "", 3}), "captions status 7, enforce 3");
}

TEST(ConferenceText, SitesNameTheFirstSix) {
    EXPECT_EQ(SitesText(Sites(1)), "1 site (type 2): Site 0");
    EXPECT_EQ(SitesText(Sites(6)), "6 sites (type 2): Site 0, Site 1, Site 2, Site 3, Site 4, Site 5");
    EXPECT_EQ(SitesText(Sites(1600)),
              "1600 sites (type 2): Site 0, Site 1, Site 2, Site 3, Site 4, Site 5 and 1594 more");
    EXPECT_EQ(SitesText({0, {{"only-an-id", ""}}}), "1 site (type 0): only-an-id");
    EXPECT_EQ(SitesText({0, {}}), "0 sites (type 0)");
}

// ---- Views ----

class ConferenceViewsTest : public testing::Test {
protected:
    static TextSink Into(std::string& text) {
        return [&text](std::string_view piece) {
            text += piece;
            return true;
        };
    }
    void Make(std::size_t width) {
        LiveView::Settings settings;
        settings.wholeConference = true;
        settings.colour = false;
        settings.terminalWidth = [width] { return width; };
        settings.timeOfDay = [] { return std::string("10:20:30"); };
        view = std::make_unique<LiveView>([this](std::string_view text) { return screen.Write(text); },
                                          settings);
    }

    std::string out;
    Screen screen;
    std::unique_ptr<LiveView> view;
};

TEST_F(ConferenceViewsTest, PlainLines) {
    PlainView plain(
        Into(out), [](std::string_view) { return true; }, false, [] { return std::string("10:20:30"); });
    plain.ShowControl({1, "en-US", "zh-CN", 1});
    plain.ShowSites(Sites(2));
    plain.ShowOverlay(true);
    plain.ShowOverlay(false);
    const std::string before = "10:20:30                    ";
    EXPECT_EQ(out, before + "control   captions on, en-US to zh-CN, enforced\n" + before +
                       "sites     2 sites (type 2): Site 0, Site 1\n" + before +
                       "overlay   captions paused on this terminal\n" + before +
                       "overlay   captions shown on this terminal\n");
}

TEST_F(ConferenceViewsTest, JsonDocuments) {
    JsonView json(Into(out));
    json.ShowControl({1, "en-US", "zh-CN", -1});
    json.ShowSites(Sites(2));
    json.ShowOverlay(true);
    EXPECT_EQ(out,
              "{\"id\":2,\"kind\":\"control\",\"status\":1,\"srcLang\":\"en-US\",\"dstLang\":\"zh-CN\","
              "\"enforce\":-1}\n"
              "{\"id\":3,\"kind\":\"sites\",\"type\":2,\"count\":2,\"sites\":[{\"id\":\"id-0\",\"name\":"
              "\"Site 0\"},{\"id\":\"id-1\",\"name\":\"Site 1\"}]}\n"
              "{\"id\":4,\"kind\":\"overlay\",\"pause\":true}\n");
}

TEST_F(ConferenceViewsTest, LiveLineHoldsThePresentState) {
    Make(120);
    view->Tick(std::chrono::steady_clock::now());
    EXPECT_EQ(screen.Line(0), "captions: not told yet   overlay shown   last list of sites 0");
    view->ShowControl({1, "en-US", "zh-CN", 1});
    view->ShowSites(Sites(3));
    view->ShowOverlay(true);
    view->ShowControl({0, "", "", -1});
    EXPECT_EQ(screen.Line(0), "10:20:30  # control: captions on, en-US to zh-CN, enforced");
    EXPECT_EQ(screen.Line(1), "10:20:30  @ 3 sites (type 2): Site 0, Site 1, Site 2");
    EXPECT_EQ(screen.Line(2), "10:20:30  | overlay: captions paused on this terminal");
    EXPECT_EQ(screen.Line(3), "10:20:30  # control: captions off");
    EXPECT_EQ(screen.Line(4), "captions off   overlay paused   last list of sites 3");
    EXPECT_EQ(screen.Line(5), "[starting]   captions 0   check-ins 0   reconnects 0   (Ctrl-C ends)");
    ASSERT_EQ(screen.Lines().size(), 6U);
    view->ShowOverlay(false);
    EXPECT_EQ(screen.Line(5), "captions off   overlay shown   last list of sites 3");
}

TEST_F(ConferenceViewsTest, LiveLinesFitNarrowTerminals) {
    Make(40);
    view->ShowControl({1, "en-US", "zh-CN", 1});
    view->ShowSites(Sites(1600));
    EXPECT_LT(screen.WidestLine(), 40U);
}

TEST_F(ConferenceViewsTest, NothingIsShownAfterTheEnd) {
    Make(80);
    view->Finish();
    const std::size_t lines = screen.Lines().size();
    view->ShowControl({1, "", "", 1});
    view->ShowSites(Sites(1));
    view->ShowOverlay(true);
    EXPECT_EQ(screen.Lines().size(), lines);
}

}  // namespace
}  // namespace quor_terminal
