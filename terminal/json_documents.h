// json_documents.h - what the JSON views share: one document a line, and the document about the link.
//
// Threads: pure functions.
#ifndef QUOR_TERMINAL_JSON_DOCUMENTS_H
#define QUOR_TERMINAL_JSON_DOCUMENTS_H

#include <nlohmann/json.hpp>
#include <string>

#include "link_keeper.h"

namespace quor_terminal {

using Json = nlohmann::ordered_json;  // members in the order in which the documentation lists them

// The document as a line. Text that is not UTF-8 is repaired with U+FFFD.
std::string PrintDocument(const Json& document);

Json LinkDocument(const KeeperNotice& notice);

}  // namespace quor_terminal

#endif
