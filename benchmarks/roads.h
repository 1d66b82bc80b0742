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

// A road, the floor that it is measured against, and how often each runs for one sample. target: how many
// times the floor's time the road is meant to take at most on a quiet machine; 0: only instructions are
// judged.
struct Pair {
    Road road;
    Road floor;
    unsigned int repetitions;
    double target = 0;
};

// The same road on one of eleven threads after the other, as the library's workers run theirs: each has its
// own part of the heap and finds it cold. Only the work differs then.
std::function<void()> OnWorkers(std::function<void()> run);

double Median(std::vector<double> samples);

// Without arguments: times both roads of each pair in turns and prints the ratios. With "count ROAD N": runs
// that road N times and nothing else, for an instruction counter; the difference between two N divides out
// the start of the program. Anything else prints the usage. Returns the program's exit code.
int Main(const std::vector<Pair>& pairs, int argc, char** argv);

}  // namespace bench

#endif
