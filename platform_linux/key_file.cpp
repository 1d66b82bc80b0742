// key_file.cpp - reading and making key files, with system calls, so that no stream buffer keeps the key.

#include "platform_linux/key_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <system_error>

#include "platform_linux/host_state.h"
#include "quor_platform/key_management.h"

namespace quor_platform::internal {
namespace {

class File {
public:
    explicit File(int descriptor) : m_descriptor(descriptor) {}
    ~File() {
        if (m_descriptor >= 0) {
            ::close(m_descriptor);
        }
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    int Descriptor() const { return m_descriptor; }

private:
    int m_descriptor;
};

bool IsTrustworthy(const std::string& path, const struct stat& status) {
    if (!S_ISREG(status.st_mode)) {
        return RefuseKey(0, "key file " + path + " is no regular file");
    }
    if (status.st_uid != ::geteuid() && status.st_uid != 0) {
        return RefuseKey(0, "key file " + path + " belongs to another user");
    }
    if ((status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
        return RefuseKey(0, "key file " + path + " is open to group or others: chmod 600 it");
    }
    if (status.st_size != static_cast<off_t>(kKeyBytes)) {
        return RefuseKey(0, "key file " + path + " does not hold " + std::to_string(kKeyBytes) + " bytes");
    }
    return true;
}

// Moves all bytes with transfer, read or write; errno tells why when it returns false, 0 for an end of file.
template <typename Transfer, typename Byte>
bool TransferAll(Transfer transfer, int descriptor, Byte* bytes, std::size_t count) {
    while (count > 0) {
        const ssize_t moved = transfer(descriptor, bytes, count);
        if (moved < 0 && errno == EINTR) {
            continue;
        }
        if (moved <= 0) {
            errno = moved == 0 ? 0 : errno;
            return false;
        }
        bytes += moved;
        count -= static_cast<std::size_t>(moved);
    }
    return true;
}

// Writes a key into the file that is open and links it to path. False: errno tells why.
bool FillAndPublish(const File& file, const std::string& temporary, const std::string& path,
                    const SecretKey& key) {
    return TransferAll(::write, file.Descriptor(), key.Data(), kKeyBytes) &&
           ::fsync(file.Descriptor()) == 0 && ::link(temporary.c_str(), path.c_str()) == 0;
}

}  // namespace

bool RefuseKey(int systemError, const std::string& text) {
    Failure failure;
    failure.stage = Stage::kKey;
    failure.systemError = systemError;
    failure.text = systemError != 0 ? text + ": " + std::generic_category().message(systemError) : text;
    RecordFailure(failure);
    return false;
}

bool ReadKeyFile(const std::string& path, SecretKey& key) {
    if (path.empty()) {
        return RefuseKey(0, "no key file is set");
    }
    // Without O_NONBLOCK the open would wait for a writer if somebody put a pipe there.
    const File file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    struct stat status {};
    if (file.Descriptor() < 0 || ::fstat(file.Descriptor(), &status) != 0) {
        return RefuseKey(errno, "key file " + path + " cannot be opened");
    }
    if (!IsTrustworthy(path, status)) {
        return false;
    }
    if (!TransferAll(::read, file.Descriptor(), key.Data(), kKeyBytes)) {
        return RefuseKey(errno, "key file " + path + " cannot be read whole");
    }
    return true;
}

bool WriteNewKeyFile(const std::string& path) {
    if (path.empty()) {
        return RefuseKey(0, "a key file needs a name");
    }
    SecretKey key;
    if (QuorOmKeymGenRealRandom(key.Data(), kKeyBytes) != 0) {
        return RefuseKey(errno, "no random numbers");
    }
    // Linking a finished file is what neither shows a half-written key nor replaces one that is in use.
    std::string temporary = path + ".XXXXXX";
    const File file(::mkostemp(temporary.data(), O_CLOEXEC));  // mode 0600
    if (file.Descriptor() < 0) {
        return RefuseKey(errno, "key file " + path + " cannot be made");
    }
    const bool done = FillAndPublish(file, temporary, path, key);
    const int error = errno;
    ::unlink(temporary.c_str());
    return done || RefuseKey(error, "key file " + path + " cannot be made");
}

}  // namespace quor_platform::internal
