// The options of 'signin list', 'signin history' and 'signin report'.
#include <CLI/CLI.hpp>
#include <set>

#include "commands.h"
#include "quor_ai/http_records.h"
#include "request_options.h"
#include "subcommand.h"

namespace quor_terminal {
namespace {

using Action = SigninOptions::Action;

constexpr const char* kExamples =
    "Examples:\n"
    "  quor-terminal signin list --server conf.example.org:443 --conference 900123 --token-file token --all\n"
    "  quor-terminal signin list --not-checked-in ...\n"
    "  quor-terminal signin report anna=\"Anna Berg\" ben=\"Ben Okafor\" --type face ...\n";

constexpr const char* kReportNote =
    "ACCOUNT=NAME is one person. The server takes five people at a time or refuses all five, so that a "
    "longer\n"
    "list may be taken in part; every answer is told.\n";

void AddListOptions(CLI::App& app, SigninListOptions& options) {
    constexpr const char* kGroup = "List";
    app.add_flag("--not-checked-in", options.notCheckedIn, "List those who have not checked in instead")
        ->group(kGroup);
    CLI::Option* const page = app.add_option("--page", options.page, "The page to show; the first one is 1")
                                  ->type_name("N")
                                  ->check(CLI::Range(1U, 1000000U))
                                  ->capture_default_str()
                                  ->group(kGroup);
    app.add_option("--size", options.size, "People of a page")
        ->type_name("N")
        ->check(CLI::Range(1U, kQuorAiSignInMax))
        ->capture_default_str()
        ->group(kGroup);
    app.add_flag("--all", options.all, "Show all pages, one after another")->excludes(page)->group(kGroup);
    AddRequestOptions(app, options, true);
}

void AddReportOptions(CLI::App& app, SigninReportOptions& options) {
    constexpr const char* kGroup = "Report";
    app.add_option("people", options.peopleTexts, "Who has checked in")
        ->type_name("ACCOUNT=NAME")
        ->required();
    app.add_option("--time", options.time, "When, as \"2026-01-31 09:00:00\" (default: now)")
        ->type_name("TIME")
        ->group(kGroup);
    app.add_option("--type", options.type, "How they were recognised")
        ->type_name("TYPE")
        ->capture_default_str()
        ->group(kGroup);
    app.add_option("--participant", options.participant,
                   "The participant, such as a meeting room, at which they are (default: each person's name)")
        ->type_name("NAME")
        ->group(kGroup);
    AddRequestOptions(app, options, true);
    app.footer(kReportNote);
}

void AddSigninOptions(CLI::App& app, Options& options) {
    SigninOptions& signin = options.signin;
    app.require_subcommand(1);
    const auto add = [&app, &signin](const char* name, const char* summary, Action action) {
        CLI::App* const sub = app.add_subcommand(name, summary);
        sub->callback([&signin, action] { signin.action = action; });
        return sub;
    };
    AddListOptions(*add("list", "Who has checked in to a running conference, or has not", Action::kList),
                   signin.list);
    AddListOptions(*add("history", "The same of a conference that is over", Action::kHistory),
                   signin.history);
    AddReportOptions(*add("report", "Check people in", Action::kReport), signin.report);
    app.footer(kExamples);
}

bool ReadPeople(SigninReportOptions& options, std::string& message) {
    constexpr std::size_t kLongestName = sizeof(TagQuorAiGetSigninContent::name) - 1;
    constexpr std::size_t kLongestAccount = sizeof(TagQuorAiGetSigninContent::account) - 1;
    options.people.clear();
    std::set<std::string> accounts;
    for (const std::string& text : options.peopleTexts) {
        const std::size_t equals = text.find('=');
        if (equals == std::string::npos) {
            message = "'" + text + "' is not of the form ACCOUNT=NAME";
            return false;
        }
        SigninReportOptions::Person person{text.substr(0, equals), text.substr(equals + 1)};
        if (!CheckText("an account", person.account, kLongestAccount, message) ||
            !CheckText("a name", person.name, kLongestName, message)) {
            return false;
        }
        if (!accounts.insert(person.account).second) {
            message = "the account " + person.account + " is there twice";
            return false;
        }
        options.people.push_back(std::move(person));
    }
    return true;
}

bool CheckReport(SigninReportOptions& options, std::string& message) {
    using Entry = TagQuorAiGetSigninContent;
    return CheckRequest(options, AddressUse::kAny, message) && ReadPeople(options, message) &&
           (options.time.empty() ||
            CheckText("--time", options.time, sizeof(Entry::checkInTime) - 1, message)) &&
           CheckText("--type", options.type, sizeof(Entry::type) - 1, message) &&
           (options.participant.empty() ||
            CheckText("--participant", options.participant, sizeof(Entry::participantName) - 1, message));
}

bool CheckSigninOptions(Options& options, std::string& message) {
    SigninOptions& signin = options.signin;
    switch (signin.action) {
        case Action::kList:
            return CheckRequest(signin.list, AddressUse::kNameOrIpv4, message);
        case Action::kHistory:
            return CheckRequest(signin.history, AddressUse::kNameOrIpv4, message);
        case Action::kReport:
            return CheckReport(signin.report, message);
    }
    return false;
}

}  // namespace

const Subcommand kSigninSubcommand = {"signin", "List who has checked in, or check people in",
                                      AddSigninOptions, CheckSigninOptions, RunSignin};

}  // namespace quor_terminal
