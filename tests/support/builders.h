// builders.h - records, frames and JSON texts as tests need them.
#ifndef TESTS_SUPPORT_BUILDERS_H
#define TESTS_SUPPORT_BUILDERS_H

#include <cstddef>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "quor_ai/records.h"

namespace QuorTest {

// Copies text into a field, cut to what fits with a terminator.
template <std::size_t N>
void Put(char (&field)[N], const std::string& text) {
    std::memset(field, 0, N);
    std::memcpy(field, text.data(), text.size() < N ? text.size() : N - 1);
}

// Fills a field to its last byte, without a terminator.
template <std::size_t N>
void FillWhole(char (&field)[N], char c = 'x') {
    std::memset(field, c, N);
}

// A JSON object of name and raw value, in order.
class JsonFields {
public:
    JsonFields(std::initializer_list<std::pair<std::string, std::string>> fields) : m_fields(fields) {}

    JsonFields With(const std::string& name, const std::string& rawValue) const {
        JsonFields copy = *this;
        for (auto& [key, value] : copy.m_fields) {
            if (key == name) {
                value = rawValue;
                return copy;
            }
        }
        copy.m_fields.emplace_back(name, rawValue);
        return copy;
    }

    JsonFields Without(const std::string& name) const {
        JsonFields copy({});
        for (const auto& field : m_fields) {
            if (field.first != name) {
                copy.m_fields.push_back(field);
            }
        }
        return copy;
    }

    std::string Text() const {
        std::string text = "{";
        for (const auto& [key, value] : m_fields) {
            text += (text.size() > 1 ? ",\"" : "\"") + key + "\":" + value;
        }
        return text + "}";
    }

private:
    std::vector<std::pair<std::string, std::string>> m_fields;
};

inline std::string Quoted(const std::string& text) {
    return "\"" + text + "\"";
}

JsonFields CaptionFields();
JsonFields TranslationFields();
JsonFields CheckinFields();
std::string CheckinBody(const std::vector<std::string>& entries);
std::string ConfCtrlBody(const JsonFields& state);
JsonFields ConfCtrlState();
// size as given; the list has the elements given.
std::string SitesBody(const std::string& size, const std::vector<std::string>& elements);
std::vector<std::string> SiteElements(unsigned count);
JsonFields OverlayFields();

// A MESSAGE frame as a server sends it.
std::string MessageFrame(const std::string& destination, const std::string& body);

TagQuorAiSubscribeInfo SubscribeInfo(TagQuorAiSubId id);
TagQuorAiKelLoginInfo LoginInfo();
QuorAiModelParams ModelParams();

// Contents of the records above.
inline constexpr const char* kConfId = "conf-0123456789";
inline constexpr const char* kLanguage = "en-US";
inline constexpr const char* kToken = "access-token-of-the-conference";
inline constexpr const char* kUri = "terminal-7@example.org";
inline constexpr const char* kCheckinDestination = "/topic/conferences/conf-0123456789/checkinservice";
inline constexpr const char* kCaptionDestination = "/topic/conferences/conf-0123456789/subtitle/en-US";
inline constexpr const char* kConfCtrlDestination = "/topic/conferences/conf-0123456789";
inline constexpr const char* kSiteDestination = "/topic/conferences/conf-0123456789/participantslist/general";
inline constexpr const char* kOverlayDestination = "/topic/terminal/conf-0123456789/subtitleoverlay";
inline constexpr const char* kReportDestination = "/terminal/parameter";
inline constexpr const char* kLlmDestination = "/topic/chat/conf-0123456789/terminal-7@example.org";

}  // namespace QuorTest

#endif
