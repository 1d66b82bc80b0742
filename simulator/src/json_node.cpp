#include "json_node.h"

#include <algorithm>

#include "quor_simulator/simulator.h"

namespace quor_simulator {

void JsonNode::Fail(const std::string& what) const {
    throw Error(m_source + ": " + m_path + ": " + what);
}

void JsonNode::AllowOnly(std::initializer_list<std::string_view> members,
                         std::span<const std::string_view> more) const {
    std::vector<std::string_view> allowed(members);
    allowed.insert(allowed.end(), more.begin(), more.end());
    for (const auto& [name, node] : Members()) {
        if (std::find(allowed.begin(), allowed.end(), name) == allowed.end()) {
            std::string known;
            for (const std::string_view member : allowed) {
                known.append(known.empty() ? "" : ", ").append(member);
            }
            node.Fail("unknown member (known here: " + known + ")");
        }
    }
}

bool JsonNode::Has(std::string_view name) const {
    return m_value->is_object() && m_value->contains(std::string(name));
}

JsonNode JsonNode::Member(std::string_view name) const {
    const std::string key(name);
    if (!m_value->is_object()) {
        Fail("must be an object");
    }
    if (!m_value->contains(key)) {
        Fail("member \"" + key + "\" is missing");
    }
    return {m_value->at(key), m_source, m_path + "." + key};
}

std::vector<std::pair<std::string, JsonNode>> JsonNode::Members() const {
    if (!m_value->is_object()) {
        Fail("must be an object");
    }
    std::vector<std::pair<std::string, JsonNode>> members;
    for (const auto& item : m_value->items()) {
        members.emplace_back(item.key(), JsonNode(item.value(), m_source, m_path + "." + item.key()));
    }
    return members;
}

std::string JsonNode::TextOr(std::string_view name, const std::string& otherwise) const {
    return Has(name) ? Member(name).Text() : otherwise;
}

std::int64_t JsonNode::IntegerOr(std::string_view name, std::int64_t least, std::int64_t most,
                                 std::int64_t otherwise) const {
    return Has(name) ? Member(name).Integer(least, most) : otherwise;
}

bool JsonNode::FlagOr(std::string_view name, bool otherwise) const {
    return Has(name) ? Member(name).Flag() : otherwise;
}

std::vector<std::string> JsonNode::TextsOr(std::string_view name) const {
    std::vector<std::string> texts;
    if (Has(name)) {
        for (const JsonNode& item : Member(name).Items()) {
            texts.push_back(item.Text());
        }
    }
    return texts;
}

std::vector<JsonNode> JsonNode::Items() const {
    if (!m_value->is_array()) {
        Fail("must be an array");
    }
    std::vector<JsonNode> items;
    for (std::size_t i = 0; i < m_value->size(); ++i) {
        items.emplace_back(m_value->at(i), m_source, m_path + "[" + std::to_string(i) + "]");
    }
    return items;
}

std::string JsonNode::Text() const {
    if (!m_value->is_string() || m_value->get_ref<const std::string&>().empty()) {
        Fail("must be a text that is not empty");
    }
    return m_value->get<std::string>();
}

std::int64_t JsonNode::Integer(std::int64_t least, std::int64_t most) const {
    const bool tooLarge = m_value->is_number_unsigned() &&
                          m_value->get<std::uint64_t>() > static_cast<std::uint64_t>(INT64_MAX);
    if (!m_value->is_number_integer() || tooLarge || m_value->get<std::int64_t>() < least ||
        m_value->get<std::int64_t>() > most) {
        Fail("must be a whole number from " + std::to_string(least) + " to " + std::to_string(most));
    }
    return m_value->get<std::int64_t>();
}

bool JsonNode::Flag() const {
    if (!m_value->is_boolean()) {
        Fail("must be true or false");
    }
    return m_value->get<bool>();
}

}  // namespace quor_simulator
