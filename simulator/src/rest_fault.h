/* rest_fault.h - the faults of the HTTP side: the table of them, and spoiling an answer. */
#ifndef QUOR_SIMULATOR_REST_FAULT_H
#define QUOR_SIMULATOR_REST_FAULT_H

#include <cstddef>
#include <optional>
#include <utility>

#include "fault_table.h"
#include "http_message.h"
#include "routes.h"

namespace quor_simulator {

/* What scenarios and commands may ask for. */
inline constexpr std::size_t kMaxResults = 64;
inline constexpr std::size_t kMaxPhotoBytes = 8U << 20;
inline constexpr double kMaxScore = 1e15;

/* The fault of each endpoint, of one port or of both. Threads: none of its own. */
class FaultTable {
public:
    void Set(Endpoint endpoint, RestFault fault);
    void Clear(std::optional<Endpoint> endpoint);
    /* For the next request of that kind; nullopt: it gets what it should. The port's own fault goes first. */
    std::optional<RestFault> Take(Endpoint endpoint, Port port);

private:
    using Key = std::pair<Endpoint, std::optional<Port>>;

    CountedFaults<Key, RestFault> m_faults;
};

/* The answer of a fault that refuses, see RestFault::status; it has no influence on the connection. */
RestReply RefusalOf(const RestFault& fault);

/* The HTTP answer for a reply, as the fault wants it. */
HttpAnswer MakeAnswer(const RestReply& reply, const std::optional<RestFault>& fault);

}  // namespace quor_simulator

#endif
