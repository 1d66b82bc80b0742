#include "tests/platform_linux/support/memory_search.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <sstream>

namespace quor_test {

// The text itself is never put together, so that the search does not find itself.
int PlacesHolding(const std::string& masked) {
    std::ifstream maps("/proc/self/maps");
    const int memory = open("/proc/self/mem", O_RDONLY | O_CLOEXEC);
    int places = 0;
    std::string line;
    while (std::getline(maps, line)) {
        unsigned long begin = 0;
        unsigned long end = 0;
        char dash = 0;
        std::string rights;
        std::istringstream words(line);
        if (!(words >> std::hex >> begin >> dash >> end >> rights) || rights.compare(0, 2, "rw") != 0) {
            continue;
        }
        static char block[1U << 16U];
        for (unsigned long at = begin; at < end; at += sizeof block - masked.size()) {
            const auto want = std::min<std::size_t>(sizeof block, end - at);
            const ssize_t got = pread(memory, block, want, static_cast<off_t>(at));
            for (ssize_t i = 0; i + static_cast<ssize_t>(masked.size()) <= got; ++i) {
                const std::uintptr_t place = at + static_cast<std::uintptr_t>(i);
                const auto own = reinterpret_cast<std::uintptr_t>(&block[0]);
                if (place + masked.size() > own && place < own + sizeof block) {
                    continue;  // the search's own copy
                }
                std::size_t same = 0;
                while (same < masked.size() &&
                       static_cast<char>(block[static_cast<std::size_t>(i) + same] ^ kMask) == masked[same]) {
                    ++same;
                }
                places += same == masked.size() ? 1 : 0;
            }
        }
        std::fill(std::begin(block), std::end(block), '\0');
    }
    close(memory);
    return places;
}

std::string Masked(std::string text) {
    for (char& c : text) {
        c = static_cast<char>(c ^ kMask);
    }
    return text;
}

void Unmask(const std::string& masked, char* to) {
    for (std::size_t i = 0; i < masked.size(); ++i) {
        to[i] = static_cast<char>(masked[i] ^ kMask);
    }
}

}  // namespace quor_test
