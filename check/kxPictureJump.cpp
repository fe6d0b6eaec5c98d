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

// How much has to be moved, in all, and across the border of two bins that most is moved across.
struct Moved {
    double all = 0;
    double most = 0;
};

// The earth mover's distance of one-dimensional histograms of the same sum is the area between their running sums.
Moved movedBetween(const Bins& a, const Bins& b) {
    const double sumA = sumOf(a);
    const double sumB = sumOf(b);
    if (sumA == 0 || sumB == 0) return {};
    double runningA = 0;
    double runningB = 0;
    Moved moved;
    for (std::size_t i = 0; i < a.size(); ++i) {
        runningA += a[i];
        runningB += b[i];
        const double across = std::abs(runningA / sumA - runningB / sumB);
        moved.all += across;
        moved.most = std::max(moved.most, across);
    }
    return moved;
}

// An area of one colour whose value lies at the border of two bins goes over to the other one by the smallest
// difference: what is moved across one border alone is no distance to rely on.
double sureDistance(const kxCHK::Histogram& a, const kxCHK::Histogram& b) {
    double distance = 0;
    for (std::size_t color = 0; color < colors; ++color) {
        const Moved moved = movedBetween(a[color], b[color]);
        distance += moved.all - moved.most;
    }
    return distance / colors;
}

}  // namespace

double histogramDistance(const kxCHK::Histogram& a, const kxCHK::Histogram& b) {
    double distance = 0;
    for (std::size_t color = 0; color < colors; ++color) distance += movedBetween(a[color], b[color]).all;
    return distance / colors;
}

double pictureJumpOf(const kxCHK::Histogram& before, const kxCHK::Histogram& picture,
                     const kxCHK::Histogram& after) {
    const double nearest = std::min(histogramDistance(before, picture), histogramDistance(picture, after));
    return nearest / (histogramDistance(before, after) + smallestDistance);
}

bool standsOut(const kxCHK::Histogram& picture, const std::vector<const kxCHK::Histogram*>& around) {
    const double nearest = std::min(sureDistance(*around[0], picture), sureDistance(picture, *around[1]));
    double spread = 0;
    for (std::size_t i = 0; i < around.size(); ++i)
        for (std::size_t k = 0; k < i; ++k) spread = std::max(spread, histogramDistance(*around[i], *around[k]));
    return nearest > outstandingFactor * spread + outstandingDistance;
}

}  // namespace kxCheck
