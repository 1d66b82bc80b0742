#include "rest_fault.h"

#include <algorithm>

namespace quor_simulator {
namespace {

constexpr const char* kJsonType = "application/json;charset=UTF-8";

/* Names from outside need not be UTF-8; JSON is. */
std::string Dump(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

void Omit(Json& json, const std::vector<std::string>& names) {
    if (json.is_object()) {
        for (const std::string& name : names) {
            json.erase(name);
        }
    }
    if (json.is_structured()) {
        for (Json& inner : json) {
            Omit(inner, names);
        }
    }
}

void SwapTypes(Json& json) {
    if (json.is_structured()) {
        for (Json& inner : json) {
            SwapTypes(inner);
        }
    } else if (json.is_string()) {
        json = 7;
    } else if (json.is_number()) {
        json = json.dump();
    } else {
        json = nullptr;
    }
}

std::string Spoil(Json json, const RestFault& fault) {
    Omit(json, fault.omit);
    switch (fault.content) {
        case Content::kBadJson: {
            const std::string text = Dump(json);
            return text.substr(0, (text.size() + 1) / 2);
        }
        case Content::kEmpty:
            return {};
        case Content::kNotJson:
            return "<!DOCTYPE html><html><body>Please sign in</body></html>\n";
        case Content::kOtherJson:
            return R"({"unexpected":[1,2,3]})";
        case Content::kWrongTypes:
            SwapTypes(json);
            return Dump(json);
        default:
            return Dump(json);
    }
}

}  // namespace

void FaultTable::Set(Endpoint endpoint, RestFault fault) {
    const Key key{endpoint, fault.port};
    m_faults.Set(key, std::move(fault));
}

void FaultTable::Clear(std::optional<Endpoint> endpoint) {
    if (!endpoint) {
        m_faults.Clear(std::nullopt);
        return;
    }
    for (const std::optional<Port> port : {std::optional<Port>(), {Port::kFirst}, {Port::kSecond}}) {
        m_faults.Clear(Key{*endpoint, port});
    }
}

std::optional<RestFault> FaultTable::Take(Endpoint endpoint, Port port) {
    const Key own{endpoint, port};
    return m_faults.Take(m_faults.Has(own) ? own : Key{endpoint, std::nullopt});
}

RestReply RefusalOf(const RestFault& fault) {
    return Refuse(fault.status.value_or(500), "refused on command");
}

HttpAnswer MakeAnswer(const RestReply& reply, const std::optional<RestFault>& fault) {
    HttpAnswer answer;
    answer.status = reply.status;
    if (!fault) {
        answer.headers.emplace_back("Content-Type", kJsonType);
        answer.body = Dump(reply.body);
        return answer;
    }
    answer.status = fault->status.value_or(reply.status);
    answer.headers.emplace_back(
        "Content-Type", fault->content == Content::kNotJson && !fault->body ? "text/html" : kJsonType);
    answer.body = fault->body ? *fault->body : Spoil(reply.body, *fault);
    if (answer.status >= 300 && answer.status < 400 && answer.status != 304) {
        /* There is nothing: a client that follows is seen by its request. */
        answer.headers.emplace_back("Location", "/redirected");
    }
    return answer;
}

}  // namespace quor_simulator
