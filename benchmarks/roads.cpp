#include "benchmarks/roads.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <semaphore>
#include <thread>
#include <utility>

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;

double TimeOnce(const Road& road, unsigned int repetitions) {
    const auto start = Clock::now();
    for (unsigned int i = 0; i < repetitions; ++i) {
        road.run();
    }
    const std::chrono::duration<double, std::nano> elapsed = Clock::now() - start;
    return elapsed.count() / repetitions;
}

// Both roads in turns, so that a slow moment of the machine falls on both.
void PrintRatio(const Pair& pair) {
    constexpr int kRounds = 41;
    std::vector<double> roadSamples;
    std::vector<double> floorSamples;
    for (int i = 0; i < kRounds; ++i) {
        roadSamples.push_back(TimeOnce(pair.road, pair.repetitions));
        floorSamples.push_back(TimeOnce(pair.floor, pair.repetitions));
    }
    const double roadTime = Median(roadSamples);
    const double floorTime = Median(floorSamples);
    const double ratio = roadTime / floorTime;
    std::printf("time %-10.*s %11.0f ns  floor %11.0f ns  ratio %.3f",
                static_cast<int>(pair.road.name.size()), pair.road.name.data(), roadTime, floorTime, ratio);
    if (pair.target > 0) {
        std::printf("  target %.2f %s", pair.target, ratio <= pair.target ? "met" : "MISSED");
    }
    std::printf("\n");
}

class Worker {
public:
    explicit Worker(const std::function<void()>& run) : m_thread([this, &run] { Work(run); }) {}
    ~Worker() {
        m_ending = true;
        m_begin.release();
        m_thread.join();
    }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    void RunOnce() {
        m_begin.release();
        m_ended.acquire();
    }

private:
    void Work(const std::function<void()>& run) {
        for (m_begin.acquire(); !m_ending; m_begin.acquire()) {
            run();
            m_ended.release();
        }
    }

    std::atomic<bool> m_ending{false};
    std::binary_semaphore m_begin{0};
    std::binary_semaphore m_ended{0};
    std::thread m_thread;
};

struct Workers {
    explicit Workers(std::function<void()> work) : run(std::move(work)) {
        constexpr int kWorkers = 11;
        for (int i = 0; i < kWorkers; ++i) {
            workers.push_back(std::make_unique<Worker>(run));
        }
    }

    const std::function<void()> run;
    std::vector<std::unique_ptr<Worker>> workers;
    std::size_t next = 0;
};

int Usage(const char* program) {
    std::fprintf(stderr, "usage: %s [count ROAD N]\n", program);
    return 2;
}

}  // namespace

double Median(std::vector<double> samples) {
    const auto middle = samples.begin() + static_cast<std::ptrdiff_t>(samples.size() / 2);
    std::nth_element(samples.begin(), middle, samples.end());
    return *middle;
}

std::function<void()> OnWorkers(std::function<void()> run) {
    const auto workers = std::make_shared<Workers>(std::move(run));
    return [workers] { workers->workers[workers->next++ % workers->workers.size()]->RunOnce(); };
}

int Main(const std::vector<Pair>& pairs, int argc, char** argv) {
    if (argc == 1) {
        for (const Pair& pair : pairs) {
            PrintRatio(pair);
        }
        return 0;
    }
    unsigned int repetitions = 0;
    if (argc != 4 || std::string_view(argv[1]) != "count" ||
        std::from_chars(argv[3], argv[3] + std::strlen(argv[3]), repetitions).ec != std::errc{}) {
        return Usage(argv[0]);
    }
    for (const Pair& pair : pairs) {
        for (const Road* road : {&pair.road, &pair.floor}) {
            if (road->name == argv[2]) {
                TimeOnce(*road, repetitions);
                return 0;
            }
        }
    }
    return Usage(argv[0]);
}

}  // namespace bench
