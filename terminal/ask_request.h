// ask_request.h - the requests to the large model: which kinds there are, what stops each, and whether one
// fits.
//
// Threads: pure functions over constant tables.
#ifndef QUOR_TERMINAL_ASK_REQUEST_H
#define QUOR_TERMINAL_ASK_REQUEST_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace quor_terminal {

struct RequestKind {
    unsigned int value;  // QuorAiModelParams::reqType
    const char* name;    // as the server is told it
    const char* about;   // for the help
    bool wantsText;      // makes no sense without a text
};

inline constexpr unsigned int kRequestKindCount = 19;

// By number, 0 to kRequestKindCount - 1.
const RequestKind& KindOf(unsigned int value);
// By name, in any letter case and with '-' for '_', or by number. Null: there is none.
const RequestKind* FindKind(std::string_view text);

// Whether a kind ends the answer to another request; nothing is answered to it.
bool IsStopKind(unsigned int value);
// The kind that stops this one; none for stop requests and for the model configuration.
std::optional<unsigned int> StopKindOf(unsigned int value);

struct Model {
    unsigned int value;  // QuorAiModelParams::modelVersion
    const char* name;
};

inline constexpr unsigned int kModelCount = 3;

const Model& ModelOf(unsigned int value);
const Model* FindModel(std::string_view text);

// "0 FREE_CHAT", one kind a line, for the help.
std::string KindList();
std::string ModelList();

// Bytes of a request's body, as the library prints it. What does not fit kLongestRequest is refused by it.
inline constexpr std::size_t kLongestRequest = 2048;
std::size_t ConferenceRequestBytes(std::string_view conference, std::string_view uri, std::string_view text);
std::size_t ManagerRequestBytes(std::string_view text);

}  // namespace quor_terminal

#endif
