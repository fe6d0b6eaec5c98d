// SPDX-License-Identifier: BSD-3-Clause
// The modes that the frames of a sequence can be required to have.
//
// Values and a pure function; each thread may use its own.
#pragma once

#include "image/kxExrHeaders.h"

#include <cstddef>

namespace kxExr {

struct Modes {
    bool requireMultiLayer = false;  // a single part needs at least multiLayerChannels channels
    bool requireMultipart = false;
    bool noMultipart = false;
};

// A single part counts as multi-layer from this many channels on: R, G, B, A and one more.
constexpr std::size_t multiLayerChannels = 5;

enum class ModeFailure { none, singlePart, severalParts, singleLayer };

// What the headers fail of the modes, singlePart before singleLayer. A file of several parts never fails for its
// layers.
[[nodiscard]] ModeFailure modeFailure(const Modes& modes, const Headers& headers);

}  // namespace kxExr
