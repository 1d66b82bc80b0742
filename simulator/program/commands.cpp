#include "commands.h"

#include <optional>
#include <sstream>
#include <vector>

#include "answer_commands.h"
#include "http_commands.h"
#include "names.h"
#include "report.h"
#include "words.h"

namespace quor_simulator::program {
namespace {

CommandAnswer DropCommand(Simulator& simulator, const Words& words) {
    const auto how = FindNamed(kDropNames, words.size() > 1 ? words[1] : "closeFrame");
    const auto code = Number(words.size() > 2 ? words[2] : "1001", 4999);
    if (!how || !code) {
        return Bad("usage: drop [" + ListNames(kDropNames) + "] [code]");
    }
    return Good(Counted(simulator.DropLinks(*how, static_cast<std::uint16_t>(*code)), "link") + " dropped");
}

CommandAnswer FreezeCommand(Simulator& simulator, const Words&) {
    return Good(Counted(simulator.FreezeLinks(true), "link") + " frozen");
}

CommandAnswer ThawCommand(Simulator& simulator, const Words&) {
    return Good(Counted(simulator.FreezeLinks(false), "link") + " thawed");
}

CommandAnswer MalformedCommand(Simulator& simulator, const Words& words) {
    const auto form = FindNamed(kMalformedNames, words.size() > 1 ? words[1] : "noColon");
    if (!form) {
        return Bad("usage: malformed [" + ListNames(kMalformedNames) + "]");
    }
    return Good("sent to " + Counted(simulator.PublishMalformed(*form), "link"));
}

CommandAnswer PublishCommand(Simulator& simulator, const Words& words) {
    if (words.size() < 3) {
        return Bad("usage: publish DESTINATION BODY");
    }
    std::string body = words[2];
    for (std::size_t i = 3; i < words.size(); ++i) {
        body += " " + words[i];
    }
    return Good("sent to " + Counted(simulator.Publish(words[1], body), "subscription"));
}

CommandAnswer RefuseCommand(Simulator& simulator, const Words& words) {
    const auto status = Number(words.size() > 1 ? words[1] : "503", 599);
    const auto times = Number(words.size() > 2 ? words[2] : "1", SIZE_MAX);
    if (!status || !times || *status < 400) {
        return Bad("usage: refuse [HTTP-STATUS 400..599] [TIMES]");
    }
    simulator.RefuseUpgrades(static_cast<unsigned int>(*status), *times);
    return Good("upgrades are answered " + std::to_string(*status));
}

CommandAnswer RefuseConnectCommand(Simulator& simulator, const Words& words) {
    simulator.RefuseConnect(words.size() > 1 ? words[1] : "refused", 1);
    return Good("the next CONNECT is refused");
}

CommandAnswer CertificateCommand(Simulator& simulator, const Words& words) {
    const auto kind = FindNamed(kCertificateNames, words.size() > 1 ? words[1] : "");
    if (!kind) {
        return Bad("usage: certificate " + ListNames(kCertificateNames));
    }
    simulator.UseCertificate(*kind);
    return Good("new connections are shown the certificate \"" + words[1] + "\"");
}

CommandAnswer TokensCommand(Simulator& simulator, const Words& words) {
    const bool revoke = words[0] == "revoke";
    simulator.SetTokens({words.begin() + 1, words.end()}, revoke);
    return Good(words.size() == 1 ? std::string("any token is accepted")
                                  : Counted(words.size() - 1, "token") + " accepted");
}

CommandAnswer SlowCommand(Simulator& simulator, const Words& words) {
    const auto rate = Number(words.size() > 1 ? words[1] : "0", SIZE_MAX / 2);
    if (!rate) {
        return Bad("usage: slow [BYTES-PER-SECOND], 0 for no limit");
    }
    simulator.SlowSending(*rate);
    return Good(*rate == 0 ? "no limit" : Counted(*rate, "byte") + " a second");
}

CommandAnswer MuteCommand(Simulator& simulator, const Words& words) {
    simulator.MuteHeartBeats(words[0] == "mute");
    return Good(words[0] == "mute" ? "no heart-beats are sent" : "heart-beats are sent");
}

CommandAnswer PlayCommand(Simulator& simulator, const Words& words) {
    if (words.size() > 1) {
        simulator.LoadScenarioFile(words[1]);
    }
    simulator.PlayScenario();
    return Good("playing");
}

CommandAnswer StopCommand(Simulator& simulator, const Words&) {
    simulator.StopScenario();
    return Good("stopped");
}

CommandAnswer StatsCommand(Simulator& simulator, const Words& words) {
    const bool json = words.size() > 1 && words[1] == "json";
    return Good(json ? StatisticsJson(simulator) : StatisticsText(simulator));
}

CommandAnswer SubscriptionsCommand(Simulator& simulator, const Words&) {
    const std::vector<Subscription> subscriptions = simulator.Subscriptions();
    std::string text = Counted(subscriptions.size(), "subscription");
    for (const Subscription& subscription : subscriptions) {
        text += "; link " + std::to_string(subscription.link) + " " + subscription.destination;
    }
    return Good(text);
}

CommandAnswer HelpCommand(Simulator&, const Words&);

CommandAnswer QuitCommand(Simulator&, const Words&) {
    CommandAnswer answer = Good("closing");
    answer.quit = true;
    return answer;
}

struct Command {
    const char* name;
    CommandAnswer (*run)(Simulator&, const Words&);
    const char* help;
};

constexpr Command kCommands[] = {
    {"drop", DropCommand, "drop [closeFrame|noCloseFrame|reset] [code]  end all links"},
    {"freeze", FreezeCommand, "freeze  keep the TCP connections and read and write nothing"},
    {"thaw", ThawCommand, "thaw  let frozen links go on"},
    {"malformed", MalformedCommand, "malformed [form]  send every link a frame that is none"},
    {"publish", PublishCommand, "publish DESTINATION BODY  send a message to its subscribers"},
    {"publish-faulty", PublishFaultyCommand,
     "publish-faulty DESTINATION SETTING... JSON  as publish, with members missing, of another type or too "
     "long"},
    {"refuse", RefuseCommand, "refuse [STATUS] [TIMES]  answer upgrades with an HTTP status"},
    {"refuse-connect", RefuseConnectCommand, "refuse-connect [TEXT]  answer the next CONNECT with ERROR"},
    {"certificate", CertificateCommand,
     "certificate KIND  good, wrongHost, expired, notYetValid, selfSigned, incomplete, namesOnly, "
     "addressesOnly"},
    {"tokens", TokensCommand, "tokens [TOKEN...]  accept only these from now on; none: any"},
    {"revoke", TokensCommand, "revoke [TOKEN...]  as tokens, and end links that used others"},
    {"slow", SlowCommand, "slow [BYTES]  send at most so many bytes a second on each link"},
    {"mute", MuteCommand, "mute  send no heart-beats"},
    {"unmute", MuteCommand, "unmute  send heart-beats again"},
    {"answer-fault", AnswerFaultCommand,
     "answer-fault ANSWER SETTING...  spoil or hold the answers to such SENDs: capability, model, "
     "managerModel"},
    {"answer-release", AnswerReleaseCommand, "answer-release [ANSWER]  let pieces go that are held"},
    {"answer-clear", AnswerClearCommand, "answer-clear [ANSWER]  no faulty answers any more"},
    {"sends", SendsCommand, "sends  the latest SENDs of clients, as JSON"},
    {"people", PeopleCommand, "people CONFERENCE NUMBER  a conference with so many generated people"},
    {"http-fault", HttpFaultCommand, "http-fault ENDPOINT SETTING...  spoil the answers to such requests"},
    {"http-release", HttpReleaseCommand, "http-release [ENDPOINT]  let answers go that are held"},
    {"http-clear", HttpClearCommand, "http-clear [ENDPOINT]  no faults any more"},
    {"requests", RequestsCommand, "requests  the latest HTTP requests and what they were answered"},
    {"matches", MatchesCommand, "matches  the latest match reports"},
    {"play", PlayCommand, "play [FILE]  play the scenario"},
    {"stop", StopCommand, "stop  stop the scenario"},
    {"stats", StatsCommand, "stats [json]  counters"},
    {"subscriptions", SubscriptionsCommand, "subscriptions  who is subscribed to what"},
    {"help", HelpCommand, "help  the commands"},
    {"quit", QuitCommand, "quit  close all links and end"},
};

CommandAnswer HelpCommand(Simulator&, const Words&) {
    std::string text;
    for (const Command& command : kCommands) {
        text.append(text.empty() ? "" : ", ").append(command.name);
    }
    return Good(text);
}

}  // namespace

CommandAnswer RunCommand(Simulator& simulator, std::string_view line) {
    std::istringstream stream{std::string(line)};
    Words words;
    for (std::string word; stream >> word;) {
        words.push_back(word);
    }
    if (words.empty()) {
        return {};
    }
    CommandAnswer answer = Bad("unknown command; try help");
    for (const Command& command : kCommands) {
        if (words[0] == command.name) {
            try {
                answer = command.run(simulator, words);
            } catch (const Error& error) {
                answer = Bad(error.what());
            }
        }
    }
    answer.command = words[0];
    return answer;
}

std::string CommandHelp() {
    std::string text;
    for (const Command& command : kCommands) {
        text.append("  ").append(command.help).append("\n");
    }
    return text;
}

}  // namespace quor_simulator::program
