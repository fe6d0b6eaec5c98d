// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxProgressText.h"

#include "check/kxFrameLines.h"
#include "check/kxNumberText.h"

#include <algorithm>

namespace kxCheck {

namespace {

constexpr int barLength = 20;

QByteArray bar(std::int64_t done, std::int64_t total) {
    const auto filled = static_cast<int>(total > 0 ? done * barLength / total : barLength);
    return '[' + QByteArray(filled, '#') + QByteArray(barLength - filled, '-') + "]  ";
}

QByteArray counts(std::int64_t done, std::int64_t total) {
    const std::int64_t percent = total > 0 ? done * 100 / total : 100;
    return numberText(done) + '/' + numberText(total) + "  " + numberText(percent) + '%';
}

QByteArray speed(std::int64_t done, std::int64_t total, double seconds) {
    if (done <= 0 || seconds <= 0) return {};
    const double rate = static_cast<double>(done) / seconds;
    const double left = static_cast<double>(total - done) / rate;
    return "  " + QByteArray::number(rate, 'f', rate < 10 ? 1 : 0) + " frames/s  " + durationText(left) + " left";
}

}  // namespace

QByteArray progressText(std::int64_t done, std::int64_t total, double seconds, int width) {
    QByteArray text = counts(done, total) + speed(done, total, seconds);
    QByteArray withBar = bar(done, total) + text;
    if (withBar.size() <= width) return withBar;
    return text.left(std::max(width, 0));
}

}  // namespace kxCheck
