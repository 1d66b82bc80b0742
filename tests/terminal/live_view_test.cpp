#include "live_view.h"

#include <gtest/gtest.h>

#include <memory>

#include "captions.h"
#include "screen.h"

namespace quor_terminal {
namespace {

class LiveViewTest : public testing::Test {
protected:
    void Make(bool translation, std::size_t width = 100, bool colour = false) {
        LiveView::Settings settings;
        settings.wantsTranslation = translation;
        settings.colour = colour;
        settings.terminalWidth = [this] { return terminalWidth; };
        settings.timeOfDay = [] { return std::string("10:20:30"); };
        settings.clock = [this] { return now; };
        terminalWidth = width;
        view = std::make_unique<LiveView>(
            [this](std::string_view text) {
                ++writes;
                return screen.Write(text);
            },
            settings);
    }

    void Pass(std::chrono::milliseconds time) {
        now += time;
        view->Tick(now);
    }

    std::size_t terminalWidth = 100;
    std::chrono::steady_clock::time_point now{std::chrono::hours(1)};
    Screen screen;
    int writes = 0;
    std::unique_ptr<LiveView> view;
};

TEST_F(LiveViewTest, InterimTextIsReplacedInPlaceByTheFinalText) {
    Make(false);
    view->ShowCaption(Spoken("Anna", 1, "Good", false));
    EXPECT_EQ(screen.Line(0), "10:20:30  Anna              en-US  Good");
    view->ShowCaption(Spoken("Anna", 1, "Good morning every", false));
    EXPECT_EQ(screen.Line(0), "10:20:30  Anna              en-US  Good morning every");
    view->ShowCaption(Spoken("Anna", 1, "Good morning, everyone.", true));
    EXPECT_EQ(screen.Line(0), "10:20:30  Anna              en-US  Good morning, everyone.");
    ASSERT_EQ(screen.Lines().size(), 2U);
    EXPECT_EQ(screen.Line(1), "[starting]   captions 1   check-ins 0   reconnects 0   (Ctrl-C ends)");
}

TEST_F(LiveViewTest, TextWaitsForItsTranslationBesideIt) {
    Make(true, 100);
    view->ShowCaption(Spoken("Anna", 1, "Good morning.", true));
    view->ShowCaption(Spoken("Anna", 2, "Let us", false));  // goes on while the translation is under way
    ASSERT_EQ(screen.Lines().size(), 3U);
    view->ShowCaption(Translated("Anna", 1, "Good morning.", "早上好。", true));
    EXPECT_EQ(screen.Line(0), "10:20:30  Anna              en-US  Good morning.                    早上好。");
    EXPECT_EQ(screen.Line(1), "10:20:30  Anna              en-US  Let us");
    view->ShowCaption(Translated("Anna", 2, "Let us start.", "我们开始吧。", true));
    view->ShowCaption(Spoken("Anna", 2, "Let us start.", true));
    EXPECT_EQ(screen.Line(1),
              "10:20:30  Anna              en-US  Let us start.                    我们开始吧。");
    EXPECT_EQ(screen.Lines().size(), 3U);
}

TEST_F(LiveViewTest, ATranslationThatDoesNotComeIsNotWaitedForLong) {
    Make(true);
    view->ShowCaption(Spoken("Anna", 1, "Good morning.", true));
    Pass(LiveView::kCounterpartWait - std::chrono::milliseconds(1));
    view->ShowCheckins({});
    Pass(std::chrono::milliseconds(1));
    view->ShowCaption(Spoken("Bo", 3, "Next", false));
    EXPECT_EQ(screen.Line(0), "10:20:30  Anna              en-US  Good morning.");
    EXPECT_EQ(screen.Line(1), "10:20:30  Bo                en-US  Next");
    // It comes after all: a row of its own, and Bo's stays alone.
    view->ShowCaption(Translated("Anna", 1, "Good morning.", "早上好。", true));
    Pass(LiveView::kCounterpartWait);
    EXPECT_EQ(screen.Line(1), "10:20:30  Anna              en-US  Good morning.                    早上好。");
    EXPECT_EQ(screen.Line(2), "10:20:30  Bo                en-US  Next");
}

TEST_F(LiveViewTest, SpeakersTakeTurnsWithoutDisturbingEachOther) {
    Make(false);
    view->ShowCaption(Spoken("Anna", 1, "I think", false));
    view->ShowCaption(Spoken("Bo", 2, "No", false));
    view->ShowCaption(Spoken("Anna", 1, "I think so.", true));
    EXPECT_EQ(screen.Line(0), "10:20:30  Anna              en-US  I think so.");
    EXPECT_EQ(screen.Line(1), "10:20:30  Bo                en-US  No");
    view->ShowCaption(Spoken("Bo", 2, "No way.", true));
    EXPECT_EQ(screen.Line(1), "10:20:30  Bo                en-US  No way.");
}

TEST_F(LiveViewTest, InterimTextThatNobodyContinuesVanishes) {
    Make(false);
    view->ShowCaption(Spoken("Anna", 1, "I thi", false));
    Pass(LiveView::kInterimWait);
    ASSERT_EQ(screen.Lines().size(), 1U);
    EXPECT_EQ(screen.Line(0).substr(0, 10), "[starting]");
}

TEST_F(LiveViewTest, LongFinalTextIsWrappedInItsColumn) {
    Make(true, 101);
    view->ShowCaption(Spoken("Anna", 1, "one two three four five six seven eight nine ten", true));
    view->ShowCaption(Translated("Anna", 1, "one two three four five six seven eight nine ten",
                                 "一二三四五六七八九十一二三四五六七八九十", true));
    EXPECT_EQ(screen.Line(0),
              "10:20:30  Anna              en-US  one two three four five six       "
              "一二三四五六七八九十一二三四五");
    EXPECT_EQ(screen.Line(1), std::string(35, ' ') + "seven eight nine ten              六七八九十");
}

TEST_F(LiveViewTest, LiveTextIsCutToOneLineAtEveryWidth) {
    for (std::size_t width = 1; width < 160; ++width) {
        screen = Screen();
        Make(true, width);
        view->ShowCaption(Spoken("王小明王小明王小明王小明", 1, std::string(400, 'x') + "早上好", false));
        view->ShowCaption(Translated("王小明王小明王小明王小明", 1, "x", std::string(900, 'y'), false));
        EXPECT_LE(screen.Lines().size(), 2U);
        EXPECT_LT(screen.WidestLine(), std::max<std::size_t>(width, 41)) << width;
    }
}

TEST_F(LiveViewTest, NarrowTerminalPutsTheTranslationBelow) {
    Make(true, 80);
    view->ShowCaption(Spoken("Anna", 1, "Good morning.", true));
    view->ShowCaption(Translated("Anna", 1, "Good morning.", "早上好。", true));
    EXPECT_EQ(screen.Line(0), "10:20:30  Anna              en-US  Good morning.");
    EXPECT_EQ(screen.Line(1), std::string(35, ' ') + "早上好。");
}

TEST_F(LiveViewTest, ShowsCheckinsAndTheFateOfTheLink) {
    Make(false);
    view->ShowLink(Notice(KeeperNotice::Kind::kOpening));
    view->ShowLink(Notice(KeeperNotice::Kind::kUp));
    view->ShowCheckins({{"li.na", "li.na@example.org", "10:19", "0", "Li Na"}});
    view->ShowLink(Notice(KeeperNotice::Kind::kLost, false, "transfer: reset"));
    view->ShowLink(Notice(KeeperNotice::Kind::kOpening, true));
    view->ShowLink(Notice(KeeperNotice::Kind::kUp, true));
    EXPECT_EQ(screen.Line(0), "10:20:30  - connecting");
    EXPECT_EQ(screen.Line(1), "10:20:30  = connected and subscribed");
    EXPECT_EQ(screen.Line(2), "10:20:30  + Li Na checked in  10:19");
    EXPECT_EQ(screen.Line(3), "10:20:30  ! link lost: transfer: reset");
    EXPECT_EQ(screen.Line(4), "10:20:30  = link restored, everything subscribed again");
    EXPECT_EQ(screen.Line(5), "[live]   captions 0   check-ins 1   reconnects 1   (Ctrl-C ends)");
}

TEST_F(LiveViewTest, FinishLeavesWhatIsFinalAndNoStatusLine) {
    Make(true);
    view->ShowCaption(Spoken("Anna", 1, "Good morning.", true));
    view->ShowCaption(Spoken("Bo", 2, "Not rea", false));
    view->Finish();
    ASSERT_EQ(screen.Lines().size(), 2U);
    EXPECT_EQ(screen.Line(0), "10:20:30  Anna              en-US  Good morning.");
    EXPECT_EQ(screen.Line(1), "");
    view->ShowCaption(Spoken("Anna", 3, "Too late.", true));
    EXPECT_EQ(screen.Lines().size(), 2U);
}

TEST_F(LiveViewTest, NetworkTextCannotMoveTheCursor) {
    Make(false);
    view->ShowCaption(Spoken("An\x1b[2Jna", 1, "a\nb\x1b[1Ac\r", true));
    view->ShowCheckins({{"x\x1b]0;title\x07", "", "1\n2", "", ""}});
    EXPECT_EQ(screen.Line(0), "10:20:30  An [2Jna          en-US  a b [1Ac ");
    EXPECT_EQ(screen.Line(1), "10:20:30  + x ]0;title  checked in  1 2");
}

TEST_F(LiveViewTest, ManySpeakersDoNotFillTheScreen) {
    Make(false);
    for (int i = 0; i < 30; ++i) {
        view->ShowCaption(Spoken("S" + std::to_string(i), i, "hm", false));
    }
    EXPECT_EQ(screen.Lines().size(), LiveView::kLiveRowsShown + 1);
    for (int i = 0; i < 30; ++i) {
        view->ShowCaption(Spoken("S" + std::to_string(i), i, "yes", true));
    }
    EXPECT_EQ(screen.Lines().size(), 31U);
}

TEST_F(LiveViewTest, NothingIsWrittenWhenNothingChanged) {
    Make(false);
    view->ShowCaption(Spoken("Anna", 1, "Good", false));
    const int before = writes;
    Pass(std::chrono::milliseconds(200));
    view->ShowCaption(Spoken("Anna", 1, "Good", false));
    EXPECT_EQ(writes, before);
}

TEST_F(LiveViewTest, ColoursAreBalanced) {
    Make(true, 120, true);
    std::string all;
    LiveView::Settings settings;
    settings.wantsTranslation = true;
    settings.terminalWidth = [] { return std::size_t{120}; };
    settings.timeOfDay = [] { return std::string("10:20:30"); };
    LiveView coloured(
        [&all](std::string_view text) {
            all += text;
            return true;
        },
        settings);
    coloured.ShowCaption(Spoken("Anna", 1, "Good", false));
    coloured.ShowLink(Notice(KeeperNotice::Kind::kLost, false, "x"));
    coloured.Finish();
    std::size_t on = 0;
    std::size_t off = 0;
    for (std::size_t pos = all.find("\x1b["); pos != std::string::npos; pos = all.find("\x1b[", pos + 1)) {
        const std::size_t end = all.find_first_of("mAJ", pos);
        if (all[end] == 'm') {
            ++(all.substr(pos, end - pos) == "\x1b[0" ? off : on);
        }
    }
    EXPECT_GT(on, 0U);
    EXPECT_EQ(on, off);
}

}  // namespace
}  // namespace quor_terminal
