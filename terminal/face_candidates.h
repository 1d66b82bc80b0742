// face_candidates.h - the list of addresses at which the face service may be, in the library's grammar.
//
// The library takes a list whatever stands in it, and an item that it does not understand hides the last good
// one. So only what it understands as it is meant passes here.
//
// Threads: pure functions.
#ifndef QUOR_TERMINAL_FACE_CANDIDATES_H
#define QUOR_TERMINAL_FACE_CANDIDATES_H

#include <string>
#include <vector>

#include "command_line.h"

namespace quor_terminal {

// Addresses separated by semicolons, each "host", "host:port" (https), "http://host", "https://host" or one
// of these with ":port". False: message says what is wrong. At least one candidate is an address then; names
// may stand beside it.
bool ParseFaceCandidates(const std::string& list, std::vector<FaceCandidate>& candidates,
                         std::string& message);

}  // namespace quor_terminal

#endif
