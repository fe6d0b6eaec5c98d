// SPDX-License-Identifier: BSD-3-Clause
// The strip of a page: all frames of a sequence at a glance, and where the bad ones are.
//
// Pure function; what comes back is HTML.
#pragma once

#include "check/kxPageFrame.h"

#include <QByteArray>

#include <cstddef>
#include <functional>
#include <vector>

namespace kxCheck {

// Gives the anchor that a place in the frames is shown at.
using TargetOf = std::function<QByteArray(std::size_t place)>;

// A bar for each column, higher and of another colour for each level, that of its worst frame; those that are not
// good lead to the first such frame of their run. There must be a frame.
[[nodiscard]] QByteArray stripFigure(const std::vector<PageFrame>& frames, const TargetOf& targetOf);

}  // namespace kxCheck
