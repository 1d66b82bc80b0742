// wiped_text.h - an array of characters that may hold a secret: overwritten before its memory is given back,
// whatever happens. For one thread. Private to the utilities.
#ifndef UTILITY_WIPED_TEXT_H
#define UTILITY_WIPED_TEXT_H

#include <cstddef>
#include <memory>

#include "common/scope.h"

namespace QuorAiEngine {

// Overwrites length bytes with zeros, also if the platform refuses. Returns the platform's result.
inline int Wipe(char* bytes, std::size_t length) {
    const int result = memset_s(bytes, length, 0, length);
    if (result != 0) {
        WipeBytes(bytes, length);
    }
    return result;
}

// A text of HttpProtocol::AiUtilityCovert2Base64.
class WipedText {
public:
    WipedText() = default;
    ~WipedText() {
        if (!m_wiped) {
            WipeBytes(m_text.get(), m_length);
        }
    }
    WipedText(const WipedText&) = delete;
    WipedText& operator=(const WipedText&) = delete;

    std::unique_ptr<char[]>& Text() { return m_text; }
    unsigned int& Length() { return m_length; }
    bool IsEmpty() const { return m_text == nullptr || m_length == 0; }

    // Returns the platform's result; the text is gone in any case.
    int Wipe() {
        m_wiped = true;
        return QuorAiEngine::Wipe(m_text.get(), m_length);
    }

private:
    std::unique_ptr<char[]> m_text;
    unsigned int m_length = 0;
    bool m_wiped = false;
};

}  // namespace QuorAiEngine

#endif
