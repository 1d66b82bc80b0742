// The options of 'ask', which puts a request to the large model.
#include <CLI/CLI.hpp>

#include "ask_request.h"
#include "commands.h"
#include "connection_options.h"
#include "subcommand.h"

namespace quor_terminal {
namespace {

constexpr const char* kExamples =
    "Examples:\n"
    "  quor-terminal ask \"What was decided about the budget?\" --kind meeting-chat \\\n"
    "      --server conf.example.org:443 --conference 900123 --user anna --password-file pw --token-file "
    "token\n"
    "  quor-terminal ask \"Hello\" --link manager --server conf.example.org:443\n"
    "\n"
    "The answer is printed as its pieces arrive. Ctrl-C asks the server to stop it and ends with status 6. "
    "The\n"
    "manager link needs neither an account nor a token nor a conference. Status 0 of a stop request says "
    "that\n"
    "it was sent: the server does not answer it.\n";

void AddRequestOptions(CLI::App& app, AskOptions& options) {
    constexpr const char* kGroup = "Request";
    app.add_option("text", options.text, "What to ask; - reads standard input")->type_name("TEXT");
    app.add_option("--kind", options.kindText, "Kind of request, by name or number; listed below")
        ->type_name("KIND")
        ->capture_default_str()
        ->group(kGroup);
    app.add_option("--link", options.linkText, "The link to ask on: conference or manager")
        ->type_name("LINK")
        ->check(CLI::IsMember({"conference", "manager"}))
        ->capture_default_str()
        ->group(kGroup);
    app.add_option("--model", options.modelText, "Model, on the manager link only: " + ModelList())
        ->type_name("MODEL")
        ->capture_default_str()
        ->group(kGroup);
    app.add_option("--round", options.round, "Round of the conversation, on the manager link only")
        ->type_name("N")
        ->capture_default_str()
        ->group(kGroup);
    app.add_option("--seq", options.sequenceNumber,
                   "Number of the request, which its answer carries (default: chosen by chance)")
        ->type_name("N")
        ->group(kGroup);
    app.add_option("--answer-timeout", options.answerTimeoutSeconds,
                   "Limit for the whole answer; what is late is stopped")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.1, 86400.0))
        ->capture_default_str()
        ->group(kGroup);
}

void AddAskOptions(CLI::App& app, Options& options) {
    constexpr const char* kOutput = "Output";
    AddRequestOptions(app, options.ask);
    AddConnectionOptions(app, options.ask, false);
    AddCredentialOptions(app, options.ask);
    app.add_flag("--json", options.ask.json, "One JSON document a line")->group(kOutput);
    AddLogOptions(app, options.ask, kOutput);
    app.footer("Kinds of requests:\n" + KindList() + "\n" + kExamples);
}

bool CheckNames(AskOptions& options, std::string& message) {
    const RequestKind* const kind = FindKind(options.kindText);
    if (kind == nullptr) {
        message = "--kind " + options.kindText + " is no kind of request; --help lists them";
        return false;
    }
    const Model* const model = FindModel(options.modelText);
    if (model == nullptr) {
        message = "--model " + options.modelText + " is no model; there are " + ModelList();
        return false;
    }
    options.kind = kind->value;
    options.model = model->value;
    options.managerLink = options.linkText == "manager";
    if (kind->wantsText && options.text.empty()) {
        message = std::string("what do you want to ask? ") + kind->name +
                  " wants a text; - reads it from standard input";
        return false;
    }
    if (IsStopKind(kind->value) && options.sequenceNumber == 0) {
        message = std::string("which request is to stop? ") + kind->name + " wants its number with --seq";
        return false;
    }
    return true;
}

bool CheckAskOptions(Options& options, std::string& message) {
    AskOptions& ask = options.ask;
    if (!CheckNames(ask, message) || !CheckConnection(ask, false, message)) {
        return false;
    }
    if (ask.managerLink) {
        return true;
    }
    if (ask.conference.empty()) {
        message = "which conference? Give --conference, or ask on the manager link with --link manager";
        return false;
    }
    // Both stand in the topic of the answers, "/topic/chat/" ID "/" URI, of at most 255 bytes.
    constexpr std::size_t kRoom = 255 - sizeof("/topic/chat/");
    if (ask.conference.size() + ask.uri.size() > kRoom) {
        message = "--conference and --uri together are too long for a topic of 255 bytes";
        return false;
    }
    return CheckCredentials(ask, message);
}

}  // namespace

const Subcommand kAskSubcommand = {"ask", "Put a request to the large model and stream its answer",
                                   AddAskOptions, CheckAskOptions, RunAsk};

}  // namespace quor_terminal
