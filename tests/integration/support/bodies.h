// bodies.h - JSON bodies as the server sends them, and the records that observers must get for them.
#ifndef QUOR_TESTS_INTEGRATION_BODIES_H
#define QUOR_TESTS_INTEGRATION_BODIES_H

#include <cstddef>
#include <string>

#include "quor_ai/records.h"

namespace quor_test {

struct Caption {
    std::string text = "spoken";  // an empty one is refused
    bool final = true;
    std::string srcLang = "zh-CN";
    std::string uuid = "site-7";
    std::string name = "Wang Fang";
    double startTime = 1.5;
    double endTime = 2.25;
    std::string dstLang;  // not empty: a translation
    std::string transText;
};

std::string ToJson(const Caption& caption);
// Byte for byte what AI_SUB_ID_CAPTION carries.
TagQuorAiKelVoiceTranslateInfo ToRecord(const Caption& caption);

// A caption whose text is the number, for tests that check the order of many.
std::string NumberedCaption(std::size_t number);
// The number of such a caption; npos when the text is none.
std::size_t NumberOf(const TagQuorAiKelVoiceTranslateInfo& record);

std::string CheckinJson(const TagQuorAiCheckinList& list);
// So many sites, "site-0" and on.
std::string SitesJson(unsigned int type, std::size_t count);

// A JSON string literal, quotes included.
std::string Quoted(const std::string& text);

// Whole records as bytes, for comparison.
template <typename Record>
std::string Bytes(const Record& record) {
    return std::string(reinterpret_cast<const char*>(&record), sizeof record);
}

}  // namespace quor_test

#endif
