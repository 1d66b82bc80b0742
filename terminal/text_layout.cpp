#include "text_layout.h"

#include <algorithm>
#include <iterator>

namespace quor_terminal {
namespace {

struct CharacterRange {
    char32_t first;
    char32_t last;
};

// Marks that stand on the character before them, joiners and variation selectors. In order.
constexpr CharacterRange kZeroWidth[] = {
    {0x0300, 0x036F},  {0x0483, 0x0489}, {0x0591, 0x05BD}, {0x05BF, 0x05BF},   {0x05C1, 0x05C2},
    {0x05C4, 0x05C5},  {0x05C7, 0x05C7}, {0x0610, 0x061A}, {0x064B, 0x065F},   {0x0670, 0x0670},
    {0x06D6, 0x06DC},  {0x06DF, 0x06E4}, {0x06E7, 0x06E8}, {0x06EA, 0x06ED},   {0x0900, 0x0902},
    {0x093A, 0x093A},  {0x093C, 0x093C}, {0x0941, 0x0948}, {0x094D, 0x094D},   {0x0951, 0x0957},
    {0x0E31, 0x0E31},  {0x0E34, 0x0E3A}, {0x0E47, 0x0E4E}, {0x0EB1, 0x0EB1},   {0x0EB4, 0x0EBC},
    {0x0EC8, 0x0ECD},  {0x1160, 0x11FF}, {0x1AB0, 0x1ACE}, {0x1DC0, 0x1DFF},   {0x200B, 0x200F},
    {0x2028, 0x202E},  {0x2060, 0x206F}, {0x20D0, 0x20F0}, {0x302A, 0x302D},   {0x3099, 0x309A},
    {0xFE00, 0xFE0F},  {0xFE20, 0xFE2F}, {0xFEFF, 0xFEFF}, {0x1F3FB, 0x1F3FF}, {0xE0001, 0xE007F},
    {0xE0100, 0xE01EF}};

// East Asian Wide and Fullwidth, and the pictographs that terminals draw two columns wide. In order.
constexpr CharacterRange kWide[] = {
    {0x1100, 0x115F},   {0x231A, 0x231B},   {0x2329, 0x232A},   {0x23E9, 0x23EC},   {0x23F0, 0x23F0},
    {0x23F3, 0x23F3},   {0x25FD, 0x25FE},   {0x2614, 0x2615},   {0x2648, 0x2653},   {0x267F, 0x267F},
    {0x2693, 0x2693},   {0x26A1, 0x26A1},   {0x26AA, 0x26AB},   {0x26BD, 0x26BE},   {0x26C4, 0x26C5},
    {0x26CE, 0x26CE},   {0x26D4, 0x26D4},   {0x26EA, 0x26EA},   {0x26F2, 0x26F3},   {0x26F5, 0x26F5},
    {0x26FA, 0x26FA},   {0x26FD, 0x26FD},   {0x2705, 0x2705},   {0x270A, 0x270B},   {0x2728, 0x2728},
    {0x274C, 0x274C},   {0x274E, 0x274E},   {0x2753, 0x2755},   {0x2757, 0x2757},   {0x2795, 0x2797},
    {0x27B0, 0x27B0},   {0x27BF, 0x27BF},   {0x2B1B, 0x2B1C},   {0x2B50, 0x2B50},   {0x2B55, 0x2B55},
    {0x2E80, 0x303E},   {0x3041, 0x4DBF},   {0x4E00, 0xA4CF},   {0xA960, 0xA97F},   {0xAC00, 0xD7A3},
    {0xF900, 0xFAFF},   {0xFE10, 0xFE19},   {0xFE30, 0xFE6F},   {0xFF01, 0xFF60},   {0xFFE0, 0xFFE6},
    {0x16FE0, 0x1B2FF}, {0x1F004, 0x1F004}, {0x1F0CF, 0x1F0CF}, {0x1F18E, 0x1F18E}, {0x1F191, 0x1F19A},
    {0x1F200, 0x1F320}, {0x1F32D, 0x1F335}, {0x1F337, 0x1F37C}, {0x1F37E, 0x1F393}, {0x1F3A0, 0x1F3CA},
    {0x1F3CF, 0x1F3D3}, {0x1F3E0, 0x1F3F0}, {0x1F3F4, 0x1F3F4}, {0x1F3F8, 0x1F43E}, {0x1F440, 0x1F440},
    {0x1F442, 0x1F4FC}, {0x1F4FF, 0x1F53D}, {0x1F54B, 0x1F54E}, {0x1F550, 0x1F567}, {0x1F57A, 0x1F57A},
    {0x1F595, 0x1F596}, {0x1F5A4, 0x1F5A4}, {0x1F5FB, 0x1F64F}, {0x1F680, 0x1F6C5}, {0x1F6CC, 0x1F6CC},
    {0x1F6D0, 0x1F6D2}, {0x1F6D5, 0x1F6D7}, {0x1F6DD, 0x1F6DF}, {0x1F6EB, 0x1F6EC}, {0x1F6F4, 0x1F6FC},
    {0x1F7E0, 0x1F7EB}, {0x1F7F0, 0x1F7F0}, {0x1F90C, 0x1F93A}, {0x1F93C, 0x1F945}, {0x1F947, 0x1F9FF},
    {0x1FA70, 0x1FAFF}, {0x20000, 0x3FFFD}};

template <std::size_t N>
bool Contains(const CharacterRange (&ranges)[N], char32_t codePoint) {
    const auto* const after =
        std::upper_bound(std::begin(ranges), std::end(ranges), codePoint,
                         [](char32_t value, const CharacterRange& range) { return value < range.first; });
    return after != std::begin(ranges) && codePoint <= std::prev(after)->last;
}

// Characters that turn the order of what follows: a speaker's name could rewrite the line it stands in.
bool IsDirectionControl(char32_t c) {
    return c == 0x200E || c == 0x200F || (c >= 0x2028 && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
}

bool IsControl(char32_t c) {
    return c < 0x20 || (c >= 0x7F && c < 0xA0);
}

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
constexpr std::string_view kEllipsis = "\xE2\x80\xA6";

struct LeadByte {
    std::size_t bytes;  // 0: cannot begin a character
    char32_t bits;
    unsigned char secondMin;  // bounds of the second byte: exclude over-long forms, surrogates, > U+10FFFF
    unsigned char secondMax;
};

LeadByte ClassifyLead(unsigned char lead) {
    if (lead < 0x80) {
        return {1, lead, 0, 0};
    }
    if (lead >= 0xC2 && lead <= 0xDF) {
        return {2, static_cast<char32_t>(lead & 0x1F), 0x80, 0xBF};
    }
    if (lead >= 0xE0 && lead <= 0xEF) {
        const unsigned char low = lead == 0xE0 ? 0xA0 : 0x80;
        const unsigned char high = lead == 0xED ? 0x9F : 0xBF;
        return {3, static_cast<char32_t>(lead & 0x0F), low, high};
    }
    if (lead >= 0xF0 && lead <= 0xF4) {
        const unsigned char low = lead == 0xF0 ? 0x90 : 0x80;
        const unsigned char high = lead == 0xF4 ? 0x8F : 0xBF;
        return {4, static_cast<char32_t>(lead & 0x07), low, high};
    }
    return {0, 0, 0, 0};
}

// Walks a printable text: the character at pos, its bytes and its width; moves pos on.
struct WalkStep {
    std::string_view bytes;
    char32_t codePoint;
    std::size_t width;
};

WalkStep Walk(std::string_view text, std::size_t& pos) {
    const DecodedCharacter character = DecodeUtf8(text.substr(pos));
    const WalkStep step{text.substr(pos, character.bytes), character.codePoint,
                        CharacterWidth(character.codePoint)};
    pos += character.bytes;
    return step;
}

}  // namespace

DecodedCharacter DecodeUtf8(std::string_view text) {
    DecodedCharacter result;
    const LeadByte lead = ClassifyLead(static_cast<unsigned char>(text.front()));
    if (lead.bytes == 0) {
        return result;
    }
    char32_t codePoint = lead.bits;
    for (std::size_t i = 1; i < lead.bytes; ++i) {
        if (i == text.size()) {
            result.bytes = i;
            result.truncated = true;
            return result;
        }
        const auto byte = static_cast<unsigned char>(text[i]);
        const unsigned char low = i == 1 ? lead.secondMin : 0x80;
        const unsigned char high = i == 1 ? lead.secondMax : 0xBF;
        if (byte < low || byte > high) {
            result.bytes = i;
            return result;
        }
        codePoint = (codePoint << 6U) | (byte & 0x3FU);
    }
    return {codePoint, lead.bytes, true, false};
}

std::size_t CharacterWidth(char32_t codePoint) {
    if (codePoint < 0x300) {
        return 1;
    }
    if (Contains(kZeroWidth, codePoint)) {
        return 0;
    }
    return Contains(kWide, codePoint) ? 2 : 1;
}

std::string Printable(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t pos = 0; pos < text.size();) {
        const DecodedCharacter character = DecodeUtf8(text.substr(pos));
        if (character.wellFormed) {
            if (IsControl(character.codePoint)) {
                out += ' ';
            } else if (!IsDirectionControl(character.codePoint)) {
                out += text.substr(pos, character.bytes);
            }
        } else if (!character.truncated) {
            out += kReplacement;
        }
        pos += character.bytes;
    }
    return out;
}

std::size_t DisplayWidth(std::string_view text) {
    std::size_t width = 0;
    for (std::size_t pos = 0; pos < text.size();) {
        width += Walk(text, pos).width;
    }
    return width;
}

std::string FitToWidth(std::string_view text, std::size_t width) {
    std::size_t used = 0;
    std::size_t cutAt = 0;  // the longest prefix that leaves a column for the ellipsis
    std::size_t cutWidth = 0;
    bool roomForEllipsis = true;
    for (std::size_t pos = 0; pos < text.size();) {
        const WalkStep step = Walk(text, pos);
        used += step.width;
        roomForEllipsis = roomForEllipsis && used + 1 <= width;
        if (roomForEllipsis) {
            cutAt = pos;
            cutWidth = used;
        }
        if (used > width) {
            if (width == 0) {
                return {};
            }
            std::string cut(text.substr(0, cutAt));
            cut += kEllipsis;
            return cut.append(width - cutWidth - 1, ' ');
        }
    }
    return std::string(text).append(width - used, ' ');
}

std::vector<std::string> WrapToWidth(std::string_view text, std::size_t width) {
    std::vector<std::string> lines;
    std::string line;
    std::size_t lineWidth = 0;
    std::size_t breakAt = 0;  // bytes of line up to and including the last place to break; 0: none
    for (std::size_t pos = 0; pos < text.size();) {
        const WalkStep step = Walk(text, pos);
        if (lineWidth + step.width > width) {
            std::string rest = step.codePoint == U' ' || breakAt == 0 || step.width == 2
                                   ? std::string()
                                   : line.substr(breakAt);
            line.resize(line.size() - rest.size());
            while (!line.empty() && line.back() == ' ') {
                line.pop_back();
            }
            lines.push_back(line);
            line = std::move(rest);
            lineWidth = DisplayWidth(line);
            breakAt = 0;
        }
        if (line.empty() && step.codePoint == U' ' && !lines.empty()) {
            continue;  // the blank at which the line was broken
        }
        line += step.bytes;
        lineWidth += step.width;
        if (step.codePoint == U' ' || step.width == 2) {
            breakAt = line.size();
        }
    }
    lines.push_back(line);
    return lines;
}

}  // namespace quor_terminal
