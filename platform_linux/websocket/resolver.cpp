#include "platform_linux/websocket/resolver.h"

#include <netdb.h>
#include <netinet/in.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

#include "platform_linux/platform_thread.h"
#include "platform_linux/thread_annotations.h"

namespace quor_platform::internal {
namespace {

constexpr int kMaxLookups = 16;
std::atomic<int> runningLookups{0};

ResolvedHost Resolve(const std::string& host, std::uint16_t port, int flags) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = flags | AI_NUMERICSERV;
    addrinfo* found = nullptr;
    ResolvedHost result;
    const int error = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found);
    if (error != 0) {
        result.systemError = error == EAI_SYSTEM ? errno : 0;
        result.text =
            error == EAI_SYSTEM ? std::system_category().message(result.systemError) : gai_strerror(error);
        return result;
    }
    for (const addrinfo* entry = found; entry != nullptr; entry = entry->ai_next) {
        if (entry->ai_addrlen <= sizeof(sockaddr_storage)) {
            sockaddr_storage address{};
            std::memcpy(&address, entry->ai_addr, entry->ai_addrlen);
            result.addresses.push_back(address);
        }
    }
    freeaddrinfo(found);
    return result;
}

class ThreadLookup final : public Lookup {
public:
    explicit ThreadLookup(Done done) : m_done(std::move(done)) {}

    void Abandon() override {
        MutexLock lock(m_mutex);
        m_done = nullptr;
    }

    void Finish(ResolvedHost result) {
        MutexLock lock(m_mutex);
        if (m_done) {
            std::exchange(m_done, nullptr)(std::move(result));
        }
    }

private:
    Mutex m_mutex;
    Done m_done QUOR_GUARDED_BY(m_mutex);
};

}  // namespace

bool ResolveNumeric(const std::string& host, std::uint16_t port, ResolvedHost* result) {
    *result = Resolve(host, port, AI_NUMERICHOST);
    return !result->addresses.empty();
}

std::shared_ptr<Lookup> Lookup::Start(const std::string& host, std::uint16_t port, Done done,
                                      std::string* error) {
    if (runningLookups.fetch_add(1) >= kMaxLookups) {
        --runningLookups;
        *error = "the name service does not answer; too many lookups wait for it";
        return nullptr;
    }
    const auto lookup = std::make_shared<ThreadLookup>(std::move(done));
    try {
        StartThread("quor-lookup", [lookup, host, port] {
            lookup->Finish(Resolve(host, port, 0));
            --runningLookups;
        }).detach();
    } catch (const std::system_error& failure) {
        --runningLookups;
        *error = failure.what();
        return nullptr;
    }
    return lookup;
}

}  // namespace quor_platform::internal
