// http_protocol_access.h - the way of tests to HttpProtocol's private members, which name this class a
// friend.
#ifndef TESTS_SUPPORT_HTTP_PROTOCOL_ACCESS_H
#define TESTS_SUPPORT_HTTP_PROTOCOL_ACCESS_H

#include <array>

#include "utility/http_protocol.h"

namespace QuorAiEngine {

class HttpProtocolTestAccess {
public:
    // As after the process started: nobody counted, no TLS block. Call it while the fake platform still knows
    // the block.
    static void Reset();

    static unsigned Users() { return HttpProtocol::m_httpInitCnt.load(); }
    static tagHTTP_S_TLS_PARAM* TlsBlock() { return HttpProtocol::m_pstTlsPram; }
    static std::array<unsigned, 3> Timeouts(const HttpProtocol& http) {
        return {http.m_firstTimeout, http.m_secondTimeout, http.m_thirdTimeout};
    }
};

}  // namespace QuorAiEngine

#endif
