#include "photo_directory.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <system_error>

#include "output.h"

namespace quor_terminal {
namespace {

std::string ErrorText(int number) {
    return std::generic_category().message(number);
}

bool BeginsWith(const std::vector<unsigned char>& bytes, std::string_view start) {
    return bytes.size() >= start.size() &&
           std::equal(start.begin(), start.end(), bytes.begin(),
                      [](char c, unsigned char byte) { return static_cast<unsigned char>(c) == byte; });
}

// Gives the file its name. 0, or the system's error.
int Rename(int directory, const std::string& from, const std::string& to, bool replace) {
    if (replace) {
        return renameat(directory, from.c_str(), directory, to.c_str()) == 0 ? 0 : errno;
    }
    if (renameat2(directory, from.c_str(), directory, to.c_str(), RENAME_NOREPLACE) == 0) {
        return 0;
    }
    if (errno != EINVAL && errno != ENOSYS) {
        return errno;
    }
    // A file system that knows no such renaming: a second name fails, too, where there is a file already.
    if (linkat(directory, from.c_str(), directory, to.c_str(), 0) != 0) {
        return errno;
    }
    unlinkat(directory, from.c_str(), 0);
    return 0;
}

}  // namespace

std::string SafeFileName(const std::string& id) {
    constexpr std::size_t kLongest = 127;
    std::string name = id.substr(0, kLongest);
    for (char& c : name) {
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                           c == '-' || c == '.' || c == '_' || c == '@';
        c = plain ? c : '_';
    }
    if (name.empty() || name.front() == '.' || name.front() == '-') {
        name.insert(0, "_");  // neither hidden, nor a folder, nor an option of the next command
    }
    return name;
}

const char* PhotoExtension(const std::vector<unsigned char>& bytes) {
    if (BeginsWith(bytes, "\xFF\xD8\xFF")) {
        return ".jpg";
    }
    return BeginsWith(bytes, "\x89PNG\r\n\x1A\n") ? ".png" : ".bin";
}

bool PhotoDirectory::Open(const std::string& path, std::string& message) {
    constexpr mode_t kEverybodyTheUmaskLets = 0777;
    if (mkdir(path.c_str(), kEverybodyTheUmaskLets) != 0 && errno != EEXIST) {
        message = path + ": " + ErrorText(errno);
        return false;
    }
    m_directory = std::make_unique<Descriptor>(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (m_directory->Get() < 0 || faccessat(m_directory->Get(), ".", W_OK | X_OK, AT_EACCESS) != 0) {
        message = path + ": " + ErrorText(errno);
        return false;
    }
    m_path = path;
    return true;
}

bool PhotoDirectory::Save(const std::string& id, const std::vector<unsigned char>& bytes, bool replace,
                          std::string& file, std::string& message) {
    const std::string safe = SafeFileName(id);
    const char* const extension = PhotoExtension(bytes);
    std::string name = safe + extension;
    for (int number = 2; !m_names.insert(name).second; ++number) {
        name = safe + "-" + std::to_string(number) + extension;
    }
    file = m_path + (m_path.back() == '/' ? "" : "/") + name;
    std::string temporary;
    if (!WriteTemporary(bytes, temporary, message)) {
        message = file + ": " + message;
        return false;
    }
    const int error = Rename(m_directory->Get(), temporary, name, replace);
    if (error != 0) {
        unlinkat(m_directory->Get(), temporary.c_str(), 0);
        message =
            file + (error == EEXIST ? " is there already; --force replaces it" : ": " + ErrorText(error));
        return false;
    }
    return true;
}

bool PhotoDirectory::WriteTemporary(const std::vector<unsigned char>& bytes, std::string& name,
                                    std::string& message) {
    constexpr mode_t kEverybodyTheUmaskLets = 0666;
    constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    // A name may be left of a process that was killed and had this one's number.
    int fd = -1;
    for (int number = 0; fd < 0; ++number) {
        name = ".quor-photo-" + std::to_string(getpid()) + "-" + std::to_string(number);
        fd = openat(m_directory->Get(), name.c_str(), kFlags, kEverybodyTheUmaskLets);
        if (fd < 0 && errno != EEXIST) {
            message = ErrorText(errno);
            return false;
        }
    }
    const bool written =
        WriteAll(fd, std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
    const int writeError = written ? 0 : errno;
    const int closeError = close(fd) == 0 ? 0 : errno;
    if (writeError != 0 || closeError != 0) {
        unlinkat(m_directory->Get(), name.c_str(), 0);
        message = ErrorText(writeError != 0 ? writeError : closeError);
        return false;
    }
    return true;
}

}  // namespace quor_terminal
