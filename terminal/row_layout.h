// row_layout.h - a caption as terminal lines: columns for time, speaker, language, text and translation.
//
// Threads: pure functions.
#ifndef QUOR_TERMINAL_ROW_LAYOUT_H
#define QUOR_TERMINAL_ROW_LAYOUT_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace quor_terminal {

// ANSI colours (ECMA-48 select graphic rendition).
inline constexpr unsigned int kColourBold = 1;
inline constexpr unsigned int kColourDim = 2;
inline constexpr unsigned int kColourRed = 31;
inline constexpr unsigned int kColourGreen = 32;
inline constexpr unsigned int kColourYellow = 33;

// text in a colour, or as it is when colour is off.
std::string Paint(std::string_view text, unsigned int rendition, bool colour);

// The colour of the n-th speaker.
unsigned int SpeakerColour(std::size_t n);

// Printable texts only.
struct CaptionRow {
    std::string time;
    std::string speaker;
    std::string language;
    std::string text;
    std::string translation;
    unsigned int speakerColour = 0;
    bool interim = false;  // the text may still change: drawn dim
};

struct RowStyle {
    std::size_t width = 79;    // columns that a line may take
    bool translation = false;  // a column for it
    bool colour = false;
    bool oneLine = false;  // cut instead of wrapped, for a region that is redrawn in place
};

// The row as lines of at most style.width columns. Where the terminal is too narrow for two columns of text
// the translation stands below the text; of a one-line row it is left out then.
std::vector<std::string> LayOutRow(const CaptionRow& row, const RowStyle& style);

}  // namespace quor_terminal

#endif
