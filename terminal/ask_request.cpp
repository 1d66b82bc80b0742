#include "ask_request.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace quor_terminal {
namespace {

// Each of the first nine is stopped by the one nine further on.
constexpr unsigned int kStoppableKinds = 9;

constexpr std::array<RequestKind, kRequestKindCount> kKinds = {{
    {0, "FREE_CHAT", "free chat", true},
    {1, "MEETING_CHAT", "a question about the meeting", true},
    {2, "MEETING_SUMMARY", "a summary of the meeting", false},
    {3, "MEETING_MINUTES", "minutes of the meeting", false},
    {4, "TRANSLATE", "translation of the text", true},
    {5, "SIMUL_INTERP", "simultaneous interpretation", false},
    {6, "COMPLETIONS_CHAT", "completion of the text", true},
    {7, "IMAGES_GENERATIONS", "an image after the text", true},
    {8, "VIDEO_GENERATIONS", "a video after the text", true},
    {9, "FREE_CHAT_STOP", "stops number --seq of kind 0", false},
    {10, "MEETING_CHAT_STOP", "stops number --seq of kind 1", false},
    {11, "MEETING_SUMMARY_STOP", "stops number --seq of kind 2", false},
    {12, "MEETING_MINUTES_STOP", "stops number --seq of kind 3", false},
    {13, "TRANSLATE_STOP", "stops number --seq of kind 4", false},
    {14, "SIMUL_INTERP_STOP", "stops number --seq of kind 5", false},
    {15, "COMPLETIONS_CHAT_STOP", "stops number --seq of kind 6", false},
    {16, "IMAGES_GENERATIONS_STOP", "stops number --seq of kind 7", false},
    {17, "VIDEO_GENERATIONS_STOP", "stops number --seq of kind 8", false},
    {18, "MODEL_CONFIG", "configuration of the model", false},
}};

constexpr std::array<Model, kModelCount> kModels = {
    {{0, "DeepSeek-V3"}, {1, "DeepSeek-R1"}, {2, "DeepSeek-LLM"}}};

char Folded(char c) {
    if (c == '-') {
        return '_';
    }
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

bool SameName(std::string_view left, std::string_view right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char a, char b) { return Folded(a) == Folded(b); });
}

template <typename Table>
auto Find(const Table& table, std::string_view text) -> const typename Table::value_type* {
    unsigned int number = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool isNumber = error == std::errc() && stop == text.data() + text.size();
    const auto found = std::find_if(table.begin(), table.end(), [&](const auto& row) {
        return isNumber ? row.value == number : SameName(row.name, text);
    });
    return found == table.end() ? nullptr : &*found;
}

// Bytes of a text between the quotes of a JSON string as the library's printer writes it.
std::size_t JsonBytes(std::string_view text) {
    constexpr std::string_view kShortEscapes = "\"\\\b\f\n\r\t";
    constexpr std::size_t kLongEscapeBytes = 6;  // \u001f
    std::size_t bytes = 0;
    for (const char c : text) {
        if (kShortEscapes.find(c) != std::string_view::npos) {
            bytes += 2;
        } else {
            bytes += static_cast<unsigned char>(c) < 0x20 ? kLongEscapeBytes : 1;
        }
    }
    return bytes;
}

}  // namespace

const RequestKind& KindOf(unsigned int value) {
    return kKinds[value % kKinds.size()];
}

const RequestKind* FindKind(std::string_view text) {
    return Find(kKinds, text);
}

bool IsStopKind(unsigned int value) {
    return value >= kStoppableKinds && value < 2 * kStoppableKinds;
}

std::optional<unsigned int> StopKindOf(unsigned int value) {
    return value < kStoppableKinds ? std::optional<unsigned int>(value + kStoppableKinds) : std::nullopt;
}

const Model& ModelOf(unsigned int value) {
    return kModels[value % kModels.size()];
}

const Model* FindModel(std::string_view text) {
    return Find(kModels, text);
}

std::string KindList() {
    constexpr std::size_t kAboutColumn = 32;
    std::string list;
    for (const RequestKind& kind : kKinds) {
        std::string line = (kind.value < 10 ? "   " : "  ") + std::to_string(kind.value) + "  " + kind.name;
        line.resize(kAboutColumn, ' ');
        list += line + kind.about + "\n";
    }
    return list;
}

std::string ModelList() {
    std::string list;
    for (const Model& model : kModels) {
        list += (list.empty() ? "" : ", ") + std::to_string(model.value) + " " + model.name;
    }
    return list;
}

std::size_t ConferenceRequestBytes(std::string_view conference, std::string_view uri, std::string_view text) {
    constexpr std::string_view kRest = "{\n\t\"confId\":\t\"\",\n\t\"uri\":\t\"\",\n\t\"content\":\t\"\"\n}";
    return kRest.size() + JsonBytes(conference) + JsonBytes(uri) + JsonBytes(text);
}

std::size_t ManagerRequestBytes(std::string_view text) {
    constexpr std::string_view kRest = "{\n\t\"content\":\t\"\"\n}";
    return kRest.size() + JsonBytes(text);
}

}  // namespace quor_terminal
