// SPDX-License-Identifier: BSD-3-Clause
// A picture's histogram as a page shows it. Pure functions; what comes back is HTML.
#pragma once

#include "image/kxHistogram.h"

#include <QByteArray>

namespace kxCheck {

// The outlines of red, green and blue; alpha is left out.
[[nodiscard]] QByteArray histogramFigure(const kxCHK::Histogram& histogram);

// The same without a word beside it, and in less than a KB: there may be thousands on a page.
[[nodiscard]] QByteArray smallHistogram(const kxCHK::Histogram& histogram);

}  // namespace kxCheck
