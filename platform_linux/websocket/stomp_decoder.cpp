#include "platform_linux/websocket/stomp_decoder.h"

#include <charconv>
#include <cstring>
#include <utility>

#include "platform_linux/websocket/stomp_frame.h"

namespace quor_platform::internal {
namespace {

// Bytes that were read are moved out of the buffer when they are more than this, so that the move is rare.
constexpr std::size_t kCompactBytes = 64U << 10U;
// A buffer that one large frame blew up beyond this is given back when it is empty.
constexpr std::size_t kKeepBytes = 256U << 10U;

}  // namespace

std::optional<std::string> StompFrameView::Find(std::string_view name) const {
    for (const Header& header : headers) {
        if (header.name == name) {
            const bool escaped = command != "CONNECTED" && command != "CONNECT";
            return escaped ? UnescapeStompHeader(header.value) : std::string(header.value);
        }
    }
    return std::nullopt;
}

StompDecoder::StompDecoder(std::size_t maxFrameBytes) : m_maxFrameBytes(maxFrameBytes) {}

void StompDecoder::Append(std::string_view bytes) {
    if (m_failed) {
        return;
    }
    const bool compact = m_frameBegin == m_buffer.size() || m_frameBegin > kCompactBytes;
    if (compact && m_frameBegin > 0) {
        const std::size_t gone = m_frameBegin;
        m_buffer.erase(0, gone);
        m_frameBegin = 0;
        m_lineBegin -= gone;
        m_scanned -= gone;
        const auto move = [gone](Span& span) { span.begin -= gone; };
        if (m_command) {
            move(*m_command);
        }
        for (HeaderSpans& header : m_headers) {
            move(header.name);
            move(header.value);
        }
        if (m_buffer.empty() && m_buffer.capacity() > kKeepBytes) {
            m_buffer.shrink_to_fit();
        }
    }
    m_buffer.append(bytes);
}

void StompDecoder::Release() {
    m_failed = true;
    m_buffer = {};
    m_frame = {};
    m_headers = {};
}

bool StompDecoder::Idle() const {
    return !m_failed && !m_command && m_frameBegin == m_buffer.size();
}

StompDecoder::Result StompDecoder::Next() {
    if (m_failed) {
        return Result::kError;
    }
    if (!m_command && !SkipLineEnds()) {
        return Result::kNeedMore;
    }
    if (!m_inBody) {
        const Result head = ReadLines();
        if (!m_inBody) {
            return head;
        }
    }
    return ReadBody();
}

StompDecoder::Result StompDecoder::Fail(std::string text) {
    m_failed = true;
    m_error = std::move(text);
    return Result::kError;
}

// Line ends between frames are heart-beats or padding. False: nothing but line ends is left. A line of the
// frame may be half here already, so this must not run over bytes that were scanned.
bool StompDecoder::SkipLineEnds() {
    if (m_scanned > m_frameBegin) {
        return true;
    }
    while (m_frameBegin < m_buffer.size() &&
           (m_buffer[m_frameBegin] == '\n' || m_buffer[m_frameBegin] == '\r')) {
        ++m_frameBegin;
    }
    m_lineBegin = m_scanned = m_frameBegin;
    return m_frameBegin < m_buffer.size();
}

StompDecoder::Result StompDecoder::ReadLines() {
    while (!m_inBody) {
        const char* const from = m_buffer.data() + m_scanned;
        const std::size_t available = m_buffer.size() - m_scanned;
        // NOLINTNEXTLINE(bugprone-not-null-terminated-result): bytes from the network, not a text
        const void* const end = available == 0 ? nullptr : std::memchr(from, '\n', available);
        const std::size_t scan =
            end == nullptr ? available : static_cast<std::size_t>(static_cast<const char*>(end) - from);
        if (scan > 0 && std::memchr(from, '\0', scan) != nullptr) {
            return Fail("a frame ends within its headers");
        }
        if (TooLong(m_scanned + scan - m_frameBegin + 1)) {
            return Fail("a frame is longer than the limit of " + std::to_string(m_maxFrameBytes) + " bytes");
        }
        if (end == nullptr) {
            m_scanned = m_buffer.size();
            return Result::kNeedMore;
        }
        const std::size_t lineEnd = m_scanned + scan;
        const bool carriageReturn = lineEnd > m_lineBegin && m_buffer[lineEnd - 1] == '\r';
        const Span line{m_lineBegin, lineEnd - m_lineBegin - (carriageReturn ? 1U : 0U)};
        m_lineBegin = m_scanned = lineEnd + 1;
        if (!TakeLine(line)) {
            return Result::kError;
        }
    }
    return Result::kNeedMore;
}

// The command, a header, or the empty line before the body. False: failed.
bool StompDecoder::TakeLine(Span line) {
    if (!m_command) {
        m_command = line;
        return true;
    }
    if (line.length == 0) {
        m_inBody = true;
        return true;
    }
    const std::string_view text = Text(line);
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos || colon == 0) {
        Fail("a header line has no name");
        return false;
    }
    const std::string_view value = text.substr(colon + 1);
    if (!m_contentLength && text.substr(0, colon) == "content-length") {
        TakeContentLength(value);
    }
    m_headers.push_back({{line.begin, colon}, {line.begin + colon + 1, value.size()}});
    return true;
}

void StompDecoder::TakeContentLength(std::string_view value) {
    while (!value.empty() && value.front() == ' ') {
        value.remove_prefix(1);
    }
    while (!value.empty() && value.back() == ' ') {
        value.remove_suffix(1);
    }
    std::size_t length = 0;
    const char* const end = value.data() + value.size();
    const auto [rest, error] = std::from_chars(value.data(), end, length);
    if (rest == end && error == std::errc()) {
        m_contentLength = length;
    }
}

StompDecoder::Result StompDecoder::ReadBody() {
    const std::size_t headBytes = m_lineBegin - m_frameBegin;
    if (TooLong(headBytes) || (m_contentLength && *m_contentLength >= m_maxFrameBytes - headBytes)) {
        return Fail("a frame is longer than the limit of " + std::to_string(m_maxFrameBytes) + " bytes");
    }
    if (m_contentLength) {
        if (m_buffer.size() - m_lineBegin <= *m_contentLength) {
            return Result::kNeedMore;
        }
        if (m_buffer[m_lineBegin + *m_contentLength] == '\0') {
            return Finish(*m_contentLength);
        }
        m_contentLength.reset();  // not a byte count: the frame ends at its first NUL
    }
    const std::size_t available = m_buffer.size() - m_scanned;
    const void* const found =
        available == 0 ? nullptr : std::memchr(m_buffer.data() + m_scanned, '\0', available);
    const std::size_t end = found == nullptr
                                ? m_buffer.size()
                                : static_cast<std::size_t>(static_cast<const char*>(found) - m_buffer.data());
    if (TooLong(end - m_frameBegin + 1)) {
        return Fail("a frame is longer than the limit of " + std::to_string(m_maxFrameBytes) + " bytes");
    }
    if (found == nullptr) {
        m_scanned = m_buffer.size();
        return Result::kNeedMore;
    }
    return Finish(end - m_lineBegin);
}

StompDecoder::Result StompDecoder::Finish(std::size_t bodyLength) {
    m_frame.command = Text(*m_command);
    m_frame.headers.clear();
    for (const HeaderSpans& header : m_headers) {
        m_frame.headers.push_back({Text(header.name), Text(header.value)});
    }
    m_frame.body = Text({m_lineBegin, bodyLength});
    m_frameBegin = m_lineBegin = m_scanned = m_lineBegin + bodyLength + 1;
    m_inBody = false;
    m_command.reset();
    m_headers.clear();
    m_contentLength.reset();
    return Result::kFrame;
}

}  // namespace quor_platform::internal
