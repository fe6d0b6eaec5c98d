// SPDX-License-Identifier: BSD-3-Clause
// One operation beside another on the same pixels. Both run in turn, so that a change of the machine's load strikes
// both; "ratio" is the other's time divided by the operation's. The fastest run counts: load only ever adds time.
#pragma once

#include "benchmarks/Alternate.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

using Work = std::function<void()>;

inline double fastestOf(const std::vector<double>& times) {
    return *std::min_element(times.begin(), times.end());
}

// `pixels` are those that one run of either works on.
inline void compare(benchmark::State& state, double pixels, const Work& work, const Work& other) {
    std::vector<double> own, others;
    for (auto _ : state) {
        others.push_back(microsecondsOf(other));
        own.push_back(microsecondsOf(work));
        state.SetIterationTime(own.back() * 1e-6);
    }
    state.counters["Mpixel/s"] = pixels / fastestOf(own);
    state.counters["other_Mpixel/s"] = pixels / fastestOf(others);
    state.counters["ratio"] = fastestOf(others) / fastestOf(own);
}

inline void addComparison(const std::string& name, double pixels, const Work& work, const Work& other) {
    benchmark::RegisterBenchmark(name.c_str(),
                                 [=](benchmark::State& state) { compare(state, pixels, work, other); })
        ->UseManualTime()
        ->Unit(benchmark::kMicrosecond)
        ->MinTime(0.3);
}
