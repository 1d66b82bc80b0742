#include "picture_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "descriptor.h"

namespace quor_terminal {
namespace {

bool Fail(std::string& message, const std::string& path, const std::string& why) {
    message = path + ": " + why;
    return false;
}

// Fills bytes from the place given on. False: errno says why, or is 0 when the file has become shorter.
bool ReadRest(int fd, std::vector<unsigned char>& bytes, std::size_t at) {
    while (at < bytes.size()) {
        const ssize_t got = read(fd, bytes.data() + at, bytes.size() - at);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            errno = got == 0 ? 0 : errno;
            return false;
        }
        at += static_cast<std::size_t>(got);
    }
    return true;
}

}  // namespace

bool ReadPictureFile(const std::string& path, std::size_t head, std::vector<unsigned char>& bytes,
                     std::string& message) {
    // Without O_NONBLOCK a named pipe without a writer would be waited for.
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    struct stat status = {};
    if (file.Get() < 0 || fstat(file.Get(), &status) != 0) {
        return Fail(message, path, std::generic_category().message(errno));
    }
    if (!S_ISREG(status.st_mode)) {
        return Fail(message, path, "this is no file with a picture");
    }
    const auto size = static_cast<std::size_t>(status.st_size);
    if (size == 0) {
        return Fail(message, path, "the file is empty");
    }
    if (size > kLongestPicture) {
        return Fail(message, path,
                    "the picture has " + std::to_string(size) + " bytes; the library takes at most " +
                        std::to_string(kLongestPicture));
    }
    bytes.resize(head + size);
    if (!ReadRest(file.Get(), bytes, head)) {
        return Fail(
            message, path,
            errno == 0 ? "it became shorter while it was read" : std::generic_category().message(errno));
    }
    return true;
}

}  // namespace quor_terminal
