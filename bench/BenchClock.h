#ifndef QVCORE_BENCH_BENCHCLOCK_H
#define QVCORE_BENCH_BENCHCLOCK_H

// The benchmarks' clock: seconds from the performance counter.

#include "qvcore/Platform.h"

inline double benchSeconds()
{
    LARGE_INTEGER now, frequency;
    QueryPerformanceCounter(&now);
    QueryPerformanceFrequency(&frequency);
    return static_cast<double>(now.QuadPart) / static_cast<double>(frequency.QuadPart);
}

#endif
