#include "support/bodies.h"

#include <charconv>
#include <cstring>
#include <system_error>

#include "support/host_terminal.h"

namespace quor_test {

namespace {

std::string Member(const char* name, const std::string& value) {
    return Quoted(name) + ":" + value;
}

std::string Decimal(double value) {
    char digits[32];
    const auto end = std::to_chars(digits, digits + sizeof digits, value);
    return std::string(digits, end.ptr);
}

}  // namespace

std::string Quoted(const std::string& text) {
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            quoted += '\\';
        }
        quoted += c;
    }
    return quoted + '"';
}

std::string ToJson(const Caption& caption) {
    std::string json =
        "{" + Member("text", Quoted(caption.text)) + "," + Member("uuid", Quoted(caption.uuid)) + "," +
        Member("name", Quoted(caption.name)) + "," + Member("final", caption.final ? "true" : "false") + "," +
        Member("srcLang", Quoted(caption.srcLang)) + "," + Member("startTime", Decimal(caption.startTime)) +
        "," + Member("endTime", Decimal(caption.endTime));
    if (!caption.dstLang.empty()) {
        json += "," + Member("dstLang", Quoted(caption.dstLang)) + "," +
                Member("transText", Quoted(caption.transText));
    }
    return json + "}";
}

TagQuorAiKelVoiceTranslateInfo ToRecord(const Caption& caption) {
    TagQuorAiKelVoiceTranslateInfo record;
    std::memset(&record, 0, sizeof record);
    record.isTranslation = caption.dstLang.empty() ? 0 : 1;
    SetText(record.srcLang, caption.srcLang);
    SetText(record.dstLang, caption.dstLang);
    record.startTime = caption.startTime;
    record.endTime = caption.endTime;
    SetText(record.text, caption.text);
    SetText(record.transText, caption.transText);
    record.final = caption.final ? 1 : 0;
    SetText(record.uuid, caption.uuid);
    SetText(record.name, caption.name);
    return record;
}

std::string NumberedCaption(std::size_t number) {
    Caption caption;
    caption.text = std::to_string(number);
    return ToJson(caption);
}

std::size_t NumberOf(const TagQuorAiKelVoiceTranslateInfo& record) {
    std::size_t number = 0;
    const char* const end = record.text + strnlen(record.text, sizeof record.text);
    const auto parsed = std::from_chars(record.text, end, number);
    return parsed.ec == std::errc() && parsed.ptr == end ? number : std::string::npos;
}

std::string CheckinJson(const TagQuorAiCheckinList& list) {
    std::string json;
    for (unsigned int i = 0; i < list.num; ++i) {
        const TagQuorAiGetSigninContent& entry = list.content[i];
        json += std::string(i == 0 ? "{" : ",{") + Member("name", Quoted(entry.name)) + "," +
                Member("account", Quoted(entry.account)) + "," +
                Member("checkInTime", Quoted(entry.checkInTime)) + "," + Member("type", Quoted(entry.type)) +
                "," + Member("participantName", Quoted(entry.participantName)) + "}";
    }
    return "{\"checkInfoList\":[" + json + "]}";
}

std::string SitesJson(unsigned int type, std::size_t count) {
    std::string json = "{" + Member("type", std::to_string(type)) + "," +
                       Member("size", std::to_string(count)) + ",\"changeList\":[";
    for (std::size_t i = 0; i < count; ++i) {
        const std::string number = std::to_string(i);
        json += std::string(i == 0 ? "{" : ",{") + Member("id", Quoted("site-" + number)) + "," +
                Member("name", Quoted("会场 " + number)) + "}";
    }
    return json + "]}";
}

}  // namespace quor_test
