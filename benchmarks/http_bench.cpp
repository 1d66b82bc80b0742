// http_bench.cpp - what HTTP requests cost through the library and the Linux platform, against libcurl and
// cJSON used directly. The servers are two quor-simulators in processes of their own.
//
// Roads: "list", the participants of a conference with 1,600 people, eight pages on one kept connection, from
// the call to the observer's Update; "flight", 200 requests for a sign-in list at a time.
//
// Without arguments: times both sides in turns and prints the ratios. With "count ROAD N": runs one road N
// times and nothing else, for an instruction counter; the difference between two N divides out the start of
// the program. "floor ROAD PORT CA-FILE" is how the program starts the other side for itself.
#include <curl/curl.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <functional>
#include <iostream>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "benchmarks/http_children.h"
#include "benchmarks/http_floor.h"
#include "quor_ai/ai_http_adapter.h"
#include "quor_platform_linux/host.h"

namespace {

using Clock = std::chrono::steady_clock;
using QuorAiEngine::AiHttpAdapter;

constexpr unsigned int kPeople = 1600;
constexpr unsigned int kFlight = 200;

// Counts results, and what they hold.
class CountingObserver final : public QuorAiEngine::ICloudSrvObserver {
public:
    void Update(const TagAiCloudSrvResult& result) override {
        // Whole lists only: each of both records has its count where the other one has it not.
        const std::size_t at = result.id == AI_SUB_ID_QUERY_CONF_LIST ? offsetof(TagQuorAiConfList, siteCount)
                                                                      : offsetof(TagQuorAiGetSignIn, count);
        unsigned int entries = 0;
        std::memcpy(&entries, result.data + at, sizeof entries);
        const std::lock_guard<std::mutex> lock(m_mutex);
        ++m_results;
        m_entries += entries;
        m_changed.notify_one();
    }
    // The entries of so many results.
    unsigned int Take(unsigned int results) {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (!m_changed.wait_for(lock, std::chrono::seconds(60), [&] { return m_results >= results; })) {
            throw std::runtime_error("results are missing");
        }
        m_results = 0;
        return std::exchange(m_entries, 0);
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    unsigned int m_results = 0;
    unsigned int m_entries = 0;
};

void Check(bool good, const char* what) {
    if (!good) {
        throw std::runtime_error(std::string(what) + " failed");
    }
}

template <std::size_t capacity>
void SetText(char (&field)[capacity], std::string_view text) {
    field[text.copy(field, capacity - 1)] = '\0';
}

// The library's side.
class Library {
public:
    explicit Library(const bench::Server& server) : m_port(server.Port()) {
        quor_platform::SetLogLevel(1);
        quor_platform::TlsSettings tls;
        tls.caFile = server.CaFile();
        quor_platform::SetTlsSettings(tls);
        quor_platform::SetTokenSource([](std::string& token) {
            token = "token";
            return 0;
        });
        Adapter().Attach(m_observer);
        Check(Adapter().CloudHttpInit() == 0, "CloudHttpInit");
    }
    ~Library() {
        Adapter().CloudHttpUninit();
        Adapter().Detach(m_observer.get());
        quor_platform::Shutdown();
    }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    void QueryList() {
        TagQuorAiKelInfo query = {};
        SetText(query.serverAddr, "127.0.0.1");
        query.serverPort = m_port;
        SetText(query.confId, "conf-1");
        SetText(query.token, "token");
        Check(Adapter().CloudQueryConfList(&query) == 0 && m_observer->Take(1) == kPeople, "a list");
    }
    void QueryFlight() {
        TagQuorAiQuerySignIn query = {};
        SetText(query.serverAddr, "127.0.0.1");
        query.serverPort = m_port;
        SetText(query.confId, "conf-1");
        query.size = kQuorAiSignInMax;
        for (unsigned int i = 0; i < kFlight; ++i) {
            Check(Adapter().CloudQuerySignInInfo(query) == 0, "a sign-in query");
        }
        Check(m_observer->Take(kFlight) == kFlight * kQuorAiSignInMax, "a sign-in list");
    }

private:
    static AiHttpAdapter& Adapter() { return *AiHttpAdapter::GetInstance(); }

    const unsigned int m_port;
    std::shared_ptr<CountingObserver> m_observer = std::make_shared<CountingObserver>();
};

std::function<void()> LibraryRoad(std::string_view name, const bench::Server& server) {
    const auto library = std::make_shared<Library>(server);
    if (name == "list") {
        return [library] { library->QueryList(); };
    }
    return [library] { library->QueryFlight(); };
}

std::function<void()> FloorRoad(std::string_view name, unsigned int port, const std::string& caFile) {
    curl_global_init(CURL_GLOBAL_DEFAULT);
    if (name == "list") {
        const auto floor = std::make_shared<bench::ListFloor>(port, caFile);
        return [floor] { Check(floor->Query() == kPeople, "a list of the floor"); };
    }
    const auto floor = std::make_shared<bench::FlightFloor>(port, caFile);
    return [floor] { Check(floor->Query(kFlight) == kFlight, "a flight of the floor"); };
}

double TimeOnce(const std::function<void()>& road) {
    const auto start = Clock::now();
    road();
    const std::chrono::duration<double, std::micro> elapsed = Clock::now() - start;
    return elapsed.count();
}

// Runs the road once for each line of standard input and answers with the time in microseconds.
int ServeFloor(std::string_view name, unsigned int port, const std::string& caFile) {
    const auto road = FloorRoad(name, port, caFile);
    for (std::string line; std::getline(std::cin, line);) {
        std::printf("%f\n", TimeOnce(road));
        std::fflush(stdout);
    }
    return 0;
}

double Median(std::vector<double> samples) {
    std::sort(samples.begin(), samples.end());
    return samples[samples.size() / 2];
}

// The server's conferences: a small one for many requests at a time, which otherwise measure the server.
unsigned int PeopleOf(std::string_view name) {
    return name == "list" ? kPeople : kQuorAiSignInMax;
}

// Meant for a quiet machine.
constexpr double kMostListRatio = 1.45;
constexpr double kLeastThroughput = 0.85;  // of the flight, of the floor's

// Both sides in turns, so that a slow moment of the machine falls on both; connections are kept from turn to
// turn.
void PrintRatio(const char* program, const std::string& name) {
    constexpr int kRounds = 41;
    const bench::Server server(PeopleOf(name));
    const bench::Server floorServer(PeopleOf(name));  // each of its own: a server has 256 connections at most
    const auto road = LibraryRoad(name, server);
    const bench::Child floor(
        {program, "floor", name, std::to_string(floorServer.Port()), floorServer.CaFile()});
    std::vector<double> roadSamples;
    std::vector<double> floorSamples;
    for (int i = 0; i < kRounds; ++i) {
        roadSamples.push_back(TimeOnce(road));
        floor.Write("\n");
        floorSamples.push_back(std::stod(floor.ReadLine()));
    }
    const double roadTime = Median(roadSamples);
    const double floorTime = Median(floorSamples);
    const double ratio = roadTime / floorTime;
    std::printf("time %-10s %11.0f us  floor %11.0f us  ratio %.3f  throughput %.3f", name.c_str(), roadTime,
                floorTime, ratio, 1 / ratio);
    if (name == "list") {
        std::printf("  target %.2f %s\n", kMostListRatio, ratio <= kMostListRatio ? "met" : "MISSED");
    } else {
        std::printf("  target %.2f %s\n", kLeastThroughput, 1 / ratio >= kLeastThroughput ? "met" : "MISSED");
    }
}

int Usage() {
    std::fputs("usage: http_bench [count list|list-floor|flight|flight-floor N]\n", stderr);
    return 2;
}

int Count(std::string name, std::string_view number) {
    unsigned int repetitions = 0;
    const auto parsed = std::from_chars(number.data(), number.data() + number.size(), repetitions);
    const std::size_t suffix = name.find("-floor");
    const bool isFloor = suffix != std::string::npos;
    name.resize(std::min(suffix, name.size()));
    if (parsed.ec != std::errc{} || (name != "list" && name != "flight")) {
        return Usage();
    }
    const bench::Server server(PeopleOf(name));
    const auto road = isFloor ? FloorRoad(name, server.Port(), server.CaFile()) : LibraryRoad(name, server);
    for (unsigned int i = 0; i < repetitions; ++i) {
        road();
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        const std::vector<std::string> arguments(argv + 1, argv + argc);
        if (arguments.size() == 3 && arguments[0] == "count") {
            return Count(arguments[1], arguments[2]);
        }
        if (arguments.size() == 4 && arguments[0] == "floor") {
            return ServeFloor(arguments[1], static_cast<unsigned int>(std::stoul(arguments[2])),
                              arguments[3]);
        }
        if (!arguments.empty()) {
            return Usage();
        }
        PrintRatio("/proc/self/exe", "list");
        PrintRatio("/proc/self/exe", "flight");
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "http_bench: %s\n", error.what());
        return 1;
    }
}
