/*
 * message_fault.h - what can be wrong with the content of a message: with the JSON that is published, and
 * with the answers to what clients send. simulator.h has the functions that take these, docs/simulator.md the
 * words for scenarios and commands.
 */
#ifndef QUOR_SIMULATOR_MESSAGE_FAULT_H
#define QUOR_SIMULATOR_MESSAGE_FAULT_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quor_simulator {

/* Longer than every text field of a terminal. */
inline constexpr std::size_t kTooLongBytes = 5000;
/* One more than the longest list that terminals take. */
inline constexpr std::size_t kTooManyEntries = 1601;

/*
 * A name stands for every member of that name, wherever in the body it occurs. No name is given twice. A name
 * that the body does not have is an error, so that a mistyped fault does not pass for a terminal's patience.
 */
struct MessageFault {
    std::vector<std::string> omit; /* missing */
    /* A value of another type: for a text the number 7, for a number its digits as a text, for a flag 0 or 1,
     * for an object or a list its JSON as a text. */
    std::vector<std::string> wrongType;
    /* Longer than a terminal accepts: a text gets length bytes (its own and "x" after them), a list gets
     * entries entries (its own and copies of the last), which a whole number "size" beside it says, a number
     * becomes 1e+20. */
    std::vector<std::string> tooLong;
    std::size_t length = kTooLongBytes;    /* bytes of a text that is too long */
    std::size_t entries = kTooManyEntries; /* entries of a list that is too long */
    std::optional<std::string> otherUri;   /* the value of every "uri": another terminal is meant */
};

/* The body as the fault leaves it. Throws Error: it is no JSON, or the fault does not fit it. */
std::string Spoil(std::string_view body, const MessageFault& fault);

/* What the server answers to clients' SENDs. */
enum class AnswerKind {
    kCapability, /* the verdict on a capability report: "result" */
    kModel, /* the pieces of a large-model answer on a topic: "seqNum", "reqType", "piece", "content", "final"
             */
    kManagerModel, /* the same pieces on a management link */
};

/* What becomes of the answers of one kind. A stop request is no question: it uses no fault up. */
struct AnswerFault {
    /* Of every piece. otherUri means the answer's way, not its content: a large-model answer goes to the
     * topic of that terminal, a verdict to the links whose latest report named that uri, instead of to the
     * one that asked. On management links, which name no terminal, it is an error. */
    MessageFault content;
    bool otherNumber = false; /* every piece of a large-model answer names another sequence number */
    /* The last piece, which for a verdict is the only one, waits until it is released. A stop request and the
     * end of the link drop it. */
    bool hold = false;
    std::size_t skip = 0;         /* so many answers stay good first */
    std::size_t times = SIZE_MAX; /* then so many are faulty; after them the fault is gone */
};

}  // namespace quor_simulator

#endif
