// dns_server.h - a real DNS server on a free port of 127.0.0.1: dnsmasq with nothing but the records of a
// test.
#ifndef QUOR_TESTS_PLATFORM_LINUX_DNS_SERVER_H
#define QUOR_TESTS_PLATFORM_LINUX_DNS_SERVER_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "quor_platform_linux/host.h"
#include "tests/platform_linux/support/temporary_folder.h"

// A UDP port of 127.0.0.1 on which nobody answers.
class SilentDnsPort {
public:
    SilentDnsPort() : m_socket(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        if (bind(m_socket, reinterpret_cast<sockaddr*>(&address), size) == 0 &&
            getsockname(m_socket, reinterpret_cast<sockaddr*>(&address), &size) == 0) {
            m_port = ntohs(address.sin_port);
        }
    }
    ~SilentDnsPort() { close(m_socket); }
    SilentDnsPort(const SilentDnsPort&) = delete;
    SilentDnsPort& operator=(const SilentDnsPort&) = delete;
    std::string Server() const { return "127.0.0.1:" + std::to_string(m_port); }

    // Waits until so many sockets have asked; every look-up has one of its own. False: not within a minute.
    bool AskedFrom(std::size_t sockets) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
        while (m_askers.size() < sockets && std::chrono::steady_clock::now() < end) {
            TakeOne();
        }
        return m_askers.size() >= sockets;
    }

private:
    void TakeOne() {
        pollfd wait{m_socket, POLLIN, 0};
        sockaddr_in asker{};
        socklen_t size = sizeof asker;
        char question[512];
        if (poll(&wait, 1, 1000) == 1 && recvfrom(m_socket, question, sizeof question, MSG_DONTWAIT,
                                                  reinterpret_cast<sockaddr*>(&asker), &size) >= 0) {
            m_askers.insert(ntohs(asker.sin_port));
        }
    }

    int m_socket;
    unsigned int m_port = 0;
    std::set<unsigned int> m_askers;
};

class DnsServer {
public:
    // dnsmasq's options for records: "--host-record=name,192.0.2.1",
    // "--srv-host=_https._tcp.name,target,443,10,5". Of names under "test" there are no others, and nobody
    // else is asked.
    explicit DnsServer(const std::vector<std::string>& records) {
        // Another process may take the port that was free a moment ago.
        for (int attempt = 0; attempt < 5 && !m_running && access(kProgram, X_OK) == 0; ++attempt) {
            m_server = SilentDnsPort().Server();
            m_running = Start(records);
        }
    }
    ~DnsServer() { End(); }
    DnsServer(const DnsServer&) = delete;
    DnsServer& operator=(const DnsServer&) = delete;

    // As quor_platform::DnsSettings wants it.
    const std::string& Server() const { return m_server; }

    // Makes the platform ask this server, once for each question however long the answer takes: tests count
    // questions. False: it is not installed or did not start.
    bool Use() const {
        quor_platform::DnsSettings settings;
        settings.servers = {m_server};
        settings.attempts = 1;
        settings.attemptTimeout = settings.totalTimeout = std::chrono::minutes(1);
        quor_platform::SetDnsSettings(settings);
        return m_running;
    }

    // How often it was asked for records of this type ("A", "AAAA", "SRV") of this name.
    std::size_t Queries(const std::string& type, const std::string& name) const {
        const std::string log = TemporaryFolder::Read(LogFile());
        const std::string mark = "query[" + type + "] " + name + " ";
        std::size_t count = 0;
        for (std::size_t at = log.find(mark); at != std::string::npos; at = log.find(mark, at + 1)) {
            ++count;
        }
        return count;
    }

    // Whether a test may be skipped for want of the server. Continuous integration has it.
    static bool MayBeMissing() {
        // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing here changes the environment
        return std::getenv("CI") == nullptr && access(kProgram, X_OK) != 0;
    }

private:
    static constexpr char kProgram[] = "/usr/sbin/dnsmasq";

    std::string LogFile() const { return m_folder.File("log"); }

    // True: it listens.
    bool Start(const std::vector<std::string>& records) {
        std::vector<std::string> words = {kProgram,
                                          "--keep-in-foreground",
                                          "--conf-file=/dev/null",
                                          "--no-resolv",
                                          "--no-hosts",
                                          "--bind-interfaces",
                                          "--listen-address=127.0.0.1",
                                          "--local=/test/",
                                          "--port=" + m_server.substr(m_server.find(':') + 1),
                                          "--log-queries",
                                          "--log-facility=" + LogFile(),
                                          "--pid-file=",
                                          "--user=",
                                          "--group="};
        words.insert(words.end(), records.begin(), records.end());
        std::vector<char*> arguments;
        arguments.reserve(words.size() + 1);
        for (std::string& word : words) {
            arguments.push_back(word.data());
        }
        arguments.push_back(nullptr);
        if (posix_spawn(&m_process, kProgram, nullptr, nullptr, arguments.data(), environ) != 0) {
            m_process = -1;
            return false;
        }
        while (TemporaryFolder::Read(LogFile()).find(": started, version") == std::string::npos) {
            if (waitpid(m_process, nullptr, WNOHANG) == m_process) {
                m_process = -1;
                return false;
            }
            std::this_thread::yield();
        }
        return true;
    }

    void End() {
        if (m_process > 0) {
            kill(m_process, SIGKILL);
            waitpid(m_process, nullptr, 0);
        }
    }

    TemporaryFolder m_folder;
    std::string m_server;
    pid_t m_process = -1;
    bool m_running = false;
};

#endif
