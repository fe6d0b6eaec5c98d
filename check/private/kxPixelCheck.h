// SPDX-License-Identifier: BSD-3-Clause
// Looks at every chunk of a file: leader, extent and data.
#pragma once

#include "check/private/kxChunkDecoder.h"

#include <optional>

namespace kxCheck {

// Sets the faults of the chunks that have a place so far. A chunk that can't be decoded does not keep the others
// from being looked at. A finding says that it could not be gone on: too little memory, or data that a newer
// library is needed for. Where reading fails the faults mean nothing: ask the bytes for an error.
std::optional<Finding> checkPixels(const ExrCore& core, const Headers& parts, FileBytes& bytes, ChunkTable& table,
                                   ChunkFaults& faults, ChunkSink* sink);

}  // namespace kxCheck
