// stomp_decoder.h - cuts the bytes of a link into STOMP 1.1/1.2 frames. Incremental and without network:
// bytes go in as they arrive, in pieces of any size, frames come out. Each byte is looked at a fixed number
// of times however the pieces are cut, and memory is bounded by the frame limit and one piece.
//
// Where a frame ends: at the NUL that content-length points to; when the length is absent, unreadable or does
// not land on a NUL (servers that count characters), at the first NUL of the body. A length that is too large
// therefore holds the frame back until that many bytes have arrived.
//
// Threads: one decoder belongs to one thread at a time.
#ifndef QUOR_PLATFORM_LINUX_WEBSOCKET_STOMP_DECODER_H
#define QUOR_PLATFORM_LINUX_WEBSOCKET_STOMP_DECODER_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quor_platform::internal {

// One received frame. Names and values are as they were on the wire, escapes not undone. All views point into
// the decoder.
struct StompFrameView {
    struct Header {
        std::string_view name;
        std::string_view value;
    };

    std::string_view command;
    std::vector<Header> headers;
    std::string_view body;

    // The value of the first header of that name (STOMP: the first of repeated headers counts), with escapes
    // undone, which CONNECT and CONNECTED do not have.
    std::optional<std::string> Find(std::string_view name) const;
};

class StompDecoder {
public:
    // A frame, from its command to its NUL, of more than maxFrameBytes is an error.
    explicit StompDecoder(std::size_t maxFrameBytes);

    // Takes bytes over. Views handed out before become invalid. After an error they are ignored.
    void Append(std::string_view bytes);

    enum class Result {
        kNeedMore,  // no complete frame; append
        kFrame,     // Frame() is the next frame, valid until the next call of Append or Next
        kError      // the bytes are no STOMP frame or it is too long; ErrorText() says why; it stays so
    };
    Result Next();

    const StompFrameView& Frame() const { return m_frame; }
    const std::string& ErrorText() const { return m_error; }

    // Gives the memory back and fails from now on: for a stream that ended.
    void Release();

    // Whether no frame is begun: all bytes taken so far were frames and line ends.
    bool Idle() const;

private:
    struct Span {
        std::size_t begin;
        std::size_t length;
    };
    struct HeaderSpans {
        Span name;
        Span value;
    };

    Result Fail(std::string text);
    bool SkipLineEnds();
    bool TooLong(std::size_t frameBytes) const { return frameBytes > m_maxFrameBytes; }
    Result ReadLines();
    Result ReadBody();
    bool TakeLine(Span line);
    void TakeContentLength(std::string_view value);
    Result Finish(std::size_t bodyLength);
    std::string_view Text(Span span) const {
        return std::string_view(m_buffer).substr(span.begin, span.length);
    }

    const std::size_t m_maxFrameBytes;
    std::string m_buffer;
    std::size_t m_frameBegin = 0;  // where the current frame, or the line ends before it, begin
    std::size_t m_lineBegin = 0;   // first byte of the line being read, or of the body
    std::size_t m_scanned = 0;     // up to here no line end (in the head) or NUL (in the body) was found
    bool m_inBody = false;
    bool m_failed = false;
    std::optional<Span> m_command;
    std::vector<HeaderSpans> m_headers;
    std::optional<std::size_t> m_contentLength;
    StompFrameView m_frame;
    std::string m_error;
};

}  // namespace quor_platform::internal

#endif
