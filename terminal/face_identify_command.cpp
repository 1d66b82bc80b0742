// face_identify_command.cpp - 'quor-terminal face identify': who is on a picture.
#include <string.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "credentials.h"
#include "exit_codes.h"
#include "face_commands.h"
#include "face_run.h"
#include "failure_text.h"
#include "picture_file.h"
#include "quor_ai/ai_http_adapter.h"
#include "session.h"
#include "table.h"

namespace quor_terminal {
namespace {

constexpr std::size_t kHead = sizeof(tagAI_FACE_S_DETECT_INFO);

// Of FaceMatch::result.
constexpr int kMatch = 0;
constexpr int kNoMatch = 1;

// The head of a request whose picture stands behind it already.
void FillHead(const tagAI_FACE_S_EUA_SERVER_INFO& service, std::vector<unsigned char>& request) {
    tagAI_FACE_S_DETECT_INFO head{};
    head.requestId = 1;  // there is no other one in this run
    head.serverPort = service.port;
    SetField(head.serverAddr, service.url);
    SetField(head.account, service.account);
    SetField(head.password, service.password);
    head.picLen = static_cast<unsigned int>(request.size() - kHead);
    std::memcpy(request.data(), &head, kHead);
    explicit_bzero(&head, sizeof head);
}

Json MatchDocument(const FaceMatch& match, bool known) {
    Json document = {{"kind", "identity"}, {"known", known}};
    if (known) {
        document["name"] = match.name;
        document["userId"] = match.userId;
        document["photoId"] = match.photoId;
        document["score"] = match.score;
    }
    return document;
}

// A match without anybody: the service's list was empty.
bool IsKnown(const FaceMatch& match) {
    return match.result == kMatch && !(match.userId.empty() && match.photoId.empty() && match.name.empty());
}

// The service said why it does not answer.
int FailRefused(RequestRun& requests, const FaceMatch& match) {
    LinkProblem problem;
    problem.exitCode = kExitRefused;
    problem.text = "the face service refused the picture: " +
                   (match.message.empty() ? std::string("it does not say why") : match.message);
    if (!match.code.empty()) {
        problem.text += " (" + match.code + ")";
    }
    return requests.Fail(problem, "answer", {{"code", match.code}, {"message", match.message}});
}

int FailIncomplete(RequestRun& requests) {
    return requests.Fail(ExplainFaceFailure({}, requests.Words()), "answer");
}

int Tell(RequestRun& requests, const FaceMatch& match, bool json) {
    const bool known = IsKnown(match);
    std::string text = "no match\n";
    if (known) {
        text = FormatTable({"NAME", "USER ID", "PHOTO ID", "SCORE"},
                           {{match.name, match.userId, match.photoId, std::to_string(match.score)}});
    }
    const bool printed = json ? requests.Print(MatchDocument(match, known)) : requests.Print(text);
    if (!printed) {
        return requests.ExitCode();
    }
    return known ? kExitOk : kExitNotFound;
}

int Identify(FaceRun& run, const FaceIdentifyOptions& options, std::vector<unsigned char>& request) {
    RequestRun& requests = run.Requests();
    if (!run.FindService()) {
        return requests.ExitCode();
    }
    requests.ShowProgress("asking " + run.ServiceUrl() +
                          " who this is: " + Counted(request.size() - kHead, "byte", "bytes"));
    const auto send = [&run, &request](QuorAiEngine::AiHttpAdapter& adapter) {
        FillHead(run.Service(), request);
        const unsigned int result =
            adapter.CloudFaceRecogPhoto(reinterpret_cast<tagAI_FACE_S_DETECT_INFO*>(request.data()));
        explicit_bzero(request.data(), kHead);
        return result;
    };
    if (!requests.Ask(AI_SUB_ID_FACE_RECOGNIZE, send)) {
        return requests.ExitCode();
    }
    FaceMatch match;
    if (!ReadFaceMatch(requests.Data(), match)) {
        return requests.Fail();
    }
    if (match.result == kNoMatch && !(match.code.empty() && match.message.empty())) {
        return FailRefused(requests, match);
    }
    // Nobody alike is no error to the library, an answer that it does not understand is one.
    if (match.result > kNoMatch || (match.result == kNoMatch && !requests.Words().empty())) {
        return FailIncomplete(requests);
    }
    return Tell(requests, match, options.json);
}

}  // namespace

int RunFaceIdentify(const FaceIdentifyOptions& options) {
    std::vector<unsigned char> request;
    std::string message;
    if (!ReadPictureFile(options.picture, kHead, request, message)) {
        PrintError(message);
        return kExitFailure;
    }
    return RunFaceRequests(options, "face identify", std::chrono::milliseconds(0),
                           [&](FaceRun& run) { return Identify(run, options, request); });
}

}  // namespace quor_terminal
