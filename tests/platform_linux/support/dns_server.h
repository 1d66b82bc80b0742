// dns_server.h - a real DNS server on a free port of 127.0.0.1: dnsmasq with nothing but the records of a
// test.
#ifndef QUOR_TESTS_PLATFORM_LINUX_DNS_SERVER_H
#define QUOR_TESTS_PLATFORM_LINUX_DNS_SERVER_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "quor_platform/dns.h"
#include "quor_platform_linux/host.h"

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

private:
    int m_socket;
    unsigned int m_port = 0;
};

class DnsServer {
public:
    // dnsmasq's options for records: "--host-record=name,192.0.2.1",
    // "--srv-host=_https._tcp.name,target,443,10,5".
    explicit DnsServer(const std::vector<std::string>& records) {
        const char* const program = "/usr/sbin/dnsmasq";
        if (access(program, X_OK) != 0) {
            return;
        }
        m_server = SilentDnsPort().Server();  // free again now
        std::vector<std::string> words = {program,
                                          "--keep-in-foreground",
                                          "--conf-file=/dev/null",
                                          "--no-resolv",
                                          "--no-hosts",

                                          "--bind-interfaces",
                                          "--listen-address=127.0.0.1",
                                          "--local=/test/",
                                          "--port=" + m_server.substr(m_server.find(':') + 1),
                                          "--log-facility=/dev/null",
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
        if (posix_spawn(&m_process, program, nullptr, nullptr, arguments.data(), environ) != 0) {
            m_process = -1;
        }
    }
    ~DnsServer() {
        if (m_process > 0) {
            kill(m_process, SIGKILL);
            waitpid(m_process, nullptr, 0);
        }
    }
    DnsServer(const DnsServer&) = delete;
    DnsServer& operator=(const DnsServer&) = delete;

    const std::string& Server() const { return m_server; }

    // Makes the platform ask this server, once it answers for name. False: it is not installed or does not
    // start.
    bool Use(const std::string& name) const {
        if (m_process <= 0) {
            return false;
        }
        quor_platform::DnsSettings settings;
        settings.servers = {m_server};
        settings.attemptTimeout = std::chrono::milliseconds(500);
        quor_platform::SetDnsSettings(settings);
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (std::chrono::steady_clock::now() < deadline) {
            QuorNetbDnsAddress address{};
            unsigned int count = 1;
            if (QUOR_NETB_DnsGetIpBySynResolveEx(name.c_str(), 2, &address, &count, 1, 1) == 0) {
                quor_platform::SetDnsSettings(settings);  // forgets the answer
                return true;
            }
            std::this_thread::yield();
        }
        return false;
    }
    // Whether a test may be skipped for want of the server. Continuous integration has it.
    static bool MayBeMissing() {
        // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing here changes the environment
        return std::getenv("CI") == nullptr && access("/usr/sbin/dnsmasq", X_OK) != 0;
    }

private:
    std::string m_server;
    pid_t m_process = -1;
};

#endif
