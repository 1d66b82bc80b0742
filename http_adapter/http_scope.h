// http_scope.h - holders for what a request owns besides its headers and its answer: its copy on the
// accounted heap and its body. All are for one thread.
#ifndef HTTP_ADAPTER_HTTP_SCOPE_H
#define HTTP_ADAPTER_HTTP_SCOPE_H

#include <cstddef>
#include <cstring>
#include <memory>
#include <type_traits>

#include "common/scope.h"
#include "http_adapter/http_log.h"
#include "quor_platform/os.h"
#include "utility/http_protocol.h"
#include "utility/request_scope.h"

namespace QuorAiEngine {

// -1 where a result is unsigned.
inline constexpr unsigned int kRequestFailed = 0xFFFFFFFFU;

// Gives a block back to the accounted heap, overwritten: requests carry tokens, credentials and faces.
class WipedBlockDeleter {
public:
    WipedBlockDeleter() = default;
    explicit WipedBlockDeleter(std::size_t size) : m_size(size) {}

    void operator()(void* block) const {
        WipeBytes(static_cast<char*>(block), m_size);
        OSMemTypeFreeMon(block, __LINE__, kHttpLogModule.name);
    }

private:
    std::size_t m_size = 0;
};

// A request's copy of its record.
template <typename Record>
using RecordPtr = std::unique_ptr<Record, WipedBlockDeleter>;

// Takes over a copy that comes back as a callback's user data, possibly null.
template <typename Record>
RecordPtr<Record> AdoptRecord(void* userData) {
    static_assert(std::is_trivial_v<Record>, "copied and freed as bytes");
    return RecordPtr<Record>(static_cast<Record*>(userData), WipedBlockDeleter(sizeof(Record)));
}

// A new record, zero. Null: no memory.
template <typename Record>
RecordPtr<Record> NewRecord(unsigned int line) {
    return AdoptRecord<Record>(OsMemMallocSetCharMon(sizeof(Record), 0, line, kHttpLogModule.name));
}

// A text of the accounted heap.
struct BodyTextDeleter {
    void operator()(char* text) const { OSMemTypeFreeMon(text, __LINE__, kHttpLogModule.name); }
};
using BodyTextPtr = std::unique_ptr<char, BodyTextDeleter>;

// Bytes of an answer's body, which may be missing.
inline unsigned int BodyLength(const char* body) {
    return body == nullptr ? 0 : static_cast<unsigned int>(std::strlen(body));
}

}  // namespace QuorAiEngine

#endif
