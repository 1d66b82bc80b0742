// participants_command.cpp - 'quor-terminal participants': who is in a conference.
#include <string.h>

#include <string>
#include <vector>

#include "commands.h"
#include "credentials.h"
#include "exit_codes.h"
#include "quor_ai/ai_http_adapter.h"
#include "request_run.h"
#include "table.h"

namespace quor_terminal {
namespace {

constexpr unsigned int kPageSize = 200;  // of the library's requests

Json ParticipantsDocument(const std::string& conference, const std::vector<Site>& participants,
                          bool complete) {
    Json list = Json::array();
    for (const Site& participant : participants) {
        list.push_back({{"id", participant.id}, {"name", participant.name}});
    }
    return {{"kind", "participants"},
            {"conference", conference},
            {"count", participants.size()},
            {"complete", complete},
            {"participants", list}};
}

std::string ParticipantsText(const std::vector<Site>& participants, bool complete) {
    std::vector<TableRow> rows;
    rows.reserve(participants.size());
    for (const Site& participant : participants) {
        rows.push_back({participant.name, participant.id});
    }
    std::string text = participants.empty() ? std::string() : FormatTable({"NAME", "ID"}, rows);
    text += Counted(participants.size(), "participant", "participants") + "\n";
    if (!complete) {
        text += "There may be more: the library delivers no more than these.\n";
    }
    return text;
}

int List(RequestRun& run, const RequestOptions& options, const std::string& token) {
    const auto send = [&](QuorAiEngine::AiHttpAdapter& adapter) {
        TagQuorAiKelInfo query{};
        SetField(query.serverAddr, options.server.host);
        query.serverPort = options.server.port;
        SetField(query.confId, options.conference);
        SetField(query.token, token);
        const unsigned int result = adapter.CloudQueryConfList(&query);
        explicit_bzero(query.token, sizeof query.token);
        return result;
    };
    run.ShowProgress("asking for the participants");
    const auto onPage = [&run](unsigned int pages) {
        run.ShowProgress("participants: " + Counted(pages, "page", "pages") + " of " +
                         std::to_string(kPageSize) + " people read");
    };
    if (!run.Ask(AI_SUB_ID_QUERY_CONF_LIST, send, onPage)) {
        return run.ExitCode();
    }
    std::vector<Site> participants;
    if (!ReadParticipants(run.Data(), participants)) {
        return run.Fail();
    }
    // A full buffer may have cut the list: the library asks for no further page then.
    const bool complete = participants.size() < kQuorAiSiteMax;
    const bool printed = options.json
                             ? run.Print(ParticipantsDocument(options.conference, participants, complete))
                             : run.Print(ParticipantsText(participants, complete));
    return printed ? kExitOk : run.ExitCode();
}

}  // namespace

int RunParticipants(const Options& options) {
    const RequestOptions& wanted = options.participants;
    return RunRequests(wanted, "participants", [&wanted](RequestRun& run, const std::string& token) {
        return List(run, wanted, token);
    });
}

}  // namespace quor_terminal
