#include "support/http_dns_server.h"

#include <unistd.h>

#include <stdexcept>

#include "support/http_sockets.h"

namespace quor_test {

namespace {

// Another process may take the port that was free a moment ago.
constexpr int kAttempts = 5;
// The port belongs to the record that a service look-up gives; nobody uses it.
constexpr char kServicePort[] = "443";

std::vector<std::string> CommandLine(const DnsZone& zone, std::uint16_t port, const std::string& logFile) {
    std::vector<std::string> command = {QUOR_DNSMASQ,
                                        "--no-daemon",
                                        "--conf-file=/dev/null",
                                        "--no-resolv",
                                        "--no-hosts",
                                        "--bind-interfaces",
                                        "--listen-address=127.0.0.1",
                                        "--port=" + std::to_string(port),
                                        "--log-queries",
                                        "--log-facility=" + logFile,
                                        "--local=/" + std::string(kDnsZone) + "/"};
    for (const std::string& host : zone.hosts) {
        command.push_back("--host-record=" + host);
    }
    for (const ServiceEntry& service : zone.services) {
        command.push_back("--srv-host=_https._tcp." + service.name + "," + service.target + "," +
                          kServicePort + "," + std::to_string(service.priority) + ",1");
    }
    return command;
}

}  // namespace

bool DnsServer::IsInstalled() {
    return access(QUOR_DNSMASQ, X_OK) == 0;
}

DnsServer::DnsServer(const DnsZone& zone) {
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        if (Start(zone)) {
            return;
        }
    }
    throw std::runtime_error("dnsmasq does not start: " +
                             quor_terminal::ReadWholeFile(m_folder.File("errors")));
}

bool DnsServer::Start(const DnsZone& zone) {
    m_port = FreeDnsPort();
    m_process.Start(CommandLine(zone, m_port, LogFile()), m_folder.File("output"), m_folder.File("errors"));
    bool listening = false;
    quor_terminal::WaitUntil([&] {
        listening = quor_terminal::ReadWholeFile(LogFile()).find(": started, version") != std::string::npos;
        return listening || !m_process.Running();
    });
    return listening;
}

std::size_t DnsServer::Queries(const std::string& type, const std::string& name) const {
    const std::string log = quor_terminal::ReadWholeFile(LogFile());
    const std::string mark = "query[" + type + "] " + name + " ";
    std::size_t count = 0;
    for (std::size_t at = log.find(mark); at != std::string::npos; at = log.find(mark, at + 1)) {
        ++count;
    }
    return count;
}

}  // namespace quor_test
