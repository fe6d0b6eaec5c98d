// SPDX-License-Identifier: BSD-3-Clause
// The bar that shows how far a run is. Pure function.
#pragma once

#include <QByteArray>

#include <cstdint>

namespace kxCheck {

// "[#####---------------]  25/100  25%  8.3 frames/s  9 s left": what fits into `width` columns, the bar being the
// first to go. Rate and time left stand once a frame is done and time has passed. 0 <= done <= total.
[[nodiscard]] QByteArray progressText(std::int64_t done, std::int64_t total, double seconds, int width);

}  // namespace kxCheck
