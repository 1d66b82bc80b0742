// wiped_memory.h - memory that is overwritten before it is given back: the credentials of a request travel in
// its headers, and a request lies in libcurl's buffers on its way.
#ifndef QUOR_PLATFORM_LINUX_HTTP_WIPED_MEMORY_H
#define QUOR_PLATFORM_LINUX_HTTP_WIPED_MEMORY_H

#include <openssl/crypto.h>

#include <cstddef>
#include <memory>
#include <utility>

namespace quor_platform::internal {

// Bytes of a fixed number, zero at first. Movable, so that nothing is ever copied unseen.
class WipedBytes {
public:
    WipedBytes() = default;
    explicit WipedBytes(std::size_t size) : m_bytes(std::make_unique<char[]>(size)), m_size(size) {}
    ~WipedBytes() { Wipe(); }
    WipedBytes(WipedBytes&& other) noexcept
        : m_bytes(std::move(other.m_bytes)), m_size(std::exchange(other.m_size, 0)) {}
    WipedBytes& operator=(WipedBytes&& other) noexcept {
        Wipe();
        m_bytes = std::move(other.m_bytes);
        m_size = std::exchange(other.m_size, 0);
        return *this;
    }
    WipedBytes(const WipedBytes&) = delete;
    WipedBytes& operator=(const WipedBytes&) = delete;

    char* Data() { return m_bytes.get(); }
    std::size_t Size() const { return m_size; }

private:
    void Wipe() {
        if (m_bytes != nullptr) {
            OPENSSL_cleanse(m_bytes.get(), m_size);
        }
    }

    std::unique_ptr<char[]> m_bytes;
    std::size_t m_size = 0;
};

// Prepares libcurl for the process, once, with allocations that are wiped when they are freed. Where the
// program prepared libcurl before, that stays in force and one warning is logged. False: libcurl is unusable.
bool PrepareCurl();

}  // namespace quor_platform::internal

#endif
