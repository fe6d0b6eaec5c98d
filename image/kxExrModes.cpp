// SPDX-License-Identifier: BSD-3-Clause
#include "image/kxExrModes.h"

namespace kxExr {

ModeFailure modeFailure(const Modes& modes, const Headers& headers) {
    if (headers.size() != 1) return modes.noMultipart ? ModeFailure::severalParts : ModeFailure::none;
    if (modes.requireMultipart) return ModeFailure::singlePart;
    const bool singleLayer = headers.front().channels.size() < multiLayerChannels;
    return modes.requireMultiLayer && singleLayer ? ModeFailure::singleLayer : ModeFailure::none;
}

}  // namespace kxExr
