#include "answer.h"

#include <charconv>
#include <limits>
#include <nlohmann/json.hpp>
#include <string_view>

#include "quor_ai/ids.h"

namespace quor_terminal {
namespace {

using Json = nlohmann::json;

// A manager link has no session that would end with an error frame: the frame comes up as an answer.
constexpr std::string_view kErrorCommand = "ERROR\n";
constexpr std::string_view kMessageCommand = "MESSAGE\n";

std::string TextOf(const Json& document, const char* name) {
    const auto member = document.find(name);
    return member != document.end() && member->is_string() ? member->get<std::string>() : std::string();
}

std::optional<unsigned int> NumberOf(const Json& document, const char* name) {
    const auto member = document.find(name);
    if (member == document.end()) {
        return std::nullopt;
    }
    if (member->is_number_unsigned()) {
        const auto value = member->get<std::uint64_t>();
        return value <= std::numeric_limits<unsigned int>::max()
                   ? std::optional<unsigned int>(static_cast<unsigned int>(value))
                   : std::nullopt;
    }
    const std::string text = TextOf(document, name);
    unsigned int number = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return !text.empty() && error == std::errc() && stop == text.data() + text.size()
               ? std::optional<unsigned int>(number)
               : std::nullopt;
}

std::string_view BodyOf(std::string_view frame) {
    const std::size_t headersEnd = frame.find("\n\n");
    return headersEnd == std::string_view::npos ? std::string_view() : frame.substr(headersEnd + 2);
}

// The "message" header of an error frame, or its body where there is none.
std::string RefusalOf(std::string_view frame) {
    constexpr std::string_view kHeader = "\nmessage:";
    const std::string_view headers = frame.substr(0, frame.find("\n\n"));
    const std::size_t at = headers.find(kHeader);
    std::string_view text = BodyOf(frame);
    if (at != std::string_view::npos) {
        text = headers.substr(at + kHeader.size());
        text = text.substr(0, text.find('\n'));
    }
    return text.empty() ? std::string("an error without a reason") : std::string(text);
}

void ReadBody(std::string_view body, AnswerPiece& piece) {
    const Json document = Json::parse(body, nullptr, false);
    const auto content = document.is_object() ? document.find("content") : document.end();
    if (!document.is_object() || content == document.end() || !content->is_string()) {
        piece.content = body;
        return;
    }
    piece.understood = true;
    piece.content = content->get<std::string>();
    piece.sequenceNumber = NumberOf(document, "seqNum");
    piece.requestType = TextOf(document, "reqType");
    const auto number = document.find("piece");
    if (number != document.end() && number->is_number_integer()) {
        piece.number = number->get<long long>();
    }
    const auto last = document.find("final");
    piece.isFinal = last != document.end() && last->is_boolean() && last->get<bool>();
}

}  // namespace

bool ReadAnswer(const TagAiCloudSrvResult& result, AnswerPiece& piece) {
    const bool conference = result.id == AI_SUB_ID_LLM_RESULT_KEL;
    if ((!conference && result.id != AI_SUB_ID_LLM_RESULT_MANAGER) || result.data == nullptr) {
        return false;
    }
    piece = AnswerPiece{};
    piece.serviceId = result.id;
    std::string_view text(reinterpret_cast<const char*>(result.data), result.len);
    while (!text.empty() && text.back() == '\0') {  // the manager link's length counts the terminator
        text.remove_suffix(1);
    }
    if (!conference && text.substr(0, kErrorCommand.size()) == kErrorCommand) {
        piece.refusal = RefusalOf(text);
        return true;
    }
    const bool framed = conference || text.substr(0, kMessageCommand.size()) == kMessageCommand;
    ReadBody(framed ? BodyOf(text) : text, piece);
    return true;
}

}  // namespace quor_terminal
