/*
 * https_client.h - an HTTP client over TLS for the simulator's tests that sends exactly the bytes it is told
 * to and shows what came back. It shares no code with the simulator.
 *
 * Threads: one thread at a time. Every operation ends within kPatience or reports a failure.
 */
#ifndef QUOR_TESTS_SIMULATOR_HTTPS_CLIENT_H
#define QUOR_TESTS_SIMULATOR_HTTPS_CLIENT_H

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "raw_client.h"

namespace quor_test {

struct HttpReply {
    bool whole = false;      /* head and body are complete */
    unsigned int status = 0; /* 0: not even the head is complete */
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body; /* as much as arrived */

    std::string Header(const std::string& name) const; /* exact letter case; empty if absent */
};

/* How a connection ended. */
enum class StreamEnd {
    kOrderly, /* TLS close_notify */
    kCut,     /* end of the TCP stream without one */
    kReset,
    kOpen, /* not at all */
};

class HttpsClient {
public:
    HttpsClient();
    ~HttpsClient();
    HttpsClient(const HttpsClient&) = delete;
    HttpsClient& operator=(const HttpsClient&) = delete;

    /* host: what the certificate must carry. */
    bool Connect(std::uint16_t port, const std::string& caFile, const std::string& address = "127.0.0.1",
                 const std::string& host = "127.0.0.1");
    bool Send(const std::string& bytes);
    HttpReply Read(std::chrono::milliseconds timeout = kPatience);
    HttpReply Ask(const std::string& bytes) { return Send(bytes) ? Read() : HttpReply(); }
    /* Waits for the end; what arrives before it is thrown away. */
    StreamEnd WaitForEnd(std::chrono::milliseconds timeout = kPatience);
    void Abandon(); /* the TCP connection is gone without a word */
    std::string lastError() const;

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace quor_test

#endif
