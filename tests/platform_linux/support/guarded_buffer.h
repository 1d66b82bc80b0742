// guarded_buffer.h - memory between two pages that nobody may touch: one byte too far on either side ends the
// test, also for accesses that no sanitizer sees, such as those inside the C library.
#ifndef QUOR_TESTS_PLATFORM_LINUX_GUARDED_BUFFER_H
#define QUOR_TESTS_PLATFORM_LINUX_GUARDED_BUFFER_H

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <new>
#include <string_view>

class GuardedBuffer {
public:
    explicit GuardedBuffer(std::size_t capacity)
        : m_page(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))),
          m_usable((capacity + m_page - 1) / m_page * m_page) {
        void* memory = mmap(nullptr, m_usable + 2 * m_page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) {
            throw std::bad_alloc();
        }
        m_memory = static_cast<char*>(memory);
        if (mprotect(m_memory + m_page, m_usable, PROT_READ | PROT_WRITE) != 0) {
            throw std::bad_alloc();
        }
    }
    ~GuardedBuffer() { munmap(m_memory, m_usable + 2 * m_page); }
    GuardedBuffer(const GuardedBuffer&) = delete;
    GuardedBuffer& operator=(const GuardedBuffer&) = delete;

    // size bytes right behind the page in front.
    char* First() { return m_memory + m_page; }
    // size bytes right before the page behind.
    char* Last(std::size_t size) { return m_memory + m_page + m_usable - size; }
    std::size_t Size() const { return m_usable; }

    void Fill(char value) { std::memset(First(), value, m_usable); }

    // Text without terminator that ends at the page behind.
    char* Place(std::string_view text) {
        char* place = Last(text.size());
        std::memcpy(place, text.data(), text.size());
        return place;
    }

private:
    std::size_t m_page;
    std::size_t m_usable;
    char* m_memory = nullptr;
};

#endif
