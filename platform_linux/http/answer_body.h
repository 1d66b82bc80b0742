// answer_body.h - the body of an answer as it arrives: one growing block of the accounted heap that can be
// handed to a caller as it is.
#ifndef QUOR_PLATFORM_LINUX_HTTP_ANSWER_BODY_H
#define QUOR_PLATFORM_LINUX_HTTP_ANSWER_BODY_H

#include <cstddef>

namespace quor_platform::internal {

class AnswerBody {
public:
    AnswerBody() = default;
    ~AnswerBody() { Drop(); }
    AnswerBody(const AnswerBody&) = delete;
    AnswerBody& operator=(const AnswerBody&) = delete;

    // False: no memory; the body keeps what it had.
    bool Reserve(std::size_t size);
    bool Append(const char* bytes, std::size_t count);
    void Drop();
    void Swap(AnswerBody& other);

    // NUL-terminated; null while empty.
    const char* Text() const { return m_size > 0 ? m_block : nullptr; }
    std::size_t Size() const { return m_size; }
    // The block, which the caller frees with OSMemTypeFreeMon; null for an empty body.
    char* Release();

private:
    char* m_block = nullptr;
    std::size_t m_size = 0;
    std::size_t m_capacity = 0;  // without the terminator
};

}  // namespace quor_platform::internal

#endif
