#include "support/http_protocol_access.h"

namespace QuorAiEngine {

void HttpProtocolTestAccess::Reset() {
    HttpProtocol::m_httpInitCnt = 0;
    HttpProtocol::FreeTlsParam();
}

}  // namespace QuorAiEngine
