// record_field.h - reading the text fields of records that applications fill.
//
// An application may leave a field unterminated. Bounded copies stop at the destination's capacity, which is
// no help where the destination is larger than the field; these helpers know the field's own capacity.
#ifndef COMMON_RECORD_FIELD_H
#define COMMON_RECORD_FIELD_H

#include <cstddef>
#include <cstring>

#include "quor_platform/bounded.h"

namespace QuorAiEngine {

// Whether the field's text ends inside the field.
template <std::size_t N>
bool IsTerminated(const char (&field)[N]) {
    return std::memchr(field, '\0', N) != nullptr;
}

// strcpy_s from a field: refuses an unterminated one as it refuses a text that is too long, with dest
// emptied.
template <std::size_t N>
int CopyField(char* dest, std::size_t destMax, const char (&field)[N]) {
    if (!IsTerminated(field)) {
        dest[0] = '\0';
        return -1;
    }
    return strcpy_s(dest, destMax, field);
}

// Formats a field as it stands: the length written, or negative for a text that does not fit or is not
// terminated.
template <std::size_t N>
int FormatField(char* dest, std::size_t destMax, const char (&field)[N]) {
    if (!IsTerminated(field)) {
        dest[0] = '\0';
        return -1;
    }
    return sprintf_s(dest, destMax, "%s", field);
}

// The text of a field, whether its owner terminated it or not. The field stays as it is meanwhile. For
// automatic storage.
template <std::size_t N>
class FieldText {
public:
    explicit FieldText(const char (&field)[N]) : FieldText(field, N) {}
    // For a capacity that only the caller knows: of an unterminated field of more than N bytes, N are read.
    FieldText(const char* field, std::size_t capacity) : m_text(field) {
        if (std::memchr(field, '\0', capacity) == nullptr) {
            const std::size_t length = capacity < N ? capacity : N;
            std::memcpy(m_copy, field, length);
            m_copy[length] = '\0';
            m_text = m_copy;
        }
    }
    FieldText(const FieldText&) = delete;
    FieldText& operator=(const FieldText&) = delete;

    const char* Get() const { return m_text; }

private:
    const char* m_text;
    char m_copy[N + 1];  // of an unterminated field only
};

}  // namespace QuorAiEngine

#endif
