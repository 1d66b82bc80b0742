// log_text.h - the text of one log record: printf formatting without the heap for ordinary lengths, and the
// escapes that keep a record on one line.
//
// Threads: pure in the arguments.
#ifndef QUOR_PLATFORM_LINUX_LOG_TEXT_H
#define QUOR_PLATFORM_LINUX_LOG_TEXT_H

#include <cstdarg>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace quor_platform::internal {

// A formatted text. Up to kInlineCapacity - 1 characters stay inside the object, longer ones go to the heap.
class FormattedText {
public:
    static constexpr std::size_t kInlineCapacity = 1024;

    // Formats args. A bad format, or no memory for a long text, leaves it empty and Valid() false.
    FormattedText(const char* format, std::va_list args) __attribute__((format(printf, 2, 0)));
    FormattedText(const FormattedText&) = delete;
    FormattedText& operator=(const FormattedText&) = delete;

    bool Valid() const { return m_valid; }
    const char* Text() const { return m_long != nullptr ? m_long.get() : m_inline; }  // NUL-terminated
    std::size_t Length() const { return m_length; }

private:
    char m_inline[kInlineCapacity];
    std::unique_ptr<char[]> m_long;
    std::size_t m_length = 0;
    bool m_valid = false;
};

// Appends text to line with every control character made visible: "\n", "\r", "\t" or as "\x1b". A backslash
// and the bytes from 0x80 up, UTF-8's, pass unchanged.
void AppendOnOneLine(std::string& line, std::string_view text);

}  // namespace quor_platform::internal

#endif
