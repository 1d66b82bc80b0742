/* words.h - what the commands share: a line's words, reading them, and making answers. */
#ifndef QUOR_SIMULATOR_PROGRAM_WORDS_H
#define QUOR_SIMULATOR_PROGRAM_WORDS_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "commands.h"

namespace quor_simulator::program {

using Words = std::vector<std::string>;

CommandAnswer Good(std::string text);
CommandAnswer Bad(std::string text);

/* A decimal number from 0 to most. */
std::optional<std::size_t> Number(const std::string& text, std::size_t most);

/* "a,b" */
std::vector<std::string> SplitList(const std::string& text);

/* "1 link", "2 links" */
std::string Counted(std::size_t count, const std::string& noun);

}  // namespace quor_simulator::program

#endif
