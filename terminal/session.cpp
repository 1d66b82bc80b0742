#include "session.h"

#include <unistd.h>

#include <algorithm>
#include <cstdint>

#include "credentials.h"
#include "output.h"
#include "quor_platform_linux/host.h"

namespace quor_terminal {

std::chrono::milliseconds Milliseconds(double seconds) {
    // Longer than anyone runs a program, and far from the end of any clock.
    constexpr double kLongestSeconds = 1e9;
    return std::chrono::milliseconds(static_cast<std::int64_t>(std::min(seconds, kLongestSeconds) * 1000.0));
}

void PrintError(const std::string& text) {
    WriteAll(STDERR_FILENO, "quor-terminal: " + text + "\n");
}

bool ConfigurePlatform(const ConnectionOptions& options) {
    quor_platform::LogSettings log;
    log.file = options.logFile;
    log.level = options.logLevel;
    if (!quor_platform::SetLogSettings(log)) {
        PrintError(options.logFile + " cannot be written: " + quor_platform::LastFailure().text);
        return false;
    }
    quor_platform::SetTraceLevel(static_cast<unsigned char>(options.traceLevel));

    quor_platform::TlsSettings tls;
    if (!options.caFile.empty()) {
        tls.caFile = options.caFile;
    }
    tls.caDirectory = options.caDirectory;
    tls.insecureSkipVerification = options.insecureLab;
    if (options.insecureLab) {
        PrintError("--insecure-lab: the server's certificate is not checked; anyone may be at the other end");
    }
    quor_platform::SetTlsSettings(tls);

    quor_platform::LinkSettings link;
    link.connectTimeout = Milliseconds(options.connectTimeoutSeconds);
    link.handshakeTimeout = Milliseconds(options.connectTimeoutSeconds);
    quor_platform::SetLinkSettings(link);

    // The check-in subscription takes its token from the login client, every time anew.
    quor_platform::SetTokenSource([options](std::string& token) {
        std::string message;
        return FetchToken(options, token, message) ? 0 : 1;
    });
    return true;
}

KeeperPolicy PolicyOf(const ConnectionOptions& options) {
    KeeperPolicy policy;
    policy.retryFirst = options.wait;
    policy.retryRefused = options.retryRefused;
    policy.giveUpAfter = Milliseconds(options.giveUpAfterSeconds);
    return policy;
}

int TellProblem(const LinkProblem& problem) {
    PrintError(problem.text);
    if (!problem.advice.empty()) {
        PrintError(problem.advice);
    }
    return problem.exitCode;
}

}  // namespace quor_terminal
