/* fault_table.h - standing faults: one for each kind of request, counted down by the requests that pass. */
#ifndef QUOR_SIMULATOR_FAULT_TABLE_H
#define QUOR_SIMULATOR_FAULT_TABLE_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <utility>

namespace quor_simulator {

/* Fault has the counters skip and times, and may have flap. Threads: none of its own. */
template <class Kind, class Fault>
class CountedFaults {
public:
    void Set(Kind kind, Fault fault) { m_faults[kind] = {std::move(fault), 0}; }
    bool Has(Kind kind) const { return m_faults.count(kind) != 0; }

    /* nullopt: of every kind. */
    void Clear(std::optional<Kind> kind) {
        if (kind) {
            m_faults.erase(*kind);
        } else {
            m_faults.clear();
        }
    }

    /* For the next request of that kind; nullopt: it gets what it should. */
    std::optional<Fault> Take(Kind kind) {
        const auto found = m_faults.find(kind);
        if (found == m_faults.end()) {
            return std::nullopt;
        }
        Fault& fault = found->second.fault;
        if (fault.skip > 0) {
            --fault.skip;
            return std::nullopt;
        }
        if (fault.times == 0) {
            m_faults.erase(found);
            return std::nullopt;
        }
        if constexpr (requires { fault.flap; }) {
            if (fault.flap > 0 && found->second.turn++ % (2 * fault.flap) < fault.flap) {
                return std::nullopt;
            }
        }
        const Fault taken = fault;
        if (fault.times != SIZE_MAX && --fault.times == 0) {
            m_faults.erase(found);
        }
        return taken;
    }

private:
    struct Entry {
        Fault fault;
        std::size_t turn = 0; /* of a fault that flaps: requests after those that were skipped */
    };

    std::map<Kind, Entry> m_faults;
};

}  // namespace quor_simulator

#endif
