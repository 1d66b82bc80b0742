#include "credentials.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include "descriptor.h"
#include "output.h"
#include "quor_platform_linux/host.h"

namespace quor_terminal {
namespace {

// Switches the terminal's echo off until the end of its block.
class NoEcho {
public:
    explicit NoEcho(int fd) : m_fd(fd), m_active(tcgetattr(fd, &m_before) == 0) {
        if (m_active) {
            termios quiet = m_before;
            quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
            m_active = tcsetattr(fd, TCSAFLUSH, &quiet) == 0;
        }
    }
    ~NoEcho() {
        if (m_active) {
            tcsetattr(m_fd, TCSAFLUSH, &m_before);
        }
    }
    NoEcho(const NoEcho&) = delete;
    NoEcho& operator=(const NoEcho&) = delete;
    bool Active() const { return m_active; }

private:
    const int m_fd;
    termios m_before{};
    bool m_active;
};

// One byte at a time ends exactly at the line end and leaves what follows to the next reader.
bool ReadLine(int fd, Secret& secret, std::string& message) {
    for (;;) {
        char byte = 0;
        const ssize_t got = read(fd, &byte, 1);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0 || (got == 0 && secret.Text().empty())) {
            message = "the terminal gave no answer";
            return false;
        }
        if (got == 0 || byte == '\n') {
            return true;
        }
        if (!secret.Append(&byte, 1)) {
            message = "the answer is too long";
            return false;
        }
    }
}

bool SetAddress(const ConnectionOptions& options, unsigned int linkType, TagQuorAiKelLoginInfo& login,
                std::string& message) {
    login = TagQuorAiKelLoginInfo{};
    login.linkType = linkType;
    login.port = options.server.port;
    if (!SetField(login.serverAddr, options.server.host)) {
        message = "the name in --server is longer than 255 characters";
        return false;
    }
    return true;
}

bool SetCode(const ConnectionOptions& options, TagQuorAiKelLoginInfo& login, std::string& message) {
    Secret code;
    if (!ReadSecretFile(options.codeFile, code, message)) {
        return false;
    }
    if (code.Text().empty() || !SetField(login.wsCode, code.Text())) {
        message = options.codeFile + ": a code of 1 to 255 characters is wanted (base64 of USER:PASSWORD)";
        return false;
    }
    return true;
}

bool SealPassword(const ConnectionOptions& options, std::size_t longest, const char* tooLong,
                  std::string& sealed, std::string& message) {
    Secret password;
    if (!ReadSecretFile(options.passwordFile, password, message)) {
        return false;
    }
    if (password.Text().size() > longest) {
        message = tooLong;
        return false;
    }
    sealed = quor_platform::SealSecret(kConferenceKeyDomain, password.Text());
    if (sealed.empty()) {
        message = "the password cannot be sealed: " + quor_platform::LastFailure().text;
        return false;
    }
    return true;
}

bool ReadSealedPassword(const ConnectionOptions& options, std::string& sealed, std::string& message) {
    Secret text;
    if (!ReadSecretFile(options.sealedPasswordFile, text, message)) {
        return false;
    }
    sealed = text.Text();
    return true;
}

// The password as the library wants it, and its key file known to the platform. longest: of a password in
// clear; a longer one is refused with tooLong.
bool PreparePassword(const ConnectionOptions& options, TemporaryKeyFile& temporaryKey, std::size_t longest,
                     const char* tooLong, std::string& sealed, std::string& message) {
    std::string keyFile = options.keyFile;
    if (keyFile.empty()) {
        if (!temporaryKey.Create(message)) {
            return false;
        }
        keyFile = temporaryKey.Path();
    }
    quor_platform::SetKeyFile(keyFile);
    return options.passwordFile.empty() ? ReadSealedPassword(options, sealed, message)
                                        : SealPassword(options, longest, tooLong, sealed, message);
}

}  // namespace

bool ReadSecretFromDescriptor(int fd, Secret& secret, std::string& message) {
    std::array<char, 512> piece{};
    bool ok = true;
    for (;;) {
        const ssize_t got = read(fd, piece.data(), piece.size());
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            message = std::generic_category().message(errno);
            ok = false;
        } else if (got > 0 && !secret.Append(piece.data(), static_cast<std::size_t>(got))) {
            message = "longer than " + std::to_string(Secret::kCapacity) + " bytes";
            ok = false;
        }
        if (got <= 0 || !ok) {
            break;
        }
    }
    explicit_bzero(piece.data(), piece.size());
    secret.DropLineEnd();
    if (ok && secret.Text().find('\0') != std::string::npos) {
        message = "holds a NUL character";
        return false;
    }
    return ok;
}

bool ReadSecretFile(const std::string& path, Secret& secret, std::string& message) {
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
    if (file.Get() < 0) {
        message = path + ": " + std::generic_category().message(errno);
        return false;
    }
    if (!ReadSecretFromDescriptor(file.Get(), secret, message)) {
        message = path + ": " + message;
        return false;
    }
    return true;
}

bool AskSecret(const char* prompt, Secret& secret, std::string& message) {
    const Descriptor terminal(open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY));
    if (terminal.Get() < 0) {
        message = std::string("there is no terminal to ask on: ") + std::generic_category().message(errno);
        return false;
    }
    const NoEcho quiet(terminal.Get());
    if (!quiet.Active()) {
        message = "the terminal's echo cannot be switched off";
        return false;
    }
    WriteAll(terminal.Get(), prompt);
    const bool ok = ReadLine(terminal.Get(), secret, message);
    WriteAll(terminal.Get(), "\n");
    return ok;
}

bool TemporaryKeyFile::Create(std::string& message) {
    std::string directory = "/tmp/quor-terminal-XXXXXX";
    if (mkdtemp(directory.data()) == nullptr) {  // mode 0700
        message = directory + ": " + std::generic_category().message(errno);
        return false;
    }
    m_directory = directory;
    m_path = directory + "/key";
    if (!quor_platform::CreateKeyFile(m_path)) {
        message = m_path + ": " + quor_platform::LastFailure().text;
        return false;
    }
    return true;
}

void TemporaryKeyFile::Remove() const {
    if (!m_directory.empty()) {
        unlink(m_path.c_str());
        rmdir(m_directory.c_str());
    }
}

bool PrepareLogin(const ConnectionOptions& options, TemporaryKeyFile& temporaryKey,
                  TagQuorAiKelLoginInfo& login, std::string& message) {
    if (!SetAddress(options, kKelLinkTypeConference, login, message)) {
        return false;
    }
    if (!options.codeFile.empty()) {
        return SetCode(options, login, message);
    }
    if (!SetField(login.userName, options.user)) {
        message = "--user is longer than 623 bytes";
        return false;
    }
    // Name, colon and password are sent base64-encoded in 255 characters.
    constexpr std::size_t kLongestPair = 189;
    const std::size_t used = std::min(kLongestPair, options.user.size() + 1);
    std::string sealed;
    if (!PreparePassword(options, temporaryKey, kLongestPair - used,
                         "user name and password together are longer than 188 bytes, which no link can carry",
                         sealed, message)) {
        return false;
    }
    if (sealed.empty() || !SetField(login.kelPassWord, sealed)) {
        message = "a sealed password of 1 to 623 characters is wanted";
        return false;
    }
    return true;
}

bool PrepareManagerLogin(const ConnectionOptions& options, TagQuorAiKelLoginInfo& login,
                         std::string& message) {
    return SetAddress(options, kKelLinkTypeManager, login, message);
}

bool PrepareFaceService(const FaceServiceOptions& options, TemporaryKeyFile& temporaryKey,
                        TagQuorAiFaceServerInfo& service, std::string& message) {
    service = TagQuorAiFaceServerInfo{};
    // 382 bytes are 512 characters in base64; a header's value holds 511.
    constexpr std::size_t kLongestPassword = 381;
    std::string sealed;
    if (!PreparePassword(
            options, temporaryKey, kLongestPassword,
            "the password is longer than 381 bytes, which no request to a face service can carry", sealed,
            message)) {
        return false;
    }
    if (sealed.empty() || !SetField(service.password, sealed)) {
        message = "a sealed password of 1 to 1023 characters is wanted";
        return false;
    }
    if (!SetField(service.addressList, options.serverText) || !SetField(service.account, options.user)) {
        message = "--server or --account is too long";
        return false;
    }
    return true;
}

bool FetchToken(const ConnectionOptions& options, std::string& token, std::string& message) {
    if (options.tokenFile.empty()) {
        token = options.token;
    } else {
        Secret text;
        if (!ReadSecretFile(options.tokenFile, text, message)) {
            return false;
        }
        token = text.Text();
    }
    // One less than the token's field in the subscription request holds.
    constexpr std::size_t kLongestToken = sizeof(TagQuorAiSubscribeInfo::token) - 1;
    if (token.empty() || token.size() > kLongestToken) {
        message = "a token of 1 to " + std::to_string(kLongestToken) + " characters is wanted";
        return false;
    }
    return true;
}

}  // namespace quor_terminal
