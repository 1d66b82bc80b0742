#include "support/builders.h"

namespace QuorTest {

namespace {

std::string JoinArray(const std::vector<std::string>& elements) {
    std::string text = "[";
    for (const std::string& element : elements) {
        text += (text.size() > 1 ? "," : "") + element;
    }
    return text + "]";
}

}  // namespace

JsonFields CaptionFields() {
    return {{"uuid", Quoted("site-1")}, {"name", Quoted("Room One")}, {"srcLang", Quoted("en-US")},
            {"text", Quoted("hello")},  {"startTime", "1.25"},        {"endTime", "2.5"},
            {"final", "true"}};
}

JsonFields TranslationFields() {
    return CaptionFields().With("dstLang", Quoted("fr-FR")).With("transText", Quoted("bonjour"));
}

JsonFields CheckinFields() {
    return {{"name", Quoted("Ada")},
            {"account", Quoted("ada@example.org")},
            {"checkInTime", Quoted("2024-05-06 07:08:09")},
            {"type", Quoted("face")},
            {"participantName", Quoted("Room One")}};
}

std::string CheckinBody(const std::vector<std::string>& entries) {
    return "{\"checkInfoList\":" + JoinArray(entries) + "}";
}

JsonFields ConfCtrlState() {
    return {{"subtitleStatus", "1"},
            {"srcLang", Quoted("en-US")},
            {"dstLang", Quoted("fr-FR")},
            {"enforce", "1"}};
}

std::string ConfCtrlBody(const JsonFields& state) {
    return "{\"state\":" + state.Text() + "}";
}

std::vector<std::string> SiteElements(unsigned count) {
    std::vector<std::string> elements;
    for (unsigned i = 0; i < count; ++i) {
        const std::string n = std::to_string(i);
        elements.push_back(JsonFields({{"id", Quoted("site-" + n)}, {"name", Quoted("Room " + n)}}).Text());
    }
    return elements;
}

std::string SitesBody(const std::string& size, const std::vector<std::string>& elements) {
    return "{\"type\":2,\"size\":" + size + ",\"changeList\":" + JoinArray(elements) + "}";
}

JsonFields OverlayFields() {
    return {{"uri", Quoted(kUri)}, {"pause", "true"}};
}

std::string MessageFrame(const std::string& destination, const std::string& body) {
    return "MESSAGE\ndestination:" + destination +
           "\ncontent-type:application/json\nsubscription:sub-1\nmessage-id:42\ncontent-length:" +
           std::to_string(body.size()) + "\n\n" + body;
}

TagQuorAiSubscribeInfo SubscribeInfo(TagQuorAiSubId id) {
    TagQuorAiSubscribeInfo info{};
    info.subId = id;
    Put(info.confId, kConfId);
    Put(info.language, kLanguage);
    Put(info.token, kToken);
    Put(info.uri, kUri);
    return info;
}

TagQuorAiKelLoginInfo LoginInfo() {
    TagQuorAiKelLoginInfo info{};
    Put(info.serverAddr, "conf.example.org");
    info.port = 8443;
    Put(info.userName, "alice");
    Put(info.kelPassWord, "sealed-password-text");
    return info;
}

QuorAiModelParams ModelParams() {
    QuorAiModelParams params{};
    params.reserved = 99;
    params.modelVersion = 1;
    params.reqType = 2;
    params.seqNum = 4000000001U;
    params.roundCnt = 3;
    Put(params.token, kToken);
    Put(params.confId, kConfId);
    Put(params.content, "summarise");
    Put(params.uri, kUri);
    return params;
}

}  // namespace QuorTest
