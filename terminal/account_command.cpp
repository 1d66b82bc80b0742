// account_command.cpp - 'quor-terminal account': have these accounts checked in?
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

constexpr unsigned int kStatusOk = 200;

Json AccountDocument(const AccountOptions& options, const std::string& account, const AccountState& state) {
    const bool checkedIn = !state.account.empty();
    Json document = {{"kind", "account"},
                     {"conference", options.conference},
                     {"account", account},
                     {"checkedIn", checkedIn}};
    if (checkedIn) {
        document["checkInTime"] = state.time;
    }
    return document;
}

// False: told already.
bool AskAccount(RequestRun& run, const AccountOptions& options, const std::string& account,
                AccountState& state) {
    const auto send = [&](QuorAiEngine::AiHttpAdapter& adapter) {
        TagQuorAiQuerySignAccount query{};
        SetField(query.confId, options.conference);
        SetField(query.serverAddr, options.server.host);
        query.serverPort = options.server.port;
        query.accountCount = 1;
        SetField(query.account, account);
        return adapter.CloudQueryAccountSignInInfo(query);
    };
    if (!run.Ask(AI_SUB_ID_QUERY_ACCOUNT_SIGN_IN, send)) {
        return false;
    }
    if (!ReadAccountState(run.Data(), state) || state.httpStatus != kStatusOk) {
        run.Fail();
        return false;
    }
    return true;
}

int AskAll(RequestRun& run, const AccountOptions& options) {
    std::vector<TableRow> rows;
    bool good = true;
    for (const std::string& account : options.accounts) {
        AccountState state;
        run.ShowProgress("asking for " + account);
        good = AskAccount(run, options, account, state) &&
               (!options.json || run.Print(AccountDocument(options, account, state)));
        if (!good) {
            break;
        }
        const bool checkedIn = !state.account.empty();
        rows.push_back({account, checkedIn ? "yes" : "no", checkedIn ? state.time : ""});
    }
    const int status = good ? kExitOk : run.ExitCode();
    if (options.json || rows.empty()) {
        return status;
    }
    return run.Print(FormatTable({"ACCOUNT", "CHECKED IN", "TIME"}, rows)) ? status : run.ExitCode();
}

}  // namespace

int RunAccount(const Options& options) {
    const AccountOptions& wanted = options.account;
    return RunRequests(wanted, "account",
                       [&wanted](RequestRun& run, const std::string&) { return AskAll(run, wanted); });
}

}  // namespace quor_terminal
