#include "tests/platform_linux/http/http_peer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace quor_test {
namespace {

int Listen(const std::string& address, int backlog, unsigned int* port) {
    const bool six = address.find(':') != std::string::npos;
    sockaddr_storage storage{};
    socklen_t size = 0;
    if (six) {
        auto* to = reinterpret_cast<sockaddr_in6*>(&storage);
        to->sin6_family = AF_INET6;
        inet_pton(AF_INET6, address.c_str(), &to->sin6_addr);
        size = sizeof *to;
    } else {
        auto* to = reinterpret_cast<sockaddr_in*>(&storage);
        to->sin_family = AF_INET;
        inet_pton(AF_INET, address.c_str(), &to->sin_addr);
        size = sizeof *to;
    }
    const int listener = socket(six ? AF_INET6 : AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (listener < 0 || bind(listener, reinterpret_cast<sockaddr*>(&storage), size) != 0 ||
        listen(listener, backlog) != 0 ||
        getsockname(listener, reinterpret_cast<sockaddr*>(&storage), &size) != 0) {
        throw std::runtime_error("cannot listen on " + address);
    }
    *port = ntohs(six ? reinterpret_cast<sockaddr_in6*>(&storage)->sin6_port
                      : reinterpret_cast<sockaddr_in*>(&storage)->sin_port);
    return listener;
}

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

void ParseHead(PeerRequest* request) {
    const std::string& head = request->head;
    const std::size_t first = head.find(' ');
    const std::size_t second = head.find(' ', first + 1);
    request->method = head.substr(0, first);
    request->target = head.substr(first + 1, second - first - 1);
    for (std::size_t at = head.find("\r\n") + 2; at < head.size();) {
        const std::size_t end = head.find("\r\n", at);
        const std::size_t colon = head.find(':', at);
        if (colon < end) {
            std::size_t value = colon + 1;
            value += value < end && head[value] == ' ' ? 1U : 0U;
            request->headers[Lower(head.substr(at, colon - at))] = head.substr(value, end - value);
        }
        at = end == std::string::npos ? head.size() : end + 2;
    }
}

}  // namespace

HttpConnection::HttpConnection(int socket, SSL_CTX* tls) : m_socket(socket), m_ssl(SSL_new(tls)) {
    SSL_set_fd(m_ssl, m_socket);
}

HttpConnection::~HttpConnection() {
    SSL_free(m_ssl);
}

bool HttpConnection::Handshake() {
    return SSL_accept(m_ssl) == 1;
}

bool HttpConnection::Fill() {
    char bytes[16384];
    const int count = SSL_read(m_ssl, bytes, sizeof bytes);
    if (count <= 0) {
        return false;
    }
    m_buffer.append(bytes, static_cast<std::size_t>(count));
    return true;
}

bool HttpConnection::Read(PeerRequest* request) {
    *request = PeerRequest{};
    std::size_t end = std::string::npos;
    while ((end = m_buffer.find("\r\n\r\n")) == std::string::npos) {
        if (!Fill()) {
            return false;
        }
    }
    request->head = m_buffer.substr(0, end + 2);
    m_buffer.erase(0, end + 4);
    ParseHead(request);
    const auto length = request->headers.find("content-length");
    const std::size_t size = length == request->headers.end() ? 0 : std::stoul(length->second);
    while (m_buffer.size() < size) {
        if (!Fill()) {
            return false;
        }
    }
    request->body = m_buffer.substr(0, size);
    m_buffer.erase(0, size);
    return true;
}

bool HttpConnection::Answer(unsigned int status, const std::string& body, const std::string& moreHeaders) {
    return Write("HTTP/1.1 " + std::to_string(status) + " Text\r\n" + moreHeaders +
                 (status == 204 ? "" : "Content-Length: " + std::to_string(body.size()) + "\r\n") + "\r\n" +
                 body);
}

bool HttpConnection::Write(std::string_view bytes) {
    while (!bytes.empty()) {
        const int count = SSL_write(m_ssl, bytes.data(), static_cast<int>(bytes.size()));
        if (count <= 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

void HttpConnection::AnswerUnread(std::string_view bytes) {
    if (Write(bytes)) {
        pollfd wait{m_socket, POLLRDHUP, 0};
        poll(&wait, 1, -1);
    }
}

void HttpConnection::Finish() {
    SSL_shutdown(m_ssl);
}

void HttpConnection::WaitForEnd() {
    while (Fill()) {
    }
}

std::string HttpConnection::ServerName() const {
    const char* const name = SSL_get_servername(m_ssl, TLSEXT_NAMETYPE_host_name);
    return name == nullptr ? "" : name;
}

HttpPeer::HttpPeer(std::shared_ptr<SSL_CTX> tls, Script script, std::string address)
    : m_tls(std::move(tls)), m_script(std::move(script)), m_address(std::move(address)) {
    m_listener = Listen(m_address, 128, &m_port);
    m_thread = std::thread([this] { Run(); });
}

HttpPeer::~HttpPeer() {
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_stopping = true;
        shutdown(m_listener, SHUT_RDWR);
        for (const int socket : m_sockets) {
            shutdown(socket, SHUT_RDWR);
        }
    }
    m_thread.join();
    for (std::thread& talk : m_talks) {
        talk.join();
    }
    close(m_listener);
}

std::string HttpPeer::Url(const std::string& path) const {
    const bool six = m_address.find(':') != std::string::npos;
    return "https://" + (six ? "[" + m_address + "]" : m_address) + ":" + std::to_string(m_port) + path;
}

int HttpPeer::Accepted() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_accepted;
}

HttpPeer::Script HttpPeer::Serve(Answers answers) {
    return [answers = std::move(answers)](HttpConnection& connection) {
        PeerRequest request;
        while (connection.Read(&request)) {
            answers(connection, request);
        }
    };
}

HttpPeer::Script HttpPeer::Always(unsigned int status, const std::string& body) {
    return Serve(
        [status, body](HttpConnection& connection, const PeerRequest&) { connection.Answer(status, body); });
}

void HttpPeer::Run() {
    for (;;) {
        const int socket = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (socket < 0 || m_stopping) {
            if (socket >= 0) {
                close(socket);
            }
            return;
        }
        ++m_accepted;
        m_sockets.push_back(socket);
        m_talks.emplace_back([this, socket] { Talk(socket); });
    }
}

void HttpPeer::Talk(int socket) {
    sigset_t pipe;  // only this thread writes where nobody may read; the client has to look after itself
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
    {
        HttpConnection connection(socket, m_tls.get());
        if (connection.Handshake()) {
            m_handshakes.Add();
            m_script(connection);
        }
    }
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::erase(m_sockets, socket);
    close(socket);
}

// The kernel makes the connections; nobody takes them up.
SilentPort::SilentPort() : m_listener(Listen("127.0.0.1", 128, &m_port)) {}

SilentPort::~SilentPort() {
    close(m_listener);
}

std::string SilentPort::Url() const {
    return "https://127.0.0.1:" + std::to_string(m_port) + "/";
}

}  // namespace quor_test
