#ifndef QVCORE_BENCH_BENCH_H
#define QVCORE_BENCH_BENCH_H

// The benchmarks' one harness: the clocks, the best of alternating rounds, and the row in which
// every figure is printed beside a reference measured in the same run, with the ratio of the two
// and the goal.

#include "qvcore/Platform.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

namespace bench {

// Wall time in seconds, from the performance counter.
inline double wallSeconds()
{
    LARGE_INTEGER now, frequency;
    QueryPerformanceCounter(&now);
    QueryPerformanceFrequency(&frequency);
    return static_cast<double>(now.QuadPart) / static_cast<double>(frequency.QuadPart);
}

// CPU time of the calling thread in seconds, user and kernel (which page faults take): on a
// shared machine the wall clock mostly measures the other processes. It ticks in steps of about
// 10 ms, so a measured run must last far longer.
inline double threadSeconds()
{
    FILETIME created, exited, kernel, user;
    GetThreadTimes(GetCurrentThread(), &created, &exited, &kernel, &user);
    auto ticks = [](const FILETIME &t) {
        return (static_cast<unsigned long long>(t.dwHighDateTime) << 32) | t.dwLowDateTime;
    };
    return static_cast<double>(ticks(kernel) + ticks(user)) / 1e7;
}

// The lowest of `rounds` samples of each measurement (a time, or a cost per call). The rounds
// alternate between the measurements, so that a busy moment of the shared machine does not fall
// on one side only.
inline std::vector<double> lowestOfRounds(int rounds, const std::vector<std::function<double()>> &measurements)
{
    std::vector<double> lowest(measurements.size(), 1e300);
    for (int round = 0; round < rounds; ++round) {
        for (std::size_t m = 0; m < measurements.size(); ++m) {
            double sample = measurements[m]();
            if (sample < lowest[m])
                lowest[m] = sample;
        }
    }
    return lowest;
}

// The best time in seconds of each run, by clock, over alternating rounds. afterEach runs untimed
// after every run (to free what the run made).
inline std::vector<double> bestTimes(int rounds, const std::vector<std::function<void()>> &runs,
                                     double (*clock)() = wallSeconds,
                                     const std::function<void()> &afterEach = nullptr)
{
    std::vector<std::function<double()>> timed;
    for (const std::function<void()> &run : runs) {
        timed.push_back([&run, clock, &afterEach] {
            double start = clock();
            run();
            double seconds = clock() - start;
            if (afterEach)
                afterEach();
            return seconds;
        });
    }
    return lowestOfRounds(rounds, timed);
}

// The positive count given as argument index, or fallback where the command line has none; 0
// after naming the fault on the error stream ("GraphBench: OBJECTS must be a positive count").
inline long long countArgument(int argc, char **argv, int index, long long fallback, const char *program,
                               const char *name)
{
    long long count = argc > index ? std::atoll(argv[index]) : fallback;
    if (count > 0)
        return count;
    std::fprintf(stderr, "%s: %s must be a positive count\n", program, name);
    return 0;
}

// What a figure is held against: a bound on the ratio figure / reference, or on the figure itself.
struct Goal {
    enum Bound { None, RatioAtLeast, RatioAtMost, FigureAtLeast, FigureAtMost };
    Bound bound = None;
    double value = 0;
};

inline Goal ratioAtLeast(double value) { return {Goal::RatioAtLeast, value}; }
inline Goal ratioAtMost(double value) { return {Goal::RatioAtMost, value}; }
inline Goal figureAtLeast(double value) { return {Goal::FigureAtLeast, value}; }
inline Goal figureAtMost(double value) { return {Goal::FigureAtMost, value}; }

// A figure with as many decimals as its size deserves: 12345, 123.4, 1.23, 0.0123.
inline std::string number(double value)
{
    double size = value < 0 ? -value : value;
    char text[64];
    std::snprintf(text, sizeof text, size >= 1000 ? "%.0f" : size >= 100 ? "%.1f" : size >= 1 ? "%.2f" : "%.4f",
                  value);
    return text;
}

// One line: what was measured and its figure, the reference and its figure (same unit, same
// run), the ratio figure / reference, and the goal with "met" or "MISSED" ("no goal" where the
// figure is only observed).
inline void row(const std::string &what, double figure, const std::string &reference, double referenceFigure,
                const std::string &unit, Goal goal = Goal())
{
    // A run shorter than one tick of a coarse clock (the thread clock's 10 ms) measures 0 s and
    // gives an infinite rate: no figure at all, and say so.
    if (!std::isfinite(figure) || !std::isfinite(referenceFigure) || referenceFigure == 0) {
        std::printf("%-44s %9s %-8s  %-36s %9s %-8s  a run was too short for the clock: give it more work\n",
                    what.c_str(), std::isfinite(figure) ? number(figure).c_str() : "-", unit.c_str(),
                    reference.c_str(), std::isfinite(referenceFigure) ? number(referenceFigure).c_str() : "-",
                    unit.c_str());
        return;
    }
    double ratio = figure / referenceFigure;
    std::string verdict = "no goal";
    if (goal.bound != Goal::None) {
        bool onRatio = goal.bound == Goal::RatioAtLeast || goal.bound == Goal::RatioAtMost;
        bool atLeast = goal.bound == Goal::RatioAtLeast || goal.bound == Goal::FigureAtLeast;
        double measured = onRatio ? ratio : figure;
        bool met = atLeast ? measured >= goal.value : measured <= goal.value;
        char bound[32];
        std::snprintf(bound, sizeof bound, "%g", goal.value);
        verdict = std::string("goal: ") + (onRatio ? "ratio " : "") + (atLeast ? "at least " : "at most ") + bound +
                  (onRatio ? "" : " " + unit) + (met ? ", met" : ", MISSED");
    }
    std::printf("%-44s %9s %-8s  %-36s %9s %-8s  ratio %6.3f  %s\n", what.c_str(), number(figure).c_str(),
                unit.c_str(), reference.c_str(), number(referenceFigure).c_str(), unit.c_str(), ratio,
                verdict.c_str());
}

}  // namespace bench

#endif
