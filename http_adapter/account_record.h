// account_record.h - what an account query keeps until its answer.
#ifndef HTTP_ADAPTER_ACCOUNT_RECORD_H
#define HTTP_ADAPTER_ACCOUNT_RECORD_H

#include <cstddef>

namespace QuorAiEngine {

inline constexpr unsigned int kAccountSlots = 32;
inline constexpr std::size_t kAccountSlotCapacity = 512;
// Of a slot, an account uses no more than this.
inline constexpr std::size_t kAccountCapacity = 256;

// Only the first slot is ever filled.
struct TagQuorAiQueryAccountSignInfo {
    char confId[192];
    unsigned int accountCount;  // as given; it may exceed the slots
    char accounts[kAccountSlots][kAccountSlotCapacity];
};

static_assert(sizeof(TagQuorAiQueryAccountSignInfo) == 16580 &&
                  offsetof(TagQuorAiQueryAccountSignInfo, accountCount) == 192 &&
                  offsetof(TagQuorAiQueryAccountSignInfo, accounts) == 196,
              "layout of the account record");

}  // namespace QuorAiEngine

#endif
