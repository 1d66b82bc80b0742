// scope.h - holders for what must be given back on every path: locks, accounted blocks, JSON trees, C strings
// and secrets. An early return is then one statement. All are for one thread and for automatic storage.
#ifndef COMMON_SCOPE_H
#define COMMON_SCOPE_H

#include <cjson/cJSON.h>

#include <cstddef>
#include <cstdlib>
#include <memory>

#include "quor_platform/bounded.h"
#include "quor_platform/os.h"

namespace QuorAiEngine {

// Owns a platform mutex while it lives. A lock that the platform refused is not given back; what it guards is
// touched all the same, because no operation has a failure for it.
class QUOR_PLATFORM_THREAD_ATTRIBUTE(scoped_lockable) ScopedOsLock {
public:
    explicit ScopedOsLock(OsMutex& mutex) QUOR_PLATFORM_THREAD_ATTRIBUTE(acquire_capability(mutex))
        : m_mutex(mutex), m_locked(OsMutexLock(&mutex) == 0) {}
    ~ScopedOsLock() QUOR_PLATFORM_THREAD_ATTRIBUTE(release_capability()) { GiveBack(); }
    ScopedOsLock(const ScopedOsLock&) = delete;
    ScopedOsLock& operator=(const ScopedOsLock&) = delete;

    // Gives the lock up before the scope ends. Returns the platform's result; 0 when it is not held.
    unsigned int Unlock() QUOR_PLATFORM_THREAD_ATTRIBUTE(release_capability()) { return GiveBack(); }

private:
    unsigned int GiveBack() QUOR_PLATFORM_THREAD_ATTRIBUTE(no_thread_safety_analysis) {
        if (!m_locked) {
            return 0;
        }
        m_locked = false;
        return OsMutexUnLock(&m_mutex);
    }

    OsMutex& m_mutex;
    bool m_locked;
};

struct JsonDeleter {
    void operator()(cJSON* root) const { cJSON_Delete(root); }
};
// A parsed or built document.
using JsonPtr = std::unique_ptr<cJSON, JsonDeleter>;

struct JsonTextDeleter {
    void operator()(char* text) const { cJSON_free(text); }
};
// A text that cJSON printed.
using JsonTextPtr = std::unique_ptr<char, JsonTextDeleter>;

struct CStringDeleter {
    void operator()(char* text) const { std::free(text); }
};
// A text from strdup.
using CStringPtr = std::unique_ptr<char, CStringDeleter>;

// A text on the accounted heap. Non-null blocks only reach the platform's free.
class HeapText {
public:
    // module is the logged name of the owner; it outlives the block.
    HeapText(const char* module, unsigned int line) : m_module(module), m_line(line) {}
    ~HeapText() { Free(); }
    HeapText(const HeapText&) = delete;
    HeapText& operator=(const HeapText&) = delete;

    char* Get() const { return m_text; }
    // Where an allocating function stores the block.
    char** Out() { return &m_text; }
    // Hands the block to the caller.
    char* Release() {
        char* text = m_text;
        m_text = nullptr;
        return text;
    }
    void Free() {
        if (m_text != nullptr) {
            OSMemTypeFreeMon(m_text, m_line, m_module);
            m_text = nullptr;
        }
    }

private:
    char* m_text = nullptr;
    const char* m_module;
    unsigned int m_line;
};

// A text buffer for a secret: zero at the start, wiped at the end of its scope in a way that no compiler
// removes.
template <std::size_t N>
class SecretBuffer {
public:
    SecretBuffer() = default;
    ~SecretBuffer() { Wipe(); }
    SecretBuffer(const SecretBuffer&) = delete;
    SecretBuffer& operator=(const SecretBuffer&) = delete;

    char* Data() { return m_text; }
    static constexpr std::size_t kCapacity = N;

    // Makes sure that the text ends inside the buffer, whoever wrote it.
    void Terminate() { m_text[N - 1] = '\0'; }

    // Returns the platform's result. A plain overwrite follows a refusal: a secret never stays.
    int Wipe() {
        const int result = memset_s(m_text, N, 0, N);
        if (result != 0) {
            volatile char* text = m_text;
            for (std::size_t i = 0; i < N; ++i) {
                text[i] = '\0';
            }
        }
        return result;
    }

private:
    char m_text[N] = {};
};

// Wipes length bytes that somebody else owns; like SecretBuffer::Wipe it does not depend on the platform's
// success.
inline void WipeBytes(char* bytes, std::size_t length) {
    if (bytes != nullptr && length != 0 && memset_s(bytes, length, 0, length) != 0) {
        volatile char* text = bytes;
        for (std::size_t i = 0; i < length; ++i) {
            text[i] = '\0';
        }
    }
}

}  // namespace QuorAiEngine

#endif
