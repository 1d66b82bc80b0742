// secret.h - a text that is wiped when it goes out of use.
#ifndef QUOR_TERMINAL_SECRET_H
#define QUOR_TERMINAL_SECRET_H

#include <string.h>

#include <string>

namespace quor_terminal {

// Holds a password while it is read and sealed. The buffer is reserved once: growing it would leave copies.
class Secret {
public:
    static constexpr std::size_t kCapacity = 4096;

    Secret() { m_text.reserve(kCapacity); }
    ~Secret() { Wipe(); }
    Secret(const Secret&) = delete;
    Secret& operator=(const Secret&) = delete;

    // False: no room.
    bool Append(const char* bytes, std::size_t count) {
        if (count > kCapacity - m_text.size()) {
            return false;
        }
        m_text.append(bytes, count);
        return true;
    }

    // Cuts one line end off the end, as editors and echo put it there.
    void DropLineEnd() {
        if (!m_text.empty() && m_text.back() == '\n') {
            m_text.pop_back();
        }
        if (!m_text.empty() && m_text.back() == '\r') {
            m_text.pop_back();
        }
    }

    void Wipe() {
        m_text.resize(kCapacity);
        explicit_bzero(m_text.data(), m_text.size());
        m_text.clear();
    }

    const std::string& Text() const { return m_text; }

private:
    std::string m_text;
};

}  // namespace quor_terminal

#endif
