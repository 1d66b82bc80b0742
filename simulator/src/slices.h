/* slices.h - how an outbound text is cut into WebSocket messages and fragments. Pure function. */
#ifndef QUOR_SIMULATOR_SLICES_H
#define QUOR_SIMULATOR_SLICES_H

#include <string_view>
#include <vector>

#include "hub.h"

namespace quor_simulator {

struct Slice {
    std::string_view bytes;
    bool begins = true; /* a WebSocket message */
    bool ends = true;
};

/*
 * Cuts evenly, in at most as many parts as there are bytes. A text message must be valid UTF-8 by itself (RFC
 * 6455), so cuts between text messages move to the next character's first byte; fragments are cut anywhere.
 * The views point into data.bytes.
 */
std::vector<Slice> CutIntoSlices(const Outbound& data);

}  // namespace quor_simulator

#endif
