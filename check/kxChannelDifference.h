// SPDX-License-Identifier: BSD-3-Clause
// In what the channels of a part are unlike those of another, in words. Pure functions.
#pragma once

#include "image/kxExrPart.h"

#include <QByteArray>

#include <vector>

namespace kxCheck {

// Same names, types and samplings; their order is no difference.
[[nodiscard]] bool isSameChannels(const std::vector<kxExr::Channel>& a, const std::vector<kxExr::Channel>& b);

// What `have` lacks, what it has beyond the others, and which channels are of another type or sampling; of many
// channels the first ones are named. Of channels that are not the same.
[[nodiscard]] QByteArray channelDifference(const std::vector<kxExr::Channel>& have,
                                           const std::vector<kxExr::Channel>& others);

}  // namespace kxCheck
