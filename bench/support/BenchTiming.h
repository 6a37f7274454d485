// How benchmarks turn timed runs into one figure: the median, so that a stray slow run (the
// machine is shared) does not move it.
#pragma once

#include <algorithm>
#include <chrono>
#include <utility>
#include <vector>

namespace BenchTiming {

// The time since `start`, in Unit (std::micro, std::milli; seconds by default).
template <typename Unit = std::ratio<1>>
double Since(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double, Unit>(std::chrono::steady_clock::now() - start).count();
}

// The middle one of the measured values (not empty).
inline double Median(std::vector<double> vecValues)
{
    std::sort(vecValues.begin(), vecValues.end());
    return vecValues[vecValues.size() / 2];
}

// The median time of iRuns calls of `step`, in microseconds; `between` runs before each call,
// outside the time.
template <typename Step, typename Between>
double MedianMicros(int iRuns, Step step, Between between)
{
    std::vector<double> vecTimes;
    for (int i = 0; i < iRuns; ++i) {
        between();
        const auto start = std::chrono::steady_clock::now();
        step();
        vecTimes.push_back(Since<std::micro>(start));
    }
    return Median(std::move(vecTimes));
}

template <typename Step>
double MedianMicros(int iRuns, Step step)
{
    return MedianMicros(iRuns, step, [] {});
}

}  // namespace BenchTiming
