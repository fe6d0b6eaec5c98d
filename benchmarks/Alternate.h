// SPDX-License-Identifier: BSD-3-Clause
// Runs jobs in turn, so that a change of the machine's load strikes all of them, and gives each one's median time.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

struct Job {
    std::string name;
    double unitsPerRun;  // files, for example: times are per unit
    std::function<void()> run;
};

inline double medianOf(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

inline double microsecondsOf(const std::function<void()>& run) {
    const auto start = std::chrono::steady_clock::now();
    run();
    return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count();
}

// Microseconds per unit, in the order of the jobs. The first round is not counted.
inline std::vector<double> medianTimes(const std::vector<Job>& jobs, long rounds) {
    std::vector<std::vector<double>> times(jobs.size());
    for (long round = 0; round <= rounds; ++round) {
        for (std::size_t i = 0; i < jobs.size(); ++i) {
            const double time = microsecondsOf(jobs[i].run) / jobs[i].unitsPerRun;
            if (round > 0) times[i].push_back(time);
        }
    }
    std::vector<double> medians;
    medians.reserve(jobs.size());
    for (const auto& ofJob : times) medians.push_back(medianOf(ofJob));
    return medians;
}
