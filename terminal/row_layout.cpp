#include "row_layout.h"

#include <algorithm>
#include <array>

#include "text_layout.h"

namespace quor_terminal {
namespace {

constexpr std::size_t kGap = 2;
constexpr std::size_t kTimeColumns = 8;
constexpr std::size_t kLanguageColumns = 5;
constexpr std::size_t kSpeakerColumns = 16;
constexpr std::size_t kNarrowSpeakerColumns = 10;
constexpr std::size_t kNarrowWidth = 72;
constexpr std::size_t kLeastTextColumns = 24;  // of each of two columns side by side
constexpr std::size_t kLeastWidth = 40;        // narrower terminals get lines that wrap

struct Columns {
    std::size_t speaker;
    std::size_t text;
    std::size_t translation;  // 0: below the text
    std::size_t before;       // columns to the left of the text
};

Columns Divide(const RowStyle& style) {
    const std::size_t width = std::max(style.width, kLeastWidth);
    Columns columns{};
    columns.speaker = width < kNarrowWidth ? kNarrowSpeakerColumns : kSpeakerColumns;
    columns.before = kTimeColumns + kGap + columns.speaker + kGap + kLanguageColumns + kGap;
    columns.text = width - columns.before;
    if (style.translation && columns.text >= 2 * kLeastTextColumns + kGap) {
        columns.translation = (columns.text - kGap) / 2;
        columns.text -= kGap + columns.translation;
    }
    return columns;
}

std::vector<std::string> Cell(const std::string& text, std::size_t width, bool oneLine) {
    if (!oneLine) {
        return WrapToWidth(text, width);
    }
    return {DisplayWidth(text) > width ? FitToWidth(text, width) : text};
}

std::string Blanks(std::size_t count) {
    return std::string(count, ' ');
}

}  // namespace

std::string Paint(std::string_view text, unsigned int rendition, bool colour) {
    if (!colour || text.empty()) {
        return std::string(text);
    }
    return "\x1b[" + std::to_string(rendition) + "m" + std::string(text) + "\x1b[0m";
}

unsigned int SpeakerColour(std::size_t n) {
    // Cyan, yellow, green, magenta, blue and their bright kin; no red, which means trouble here.
    constexpr std::array<unsigned int, 8> kColours = {36, 33, 32, 35, 34, 96, 93, 92};
    return kColours[n % kColours.size()];
}

std::vector<std::string> LayOutRow(const CaptionRow& row, const RowStyle& style) {
    const Columns columns = Divide(style);
    const bool beside = columns.translation > 0;
    const bool below = style.translation && !beside && !style.oneLine && !row.translation.empty();
    const unsigned int tone = row.interim ? kColourDim : 0;
    const auto paintText = [&](const std::string& text) {
        return tone == 0 ? text : Paint(text, tone, style.colour);
    };

    std::vector<std::string> left = Cell(row.text, columns.text, style.oneLine);
    std::vector<std::string> right;
    if (beside) {
        right = Cell(row.translation, columns.translation, style.oneLine);
    } else if (below) {
        const std::vector<std::string> under = Cell(row.translation, columns.text, false);
        left.insert(left.end(), under.begin(), under.end());
    }

    std::vector<std::string> lines;
    const std::size_t count = std::max(left.size(), right.size());
    for (std::size_t i = 0; i < count; ++i) {
        std::string line =
            i > 0 ? Blanks(columns.before)
                  : Paint(FitToWidth(row.time, kTimeColumns), kColourDim, style.colour) + Blanks(kGap) +
                        Paint(FitToWidth(row.speaker, columns.speaker), row.speakerColour,
                              style.colour && row.speakerColour != 0) +
                        Blanks(kGap) +
                        Paint(FitToWidth(row.language, kLanguageColumns), kColourDim, style.colour) +
                        Blanks(kGap);
        const std::string text = i < left.size() ? left[i] : std::string();
        line += paintText(text);
        if (i < right.size() && !right[i].empty()) {
            line += Blanks(columns.text - DisplayWidth(text) + kGap) + paintText(right[i]);
        }
        lines.push_back(line);
    }
    return lines;
}

}  // namespace quor_terminal
