// SPDX-License-Identifier: BSD-3-Clause
// One number of 128 bits for all samples of a file: equal for equal samples of equal channels in equal data
// windows, however they are compressed, and in scan lines also however they are cut into chunks. Tiles of another
// size give another number. Names of parts and all further attributes do not count.
//
// XXH3: made to tell files apart, not to resist those who want two to look alike. Each thread may use its own
// objects.
#pragma once

#include "check/kxChunkSink.h"

#include <array>
#include <cstdint>
#include <memory>

namespace kxCheck {

class SampleHash {
public:
    // Throws std::bad_alloc.
    SampleHash();
    ~SampleHash();
    SampleHash(const SampleHash&) = delete;
    SampleHash& operator=(const SampleHash&) = delete;

    // Forgets all that was added.
    void restart();
    // The next chunk in the order of the chunk tables.
    void add(const DecodedChunk& chunk);
    std::array<std::uint64_t, 2> value() const;

private:
    class State;
    void addPart(const DecodedChunk& chunk);
    void addDeepRows(const DecodedChunk& chunk);

    std::unique_ptr<State> state_;
    int part_ = -1;
};

}  // namespace kxCheck
