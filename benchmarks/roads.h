// roads.h - what the benchmarks without a network share: timing two roads in turns, and running one of them
// for an instruction counter.
#ifndef QUOR_BENCHMARKS_ROADS_H
#define QUOR_BENCHMARKS_ROADS_H

#include <functional>
#include <string_view>
#include <vector>

namespace bench {

struct Road {
    std::string_view name;
    std::function<void()> run;
};

// A road, the floor that it is measured against, and how often each runs for one sample.
struct Pair {
    Road road;
    Road floor;
    unsigned int repetitions;
};

double Median(std::vector<double> samples);

// Without arguments: times both roads of each pair in turns and prints the ratios. With "count ROAD N": runs
// that road N times and nothing else, for an instruction counter; the difference between two N divides out
// the start of the program. Anything else prints the usage. Returns the program's exit code.
int Main(const std::vector<Pair>& pairs, int argc, char** argv);

}  // namespace bench

#endif
