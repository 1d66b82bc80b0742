// match_command.cpp - 'quor-terminal avmatch': reports that a face was matched to a voice.
#include <string.h>

#include <string>

#include "commands.h"
#include "credentials.h"
#include "exit_codes.h"
#include "quor_ai/ai_http_adapter.h"
#include "request_run.h"
#include "session.h"
#include "text_layout.h"

namespace quor_terminal {
namespace {

constexpr std::size_t kLongestToken = sizeof(TagQuorAiAVMatchtData::token) - 1;

TagQuorAiAVMatchtData MatchOf(const MatchOptions& options, const std::string& token) {
    TagQuorAiAVMatchtData match{};
    match.faceid = options.faceId;
    match.serverPort = options.server.port;
    match.start = options.startMs;
    match.end = options.endMs;
    match.doa = options.doa;
    match.score = options.score;
    SetField(match.userid, options.userId);
    SetField(match.site, options.site);
    SetField(match.uuid, options.conference);
    SetField(match.serverAddr, options.server.host);
    SetField(match.token, token);
    if (options.rect.size() == 4) {
        match.rect = {options.rect[0], options.rect[1], options.rect[2], options.rect[3]};
    }
    return match;
}

Json MatchDocument(const MatchOptions& options) {
    return {{"kind", "match"},      {"conference", options.conference},
            {"accepted", true},     {"userId", options.userId},
            {"site", options.site}, {"start", options.startMs},
            {"end", options.endMs}};
}

int Report(RequestRun& run, const MatchOptions& options, const std::string& token) {
    if (token.size() > kLongestToken) {
        PrintError("a token of at most " + std::to_string(kLongestToken) + " characters is wanted here");
        return kExitFailure;
    }
    const auto send = [&](QuorAiEngine::AiHttpAdapter& adapter) {
        TagQuorAiAVMatchtData match = MatchOf(options, token);
        const unsigned int result = adapter.CloudReportAVMatchInfo(match);
        explicit_bzero(match.token, sizeof match.token);
        return result;
    };
    if (!run.Ask(AI_SUB_ID_REPORT_AV_MATCH, send)) {
        return run.ExitCode();
    }
    bool accepted = false;
    if (!ReadMatch(run.Data(), accepted) || !accepted) {
        return run.Fail();
    }
    const bool printed = options.json
                             ? run.Print(MatchDocument(options))
                             : run.Print("the server took the match of " + Printable(options.userId) +
                                         " at " + Printable(options.site) + "\n");
    return printed ? kExitOk : run.ExitCode();
}

}  // namespace

int RunMatch(const Options& options) {
    const MatchOptions& wanted = options.match;
    return RunRequests(wanted, "avmatch", [&wanted](RequestRun& run, const std::string& token) {
        return Report(run, wanted, token);
    });
}

}  // namespace quor_terminal
