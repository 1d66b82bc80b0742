/*
 * stomp_frame.h - STOMP 1.0, 1.1 and 1.2 frames as text: an encoder and an incremental parser. Pure code
 * without I/O or locks; objects belong to one thread at a time.
 */
#ifndef QUOR_SIMULATOR_STOMP_FRAME_H
#define QUOR_SIMULATOR_STOMP_FRAME_H

#include <cstddef>
#include <string>
#include <string_view>

#include "quor_simulator/simulator.h"

namespace quor_simulator::stomp {

enum class Version { k10, k11, k12 };

const char* VersionText(Version version);

struct Frame {
    std::string command;
    HeaderList headers; /* unescaped; a name may occur more than once, the first one counts */
    std::string body;

    /* The value of the first header of that name, null if there is none. */
    const std::string* Find(std::string_view name) const;
};

/* "\", LF and ":" become escapes from 1.1 on, CR from 1.2 on; 1.0 has no escapes. */
std::string Escape(std::string_view text, Version version);
/* Undoes Escape. false: an escape that the version does not know, which STOMP wants treated as a fatal error.
 */
bool Unescape(std::string_view text, Version version, std::string& out);

struct EncodeOptions {
    bool crlf = false;
    bool escape = true; /* CONNECTED is never escaped, whatever this says */
};

/* The frame with its terminating NUL. content-length is among the frame's headers if it is wanted. */
std::string Encode(const Frame& frame, Version version, const EncodeOptions& options = {});

/*
 * Cuts a byte stream into frames, wherever the stream was cut into pieces. Memory is bounded by the size
 * limit plus one piece. After an error the parser stays in error: STOMP has no way to find the next frame.
 */
class Parser {
public:
    enum class Result { kNeedMore, kFrame, kError };

    /* maxFrameBytes: from the command's first byte to the NUL. */
    explicit Parser(std::size_t maxFrameBytes) : m_maxFrameBytes(maxFrameBytes) {}

    /* Decides how header values of later frames are unescaped and whether lines may end with CR LF. */
    void SetVersion(Version version) { m_version = version; }

    void Feed(std::string_view bytes) { m_buffer.append(bytes); }
    /* Takes the next complete frame out of what was fed. Line ends between frames are skipped. */
    Result Next(Frame& frame);
    /* A text for the message header of an ERROR frame; empty unless Next returned kError. */
    const std::string& error() const { return m_error; }

private:
    Result Fail(std::string text);
    Result Incomplete();
    void SkipLineEnds();
    bool FindHeaderEnd();
    bool ParseHead(Frame& frame);
    bool ParseHeaderLine(std::string_view line, bool escaped, Frame& frame);
    bool ReadContentLength(const Frame& frame);
    void Consume(std::size_t count);

    const std::size_t m_maxFrameBytes;
    Version m_version = Version::k12;
    std::string m_buffer;
    std::size_t m_start = 0;   /* of the frame in work, in m_buffer */
    std::size_t m_scanned = 0; /* no end was found before here */
    std::size_t m_body = 0;    /* where the body begins; 0: head not complete yet */
    std::size_t m_contentLength = 0;
    bool m_hasContentLength = false;
    Frame m_head; /* of the frame in work, once m_body is set */
    std::string m_error;
};

}  // namespace quor_simulator::stomp

#endif
