// seal_command.cpp - 'quor-terminal seal': a password in, its sealed text out.
#include <unistd.h>

#include <string>

#include "commands.h"
#include "credentials.h"
#include "exit_codes.h"
#include "output.h"
#include "quor_platform_linux/host.h"
#include "secret.h"

namespace quor_terminal {
namespace {

int Fail(const std::string& text) {
    WriteAll(STDERR_FILENO, "quor-terminal: " + text + "\n");
    return kExitFailure;
}

bool ReadPassword(Secret& password, std::string& message) {
    if (isatty(STDIN_FILENO) != 1) {
        return ReadSecretFromDescriptor(STDIN_FILENO, password, message);
    }
    Secret again;
    if (!AskSecret("Password: ", password, message) || !AskSecret("Again: ", again, message)) {
        return false;
    }
    if (password.Text() != again.Text()) {
        message = "the two differ; nothing was sealed";
        return false;
    }
    return true;
}

bool PrepareKey(const SealOptions& options, std::string& message) {
    if (access(options.keyFile.c_str(), F_OK) != 0) {
        if (!options.createKey) {
            message = options.keyFile + " does not exist; make it with --create-key";
            return false;
        }
        if (!quor_platform::CreateKeyFile(options.keyFile)) {
            message = options.keyFile + ": " + quor_platform::LastFailure().text;
            return false;
        }
    }
    quor_platform::SetKeyFile(options.keyFile);
    return true;
}

}  // namespace

int RunSeal(const Options& options) {
    std::string message;
    Secret password;
    if (!PrepareKey(options.seal, message) || !ReadPassword(password, message)) {
        return Fail(message);
    }
    if (password.Text().empty()) {
        return Fail("the password is empty; nothing was sealed");
    }
    const std::string sealed = quor_platform::SealSecret(options.seal.domain, password.Text());
    if (sealed.empty()) {
        return Fail("the password cannot be sealed: " + quor_platform::LastFailure().text);
    }
    if (sealed.size() >= sizeof(TagQuorAiKelLoginInfo::kelPassWord)) {
        return Fail("the password is too long: sealed it does not fit a login record");
    }
    return WriteAll(STDOUT_FILENO, sealed + "\n") ? kExitOk : Fail("standard output cannot be written");
}

}  // namespace quor_terminal
