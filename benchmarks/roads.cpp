#include "benchmarks/roads.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstring>

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
    std::printf("time %-10.*s %11.0f ns  floor %11.0f ns  ratio %.3f\n",
                static_cast<int>(pair.road.name.size()), pair.road.name.data(), roadTime, floorTime,
                roadTime / floorTime);
}

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
