/*
 * json_node.h - reads a JSON document strictly: every access names the value's path when something is wrong,
 * and an object's members must all be known.
 */
#ifndef QUOR_SIMULATOR_JSON_NODE_H
#define QUOR_SIMULATOR_JSON_NODE_H

#include <cstdint>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quor_simulator {

using Json = nlohmann::ordered_json;

/* A view of a value inside a document that outlives it. All functions throw Error. */
class JsonNode {
public:
    JsonNode(const Json& value, std::string source, std::string path = "$")
        : m_value(&value), m_source(std::move(source)), m_path(std::move(path)) {}

    [[noreturn]] void Fail(const std::string& what) const;

    /* For objects. */
    void AllowOnly(std::initializer_list<std::string_view> members,
                   std::span<const std::string_view> more = {}) const;
    bool Has(std::string_view name) const;
    JsonNode Member(std::string_view name) const; /* must exist */
    std::vector<std::pair<std::string, JsonNode>> Members() const;
    std::string TextOr(std::string_view name, const std::string& otherwise) const;
    std::int64_t IntegerOr(std::string_view name, std::int64_t least, std::int64_t most,
                           std::int64_t otherwise) const;
    bool FlagOr(std::string_view name, bool otherwise) const;
    std::vector<std::string> TextsOr(std::string_view name) const; /* of an array; none without the member */

    /* For the value itself. */
    std::vector<JsonNode> Items() const;
    std::string Text() const; /* not empty */
    std::int64_t Integer(std::int64_t least, std::int64_t most) const;
    bool Flag() const;
    const Json& value() const { return *m_value; }

private:
    const Json* m_value;
    std::string m_source;
    std::string m_path;
};

}  // namespace quor_simulator

#endif
