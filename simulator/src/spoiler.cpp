#include "spoiler.h"

#include <algorithm>

#include "quor_simulator/simulator.h"

namespace quor_simulator {
namespace {

constexpr double kTooLargeNumber = 1e20; /* for 32 and for 64 bits */
/* Far above what a link's queue takes; entries of long texts would fill the memory. */
constexpr std::size_t kMaxListBytes = 64U << 20;
constexpr char kUriMember[] = "uri";
constexpr char kSizeMember[] = "size";

/* Names from outside need not be UTF-8; JSON is. */
std::string Dump(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

Json OfAnotherType(const Json& value) {
    if (value.is_boolean()) {
        return value.get<bool>() ? 1 : 0;
    }
    if (value.is_number() || value.is_structured()) {
        return Dump(value);
    }
    return 7;
}

std::vector<std::string> NamesOf(const Json& object) {
    std::vector<std::string> names;
    for (const auto& member : object.items()) {
        names.push_back(member.key());
    }
    return names;
}

}  // namespace

Spoiler::Spoiler(const MessageFault& fault)
    : m_fault(fault),
      m_omit(MakeList("omit", fault.omit)),
      m_wrongType(MakeList("wrongType", fault.wrongType)),
      m_tooLong(MakeList("tooLong", fault.tooLong)) {}

std::string Spoiler::Apply(std::string_view body) {
    Json document = Json::parse(body, nullptr, false);
    if (document.is_discarded()) {
        throw Error("the body is no JSON");
    }
    Walk(document);
    return Dump(document);
}

std::vector<Spoiler::Problem> Spoiler::Problems() const {
    std::vector<Problem> problems;
    std::set<std::string> named;
    for (const List* list : {&m_omit, &m_wrongType, &m_tooLong}) {
        for (std::size_t i = 0; i < list->targets.size(); ++i) {
            const Target& target = list->targets[i];
            const std::string text = ProblemOf(target, !named.insert(target.name).second);
            if (!text.empty()) {
                problems.push_back({std::string(list->name), i, text});
            }
        }
    }
    if (m_fault.otherUri && !m_otherUriDone) {
        problems.push_back({"otherUri", 0, "the message names no terminal: it has no member \"uri\""});
    }
    return problems;
}

Spoiler::List Spoiler::MakeList(std::string_view name, const std::vector<std::string>& targets) {
    List list{name, {}};
    for (const std::string& target : targets) {
        list.targets.push_back({target});
    }
    return list;
}

Spoiler::Target* Spoiler::Find(List& list, const std::string& name) {
    const auto found = std::find_if(list.targets.begin(), list.targets.end(),
                                    [&](const Target& target) { return target.name == name; });
    return found == list.targets.end() ? nullptr : &*found;
}

void Spoiler::Walk(Json& value) {
    if (value.is_object()) {
        WalkObject(value);
    } else if (value.is_array()) {
        for (Json& entry : value) {
            Walk(entry);
        }
    }
}

/* What a member holds is spoiled before the member itself: the copies of an entry are as faulty as the entry.
 */
void Spoiler::WalkObject(Json& object) {
    for (const std::string& name : NamesOf(object)) {
        m_seen.insert(name);
        if (Target* const target = Find(m_omit, name)) {
            target->known = target->done = true;
            object.erase(name);
            continue;
        }
        Walk(object[name]);
        if (m_fault.otherUri && name == kUriMember) {
            m_otherUriDone = true;
            object[name] = *m_fault.otherUri;
        }
        if (Target* const target = Find(m_wrongType, name)) {
            target->known = target->done = true;
            object[name] = OfAnotherType(object[name]);
        } else if (Target* const longer = Find(m_tooLong, name)) {
            longer->known = true;
            longer->done = Lengthen(object, name) || longer->done;
        }
    }
}

bool Spoiler::Lengthen(Json& object, const std::string& name) const {
    Json& value = object[name];
    if (value.is_string()) {
        auto& text = value.get_ref<std::string&>();
        text.append(m_fault.length - std::min(m_fault.length, text.size()), 'x');
        return true;
    }
    if (value.is_number()) {
        value = kTooLargeNumber;
        return true;
    }
    if (!value.is_array() || value.empty() ||
        Dump(value.back()).size() > kMaxListBytes / std::max<std::size_t>(m_fault.entries, 1)) {
        return false;
    }
    while (value.size() < m_fault.entries) {
        value.push_back(Json(value.back()));
    }
    const std::size_t size = value.size();
    if (object.contains(kSizeMember) && object[kSizeMember].is_number_integer()) {
        object[kSizeMember] = size;
    }
    return true;
}

std::string Spoiler::ProblemOf(const Target& target, bool twice) const {
    if (twice) {
        return "\"" + target.name + "\" is named twice";
    }
    if (!target.known) {
        std::string seen;
        for (const std::string& name : m_seen) {
            seen.append(seen.empty() ? "" : ", ").append(name);
        }
        return "the message has no member \"" + target.name + "\" (it has: " + seen + ")";
    }
    return target.done ? "" : "\"" + target.name + "\" cannot be made longer";
}

std::string Spoil(std::string_view body, const MessageFault& fault) {
    Spoiler spoiler(fault);
    std::string spoiled = spoiler.Apply(body);
    const std::vector<Spoiler::Problem> problems = spoiler.Problems();
    if (!problems.empty()) {
        throw Error(problems.front().list + ": " + problems.front().text);
    }
    return spoiled;
}

}  // namespace quor_simulator
