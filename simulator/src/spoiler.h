/* spoiler.h - makes the JSON bodies of messages faulty, and knows which of a fault's names had no effect.
 * Pure code. */
#ifndef QUOR_SIMULATOR_SPOILER_H
#define QUOR_SIMULATOR_SPOILER_H

#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "json_node.h"
#include "quor_simulator/message_fault.h"

namespace quor_simulator {

/* The most that scenarios and commands may ask for. */
inline constexpr std::int64_t kMaxFaultLength = 1000000;
inline constexpr std::int64_t kMaxFaultEntries = 10000;

/* One fault over the bodies of messages that belong together: a name counts as known when one of them has it.
 */
class Spoiler {
public:
    explicit Spoiler(const MessageFault& fault);

    std::string Apply(std::string_view body); /* throws Error: no JSON */

    struct Problem {
        std::string list;      /* "omit", "wrongType", "tooLong", "otherUri" */
        std::size_t index = 0; /* of the name in its list */
        std::string text;
    };
    /* What of the fault had no effect on any body so far. */
    std::vector<Problem> Problems() const;

private:
    struct Target {
        std::string name;
        bool known = false;
        bool done = false;
    };
    struct List {
        std::string_view name;
        std::vector<Target> targets;
    };

    static List MakeList(std::string_view name, const std::vector<std::string>& targets);
    static Target* Find(List& list, const std::string& name);
    void Walk(Json& value);
    void WalkObject(Json& object);
    bool Lengthen(Json& object, const std::string& name) const;
    std::string ProblemOf(const Target& target, bool twice) const;

    const MessageFault m_fault;
    List m_omit;
    List m_wrongType;
    List m_tooLong;
    bool m_otherUriDone = false;
    std::set<std::string> m_seen; /* every member's name */
};

}  // namespace quor_simulator

#endif
