// tls_client.h - the TLS side of a link: trust, verification and the reasons of failures, on OpenSSL 3.
//
// Threads: functions are callable from any thread; an SSL object belongs to the thread that drives it.
#ifndef QUOR_PLATFORM_LINUX_WEBSOCKET_TLS_CLIENT_H
#define QUOR_PLATFORM_LINUX_WEBSOCKET_TLS_CLIENT_H

#include <openssl/ssl.h>

#include <memory>
#include <string>

#include "quor_platform_linux/host.h"

namespace quor_platform::internal {

using SslContext = std::shared_ptr<SSL_CTX>;

// A client context (TLS 1.2 and newer) that trusts exactly what settings name. Reads the CA file now; the
// files of a CA directory are looked at now and read when a chain is verified. Null with *failure set
// (kSettings) when the trusted certificates are missing, empty or unreadable.
SslContext MakeClientContext(const TlsSettings& settings, Failure* failure);

// Prepares a new connection: server name indication for a host name (addresses have none, RFC 6066), chain
// and name verification unless settings switched it off. No ALPN is offered: a WebSocket needs HTTP/1.1,
// which a server speaks when nothing is negotiated. False: out of memory or an unusable host name.
bool PrepareClient(SSL* ssl, const std::string& host, bool verify);

// The reason of a failed handshake with host. tlsError is the OpenSSL error code that the transport reported,
// or 0.
Failure DescribeTlsFailure(SSL* ssl, const std::string& host, unsigned long tlsError,
                           const std::string& text);

}  // namespace quor_platform::internal

#endif
