// header_list.h - appends headers to the two lists from which an outbound frame is filled.
#ifndef CONFERENCE_CHANNEL_HEADER_LIST_H
#define CONFERENCE_CHANNEL_HEADER_LIST_H

#include <cstddef>
#include <string>
#include <vector>

#include "common/record_field.h"
#include "quor_platform/bounded.h"

namespace QuorAiEngine {

// A name is appended before its value is known: a builder that fails leaves one name more than values, and
// its caller drops both lists then. The lists are the caller's and outlive the appender.
class HeaderList {
public:
    static constexpr std::size_t kValueCapacity = 256;

    HeaderList(std::vector<std::string>& names, std::vector<std::string>& values)
        : m_names(names), m_values(values) {}

    // Appends name and hands out the emptied value buffer of kValueCapacity bytes; End appends what is in it.
    char* Begin(const char* name) {
        m_names.emplace_back(name);
        memset_s(m_value, sizeof(m_value), 0, sizeof(m_value));
        return m_value;
    }
    void End() { m_values.emplace_back(m_value); }

    // A header whose value is a record's field, formatted or copied. False: the field does not fit or does
    // not end.
    template <std::size_t N>
    bool Format(const char* name, const char (&field)[N]) {
        return Finish(FormatField(Begin(name), kValueCapacity, field) >= 0);
    }
    template <std::size_t N>
    bool Copy(const char* name, const char (&field)[N]) {
        return Finish(CopyField(Begin(name), kValueCapacity, field) == 0);
    }

    bool FormatText(const char* name, const std::string& text) {
        return Finish(sprintf_s(Begin(name), kValueCapacity, "%s", text.c_str()) >= 0);
    }
    bool FormatNumber(const char* name, unsigned int number) {
        return Finish(sprintf_s(Begin(name), kValueCapacity, "%u", number) >= 0);
    }

private:
    bool Finish(bool filled) {
        if (filled) {
            End();
        }
        return filled;
    }

    std::vector<std::string>& m_names;
    std::vector<std::string>& m_values;
    char m_value[kValueCapacity] = {};
};

}  // namespace QuorAiEngine

#endif
