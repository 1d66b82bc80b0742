#include "words.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace quor_simulator::program {

CommandAnswer Good(std::string text) {
    CommandAnswer answer;
    answer.text = std::move(text);
    return answer;
}

CommandAnswer Bad(std::string text) {
    CommandAnswer answer;
    answer.ok = false;
    answer.text = std::move(text);
    return answer;
}

std::optional<std::size_t> Number(const std::string& text, std::size_t most) {
    std::size_t value = 0;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || parsed.ec != std::errc() || parsed.ptr != text.data() + text.size() || value > most) {
        return std::nullopt;
    }
    return value;
}

std::vector<std::string> SplitList(const std::string& text) {
    std::vector<std::string> items;
    for (std::size_t from = 0; from <= text.size();) {
        const std::size_t comma = std::min(text.find(',', from), text.size());
        items.push_back(text.substr(from, comma - from));
        from = comma + 1;
    }
    return items;
}

std::string Counted(std::size_t count, const std::string& noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

}  // namespace quor_simulator::program
