// kept_connections.h - the connections that blocking requests leave open for the next ones.
//
// Threads: callable from any thread; connections end outside the lock.
#ifndef QUOR_PLATFORM_LINUX_HTTP_KEPT_CONNECTIONS_H
#define QUOR_PLATFORM_LINUX_HTTP_KEPT_CONNECTIONS_H

#include <list>
#include <memory>
#include <string>

#include "platform_linux/http/transfer_loop.h"
#include "platform_linux/http/trust.h"
#include "platform_linux/thread_annotations.h"

namespace quor_platform::internal {

// One loop with at most one connection: libcurl cannot share connections between threads.
struct KeptConnection {
    TransferLoop loop{1};
    std::string key;  // of the exchange that used it
    TrustPointer trust;
};
using KeptConnectionPointer = std::unique_ptr<KeptConnection>;

class KeptConnections {
public:
    // The newest one for key and trust, or a new one. Ends all that were made under other certificates of
    // the same path. Throws std::bad_alloc.
    KeptConnectionPointer Take(const std::string& key, const TrustPointer& trust) QUOR_EXCLUDES(m_mutex);
    // Keeps it, and ends the oldest ones beyond most.
    void Return(KeptConnectionPointer connection, std::size_t most) QUOR_EXCLUDES(m_mutex);
    // What is returned is kept from now on, or ended like all that are kept.
    void Open() QUOR_EXCLUDES(m_mutex);
    void Close() QUOR_EXCLUDES(m_mutex);

private:
    Mutex m_mutex;
    bool m_open QUOR_GUARDED_BY(m_mutex) = false;
    std::list<KeptConnectionPointer> m_newestFirst QUOR_GUARDED_BY(m_mutex);
};

}  // namespace quor_platform::internal

#endif
