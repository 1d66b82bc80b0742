#include "platform_linux/http/answer_body.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "quor_platform/os.h"

namespace quor_platform::internal {
namespace {

constexpr char kModule[] = "platform_linux_http";
constexpr std::size_t kSmallest = 4096;
constexpr std::size_t kLargest = 1U << 30U;

}  // namespace

bool AnswerBody::Reserve(std::size_t size) {
    if (size <= m_capacity) {
        return true;
    }
    if (size > kLargest) {
        return false;
    }
    auto* const block =
        static_cast<char*>(OsMemMallocSetCharMon(static_cast<unsigned int>(size + 1), 0, __LINE__, kModule));
    if (block == nullptr) {
        return false;
    }
    if (m_block != nullptr) {
        std::memcpy(block, m_block, m_size);
        OSMemTypeFreeMon(m_block, __LINE__, kModule);
    }
    m_block = block;
    m_capacity = size;
    return true;
}

bool AnswerBody::Append(const char* bytes, std::size_t count) {
    const std::size_t wanted = m_size + count;
    if (wanted > m_capacity && !Reserve(std::max({wanted, std::min(2 * m_capacity, kLargest), kSmallest}))) {
        return false;
    }
    if (count > 0) {
        std::memcpy(m_block + m_size, bytes, count);
        m_size = wanted;
        m_block[m_size] = '\0';
    }
    return true;
}

void AnswerBody::Drop() {
    OSMemTypeFreeMon(m_block, __LINE__, kModule);
    m_block = nullptr;
    m_size = 0;
    m_capacity = 0;
}

void AnswerBody::Swap(AnswerBody& other) {
    std::swap(m_block, other.m_block);
    std::swap(m_size, other.m_size);
    std::swap(m_capacity, other.m_capacity);
}

char* AnswerBody::Release() {
    if (m_size == 0) {
        Drop();
    }
    m_size = 0;
    m_capacity = 0;
    return std::exchange(m_block, nullptr);
}

}  // namespace quor_platform::internal
