/* choose.h - a scenario member that must be one of the API's words. */
#ifndef QUOR_SIMULATOR_CHOOSE_H
#define QUOR_SIMULATOR_CHOOSE_H

#include "json_node.h"
#include "names.h"

namespace quor_simulator {

/* Throws Error with the words that there are. */
template <class Value, std::size_t N>
Value Choose(const JsonNode& node, const Named<Value> (&choices)[N]) {
    const std::optional<Value> found = FindNamed(choices, node.Text());
    if (!found) {
        node.Fail("\"" + node.Text() + "\" is none of: " + ListNames(choices));
    }
    return *found;
}

}  // namespace quor_simulator

#endif
