// Check-ins, captions and translations with faulty content: what reaches the observer, what the log says, and
// that the next message arrives.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "support/bodies.h"
#include "support/message_faults.h"

namespace quor_test {
namespace {

constexpr std::size_t kLong = 4000;  // longer than every field

TagQuorAiCheckinList CheckIns(const std::string& type, const std::vector<std::string>& names) {
    TagQuorAiCheckinList list = {};
    for (const std::string& name : names) {
        TagQuorAiGetSigninContent& entry = list.content[list.num++];
        SetText(entry.name, name);
        SetText(entry.account, name);
        SetText(entry.checkInTime, "T");
        SetText(entry.type, type);
        SetText(entry.participantName, name);
    }
    return list;
}

class CheckInFaultsTest : public MessageFaultsTest {
protected:
    void Check(const Case& fault) {
        MessageFaultsTest::Check(AI_SUB_ID_CHECKIN, R"("kind":"checkIn","people":["u1","u2"],"time":"T")",
                                 fault, R"("kind":"checkIn","people":["u3"],"time":"T")",
                                 Bytes(CheckIns("normal", {"Li"})));
    }
};

TEST_F(CheckInFaultsTest, EveryMemberIsRequired) {
    for (const std::string member : {"name", "account", "checkInTime", "type", "participantName"}) {
        for (const std::string fault : {"omit", "wrongType"}) {
            Check({"\"" + fault + "\":[\"" + member + "\"]",
                   {},
                   {"T <ParseCheckinContent>: get " + member + " failed",
                    "E <KelParseCheckinTextMessage>: parse checkin[0] failed"}});
        }
    }
}

TEST_F(CheckInFaultsTest, ListsThatAreMissingWrongOrTooLongAreDropped) {
    for (const char* fault : {R"("omit":["checkInfoList"])", R"("wrongType":["checkInfoList"])"}) {
        Check({fault, {}, {"E <KelParseCheckinTextMessage>: parse checkinlist faild"}});
    }
    Check({R"("tooLong":["checkInfoList"],"entries":6)",
           {},
           {"E <KelParseCheckinTextMessage>: listSize(6) is invalid"}});
    Check({R"("tooLong":["checkInfoList"])",
           {},
           {"E <KelParseCheckinTextMessage>: listSize(1601) is invalid"}});
}

TEST_F(CheckInFaultsTest, TextsThatAreTooLongAreCut) {
    TagQuorAiCheckinList list = CheckIns("normal" + X(100), {"Ana", "Ben"});
    for (unsigned int i = 0; i < list.num; ++i) {
        SetText(list.content[i].name, list.content[i].name + X(300));
    }
    Check({R"("tooLong":["type","name"])", {Bytes(list)}, {}});
}

class CaptionFaultsTest : public MessageFaultsTest {
protected:
    static Caption Spoken() {
        Caption caption;
        caption.text = "你好";
        caption.uuid = "u1";
        caption.name = "Ana";
        caption.startTime = 0;
        caption.endTime = 0;
        return caption;
    }
    static Caption Translated() {
        Caption caption = Spoken();
        caption.dstLang = "en-US";
        caption.transText = "Hello";
        return caption;
    }

    // translated: the message is a caption and its translation, both with the fault.
    void Check(const Case& fault, bool translated = false) {
        Caption good = Spoken();
        good.text = "后来";
        const std::string step = R"("kind":"utterance","speaker":"u1","srcLang":"zh-CN","text":)";
        MessageFaultsTest::Check(
            AI_SUB_ID_CAPTION,
            step + R"("你好")" + (translated ? R"(,"translations":{"en-US":"Hello"})" : ""), fault,
            step + R"("后来")", Bytes(ToRecord(good)), translated ? 2 : 1);
    }

    static std::string Fault(const std::string& list, const std::string& member) {
        return "\"" + list + "\":[\"" + member + "\"]";
    }
    static std::string Missing(const std::string& what) {
        return "T <KelVoiceParseTextMessage>: get " + what + " failed";
    }
};

TEST_F(CaptionFaultsTest, RequiredTextsThatAreMissingOrWrongDropTheMessage) {
    const std::vector<std::pair<std::string, std::string>> members = {
        {"text", "text"}, {"uuid", "site"}, {"srcLang", "srcLanguage"}};
    for (const auto& [member, logged] : members) {
        Check({Fault("omit", member), {}, {Missing(logged)}});
        Check({Fault("wrongType", member), {}, {Missing(logged)}});
    }
}

TEST_F(CaptionFaultsTest, FlagsAndTimesThatAreMissingOrWrongDropTheMessage) {
    for (const char* fault : {"omit", "wrongType"}) {
        Check({Fault(fault, "final"),
               {},
               {"E <KelJsonGetBool>: key final jsonObj is error", Missing("final")}});
    }
    for (const std::string member : {"startTime", "endTime"}) {
        Check({Fault("omit", member),
               {},
               {"E <KelJsonGetDouble>: key not found in JSON object", Missing(member)}});
        Check({Fault("wrongType", member),
               {},
               {"E <KelJsonGetDouble>: key " + member + " jsonObj is error", Missing(member)}});
    }
}

TEST_F(CaptionFaultsTest, ANameIsOptional) {
    Caption nameless = Spoken();
    nameless.name.clear();
    Check({Fault("omit", "name"), {Bytes(ToRecord(nameless))}, {}});
    Check({Fault("wrongType", "name"), {Bytes(ToRecord(nameless))}, {}});
}

TEST_F(CaptionFaultsTest, WhatIsTooLongIsCut) {
    Caption caption = Spoken();
    caption.text += X(kLong);
    caption.name += X(kLong);
    caption.uuid += X(kLong);
    caption.srcLang += X(kLong);
    caption.startTime = 1e20;
    Check({R"("tooLong":["text","name","uuid","srcLang","startTime"])", {Bytes(ToRecord(caption))}, {}});
}

TEST_F(CaptionFaultsTest, ATranslationThatLacksItsOwnMembersIsDroppedAlone) {
    const std::string error = "E <KelVoiceParseTextMessage>: KelParseTransTextMessage faild";
    const std::vector<std::pair<std::string, std::string>> members = {{"dstLang", "dstLanguage"},
                                                                      {"transText", "text"}};
    for (const auto& [member, logged] : members) {
        for (const char* fault : {"omit", "wrongType"}) {
            Check({Fault(fault, member), {Bytes(ToRecord(Spoken()))}, {Missing(logged), error}}, true);
        }
    }
}

TEST_F(CaptionFaultsTest, WhatBothLackDropsBoth) {
    const std::string error = "E <KelVoiceParseTextMessage>: KelParseTransTextMessage faild";
    Check({Fault("omit", "srcLang"), {}, {Missing("srcLanguage"), Missing("srcLanguage"), error}}, true);
    const std::string noFlag = "E <KelJsonGetBool>: key final jsonObj is error";
    Check({Fault("omit", "final"), {}, {noFlag, Missing("final"), noFlag, Missing("final")}}, true);
}

TEST_F(CaptionFaultsTest, ATranslationThatIsTooLongIsCut) {
    Caption translated = Translated();
    translated.transText += X(kLong);
    translated.dstLang += X(kLong);
    Check({R"("tooLong":["transText","dstLang"])",
           {Bytes(ToRecord(Spoken())), Bytes(ToRecord(translated))},
           {}},
          true);
}

}  // namespace
}  // namespace quor_test
