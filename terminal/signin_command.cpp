// signin_command.cpp - 'quor-terminal signin': the lists of who has checked in and who has not, and reports.
#include <algorithm>
#include <array>
#include <ctime>
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

using QuorAiEngine::AiHttpAdapter;

// ---- Lists ----

Json PersonDocument(const Checkin& person, bool details) {
    Json document = {{"name", person.name}, {"account", person.account}};
    if (details) {
        document["checkInTime"] = person.time;
        document["type"] = person.type;
        document["participantName"] = person.participant;
    }
    return document;
}

Json PeopleDocument(const std::vector<Checkin>& people, bool details) {
    Json list = Json::array();
    for (const Checkin& person : people) {
        list.push_back(PersonDocument(person, details));
    }
    return list;
}

Json PageDocument(const std::string& conference, const SigninPage& page) {
    return {{"kind", "signins"},
            {"conference", conference},
            {"history", page.history},
            {"checkedIn", page.checkedIn},
            {"page", page.page},
            {"totalPages", page.totalPages},
            {"totalPeople", page.totalPeople},
            {"people", PeopleDocument(page.people, page.checkedIn)}};
}

std::string PeopleTable(const std::vector<Checkin>& people, bool details) {
    std::vector<TableRow> rows;
    rows.reserve(people.size());
    for (const Checkin& person : people) {
        rows.push_back(
            details ? TableRow{person.name, person.account, person.time, person.type, person.participant}
                    : TableRow{person.name, person.account});
    }
    return FormatTable(
        details ? TableRow{"NAME", "ACCOUNT", "TIME", "TYPE", "PARTICIPANT"} : TableRow{"NAME", "ACCOUNT"},
        rows);
}

// The account of what was shown: "3 of 40 people who checked in; page 2 of 2".
std::string ListFooter(const SigninPage& page, std::size_t shown, bool all) {
    std::string text = std::to_string(shown) + " of " +
                       Counted(page.totalPeople, "person who ", "people who ") +
                       (page.checkedIn ? "checked in" : "did not check in");
    if (!all) {
        text += "; page " + std::to_string(page.page) + " of " + std::to_string(page.totalPages);
    }
    return text + "\n";
}

// One page, counted from 1. False: told already.
bool ReadPage(RequestRun& run, const SigninListOptions& options, bool history, unsigned int number,
              SigninPage& page) {
    const auto send = [&](AiHttpAdapter& adapter) {
        TagQuorAiQuerySignIn query{};
        SetField(query.confId, options.conference);
        query.page = number - 1;
        query.size = options.size;
        query.checkedIn = options.notCheckedIn ? 0 : 1;
        query.history = history ? 1 : 0;
        SetField(query.serverAddr, options.server.host);
        query.serverPort = options.server.port;
        return adapter.CloudQuerySignInInfo(query);
    };
    if (!run.Ask(AI_SUB_ID_QUERY_SIGN_IN, send)) {
        return false;
    }
    if (!ReadSigninPage(run.Data(), page)) {
        run.Fail();
        return false;
    }
    return true;
}

int List(RequestRun& run, const SigninListOptions& options, bool history) {
    std::vector<Checkin> people;
    SigninPage page;
    const unsigned int first = options.all ? 1 : options.page;
    run.ShowProgress("asking for the list");
    for (unsigned int number = first;; ++number) {
        page = SigninPage{};
        if (!ReadPage(run, options, history, number, page)) {
            return run.ExitCode();
        }
        if (options.json && !run.Print(PageDocument(options.conference, page))) {
            return run.ExitCode();
        }
        people.insert(people.end(), page.people.begin(), page.people.end());
        // An empty page is the end, whatever the number of pages says: people may leave the list meanwhile.
        if (!options.all || number >= page.totalPages || page.people.empty()) {
            break;
        }
        run.ShowProgress("list: page " + std::to_string(number) + " of " + std::to_string(page.totalPages) +
                         " read");
    }
    if (options.json) {
        return kExitOk;
    }
    const std::string table = people.empty() ? std::string() : PeopleTable(people, page.checkedIn);
    return run.Print(table + ListFooter(page, people.size(), options.all)) ? kExitOk : run.ExitCode();
}

// ---- Report ----

std::string Now() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    std::array<char, 32> text{};
    if (localtime_r(&now, &local) == nullptr) {
        return {};
    }
    return std::string(text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &local));
}

TagQuorAiReportSiginIn ReportOf(const SigninReportOptions& options, const std::string& time, std::size_t from,
                                std::size_t count) {
    TagQuorAiReportSiginIn report{};
    SetField(report.confId, options.conference);
    SetField(report.serverAddr, options.server.host);
    report.serverPort = options.server.port;
    report.reportCount = static_cast<unsigned int>(count);
    for (std::size_t i = 0; i < count; ++i) {
        const SigninReportOptions::Person& person = options.people[from + i];
        TagQuorAiGetSigninContent& entry = report.entries[i];
        SetField(entry.name, person.name);
        SetField(entry.account, person.account);
        SetField(entry.checkInTime, time);
        SetField(entry.type, options.type);
        SetField(entry.participantName, options.participant.empty() ? person.name : options.participant);
    }
    return report;
}

Json ReportDocument(const std::string& conference, const SigninReport& report) {
    return {{"kind", "report"},
            {"conference", conference},
            {"accepted", report.accepted},
            {"people", PeopleDocument(report.people, true)}};
}

// Reports as many people from the given one on as one request takes. False: told already.
bool ReportSome(RequestRun& run, const SigninReportOptions& options, const std::string& time,
                std::size_t from, SigninReport& report) {
    const std::size_t count = std::min<std::size_t>(kQuorAiReportSignInMax, options.people.size() - from);
    const auto send = [&](AiHttpAdapter& adapter) {
        TagQuorAiReportSiginIn record = ReportOf(options, time, from, count);
        return adapter.CloudReportSignInInfo(record);
    };
    if (!run.Ask(AI_SUB_ID_REPORT_SIGN_IN, send)) {
        return false;
    }
    if (!ReadSigninReport(run.Data(), report) || !report.accepted) {
        run.Fail();
        return false;
    }
    return !options.json || run.Print(ReportDocument(options.conference, report));
}

int Report(RequestRun& run, const SigninReportOptions& options) {
    const std::string time = options.time.empty() ? Now() : options.time;
    const std::size_t wanted = options.people.size();
    std::vector<Checkin> taken;
    bool good = true;
    run.ShowProgress("reporting");
    while (good && taken.size() < wanted) {
        SigninReport report;
        good = ReportSome(run, options, time, taken.size(), report);
        if (good) {
            taken.insert(taken.end(), report.people.begin(), report.people.end());
            run.ShowProgress("reported: " + std::to_string(taken.size()) + " of " +
                             Counted(wanted, "person", "people"));
        }
    }
    const int status = good ? kExitOk : run.ExitCode();
    if (options.json || taken.empty()) {
        return status;
    }
    const std::string text =
        PeopleTable(taken, true) + Counted(taken.size(), "person", "people") + " checked in\n";
    return run.Print(text) ? status : run.ExitCode();
}

}  // namespace

int RunSignin(const Options& options) {
    const SigninOptions& signin = options.signin;
    switch (signin.action) {
        case SigninOptions::Action::kReport:
            return RunRequests(
                signin.report, "signin report",
                [&signin](RequestRun& run, const std::string&) { return Report(run, signin.report); });
        case SigninOptions::Action::kHistory:
            return RunRequests(
                signin.history, "signin history",
                [&signin](RequestRun& run, const std::string&) { return List(run, signin.history, true); });
        case SigninOptions::Action::kList:
            return RunRequests(signin.list, "signin list", [&signin](RequestRun& run, const std::string&) {
                return List(run, signin.list, false);
            });
    }
    return kExitFailure;
}

}  // namespace quor_terminal
