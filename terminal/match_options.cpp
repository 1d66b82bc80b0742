// The options of 'avmatch', which reports that a face was matched to a voice.
#include <CLI/CLI.hpp>

#include "commands.h"
#include "quor_ai/http_records.h"
#include "request_options.h"
#include "subcommand.h"

namespace quor_terminal {
namespace {

constexpr const char* kExample =
    "Example:\n"
    "  quor-terminal avmatch --user-id u17 --site room7 --start 1200 --end 4800 --face-id 3 --score 0.92 \\\n"
    "      --rect 10,20,64,64 --server conf.example.org:443 --conference 900123 --token-file token\n";

void AddMatchOptions(CLI::App& app, Options& options) {
    constexpr const char* kGroup = "Match";
    MatchOptions& match = options.match;
    app.add_option("--user-id", match.userId, "Whose face it is")->type_name("ID")->required()->group(kGroup);
    app.add_option("--site", match.site, "The site at which the person is")
        ->type_name("ID")
        ->required()
        ->group(kGroup);
    app.add_option("--start", match.startMs, "When the voice began")
        ->type_name("MS")
        ->required()
        ->group(kGroup);
    app.add_option("--end", match.endMs, "When it ended")->type_name("MS")->required()->group(kGroup);
    app.add_option("--face-id", match.faceId, "Number of the face")
        ->type_name("N")
        ->capture_default_str()
        ->group(kGroup);
    app.add_option("--doa", match.doa, "Direction that the voice came from")
        ->type_name("NUMBER")
        ->capture_default_str()
        ->group(kGroup);
    app.add_option("--score", match.score, "How sure the match is")
        ->type_name("NUMBER")
        ->capture_default_str()
        ->group(kGroup);
    app.add_option("--rect", match.rect, "Where the face is (default: all 0)")
        ->type_name("X,Y,WIDTH,HEIGHT")
        ->delimiter(',')
        ->expected(4)
        ->group(kGroup);
    AddRequestOptions(app, match, false);
    app.footer(kExample);
}

bool CheckMatchOptions(Options& options, std::string& message) {
    MatchOptions& match = options.match;
    if (!CheckText("--user-id", match.userId, sizeof(TagQuorAiAVMatchtData::userid) - 1, message) ||
        !CheckText("--site", match.site, sizeof(TagQuorAiAVMatchtData::site) - 1, message)) {
        return false;
    }
    if (match.startMs < 0 || match.endMs < match.startMs) {
        message = "--start and --end want milliseconds from 0 on, the end not before the start";
        return false;
    }
    return CheckRequest(match, AddressUse::kNameOrIpv4, message);
}

}  // namespace

const Subcommand kMatchSubcommand = {"avmatch", "Report that a face was matched to a voice", AddMatchOptions,
                                     CheckMatchOptions, RunMatch};

}  // namespace quor_terminal
