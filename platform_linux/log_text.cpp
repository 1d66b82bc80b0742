// log_text.cpp - formatting and escaping of log records.

#include "platform_linux/log_text.h"

#include <algorithm>
#include <cstdio>

namespace quor_platform::internal {
namespace {

bool IsControl(char c) {
    return static_cast<unsigned char>(c) < 0x20U || c == '\x7f';
}

void AppendEscape(std::string& line, char c) {
    constexpr char kDigits[] = "0123456789abcdef";
    switch (c) {
        case '\n':
            line += "\\n";
            return;
        case '\r':
            line += "\\r";
            return;
        case '\t':
            line += "\\t";
            return;
        default:
            line += "\\x";
            line += kDigits[static_cast<unsigned char>(c) >> 4U];
            line += kDigits[static_cast<unsigned char>(c) & 0xFU];
    }
}

}  // namespace

FormattedText::FormattedText(const char* format, std::va_list args) {
    m_inline[0] = '\0';
    std::va_list again;
    va_copy(again, args);
    int length = std::vsnprintf(m_inline, sizeof m_inline, format, args);
    if (length >= 0 && static_cast<std::size_t>(length) >= sizeof m_inline) {
        const std::size_t capacity = static_cast<std::size_t>(length) + 1;
        m_long.reset(new (std::nothrow) char[capacity]);
        length = m_long != nullptr ? std::vsnprintf(m_long.get(), capacity, format, again) : -1;
    }
    va_end(again);
    if (length < 0) {
        m_long.reset();
        m_inline[0] = '\0';
        return;
    }
    m_length = static_cast<std::size_t>(length);
    m_valid = true;
}

void AppendOnOneLine(std::string& line, std::string_view text) {
    while (!text.empty()) {
        const auto control = std::find_if(text.begin(), text.end(), IsControl);
        const auto plain = static_cast<std::size_t>(control - text.begin());
        line.append(text, 0, plain);
        text.remove_prefix(plain);
        if (!text.empty()) {
            AppendEscape(line, text.front());
            text.remove_prefix(1);
        }
    }
}

}  // namespace quor_platform::internal
