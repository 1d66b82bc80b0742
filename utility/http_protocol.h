// http_protocol.h - HttpProtocol: what the services share for talking HTTP: the transport's life and
// parameters, requests, addresses, credential headers, base64, texts and clocks.
//
// Use: each service owns an instance; AiUtilityHttpInit before its first request, AiUtilityHttpUninit after
// its last. The transport is up from the first init to the last uninit of all instances.
//
// Threads: the application initialises and ends services one after the other; everything else is callable
// from any thread at the same time. Several threads may send while another one ends the transport: a request
// then fails before or inside the transport. No lock is held while a function of the platform runs.
//
// Results: 0 success, kHttpProtocolFailed failure, unless said otherwise. Failures are logged where they
// happen. Nothing throws.
#ifndef UTILITY_HTTP_PROTOCOL_H
#define UTILITY_HTTP_PROTOCOL_H

#include <cjson/cJSON.h>

#include <atomic>
#include <memory>

#include "quor_platform/http.h"

namespace QuorAiEngine {

using ::EN_HTTP_ERRORCODE;
using ::tagHTTP_HEADER;
using ::tagHTTP_S_ASYN_SEND_PARAM;
using ::tagHTTP_S_CONFIG_PARAM;
using ::tagHTTP_S_SYN_SEND_PARAM;
using ::tagHTTP_S_TLS_PARAM;
using ::tagST_HTTP_RSP;

inline constexpr unsigned int kHttpProtocolFailed = 0xFFFFFFFFU;
// GetConfigParam: there is no path of trusted certificates.
inline constexpr unsigned int kHttpProtocolNoCertificate = 1;

// What GetAddressType finds. After the resolution of a name: IPv4.
enum AddressType : unsigned int {
    kAddressTypeIpv4 = 0,
    kAddressTypeIpv6 = 1,
    kAddressTypeUnusable = 2,
};

class WipedText;

class HttpProtocol {
public:
    HttpProtocol() = default;
    HttpProtocol(const HttpProtocol&) = delete;
    HttpProtocol& operator=(const HttpProtocol&) = delete;

    // ---- The transport's life ----

    // Counts one more user; the first one allocates the TLS parameters and starts the transport.
    // Deliberate: only the instance that was first gets timeouts; a later one keeps zeros, which stand for
    // the transport's own, and an instance that has them keeps them.
    unsigned int AiUtilityHttpInit();

    // Counts one user less; the last one frees the TLS parameters and ends the transport, which waits for all
    // outstanding requests. Fails also when nobody is counted, and when the transport refuses to end; the
    // count is 0 then all the same.
    unsigned int AiUtilityHttpUninit();

    // Timeouts of 3, 4 and 30 seconds for this instance. Not while it sends.
    void SetDefaultTimeoutParam();

    // ---- Requests ----

    // Fills the whole record for a request: TLS parameters with the path of the trusted certificates as it is
    // now, suites and timeouts. The parameters are shared by all requests and live until the last uninit. On
    // failure, kHttpProtocolFailed or kHttpProtocolNoCertificate, the record is not to be used.
    unsigned int GetConfigParam(tagHTTP_S_CONFIG_PARAM& config);

    // Fills param's configuration, sends and waits. The result is the transport's, or kHttpProtocolFailed
    // when the transport was not called: param is null or there is no configuration. The answer's buffers are
    // the caller's, who gives them back with FreeSyncRequestParam.
    unsigned int AiCommonHttpSynSend(tagHTTP_S_SYN_SEND_PARAM* param);

    // The same without waiting. Result kHttpProtocolFailed of this function's own: the callback never runs.
    // Once the transport was called, the callback runs exactly once, whatever is returned, and possibly
    // before this returns. The record may be used again at once; user data belongs to the callback from the
    // call on.
    unsigned int AiCommonHttpAsynSend(tagHTTP_S_ASYN_SEND_PARAM* param);

    // Frees the answer's two buffers and sets them to null. Safe to call twice.
    static void FreeSyncRequestParam(tagHTTP_S_SYN_SEND_PARAM& param);

    // ---- Texts and clocks ----

    // length bytes of body and a terminator in a new block of the accounted heap that the caller frees
    // (OSMemTypeFreeMon). Null: no body, an empty one, or no memory.
    static char* AiUtilityHttpGetStrFromBody(const char* body, unsigned int length);

    // Copies src into dest, destSize bytes, and terminates. 0: copied whole, or an argument is null and
    // nothing happened. Deliberate, callers ignore it: a source of exactly destSize bytes is copied without
    // its last byte and the result is destSize - 1. A longer one is not copied and its length returned.
    // destSize 0 is 1. The error of the bounded copy is returned as it is.
    static unsigned int AiUtilitySafeStrCpyD(char* dest, const char* src, unsigned int destSize);

    // Deliberate, whatever its name says: the wall clock's seconds since 1970-01-01.
    static unsigned int GetSystemUptime(long long* uptimeSec);

    // The wall clock's milliseconds since 1970-01-01.
    static unsigned long GetCurTimeMs();

    // ---- Addresses ----

    // What stands in address (capacity bytes). A name is resolved, which blocks, and overwritten with its
    // IPv4 address. Deliberate: a name that has records but none of IPv4 leaves an empty text and is
    // kAddressTypeIpv4; the request then fails on its empty address. kAddressTypeUnusable: no address,
    // capacity 0, a list with commas, a name that does not resolve.
    static unsigned int GetAddressType(char* address, unsigned int capacity);

    // ---- Credentials and base64 ----

    // The base64 text of inLen bytes in a new array. outLen counts its terminator. On failure out keeps what
    // it had and outLen means nothing. Nothing of the input stays behind but in out; who gives it a secret
    // wipes it.
    static unsigned int AiUtilityCovert2Base64(std::unique_ptr<char[]>& out, const unsigned char* in,
                                               unsigned int inLen, unsigned int& outLen);

    // The bytes that a JSON string holds. out, to be null on entry, becomes a block that the caller gives
    // back with QUOR_BASE64Free whenever it is not null, also after a failure.
    static unsigned int AiUtilityDecodeBase64(cJSON* item, unsigned char*& out, int& outLen);

    // Name "authAccount" and the base64 of account, read up to its terminator or maxAccountLen bytes.
    static unsigned int GenerateHeaderAccount(tagHTTP_HEADER& header, const char* account,
                                              unsigned int maxAccountLen);

    // Name "authPassword" and the base64 of the password that sealedPwd opens to, which is read up to its
    // terminator, maxLen or 1024 bytes. The value is a secret that the caller wipes, after a failure as well.
    // Nothing else of the password is left anywhere.
    static unsigned int GenerateHeaderPwd(tagHTTP_HEADER& header, const char* sealedPwd, unsigned int maxLen);

private:
    friend class HttpProtocolTestAccess;

    // Fills config as GetConfigParam does and, on success, tls with what config refers to.
    unsigned int FillConfigParam(tagHTTP_S_CONFIG_PARAM& config, tagHTTP_S_TLS_PARAM& tls);

    // The steps that touch m_pstTlsPram, each under the lock.
    static bool MallocTlsParam();
    static bool FreeTlsParam();
    static tagHTTP_S_TLS_PARAM* TlsParam();
    static bool StoreTlsParam(const tagHTTP_S_TLS_PARAM& tls);

    // Opens a sealed password and encodes it. Logs as GenerateHeaderPwd, whose middle it is.
    static unsigned int EncodePassword(WipedText& encoded, const char* sealedPwd, unsigned int sealedLen);

    unsigned int m_firstTimeout = 0;   // seconds, to the record's first field
    unsigned int m_secondTimeout = 0;  // seconds, passed nowhere
    unsigned int m_thirdTimeout = 0;   // seconds, to the record's second field

    static std::atomic<unsigned int> m_httpInitCnt;
    // On the accounted heap, from the first init to the last uninit. Written and read under a lock of the
    // source.
    static tagHTTP_S_TLS_PARAM* m_pstTlsPram;
};

}  // namespace QuorAiEngine

#endif
