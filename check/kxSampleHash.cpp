// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxSampleHash.h"

#include "check/kxSampleRows.h"

#include <cstddef>
#include <new>

#include <xxhash.h>

namespace kxCheck {

class SampleHash::State {
public:
    State() : state_(XXH3_createState()) {
        if (!state_) throw std::bad_alloc();
        restart();
    }
    ~State() { XXH3_freeState(state_); }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    void restart() { XXH3_128bits_reset(state_); }
    void add(const void* bytes, std::size_t count) {
        if (count > 0) XXH3_128bits_update(state_, bytes, count);
    }
    void addNumber(std::int64_t number) { add(&number, sizeof number); }
    std::array<std::uint64_t, 2> value() const {
        const XXH128_hash_t hash = XXH3_128bits_digest(state_);
        return {hash.high64, hash.low64};
    }

private:
    XXH3_state_t* state_;
};

SampleHash::SampleHash() : state_(std::make_unique<State>()) {}

SampleHash::~SampleHash() = default;

void SampleHash::restart() {
    state_->restart();
    part_ = -1;
}

void SampleHash::add(const DecodedChunk& chunk) {
    if (chunk.part != part_) addPart(chunk);
    if (chunk.counts)
        addDeepRows(chunk);
    else
        state_->add(chunk.samples, chunk.size);
}

void SampleHash::addPart(const DecodedChunk& chunk) {
    part_ = chunk.part;
    const kxExr::Window& window = chunk.header->dataWindow;
    for (const std::int32_t corner : {window.minX, window.minY, window.maxX, window.maxY})
        state_->addNumber(corner);
    state_->addNumber(static_cast<std::int64_t>(chunk.channels->size()));
    for (const ChunkChannel& entry : *chunk.channels) {
        const kxExr::Channel& channel = *entry.channel;
        state_->addNumber(channel.name.size());
        state_->add(channel.name.constData(), static_cast<std::size_t>(channel.name.size()));
        for (const std::int32_t number :
             {static_cast<std::int32_t>(channel.type), channel.xSampling, channel.ySampling})
            state_->addNumber(number);
    }
}

// The counts too: the same samples in other pixels are another picture.
void SampleHash::addDeepRows(const DecodedChunk& chunk) {
    forEachRow(chunk, [&](const SampleRow& row) {
        const std::size_t width = static_cast<std::size_t>(chunk.place.width);
        if (row.channel == 0) state_->add(countsOfRow(chunk, row.y), width * sizeof(std::int32_t));
        state_->add(row.samples, row.count * (*chunk.channels)[row.channel].sampleSize);
    });
}

std::array<std::uint64_t, 2> SampleHash::value() const {
    return state_->value();
}

}  // namespace kxCheck
