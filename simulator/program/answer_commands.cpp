#include "answer_commands.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "names.h"
#include "spoiler.h"

namespace quor_simulator::program {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kMaxCount = 1000000;
constexpr char kContentSettings[] =
    "[omit=NAME,...] [wrongType=NAME,...] [tooLong=NAME,...] [length=N] [entries=N] [otherUri=URI]";

bool ReadNames(const std::string& value, std::vector<std::string>& names) {
    names = SplitList(value);
    return !value.empty();
}

bool ReadNumber(const std::string& value, std::size_t least, std::size_t most, std::size_t& number) {
    const std::optional<std::size_t> read = Number(value, most);
    number = read.value_or(number);
    return read && *read >= least;
}

struct Setting {
    std::string key;
    std::string value; /* empty without "=" */
};

Setting SettingOf(const std::string& word) {
    const std::size_t equals = std::min(word.find('='), word.size());
    return {word.substr(0, equals), word.substr(std::min(equals + 1, word.size()))};
}

bool ReadContentSetting(const Setting& setting, MessageFault& fault) {
    if (setting.key == "omit") {
        return ReadNames(setting.value, fault.omit);
    }
    if (setting.key == "wrongType") {
        return ReadNames(setting.value, fault.wrongType);
    }
    if (setting.key == "tooLong") {
        return ReadNames(setting.value, fault.tooLong);
    }
    if (setting.key == "length") {
        return ReadNumber(setting.value, 1, kMaxFaultLength, fault.length);
    }
    if (setting.key == "entries") {
        return ReadNumber(setting.value, 1, kMaxFaultEntries, fault.entries);
    }
    fault.otherUri = setting.value;
    return setting.key == "otherUri" && !setting.value.empty();
}

bool ReadAnswerSetting(const std::string& word, AnswerFault& fault) {
    if (word == "hold" || word == "otherNumber") {
        (word == "hold" ? fault.hold : fault.otherNumber) = true;
        return true;
    }
    const Setting setting = SettingOf(word);
    if (setting.key == "skip") {
        return ReadNumber(setting.value, 0, kMaxCount, fault.skip);
    }
    if (setting.key == "times") {
        return ReadNumber(setting.value, 1, kMaxCount, fault.times);
    }
    return ReadContentSetting(setting, fault.content);
}

/* The kind that the line names or, as an empty optional, all of them; false: it names none that exists. */
bool ReadAnswer(const Words& words, std::optional<AnswerKind>& kind) {
    if (words.size() > 1) {
        kind = FindNamed(kAnswerNames, words[1]);
    }
    return words.size() == 1 || kind.has_value();
}

CommandAnswer Usage(const std::string& text) {
    return Bad("usage: " + text + "; answers: " + ListNames(kAnswerNames));
}

}  // namespace

/* The body begins with the first word that is no setting. */
CommandAnswer PublishFaultyCommand(Simulator& simulator, const Words& words) {
    MessageFault fault;
    std::size_t next = 2;
    while (next < words.size() && words[next].front() != '{' && words[next].front() != '[') {
        if (!ReadContentSetting(SettingOf(words[next]), fault)) {
            next = words.size();
        }
        ++next;
    }
    if (next >= words.size() || next == 2) {
        return Bad(std::string("usage: publish-faulty DESTINATION ") + kContentSettings + " JSON");
    }
    std::string body = words[next];
    for (std::size_t i = next + 1; i < words.size(); ++i) {
        body += " " + words[i];
    }
    return Good("sent to " + Counted(simulator.Publish(words[1], Spoil(body, fault)), "subscription"));
}

CommandAnswer AnswerFaultCommand(Simulator& simulator, const Words& words) {
    std::optional<AnswerKind> kind;
    AnswerFault fault;
    bool good = words.size() > 2 && ReadAnswer(words, kind);
    for (std::size_t i = 2; good && i < words.size(); ++i) {
        good = ReadAnswerSetting(words[i], fault);
    }
    if (!good) {
        return Usage(std::string("answer-fault ANSWER ") + kContentSettings +
                     " [otherNumber] [hold] [skip=N] [times=N]");
    }
    simulator.SetAnswerFault(*kind, fault);
    return Good("answers of the kind " + words[1] + " are faulty");
}

CommandAnswer AnswerReleaseCommand(Simulator& simulator, const Words& words) {
    std::optional<AnswerKind> kind;
    if (!ReadAnswer(words, kind)) {
        return Usage("answer-release [ANSWER]");
    }
    return Good(Counted(simulator.ReleaseAnswers(kind), "answer") + " released");
}

CommandAnswer AnswerClearCommand(Simulator& simulator, const Words& words) {
    std::optional<AnswerKind> kind;
    if (!ReadAnswer(words, kind)) {
        return Usage("answer-clear [ANSWER]");
    }
    simulator.ClearAnswerFault(kind);
    return Good("answers are as they should be");
}

CommandAnswer SendsCommand(Simulator& simulator, const Words&) {
    Json sends = Json::array();
    for (const ReceivedSend& send : simulator.Received()) {
        Json headers = Json::object();
        for (const auto& [name, value] : send.headers) {
            headers.emplace(name, value); /* the first one of a name counts in STOMP */
        }
        sends.push_back({{"link", send.link},
                         {"destination", send.destination},
                         {"headers", headers},
                         {"body", send.body}});
    }
    return Good(sends.dump(-1, ' ', false, Json::error_handler_t::replace));
}

}  // namespace quor_simulator::program
