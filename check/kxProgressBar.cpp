// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxProgressBar.h"

#include "check/kxProgressText.h"

#include <sys/ioctl.h>
#include <unistd.h>

namespace kxCheck {

namespace {

constexpr std::chrono::milliseconds betweenDrawings(100);
constexpr const char* lineStart = "\r\x1b[K";  // and nothing behind it
constexpr int usualColumns = 80;

// One less than the terminal has: some wrap the line behind the last one.
int columns() {
    winsize size = {};
    if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return usualColumns - 1;
    return size.ws_col - 1;
}

}  // namespace

void ProgressBar::show(const RunProgress& progress) {
    if (!isShown_) return;
    const auto now = Clock::now();
    if (progress.done == 0) passBegan_ = now;
    if (now - drawn_ < betweenDrawings) return;
    const double seconds = std::chrono::duration<double>(now - passBegan_).count();
    output_.write(lineStart + progressText(progress.done, progress.all, seconds, columns()));
    isDrawn_ = true;
    drawn_ = now;
}

void ProgressBar::clear() {
    if (isDrawn_) output_.write(lineStart);
    isDrawn_ = false;
}

}  // namespace kxCheck
