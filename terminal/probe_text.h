// probe_text.h - what became of a candidate for the face service, in words.
//
// Threads: pure functions.
#ifndef QUOR_TERMINAL_PROBE_TEXT_H
#define QUOR_TERMINAL_PROBE_TEXT_H

#include <string>

#include "face_search.h"
#include "json_documents.h"

namespace quor_terminal {

// Where a candidate stands: a word for documents ("not-asked", "asked", "answered", "failed"), and why, for
// people; empty where there is nothing to say.
const char* ProbeWord(const Probe& probe);
std::string ProbeReason(const Probe& probe);
Json ProbeDocument(const FaceCandidate& candidate, const Probe& probe);

}  // namespace quor_terminal

#endif
