/* rest_fault.h - the faults of the HTTP side: counting them down, and spoiling an answer. */
#ifndef QUOR_SIMULATOR_REST_FAULT_H
#define QUOR_SIMULATOR_REST_FAULT_H

#include <map>
#include <optional>

#include "http_message.h"
#include "routes.h"

namespace quor_simulator {

/* The fault of each endpoint, counted down by the requests that pass. Threads: none of its own. */
class FaultTable {
public:
    void Set(Endpoint endpoint, RestFault fault) { m_faults[endpoint] = std::move(fault); }
    void Clear(std::optional<Endpoint> endpoint);
    /* For the next request of that kind; nullopt: it gets what it should. */
    std::optional<RestFault> Take(Endpoint endpoint);

private:
    std::map<Endpoint, RestFault> m_faults;
};

/* The answer of a fault that refuses, see RestFault::status; it has no influence on the connection. */
RestReply RefusalOf(const RestFault& fault);

/* The HTTP answer for a reply, as the fault wants it. */
HttpAnswer MakeAnswer(const RestReply& reply, const std::optional<RestFault>& fault);

}  // namespace quor_simulator

#endif
