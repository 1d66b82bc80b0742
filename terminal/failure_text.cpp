#include "failure_text.h"

namespace quor_terminal {
namespace {

using quor_platform::Failure;
using quor_platform::Stage;

// " (HTTP 401)", unless there is no number or the platform's own text says it already.
std::string Detail(const char* label, int number, const std::string& text) {
    const std::string digits = std::to_string(number);
    if (number == 0 || text.find(digits) != std::string::npos) {
        return {};
    }
    return " (" + std::string(label) + " " + digits + ")";
}

std::string Describe(const Failure& failure) {
    std::string text = quor_platform::StageName(failure.stage);
    text += Detail("HTTP", failure.httpStatus, failure.text);
    text += Detail("close code", failure.closeCode, failure.text);
    if (!failure.text.empty()) {
        text += ": " + failure.text;
    }
    return text;
}

void ExplainTls(const Failure& failure, LinkProblem& problem) {
    problem.exitCode = kExitNotTrusted;
    if (failure.certificateError != 0) {
        problem.kind = LinkProblem::Kind::kPermanent;
        problem.advice =
            "The server's certificate is not trusted under this name. Give the certificate authority that "
            "issued it with --ca-file or --ca-dir, and use the name in --server that the certificate "
            "carries.";
    } else {
        problem.advice = "Check that the port in --server is the one that speaks TLS.";
    }
}

void ExplainUpgrade(const Failure& failure, LinkProblem& problem) {
    if (failure.httpStatus == 401 || failure.httpStatus == 403) {
        problem.kind = LinkProblem::Kind::kRefused;
        problem.exitCode = kExitRefused;
        problem.advice = "Check --user and the password; the server knows no account like this.";
    } else if (failure.httpStatus == 404) {
        problem.advice =
            "The server has no /conf-portal/websocket: is this the conference management server?";
    } else if (failure.httpStatus >= 500) {
        problem.exitCode = kExitUnreachable;
        problem.advice = "The server cannot serve at the moment; try again later.";
    } else if (failure.httpStatus == 0) {
        problem.exitCode = kExitUnreachable;
    }
}

constexpr int kOk = 200;
constexpr int kNoContent = 204;

// A request that the server answered with a status of 400 or more, or not to the end.
void ExplainStatus(const Failure& failure, LinkProblem& problem) {
    const int status = failure.httpStatus;
    if (status == 0) {
        problem.exitCode = kExitUnreachable;
        problem.advice =
            "The server took the connection and did not answer, or not to the end; try again later.";
    } else if (status == 401 || status == 403) {
        problem.kind = LinkProblem::Kind::kRefused;
        problem.exitCode = kExitRefused;
        problem.advice = "The server does not accept the token: get a new one for --token-file.";
    } else if (status == 404) {
        problem.exitCode = kExitRefused;
        problem.advice =
            "Check --conference: the server knows none like this, or it is no conference server.";
    } else if (status < 500) {
        problem.exitCode = kExitRefused;
        problem.advice = "The server does not accept the request.";
    } else {
        problem.exitCode = kExitUnreachable;
        problem.advice = "The server cannot serve at the moment; try again later.";
    }
}

// The server answered, and the library did not accept the answer.
LinkProblem ExplainAnswer(const Failure& failure, const std::string& words) {
    LinkProblem problem;
    if (failure.httpStatus != 0 && failure.httpStatus != kOk && failure.httpStatus != kNoContent) {
        problem.text = "answer: the HTTP status " + std::to_string(failure.httpStatus);
        problem.advice = "A conference management server does not answer so; check --server.";
        return problem;
    }
    problem.text = "answer: it is not what the request asks for";
    if (!words.empty()) {
        problem.text += ": " + words;
    }
    problem.advice = "Run again with --log-file FILE and look at its last error.";
    return problem;
}

}  // namespace

LinkProblem ExplainOpenFailure(const Failure& failure) {
    LinkProblem problem;
    problem.text = Describe(failure);
    switch (failure.stage) {
        case Stage::kResolve:
            problem.exitCode = kExitUnreachable;
            problem.advice = "Check the name in --server and this machine's DNS.";
            break;
        case Stage::kConnect:
            problem.exitCode = kExitUnreachable;
            problem.advice =
                "Check host and port in --server, that the server runs, and the firewalls between.";
            break;
        case Stage::kTls:
            ExplainTls(failure, problem);
            break;
        case Stage::kUpgrade:
            ExplainUpgrade(failure, problem);
            break;
        case Stage::kStomp:
            problem.kind = LinkProblem::Kind::kRefused;
            problem.exitCode = kExitRefused;
            problem.advice = "Check --user and the password; the server refused them after the upgrade.";
            break;
        case Stage::kKey:
            problem.kind = LinkProblem::Kind::kPermanent;
            problem.advice =
                "The sealed password does not open. Check --key-file, and seal the password again with "
                "'quor-terminal seal' for the domain QuorUIConf or QuorUILogin.";
            break;
        case Stage::kSettings:
            problem.kind = LinkProblem::Kind::kPermanent;
            problem.advice = "Check --ca-file, --ca-dir and --server.";
            break;
        case Stage::kNone:
            problem.text = "the library could not open the link";
            problem.advice = "Run again with --log-file FILE and look at its last error.";
            break;
        case Stage::kTransfer:
        case Stage::kLiveness:
            problem.exitCode = kExitUnreachable;
            break;
        case Stage::kQueue:
        case Stage::kToken:
        case Stage::kAnswer:
        case Stage::kAborted:
            break;
    }
    return problem;
}

LinkProblem ExplainLinkEnd(const Failure& failure) {
    LinkProblem problem;
    problem.exitCode = kExitUnreachable;
    problem.text = failure.stage == Stage::kNone ? "the server closed it" : Describe(failure);
    if (failure.stage == Stage::kStomp) {
        problem.kind = LinkProblem::Kind::kRefused;
        problem.exitCode = kExitRefused;
        problem.advice =
            "The server ended the link with an error of its own: check --conference and the token.";
    }
    return problem;
}

LinkProblem ExplainRequestFailure(const Failure& failure, const std::string& words) {
    switch (failure.stage) {
        case Stage::kNone:
            return ExplainAnswer(failure, words);
        case Stage::kAnswer: {
            LinkProblem problem;
            problem.text = Describe(failure);
            ExplainStatus(failure, problem);
            return problem;
        }
        case Stage::kToken: {
            LinkProblem problem;
            problem.text = Describe(failure);
            problem.advice = "Check --token-file.";
            return problem;
        }
        default:
            return ExplainOpenFailure(failure);
    }
}

LinkProblem ExplainFaceFailure(const Failure& failure, const std::string& words) {
    LinkProblem problem = ExplainRequestFailure(failure, words);
    const int status = failure.httpStatus;
    if (failure.stage == Stage::kKey) {
        problem.advice =
            "The sealed password does not open. Check --key-file, and seal the password again with "
            "'quor-terminal seal' for the domain QuorUIConf.";
    } else if (failure.stage == Stage::kTls && failure.certificateError != 0) {
        problem.advice =
            "The certificate is not trusted for this address. Give the certificate authority that issued it "
            "with --ca-file or --ca-dir; the certificate has to carry the address itself.";
    } else if (failure.stage == Stage::kNone && status != 0 && status != kOk) {
        problem.text = "answer: the HTTP status " + std::to_string(status);
        problem.advice = "A face service does not answer so; check --server.";
    } else if (status == 401 || status == 403) {
        problem.advice = "The face service does not accept the account: check --account and the password.";
    } else if (status == 404) {
        problem.advice = "There is no face service at this address; check --server.";
    } else if (status == 413) {
        problem.advice = "The picture is larger than the face service takes.";
    }
    return problem;
}

}  // namespace quor_terminal
