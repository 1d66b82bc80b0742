// screen.h - a small terminal for tests: takes what a view writes and shows what a person would see.
//
// It knows line feed, carriage return, cursor up and erase below; colours are skipped. Anything else fails
// the test, because the view must not depend on more.
#ifndef QUOR_TESTS_TERMINAL_SCREEN_H
#define QUOR_TESTS_TERMINAL_SCREEN_H

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "text_layout.h"

namespace quor_terminal {

class Screen {
public:
    bool Write(std::string_view text) {
        for (std::size_t pos = 0; pos < text.size();) {
            if (text[pos] == '\x1b') {
                pos += Escape(text.substr(pos));
            } else if (text[pos] == '\n') {
                NextLine();
                ++pos;
            } else if (text[pos] == '\r') {
                m_lines[m_row].resize(m_lines[m_row].size());
                m_atStart = true;
                ++pos;
            } else {
                const DecodedCharacter character = DecodeUtf8(text.substr(pos));
                Put(text.substr(pos, character.bytes));
                pos += character.bytes;
            }
        }
        return true;
    }

    const std::vector<std::string>& Lines() const { return m_lines; }
    std::string Line(std::size_t row) const { return row < m_lines.size() ? m_lines[row] : "(no line)"; }

    std::size_t WidestLine() const {
        std::size_t widest = 0;
        for (const std::string& line : m_lines) {
            widest = std::max(widest, DisplayWidth(line));
        }
        return widest;
    }

private:
    std::size_t Escape(std::string_view text) {
        std::size_t end = 2;
        unsigned long number = 0;
        while (end < text.size() && text[end] >= '0' && text[end] <= '9') {
            number = number * 10 + static_cast<unsigned long>(text[end] - '0');
            ++end;
        }
        const char command = end < text.size() && text[1] == '[' ? text[end] : '?';
        if (command == 'A') {
            EXPECT_LE(number, m_row) << "moved above the screen";
            m_row -= std::min<std::size_t>(number, m_row);
        } else if (command == 'J') {
            EXPECT_TRUE(m_atStart) << "erased from the middle of a line";
            m_lines.resize(m_row + 1);
            m_lines[m_row].clear();
        } else {
            EXPECT_EQ(command, 'm') << "unknown escape sequence";
        }
        return end + 1;
    }
    void NextLine() {
        ++m_row;
        if (m_row == m_lines.size()) {
            m_lines.emplace_back();
        }
        m_atStart = true;
    }
    void Put(std::string_view character) {
        EXPECT_TRUE(!m_atStart || m_lines[m_row].empty()) << "wrote over text that was not erased";
        m_atStart = false;
        m_lines[m_row] += character;
    }

    std::vector<std::string> m_lines{""};
    std::size_t m_row = 0;
    bool m_atStart = true;
};

}  // namespace quor_terminal

#endif
