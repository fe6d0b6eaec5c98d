// SPDX-License-Identifier: BSD-3-Clause
// The order in which the frames of a sequence are shown. Pure function.
#pragma once

#include "check/kxCheckSettings.h"
#include "check/kxFrameReport.h"

#include <cstddef>
#include <vector>

namespace kxCheck {

// Places in `frames`, which stand by frame. Equal keys stay by frame, also where the order is turned round. Frames
// that lack the key come last either way: by machine those whose headers name none, otherwise those without a file
// that could be opened.
[[nodiscard]] std::vector<std::size_t> frameOrder(const std::vector<FrameReport>& frames, SortKey key,
                                                  bool descending);

}  // namespace kxCheck
