// SPDX-License-Identifier: BSD-3-Clause
// The curves of a page along the frames of a sequence.
//
// Pure function; what comes back is HTML.
#pragma once

#include "check/kxPageFrame.h"

#include <QByteArray>

#include <vector>

namespace kxCheck {

// Curves of difference, file size and mean brightness, with dots on the frames that are not good. Where frames
// share a column, its lowest and its highest value are drawn. Curves without any value are left out.
[[nodiscard]] QByteArray plotFigures(const std::vector<PageFrame>& frames);

}  // namespace kxCheck
