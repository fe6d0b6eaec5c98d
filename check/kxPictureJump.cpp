// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxPictureJump.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numeric>

namespace kxCheck {

namespace {

constexpr double smallestDistance = 0.1;
// What no chance makes of restless light; found with the sequences of benchmarks/pictureFindings.cpp.
constexpr double outstandingFactor = 6;
constexpr double outstandingDistance = 0.4;
constexpr std::size_t colors = 3;  // alpha says how much is covered, not how it looks

using Bins = std::array<unsigned, kxCHK::histogramBins>;

double sumOf(const Bins& bins) {
    return std::accumulate(bins.begin(), bins.end(), 0.0);
}

// The earth mover's distance of one-dimensional histograms of the same sum is the area between their running sums.
double channelDistance(const Bins& a, const Bins& b) {
    const double sumA = sumOf(a);
    const double sumB = sumOf(b);
    if (sumA == 0 || sumB == 0) return 0;
    double runningA = 0;
    double runningB = 0;
    double distance = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        runningA += a[i];
        runningB += b[i];
        distance += std::abs(runningA / sumA - runningB / sumB);
    }
    return distance;
}

}  // namespace

double histogramDistance(const kxCHK::Histogram& a, const kxCHK::Histogram& b) {
    double distance = 0;
    for (std::size_t color = 0; color < colors; ++color) distance += channelDistance(a[color], b[color]);
    return distance / colors;
}

double pictureJumpOf(const kxCHK::Histogram& before, const kxCHK::Histogram& picture,
                     const kxCHK::Histogram& after) {
    const double nearest = std::min(histogramDistance(before, picture), histogramDistance(picture, after));
    return nearest / (histogramDistance(before, after) + smallestDistance);
}

bool standsOut(const kxCHK::Histogram& picture, const std::vector<const kxCHK::Histogram*>& around) {
    const double nearest = std::min(histogramDistance(*around[0], picture), histogramDistance(picture, *around[1]));
    double spread = 0;
    for (std::size_t i = 0; i < around.size(); ++i)
        for (std::size_t k = 0; k < i; ++k) spread = std::max(spread, histogramDistance(*around[i], *around[k]));
    return nearest > outstandingFactor * spread + outstandingDistance;
}

}  // namespace kxCheck
