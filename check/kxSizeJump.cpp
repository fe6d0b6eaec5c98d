// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxSizeJump.h"

#include "check/kxNumberText.h"

#include <algorithm>
#include <cmath>

namespace kxCheck {

namespace {

constexpr double smallestDifference = 0.1;

double logarithmOf(std::int64_t size) {
    return std::log(static_cast<double>(std::max<std::int64_t>(size, 1)));
}

QByteArray jumpText(std::int64_t before, std::int64_t size, std::int64_t after) {
    return numberText(size) + " bytes, before and after it " + numberText(before) + " and " + numberText(after);
}

}  // namespace

double sizeJumpOf(std::int64_t before, std::int64_t size, std::int64_t after) {
    const double logBefore = logarithmOf(before);
    const double logSize = logarithmOf(size);
    const double logAfter = logarithmOf(after);
    const double nearest = std::min(std::abs(logSize - logBefore), std::abs(logAfter - logSize));
    return nearest / (std::abs(logAfter - logBefore) + smallestDifference);
}

SizeJump sizeJumpOf(const std::vector<FrameReport>& frames, const Neighbours& neighbours, std::size_t place) {
    const auto before = neighbours.before(frames[place].name);
    const auto after = neighbours.after(frames[place].name);
    if (!before || !after) return {};
    const FileReport& file = frames[place].file;
    const FileReport& fileBefore = frames[*before].file;
    const FileReport& fileAfter = frames[*after].file;
    if (!file.hasIdentity || !fileBefore.hasIdentity || !fileAfter.hasIdentity) return {};
    SizeJump jump;
    jump.isCompared = true;
    jump.value = sizeJumpOf(fileBefore.identity.size, file.identity.size, fileAfter.identity.size);
    if (jump.value > conspicuousJump)
        jump.text = jumpText(fileBefore.identity.size, file.identity.size, fileAfter.identity.size);
    return jump;
}

}  // namespace kxCheck
