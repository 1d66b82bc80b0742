// request_scope.h - holders for what every request owns, whichever service sends it: its headers and the
// handle of its answer. For one thread and for automatic storage. Private to the library.
#ifndef UTILITY_REQUEST_SCOPE_H
#define UTILITY_REQUEST_SCOPE_H

#include <cstddef>

#include "common/scope.h"
#include "quor_platform/bounded.h"
#include "quor_platform/http.h"

namespace QuorAiEngine {

// The headers of a request, zero at the start and wiped at the end: they carry tokens and credentials.
template <std::size_t N>
class RequestHeaders {
public:
    RequestHeaders() = default;
    ~RequestHeaders() {
        if (!m_wiped) {
            WipeBytes(reinterpret_cast<char*>(m_headers), sizeof(m_headers));
        }
    }
    RequestHeaders(const RequestHeaders&) = delete;
    RequestHeaders& operator=(const RequestHeaders&) = delete;

    tagHTTP_HEADER* Get() { return m_headers; }
    static constexpr unsigned int Count() { return static_cast<unsigned int>(N); }

    // Returns the platform's result; the headers are gone in any case.
    int Wipe() {
        m_wiped = true;
        const int result = memset_s(m_headers, sizeof(m_headers), 0, sizeof(m_headers));
        if (result != 0) {
            WipeBytes(reinterpret_cast<char*>(m_headers), sizeof(m_headers));
        }
        return result;
    }

private:
    tagHTTP_HEADER m_headers[N] = {};
    bool m_wiped = false;
};

// Releases the handle of an answer. The first object of a response function, so that the answer goes last.
class AnswerHandle {
public:
    explicit AnswerHandle(unsigned long handle) : m_handle(handle) {}
    ~AnswerHandle() { HTTPAPI_ReleaseHandle(m_handle); }
    AnswerHandle(const AnswerHandle&) = delete;
    AnswerHandle& operator=(const AnswerHandle&) = delete;

private:
    unsigned long m_handle;
};

// Runs an operation whose strings may find no memory, or whose observers break their word not to throw.
template <typename Result, typename Operation>
Result WithoutExceptions(Result failure, const Operation& operation) noexcept {
    try {
        return operation();
    } catch (...) {
        return failure;
    }
}

}  // namespace QuorAiEngine

#endif
