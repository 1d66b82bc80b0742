#include "slices.h"

#include <algorithm>

namespace quor_simulator {
namespace {

bool ContinuesCharacter(char c) {
    return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

std::vector<std::string_view> CutInto(std::string_view bytes, std::size_t parts, bool betweenCharacters) {
    std::vector<std::string_view> pieces;
    std::size_t from = 0;
    for (std::size_t part = 1; part <= parts && (from < bytes.size() || pieces.empty()); ++part) {
        std::size_t to = part == parts ? bytes.size() : bytes.size() / parts * part;
        while (betweenCharacters && to < bytes.size() && ContinuesCharacter(bytes[to])) {
            ++to;
        }
        if (to > from || part == parts) {
            pieces.push_back(bytes.substr(from, std::max(to, from) - from));
            from = std::max(to, from);
        }
    }
    return pieces;
}

}  // namespace

std::vector<Slice> CutIntoSlices(const Outbound& data) {
    std::vector<Slice> slices;
    const std::size_t most = std::max<std::size_t>(data.bytes.size(), 1);
    for (const std::string_view message : CutInto(data.bytes, std::min(data.messages, most), !data.binary)) {
        const std::size_t fragments = std::min(data.fragments, std::max<std::size_t>(message.size(), 1));
        const std::size_t first = slices.size();
        for (const std::string_view fragment : CutInto(message, fragments, false)) {
            slices.push_back({fragment, slices.size() == first, false});
        }
        slices.back().ends = true;
    }
    return slices;
}

}  // namespace quor_simulator
