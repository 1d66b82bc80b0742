#include "output.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <memory>
#include <utility>

namespace quor_terminal {

bool WriteAll(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(fd, text.data(), text.size());
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

TextSink MakeFileSink(int fd, std::function<void()> onBroken) {
    auto broken = std::make_shared<std::atomic<bool>>(false);
    return [fd, broken, onBroken = std::move(onBroken)](std::string_view text) {
        if (broken->load()) {
            return false;
        }
        if (WriteAll(fd, text)) {
            return true;
        }
        if (!broken->exchange(true) && onBroken) {
            onBroken();
        }
        return false;
    };
}

std::size_t TerminalWidth(int fd) {
    winsize size{};
    if (ioctl(fd, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) {
        return 80;
    }
    return size.ws_col;
}

bool IsCursorTerminal(int fd, const char* terminalType) {
    return isatty(fd) == 1 && terminalType != nullptr && *terminalType != '\0' &&
           std::strcmp(terminalType, "dumb") != 0;
}

std::string TimeOfDay() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    if (localtime_r(&now, &local) == nullptr) {
        return "--:--:--";
    }
    std::array<char, 16> text{};
    return std::string(text.data(), std::strftime(text.data(), text.size(), "%H:%M:%S", &local));
}

}  // namespace quor_terminal
