// descriptor.h - a file descriptor that is closed at the end of its block.
#ifndef QUOR_TERMINAL_DESCRIPTOR_H
#define QUOR_TERMINAL_DESCRIPTOR_H

#include <unistd.h>

namespace quor_terminal {

class Descriptor {
public:
    // A negative one is none.
    explicit Descriptor(int fd) : m_fd(fd) {}
    ~Descriptor() {
        if (m_fd >= 0) {
            close(m_fd);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int Get() const { return m_fd; }

private:
    const int m_fd;
};

}  // namespace quor_terminal

#endif
