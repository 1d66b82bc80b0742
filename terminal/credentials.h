// credentials.h - from files and prompts to the login record and the token, the way the library wants them.
//
// A password reaches the library sealed, and the library opens it through the platform's key service. A plain
// password file is sealed here at once, with a key of its own when no key file is given, so that all three
// ways of giving a password take the same road.
#ifndef QUOR_TERMINAL_CREDENTIALS_H
#define QUOR_TERMINAL_CREDENTIALS_H

#include <string>

#include "command_line.h"
#include "quor_ai/face_records.h"
#include "quor_ai/records.h"
#include "secret.h"

namespace quor_terminal {

inline constexpr const char* kConferenceKeyDomain = "QuorUIConf";
inline constexpr const char* kLoginKeyDomain = "QuorUILogin";

// Reads a small text file whole, at most Secret::kCapacity bytes. False: message says what failed.
bool ReadSecretFile(const std::string& path, Secret& secret, std::string& message);
// The same for standard input.
bool ReadSecretFromDescriptor(int fd, Secret& secret, std::string& message);
// Asks on the terminal without echo. False: message says what failed.
bool AskSecret(const char* prompt, Secret& secret, std::string& message);

// Copies text into a record's field. False: it does not fit with its terminator; the field is empty then.
template <std::size_t N>
bool SetField(char (&field)[N], const std::string& text) {
    field[0] = '\0';
    if (text.size() >= N) {
        return false;
    }
    text.copy(field, text.size());
    field[text.size()] = '\0';
    return true;
}

// A key file that lives as long as the object, in a directory that only this user can enter.
class TemporaryKeyFile {
public:
    TemporaryKeyFile() = default;
    ~TemporaryKeyFile() { Remove(); }
    TemporaryKeyFile(const TemporaryKeyFile&) = delete;
    TemporaryKeyFile& operator=(const TemporaryKeyFile&) = delete;

    bool Create(std::string& message);
    // Called from the destructor and, before the program is cut short, from another thread.
    void Remove() const;
    const std::string& Path() const { return m_path; }

private:
    std::string m_directory;
    std::string m_path;
};

// Fills the login record of a conference link and tells the platform which key file opens it. False: message
// says what to do.
bool PrepareLogin(const ConnectionOptions& options, TemporaryKeyFile& temporaryKey,
                  TagQuorAiKelLoginInfo& login, std::string& message);

// Fills the login record of a manager link, which has no credentials. False: message says what to do.
bool PrepareManagerLogin(const ConnectionOptions& options, TagQuorAiKelLoginInfo& login,
                         std::string& message);

// Fills the face service's configuration and tells the platform which key file opens its password. False:
// message says what to do.
bool PrepareFaceService(const FaceServiceOptions& options, TemporaryKeyFile& temporaryKey,
                        TagQuorAiFaceServerInfo& service, std::string& message);

// The conference token, from its file (read anew, so that a renewed token is found) or as it was given.
// False: message says what failed.
bool FetchToken(const ConnectionOptions& options, std::string& token, std::string& message);

}  // namespace quor_terminal

#endif
