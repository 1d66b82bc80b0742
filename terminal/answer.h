// answer.h - what the large model answers: one notification of the library as a piece of an answer.
//
// The library hands answers up as the server sent them. A server's piece is a JSON object with the members
// "seqNum" (text or number), "reqType", "piece", "content" and "final"; what has another form is a piece
// whose content is the whole text, and nobody can tell which request it belongs to or whether it is the last.
//
// Threads: pure functions.
#ifndef QUOR_TERMINAL_ANSWER_H
#define QUOR_TERMINAL_ANSWER_H

#include <optional>
#include <string>

#include "quor_ai/result.h"

namespace quor_terminal {

struct AnswerPiece {
    unsigned int serviceId = 0;  // of the notification: which link it came on
    bool understood = false;     // it has the form above; else only content is filled
    std::optional<unsigned int> sequenceNumber;
    std::string requestType;
    std::optional<long long> number;  // of the piece in its answer
    std::string content;
    bool isFinal = false;
    std::string refusal;  // not empty: the server answers with an error of its own, and this is what it says
};

// False: the notification is no answer.
bool ReadAnswer(const TagAiCloudSrvResult& result, AnswerPiece& piece);

}  // namespace quor_terminal

#endif
