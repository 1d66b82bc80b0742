// http_peer.h - an HTTPS server whose behaviour a test writes down as a function. It shares no code with the
// transport: plain sockets and OpenSSL's server side.
#ifndef QUOR_TESTS_PLATFORM_LINUX_HTTP_PEER_H
#define QUOR_TESTS_PLATFORM_LINUX_HTTP_PEER_H

#include <openssl/ssl.h>

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "tests/platform_linux/support/gate.h"

namespace quor_test {

struct PeerRequest {
    std::string method;
    std::string target;
    std::map<std::string, std::string> headers;  // names in lower case
    std::string body;
    std::string head;  // as it came
};

// One accepted connection, on a thread of its own.
class HttpConnection {
public:
    HttpConnection(int socket, SSL_CTX* tls);
    ~HttpConnection();
    HttpConnection(const HttpConnection&) = delete;
    HttpConnection& operator=(const HttpConnection&) = delete;

    bool Handshake();
    // False: the client is gone.
    bool Read(PeerRequest* request);
    bool Answer(unsigned int status, const std::string& body, const std::string& moreHeaders = "");
    bool Write(std::string_view bytes);  // below HTTP
    // Answers without looking at what the client says, which stays encrypted outside of the process; until it
    // goes.
    void AnswerUnread(std::string_view bytes);
    void Finish();                   // ends TLS properly
    void WaitForEnd();               // until the client goes
    std::string ServerName() const;  // which name the client asked for, empty for none

private:
    bool Fill();

    int m_socket;
    SSL* m_ssl;
    std::string m_buffer;
};

class HttpPeer {
public:
    using Script = std::function<void(HttpConnection&)>;  // after the handshake

    // Listens on a free port of address and runs script for each connection.
    HttpPeer(std::shared_ptr<SSL_CTX> tls, Script script, std::string address = "127.0.0.1");
    // Ends what still runs.
    ~HttpPeer();
    HttpPeer(const HttpPeer&) = delete;
    HttpPeer& operator=(const HttpPeer&) = delete;

    unsigned int Port() const { return m_port; }
    std::string Url(const std::string& path = "/") const;
    int Accepted() const;                                    // connections on TCP
    int Handshakes() const { return m_handshakes.Value(); }  // of these, with TLS
    // Waits until there were so many handshakes.
    bool ShookHands(int count) const { return m_handshakes.Reached(count); }

    // A script: every request is answered by the function.
    using Answers = std::function<void(HttpConnection&, const PeerRequest&)>;
    static Script Serve(Answers answers);
    static Script Always(unsigned int status, const std::string& body);

private:
    void Run();
    void Talk(int socket);

    std::shared_ptr<SSL_CTX> m_tls;
    Script m_script;
    std::string m_address;
    int m_listener = -1;
    unsigned int m_port = 0;
    mutable std::mutex m_mutex;
    bool m_stopping = false;
    int m_accepted = 0;
    Counter m_handshakes;
    std::vector<int> m_sockets;
    std::vector<std::thread> m_talks;
    std::thread m_thread;
};

// A port of 127.0.0.1 whose connections come about and where nobody ever says a word.
class SilentPort {
public:
    SilentPort();
    ~SilentPort();
    SilentPort(const SilentPort&) = delete;
    SilentPort& operator=(const SilentPort&) = delete;
    std::string Url() const;
    unsigned int Port() const { return m_port; }

private:
    unsigned int m_port = 0;
    int m_listener = -1;
};

}  // namespace quor_test

#endif
