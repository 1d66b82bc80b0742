#include "statistics.h"

#include <gtest/gtest.h>

#include <vector>

#include "captions.h"
#include "summary.h"

namespace quor_terminal {
namespace {

TEST(Statistics, CountsTextsByKind) {
    Statistics statistics;
    EXPECT_FALSE(statistics.CountCaption(Spoken("Anna", 1, "a", false)));
    EXPECT_FALSE(statistics.CountCaption(Spoken("Anna", 1, "a", false)));
    EXPECT_FALSE(statistics.CountCaption(Spoken("Anna", 1, "a.", true)));
    EXPECT_FALSE(statistics.CountCaption(Translated("Anna", 1, "a.", "b", true)));
    const StatisticsSnapshot counts = statistics.Snapshot();
    EXPECT_EQ(counts.captions.interim, 2U);
    EXPECT_EQ(counts.captions.final, 1U);
    EXPECT_EQ(counts.translations.final, 1U);
    EXPECT_EQ(counts.captions.duplicates + counts.translations.duplicates, 0U);
}

TEST(Statistics, NoticesAFinalTextThatComesTwice) {
    Statistics statistics;
    const Caption caption = Spoken("Anna", 1, "a.", true);
    EXPECT_FALSE(statistics.CountCaption(caption));
    EXPECT_TRUE(statistics.CountCaption(caption));
    EXPECT_EQ(statistics.Snapshot().captions.duplicates, 1U);
    EXPECT_EQ(statistics.Snapshot().captions.final, 2U);
}

TEST(Statistics, EveryPartOfATextTells) {
    const Caption base = Translated("Anna", 1, "a", "b", true);
    std::vector<Caption> others(6, base);
    others[0].site = "other";
    others[1].startTime = 2;
    others[2].endTime = 3;
    others[3].text = "ab";
    others[4].transText = "bb";
    others[5].dstLang = "de-DE";
    Statistics statistics;
    EXPECT_FALSE(statistics.CountCaption(base));
    for (const Caption& other : others) {
        EXPECT_FALSE(statistics.CountCaption(other));
    }
    EXPECT_TRUE(statistics.CountCaption(base));
}

TEST(Statistics, RemembersTheLastTextsOnly) {
    Statistics statistics;
    EXPECT_FALSE(statistics.CountCaption(Spoken("Anna", -1, "first", true)));
    for (std::size_t i = 0; i < Statistics::kRememberedFinals; ++i) {
        ASSERT_FALSE(statistics.CountCaption(Spoken("Anna", static_cast<double>(i), "x", true)));
    }
    EXPECT_FALSE(statistics.CountCaption(Spoken("Anna", -1, "first", true)));  // forgotten
    EXPECT_TRUE(statistics.CountCaption(Spoken("Anna", 100, "x", true)));
}

TEST(Statistics, IdsOutsideTheTableAreIgnored) {
    Statistics statistics;
    statistics.CountResult(1);
    statistics.CountResult(kQuorAiSubIdTableSize);
    statistics.CountResult(0xFFFFFFFFU);
    EXPECT_EQ(statistics.Snapshot().resultsById[1], 1U);
}

TEST(Summary, TextAndJsonTellTheSame) {
    Statistics statistics;
    statistics.CountResult(AI_SUB_ID_CAPTION);
    statistics.CountCaption(Spoken("Anna", 1, "a.", true));
    statistics.CountCheckins(3);
    Summary summary;
    summary.counts = statistics.Snapshot();
    summary.connects = 3;
    summary.losses = 2;
    summary.seconds = 12.34;
    EXPECT_EQ(SummaryText(summary),
              "Summary\n"
              "  captions        1 final, 0 interim, 0 doubled\n"
              "  translations    0 final, 0 interim, 0 doubled\n"
              "  check-ins       3 people in 1 messages\n"
              "  link            3 connects, 2 losses, 2 reconnects\n"
              "  time            12.3 s\n");
    const std::string json = SummaryJson(summary);
    EXPECT_NE(json.find("\"reconnects\": 2"), std::string::npos);
    EXPECT_NE(json.find("\"people\": 3"), std::string::npos);
}

TEST(Summary, AFileThatCannotBeWrittenIsNamed) {
    std::string message;
    EXPECT_FALSE(WriteFileWhole("/nonexistent-folder/summary.json", "x", message));
    EXPECT_EQ(message, "/nonexistent-folder/summary.json: No such file or directory");
}

}  // namespace
}  // namespace quor_terminal
