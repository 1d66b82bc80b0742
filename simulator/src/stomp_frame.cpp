#include "stomp_frame.h"

#include <charconv>
#include <utility>

namespace quor_simulator::stomp {
namespace {

/* More than any client of a conference server sends; keeps a hostile head from costing one allocation a line.
 */
constexpr std::size_t kMaxHeaders = 128;

bool IsConnectCommand(std::string_view command) {
    return command == "CONNECT" || command == "STOMP" || command == "CONNECTED";
}

char EscapeCode(char c, Version version) {
    if (version == Version::k10) {
        return '\0';
    }
    switch (c) {
        case '\\':
            return '\\';
        case '\n':
            return 'n';
        case ':':
            return 'c';
        case '\r':
            return version == Version::k12 ? 'r' : '\0';
        default:
            return '\0';
    }
}

/* The character that "\code" stands for, NUL if none. */
char UnescapeCode(char code, Version version) {
    switch (code) {
        case '\\':
            return '\\';
        case 'n':
            return '\n';
        case 'c':
            return ':';
        case 'r':
            return version == Version::k12 ? '\r' : '\0';
        default:
            return '\0';
    }
}

}  // namespace

const char* VersionText(Version version) {
    switch (version) {
        case Version::k10:
            return "1.0";
        case Version::k11:
            return "1.1";
        default:
            return "1.2";
    }
}

const std::string* Frame::Find(std::string_view name) const {
    for (const auto& header : headers) {
        if (header.first == name) {
            return &header.second;
        }
    }
    return nullptr;
}

std::string Escape(std::string_view text, Version version) {
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        const char code = EscapeCode(c, version);
        if (code == '\0') {
            out += c;
        } else {
            out += '\\';
            out += code;
        }
    }
    return out;
}

bool Unescape(std::string_view text, Version version, std::string& out) {
    out.clear();
    if (version == Version::k10 || text.find('\\') == std::string_view::npos) {
        out = text;
        return true;
    }
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            out += text[i];
            continue;
        }
        ++i;
        const char c = i < text.size() ? UnescapeCode(text[i], version) : '\0';
        if (c == '\0') {
            return false;
        }
        out += c;
    }
    return true;
}

std::string Encode(const Frame& frame, Version version, const EncodeOptions& options) {
    const std::string_view lineEnd = options.crlf ? "\r\n" : "\n";
    const bool escape = options.escape && !IsConnectCommand(frame.command);
    std::string out;
    out.reserve(frame.command.size() + frame.body.size() + 64 * frame.headers.size() + 8);
    out.append(frame.command).append(lineEnd);
    for (const auto& [name, value] : frame.headers) {
        out.append(escape ? Escape(name, version) : name);
        out += ':';
        out.append(escape ? Escape(value, version) : value);
        out.append(lineEnd);
    }
    out.append(lineEnd).append(frame.body);
    out += '\0';
    return out;
}

Parser::Result Parser::Next(Frame& frame) {
    if (!m_error.empty()) {
        return Result::kError;
    }
    if (m_body == 0) {
        SkipLineEnds();
        if (!FindHeaderEnd()) {
            return m_error.empty() ? Incomplete() : Result::kError;
        }
        if (!ParseHead(m_head) || !ReadContentLength(m_head)) {
            return Result::kError;
        }
        m_scanned = m_body;
    }
    std::size_t end = 0;
    if (m_hasContentLength) {
        end = m_body + m_contentLength;
        if (end >= m_buffer.size()) {
            return Incomplete();
        }
        if (m_buffer[end] != '\0') {
            return Fail("no NUL after a body of content-length bytes");
        }
    } else {
        end = m_buffer.find('\0', m_scanned);
        if (end == std::string::npos) {
            m_scanned = m_buffer.size();
            return Incomplete();
        }
    }
    if (end - m_start >= m_maxFrameBytes) {
        return Fail("frame larger than " + std::to_string(m_maxFrameBytes) + " bytes");
    }
    frame = std::exchange(m_head, {});
    frame.body.assign(m_buffer, m_body, end - m_body);
    Consume(end + 1);
    return Result::kFrame;
}

Parser::Result Parser::Fail(std::string text) {
    m_error = std::move(text);
    m_buffer.clear();
    m_buffer.shrink_to_fit();
    return Result::kError;
}

Parser::Result Parser::Incomplete() {
    if (m_buffer.size() - m_start > m_maxFrameBytes) {
        return Fail("frame larger than " + std::to_string(m_maxFrameBytes) + " bytes");
    }
    if (m_start == m_buffer.size()) {
        Consume(m_start);
    }
    return Result::kNeedMore;
}

void Parser::SkipLineEnds() {
    while (m_start < m_buffer.size() && (m_buffer[m_start] == '\n' || m_buffer[m_start] == '\r')) {
        ++m_start;
    }
    m_scanned = m_scanned < m_start ? m_start : m_scanned;
}

/* Sets m_body behind the first empty line. A NUL before it is a frame without an end of its head. */
bool Parser::FindHeaderEnd() {
    for (std::size_t i = m_scanned; i < m_buffer.size(); ++i) {
        if (m_buffer[i] == '\0') {
            Fail("no empty line after the headers");
            return false;
        }
        if (m_buffer[i] != '\n') {
            continue;
        }
        std::size_t next = i + 1;
        if (next < m_buffer.size() && m_buffer[next] == '\r' && m_version == Version::k12) {
            ++next;
        }
        if (next >= m_buffer.size()) {
            m_scanned = i;
            return false;
        }
        if (m_buffer[next] == '\n') {
            m_body = next + 1;
            return true;
        }
    }
    m_scanned = m_buffer.size();
    return false;
}

bool Parser::ParseHead(Frame& frame) {
    std::string_view head(m_buffer);
    head = head.substr(m_start, m_body - m_start);
    bool first = true;
    while (!head.empty()) {
        const std::size_t lineEnd = head.find('\n');
        std::string_view line = head.substr(0, lineEnd);
        head.remove_prefix(lineEnd + 1);
        if (m_version == Version::k12 && !line.empty() && line.back() == '\r') {
            line.remove_suffix(1);
        }
        if (first) {
            frame.command = line;
            first = false;
        } else if (!line.empty() && !ParseHeaderLine(line, !IsConnectCommand(frame.command), frame)) {
            return false;
        }
    }
    return true;
}

bool Parser::ParseHeaderLine(std::string_view line, bool escaped, Frame& frame) {
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos || colon == 0) {
        Fail("malformed header line");
        return false;
    }
    if (frame.headers.size() >= kMaxHeaders) {
        Fail("more than " + std::to_string(kMaxHeaders) + " headers");
        return false;
    }
    std::pair<std::string, std::string> header(line.substr(0, colon), line.substr(colon + 1));
    if (escaped) {
        std::string name;
        std::string value;
        if (!Unescape(header.first, m_version, name) || !Unescape(header.second, m_version, value)) {
            Fail("undefined escape in a header");
            return false;
        }
        header = {std::move(name), std::move(value)};
    }
    frame.headers.push_back(std::move(header));
    return true;
}

bool Parser::ReadContentLength(const Frame& frame) {
    const std::string* text = frame.Find("content-length");
    m_hasContentLength = text != nullptr;
    if (text == nullptr) {
        return true;
    }
    const char* end = text->data() + text->size();
    const auto parsed = std::from_chars(text->data(), end, m_contentLength);
    if (text->empty() || parsed.ec != std::errc() || parsed.ptr != end) {
        Fail("content-length is not a number");
        return false;
    }
    if (m_contentLength >= m_maxFrameBytes) {
        Fail("frame larger than " + std::to_string(m_maxFrameBytes) + " bytes");
        return false;
    }
    return true;
}

/* The buffer's front is cut off only when it is worth the move, so that many small frames in one piece cost
 * linear time. */
void Parser::Consume(std::size_t count) {
    constexpr std::size_t kWorthMoving = 64U << 10;
    m_start = count;
    if (m_start == m_buffer.size()) {
        m_buffer.clear();
        m_start = 0;
    } else if (m_start > kWorthMoving) {
        m_buffer.erase(0, m_start);
        m_start = 0;
    }
    m_scanned = m_start;
    m_body = 0;
}

}  // namespace quor_simulator::stomp
