// output.h - where text goes: a file descriptor, written whole.
#ifndef QUOR_TERMINAL_OUTPUT_H
#define QUOR_TERMINAL_OUTPUT_H

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace quor_terminal {

// Takes text. False: it cannot be delivered any more, now or later.
using TextSink = std::function<bool(std::string_view)>;

// Writes everything or fails; interrupted and partial writes are continued. SIGPIPE must be ignored.
bool WriteAll(int fd, std::string_view text);

// A sink over fd. The first failure calls onBroken, once, on the writing thread; from then on it only fails.
TextSink MakeFileSink(int fd, std::function<void()> onBroken);

// Columns of the terminal at fd, asked anew at each call because windows are resized; 80 when it does not
// say.
std::size_t TerminalWidth(int fd);

// Whether fd is a terminal that understands cursor movement. terminalType is the value of TERM.
bool IsCursorTerminal(int fd, const char* terminalType);

// "21:03:09", local time.
std::string TimeOfDay();

}  // namespace quor_terminal

#endif
