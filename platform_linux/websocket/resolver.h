// resolver.h - name resolution that never keeps a link waiting beyond its time.
//
// The system's resolver cannot be interrupted. Each lookup therefore runs on a thread of its own that nobody
// joins: abandoning a lookup costs nothing, and its thread ends when the system gives up. Their number is
// limited, so that a dead name service cannot pile up threads.
#ifndef QUOR_PLATFORM_LINUX_WEBSOCKET_RESOLVER_H
#define QUOR_PLATFORM_LINUX_WEBSOCKET_RESOLVER_H

#include <sys/socket.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace quor_platform::internal {

// The TCP addresses of a host in the order in which they should be tried; port filled in.
struct ResolvedHost {
    std::vector<sockaddr_storage> addresses;
    int systemError = 0;  // errno, or 0
    std::string text;     // why addresses is empty
};

// Whether host is an address; then the result holds it and no lookup is needed.
bool ResolveNumeric(const std::string& host, std::uint16_t port, ResolvedHost* result);

class Lookup {
public:
    // Runs on the lookup's own thread; not after Abandon returned.
    using Done = std::function<void(ResolvedHost result)>;

    // Null: too many lookups hang already or no thread can be made; *error says which.
    static std::shared_ptr<Lookup> Start(const std::string& host, std::uint16_t port, Done done,
                                         std::string* error);
    virtual ~Lookup() = default;
    // Waits for a done that runs already; callable from any thread but from done.
    virtual void Abandon() = 0;
};

}  // namespace quor_platform::internal

#endif
