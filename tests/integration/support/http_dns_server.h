// http_dns_server.h - a real DNS server for a test: dnsmasq on a free port of the loopback interface, which
// knows the names given and no others, and asks nobody else.
#ifndef QUOR_TESTS_INTEGRATION_HTTP_DNS_SERVER_H
#define QUOR_TESTS_INTEGRATION_HTTP_DNS_SERVER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/platform_linux/support/temporary_folder.h"
#include "tests/terminal/process.h"

namespace quor_test {

// Everything below it is known here or does not exist.
inline constexpr char kDnsZone[] = "quor.test";

struct ServiceEntry {
    std::string name;  // the service is _https._tcp.<name>
    std::string target;
    unsigned int priority = 10;
};

struct DnsZone {
    std::vector<std::string> hosts;  // "name,address": A or AAAA records, by the address
    std::vector<ServiceEntry> services;
};

class DnsServer {
public:
    // Throws std::runtime_error when dnsmasq does not come up.
    explicit DnsServer(const DnsZone& zone);
    DnsServer(const DnsServer&) = delete;
    DnsServer& operator=(const DnsServer&) = delete;

    static bool IsInstalled();

    // As quor_platform::DnsSettings wants it.
    std::string Address() const { return "127.0.0.1:" + std::to_string(m_port); }
    // How often it was asked for records of this type ("A", "AAAA", "SRV") of this name.
    std::size_t Queries(const std::string& type, const std::string& name) const;

private:
    bool Start(const DnsZone& zone);
    std::string LogFile() const { return m_folder.File("log"); }

    TemporaryFolder m_folder;
    std::uint16_t m_port = 0;
    quor_terminal::Process m_process;
};

}  // namespace quor_test

#endif
