// text_layout.h - UTF-8 text on a terminal: what may be printed, how wide it is, where it may be cut.
//
// Widths are columns of a fixed-width terminal: 2 for East Asian wide characters and most pictographs, 0 for
// combining marks, 1 for the rest (Unicode Standard Annex 11). The tables are built in, so that the result
// does not depend on the locale.
//
// Threads: pure functions.
#ifndef QUOR_TERMINAL_TEXT_LAYOUT_H
#define QUOR_TERMINAL_TEXT_LAYOUT_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace quor_terminal {

// One character at the start of a text.
struct DecodedCharacter {
    char32_t codePoint = 0xFFFD;
    std::size_t bytes = 1;  // how far to go on; for ill-formed input the part to skip, at least 1
    bool wellFormed = false;
    bool truncated = false;  // the text ends inside a character that was well-formed so far
};

// text is not empty. Over-long forms, surrogates and values above U+10FFFF are ill-formed (RFC 3629).
DecodedCharacter DecodeUtf8(std::string_view text);

std::size_t CharacterWidth(char32_t codePoint);

// Text from the network, made safe to print: control characters become blanks, so that no text can move the
// cursor or speak to the terminal; direction overrides vanish; ill-formed bytes become U+FFFD; a character
// that the end of the text cut in two vanishes.
std::string Printable(std::string_view text);

// Columns that a printable text takes.
std::size_t DisplayWidth(std::string_view text);

// The text in exactly width columns: padded with blanks, or cut between characters and ended with an
// ellipsis.
std::string FitToWidth(std::string_view text, std::size_t width);

// The text as lines of at most width columns, broken at blanks or around wide characters where there are any,
// else between characters. At least one line. width is at least 2.
std::vector<std::string> WrapToWidth(std::string_view text, std::size_t width);

}  // namespace quor_terminal

#endif
