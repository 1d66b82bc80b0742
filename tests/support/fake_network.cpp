// The certificate service, the resolver, random numbers and the time of day; and what the network's parts
// share.
#include "support/fake_network.h"
#include "support/failing_new.h"

#include <arpa/inet.h>
#include <sys/time.h>

#include <algorithm>
#include <cstring>

#include "quor_platform/certificate.h"
#include "quor_platform/key_management.h"
#include "support/fake_platform.h"

namespace QuorTest {

FakeNetwork& Network() {
    static FakeNetwork& network = *new FakeNetwork;  // outlives every static of the library
    return network;
}

void FakeNetwork::Reset() {
    {
        const std::lock_guard<std::mutex> guard(mutex);
        script.clear();
        answer = {};
        onRequest = nullptr;
        holdAnswers = false;
        certPath = "/etc/quor/trusted.pem";
        addresses.clear();
        services.clear();
        addressResult = 0;
        serviceResult = 0;
        reportedCount.reset();
        randoms.clear();
        timeOfDaySec = 1700000000;
        timeOfDayUsec = 123456;
        m_initialised = false;
        m_flights.clear();
    }
    DropRecords();
}

// Headers carry credentials: a later block at the same place must not seem to hold one.
void FakeNetwork::DropRecords() {
    const std::lock_guard<std::mutex> guard(mutex);
    for (HttpRequest& request : requests) {
        for (auto& [name, value] : request.headers) {
            std::fill(value.begin(), value.end(), '\0');
        }
    }
    ++m_generation;
    requests.clear();
    dnsCalls.clear();
    certCalls.clear();
    randomLengths.clear();
}

QuorNetbDnsAddress Ipv4(const std::string& dotted) {
    QuorNetbDnsAddress address{};
    address.type = QUOR_NETB_DNS_ADDRESS_IPV4;
    inet_pton(AF_INET, dotted.c_str(), &address.ipv4);
    return address;
}

CloudDnsRecord Service(const std::string& target, unsigned priority, unsigned weight,
                       const std::string& dotted, unsigned port) {
    CloudDnsRecord record{};
    std::memcpy(record.target, target.data(), target.size());
    record.priority = static_cast<unsigned short>(priority);
    record.weight = static_cast<unsigned short>(weight);
    record.address = Ipv4(dotted);
    record.port = static_cast<unsigned short>(port);
    return record;
}

namespace {

bool IsZero(const void* bytes, std::size_t size) {
    const auto* begin = static_cast<const unsigned char*>(bytes);
    return std::all_of(begin, begin + size, [](unsigned char byte) { return byte == 0; });
}

// Fills table with what was found and counts it; the caller holds the mutex.
template <typename Record>
void Found(const std::vector<Record>& records, Record* table, unsigned* count) {
    const auto filled = std::min<std::size_t>(records.size(), *count);
    std::copy_n(records.begin(), filled, table);
    *count = Network().reportedCount.value_or(static_cast<unsigned>(filled));
}

}  // namespace

}  // namespace QuorTest

using QuorTest::Fake;
using QuorTest::Fn;
using QuorTest::Network;

extern "C" {

unsigned int QuorOmCertGetCertPath(const struct QuorOmCertQuery* query, unsigned int option,
                                   struct QuorOmCertPath* out) {
    const QuorTest::NewsSucceed sheltered;
    const bool fails = Fake().Enter(Fn::CertPath);
    const std::lock_guard<std::mutex> guard(Network().mutex);
    Network().certCalls.push_back({query->usage, query->kind, option, QuorTest::IsZero(out, sizeof(*out))});
    if (fails) {
        return Fake().FailResult(Fn::CertPath);
    }
    std::memcpy(out->path, Network().certPath.c_str(), Network().certPath.size() + 1);
    return 0;
}

unsigned int QUOR_NETB_DnsGetIpBySynResolveEx(const char* host, unsigned int addressKind,
                                              struct QuorNetbDnsAddress* table, unsigned int* count,
                                              unsigned int option1, unsigned int option2) {
    const QuorTest::NewsSucceed sheltered;
    const bool fails = Fake().Enter(Fn::DnsAddress);
    const std::lock_guard<std::mutex> guard(Network().mutex);
    Network().dnsCalls.push_back({false, host, "", "", addressKind, option1, option2, *count,
                                  QuorTest::IsZero(table, *count * sizeof(*table))});
    const unsigned result = fails ? Fake().FailResult(Fn::DnsAddress) : Network().addressResult;
    if (result != 0) {
        *count = 0;
        return result;
    }
    QuorTest::Found(Network().addresses, table, count);
    return 0;
}

unsigned int QUOR_NETB_DnsGetSrvBySynResolveEx(const char* service, const char* protocol, const char* host,
                                               struct CloudDnsRecord* table, unsigned int* count,
                                               unsigned int option1, unsigned int option2) {
    const QuorTest::NewsSucceed sheltered;
    const bool fails = Fake().Enter(Fn::DnsService);
    const std::lock_guard<std::mutex> guard(Network().mutex);
    Network().dnsCalls.push_back({true, host, service, protocol, 0, option1, option2, *count,
                                  QuorTest::IsZero(table, *count * sizeof(*table))});
    const unsigned result = fails ? Fake().FailResult(Fn::DnsService) : Network().serviceResult;
    if (result != 0) {
        *count = 0;
        return result;
    }
    QuorTest::Found(Network().services, table, count);
    return 0;
}

int QuorOmKeymGenRealRandom(unsigned char* out, unsigned int len) {
    const QuorTest::NewsSucceed sheltered;
    const bool fails = Fake().Enter(Fn::Random);
    const std::lock_guard<std::mutex> guard(Network().mutex);
    Network().randomLengths.push_back(len);
    if (fails) {
        return -1;
    }
    std::memset(out, 0x5A, len);
    if (len == sizeof(unsigned) && !Network().randoms.empty()) {
        std::memcpy(out, &Network().randoms.front(), len);
        Network().randoms.pop_front();
    }
    return 0;
}

int __wrap_gettimeofday(timeval* now, void* zone);

int __wrap_gettimeofday(timeval* now, void*) {
    if (Fake().Enter(Fn::TimeOfDay)) {
        return -1;
    }
    const std::lock_guard<std::mutex> guard(Network().mutex);
    now->tv_sec = Network().timeOfDaySec;
    now->tv_usec = Network().timeOfDayUsec;
    return 0;
}

}  // extern "C"
