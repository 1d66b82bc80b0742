// Control, sites and overlay messages with faulty content: what reaches the observer, what the log says, and
// that the next message arrives.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "support/bodies.h"
#include "support/message_faults.h"

namespace quor_test {
namespace {

TagQuorAiConfCtrlStatusInfo Status(int status, const std::string& srcLang, const std::string& dstLang,
                                   int enforce) {
    TagQuorAiConfCtrlStatusInfo record;
    std::memset(&record, 0, sizeof record);
    record.status = status;
    SetText(record.srcLang, srcLang);
    SetText(record.dstLang, dstLang);
    record.enforce = enforce;
    return record;
}

std::string SiteBytes(unsigned int type, const std::vector<std::pair<std::string, std::string>>& sites) {
    const auto count = static_cast<unsigned int>(sites.size());
    std::string bytes = Bytes(type) + Bytes(count);
    for (const auto& [id, name] : sites) {
        TagQuorAiSiteInfo site = {};
        SetText(site.id, id);
        SetText(site.name, name);
        bytes += Bytes(site);
    }
    return bytes;
}

class ControlFaultsTest : public MessageFaultsTest {
protected:
    void Check(const Case& fault) {
        MessageFaultsTest::Check(
            AI_SUB_ID_CONF_CTRL,
            R"("kind":"control","subtitleStatus":1,"srcLang":"zh-CN","dstLang":"en-US","enforce":1)", fault,
            R"("kind":"control","subtitleStatus":7,"srcLang":"fr","dstLang":"de","enforce":2)",
            Bytes(Status(7, "fr", "de", 2)));
    }

    const std::string changed = "I <KelConfCtrlParseTextMessage>: Kel change caption switch to ";
    const std::string goodLine = "I <KelConfCtrlParseTextMessage>: srcLang=fr, dtsLang=de, enforce=2";
    const std::string judged = "T <KelConfCtrlParseTextMessage>: KelConfCtrlJudgeText failed!";
};

TEST_F(ControlFaultsTest, WithoutAUsableStatusTheMessageIsDropped) {
    const std::string error = "E <KelConfCtrlParseTextMessage>: key subtitleStatus jsonObj is error";
    Check({R"("omit":["state"])", {}, {error, changed + "7", goodLine}});
    for (const char* fault :
         {R"("omit":["subtitleStatus"])", R"("wrongType":["state"])", R"("wrongType":["subtitleStatus"])"}) {
        Check({fault, {}, {error, goodLine}});
    }
}

TEST_F(ControlFaultsTest, LanguagesThatAreMissingOrWrongStayEmpty) {
    const std::string noSrcLang = "T <KelConfCtrlParseTextMessage>: get srcLang failed";
    const std::string noDstLang = "T <KelConfCtrlParseTextMessage>: get dstLang failed";
    const std::string end = ", enforce=1";
    for (const char* fault : {R"("omit":["srcLang"])", R"("wrongType":["srcLang"])"}) {
        Check({fault,
               {Bytes(Status(1, "", "", 1))},
               {changed + "1", noSrcLang, judged, "I <KelConfCtrlParseTextMessage>: srcLang=, dtsLang=" + end,
                changed + "7", goodLine}});
    }
    for (const char* fault : {R"("omit":["dstLang"])", R"("wrongType":["dstLang"])"}) {
        Check({fault,
               {Bytes(Status(1, "zh-CN", "", 1))},
               {changed + "1", noDstLang, judged,
                "I <KelConfCtrlParseTextMessage>: srcLang=zh-CN, dtsLang=" + end, changed + "7", goodLine}});
    }
}

TEST_F(ControlFaultsTest, LanguagesThatAreTooLongStayEmpty) {
    const std::string end = ", enforce=1";
    Check({R"("tooLong":["srcLang"])",
           {Bytes(Status(1, "", "", 1))},
           {changed + "1", "E <KelConfCtrlParseTextMessage>: strcpy_s srcLang failed", judged,
            "I <KelConfCtrlParseTextMessage>: srcLang=, dtsLang=" + end, changed + "7", goodLine}});
    Check({R"("tooLong":["dstLang"],"length":16)",
           {Bytes(Status(1, "zh-CN", "", 1))},
           {changed + "1", "E <KelConfCtrlParseTextMessage>: strcpy_s dstLang failed", judged,
            "I <KelConfCtrlParseTextMessage>: srcLang=zh-CN, dtsLang=" + end, changed + "7", goodLine}});
}

TEST_F(ControlFaultsTest, NumbersThatAreMissingWrongOrTooLarge) {
    const std::string languages = "I <KelConfCtrlParseTextMessage>: srcLang=zh-CN, dtsLang=en-US, enforce=";
    for (const char* fault : {R"("omit":["enforce"])", R"("wrongType":["enforce"])"}) {
        Check({fault,
               {Bytes(Status(1, "zh-CN", "en-US", -1))},
               {changed + "1", languages + "-1", changed + "7", goodLine}});
    }
    Check({R"("tooLong":["subtitleStatus","enforce"])",
           {Bytes(Status(2147483647, "zh-CN", "en-US", 2147483647))},
           {changed + "2147483647", languages + "2147483647", changed + "7", goodLine}});
}

class SitesFaultsTest : public MessageFaultsTest {
protected:
    void Check(const Case& fault) {
        MessageFaultsTest::Check(AI_SUB_ID_CONF_SITE, R"("kind":"sites","type":2,"people":["u1","u2"])",
                                 fault, R"("kind":"sites","type":9,"people":["u3"])",
                                 SiteBytes(9, {{"u3", "Li"}}));
    }

    static std::string Invalid(const std::string& size) {
        return "E <KelConfSiteParseTextMessage>: failed totalSiteNum " + size + " invalid";
    }
};

TEST_F(SitesFaultsTest, WithoutASizeThatFitsTheMessageIsDropped) {
    for (const char* fault : {R"("omit":["size"])", R"("wrongType":["size"])"}) {
        Check({fault,
               {},
               {"E <KelJsonGetNum>: key size jsonObj is error",
                "E <KelConfSiteParseTextMessage>: get size failed", Invalid("0")}});
    }
    Check({R"("tooLong":["size"])", {}, {Invalid("2147483647")}});
    Check({R"("tooLong":["changeList"])", {}, {Invalid("1601")}});
}

TEST_F(SitesFaultsTest, TheLongestListIsDelivered) {
    std::vector<std::pair<std::string, std::string>> sites(kQuorAiSiteMax, {"u2", "Ben"});
    sites[0] = {"u1", "Ana"};
    Check({R"("tooLong":["changeList"],"entries":1600)", {SiteBytes(2, sites)}, {}});
}

TEST_F(SitesFaultsTest, WithoutATypeOrAListTheRestIsDelivered) {
    for (const char* fault : {R"("omit":["type"])", R"("wrongType":["type"])"}) {
        Check({fault,
               {SiteBytes(0, {{"u1", "Ana"}, {"u2", "Ben"}})},
               {"E <KelJsonGetNum>: key type jsonObj is error",
                "E <KelConfSiteParseTextMessage>: get type failed"}});
    }
    Check({R"("omit":["changeList"])", {SiteBytes(2, {})}, {}});
    Check({R"("wrongType":["changeList"])", {SiteBytes(2, {})}, {}});
}

TEST_F(SitesFaultsTest, MembersOfASiteStayEmptyOrAreCut) {
    Check({R"("omit":["id"])", {SiteBytes(2, {{"", "Ana"}, {"", "Ben"}})}, {}});
    Check({R"("wrongType":["name"])", {SiteBytes(2, {{"u1", ""}, {"u2", ""}})}, {}});
    Check({R"("tooLong":["id","name"])",
           {SiteBytes(2, {{"u1" + X(300), "Ana" + X(300)}, {"u2" + X(300), "Ben" + X(300)}})},
           {}});
}

class OverlayFaultsTest : public MessageFaultsTest {
protected:
    // The entry record of each of the two messages is an error record.
    void CheckDropped(const std::string& fault, const std::vector<std::string>& errors) {
        TagQuorAiConfCtrlStatusInfo shown = Status(0, "", "", 0);
        std::vector<std::string> lines = errors;
        lines.insert(lines.begin(), "E KelCaptionOverlayParseTextMessage in");
        lines.emplace_back("E KelCaptionOverlayParseTextMessage in");
        const std::string step = R"("kind":"overlay","terminal":"terminal-7","uri":"sip:room7@example.org")";
        Check(AI_SUB_ID_CAPTION_OVERLAY, step + R"(,"pause":true)", {fault, {}, lines},
              step + R"(,"pause":false)", Bytes(shown));
    }
};

TEST_F(OverlayFaultsTest, WithoutAUriOrForAnotherTerminalTheMessageIsDropped) {
    const std::string noUri = "E <KelCaptionOverlayParseTextMessage>: get uri failed";
    const std::string another =
        "E <KelCaptionOverlayParseTextMessage>: some site subtile switch changed but not current one";
    CheckDropped(R"("omit":["uri"])", {noUri});
    CheckDropped(R"("wrongType":["uri"])", {noUri});
    CheckDropped(R"("tooLong":["uri"])", {another});
    CheckDropped(R"("otherUri":"sip:room8@example.org")", {another});
}

TEST_F(OverlayFaultsTest, WithoutAUsableSwitchTheMessageIsDropped) {
    for (const char* fault : {R"("omit":["pause"])", R"("wrongType":["pause"])"}) {
        CheckDropped(fault, {"E <KelJsonGetBool>: key pause jsonObj is error",
                             "E <KelCaptionOverlayParseTextMessage>: get pause failed"});
    }
}

}  // namespace
}  // namespace quor_test
