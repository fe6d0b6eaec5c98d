// SPDX-License-Identifier: BSD-3-Clause
// The check-job command on a random segment, given by this program's own kxSharedMemory. The input is the segment's
// announced size, the job, the format fields and the message count; the rest fills the segment over and over.
#include "fuzz/FuzzInput.h"
#include "shared/kxSharedMemory.h"
#include "tool/main.h"

#include <QSharedMemory>

#include <cstddef>
#include <vector>

namespace {

constexpr std::size_t segmentSize = 22984;

// Ends where the segment does, so that every byte beyond it is seen.
std::vector<uint8_t> segment;
int announcedSize = 0;

void put(std::size_t at, const void* bytes, std::size_t size) {
    if (at + size <= segment.size()) std::memcpy(segment.data() + at, bytes, size);
}

void makeSegment(FuzzInput& input) {
    const auto shorter = input.take<uint16_t>();
    announcedSize = static_cast<int>(segmentSize) - shorter % 4;
    segment.assign(static_cast<std::size_t>(announcedSize), 0);
    const auto formatId = input.take<uint32_t>();
    const auto version = input.take<uint32_t>();
    const auto count = input.take<uint8_t>();
    for (std::size_t at = 0; at < segment.size() && !input.empty(); at += input.size()) {
        put(at, input.bytes(), std::min(input.size(), segment.size() - at));
    }
    put(0, &formatId, 4);
    put(928, &version, 4);
    put(2001, &count, 1);
}

// Only the count and the fields of the next slot, a start and a width each, may differ.
void requireOnlySlotChanged(std::vector<uint8_t> before) {
    constexpr std::size_t fields[][2] = {{2002, 1}, {2032, 1}, {2062, 2}, {2124, 8}, {7435, 1}, {7465, 1}};
    const std::size_t slot = before[2001];
    if (slot < 30) {
        before[2001] = segment[2001];
        for (const auto& [start, width] : fields) {
            const std::size_t at = start + slot * width;
            std::copy_n(segment.begin() + static_cast<long>(at), width, before.begin() + static_cast<long>(at));
        }
    }
    require(segment == before);
}

}  // namespace

kxSharedMemory::kxSharedMemory(const _kxString8_allSize<250>&) {}
kxSharedMemory::~kxSharedMemory() = default;
bool kxSharedMemory::attach() {
    return true;
}
int kxSharedMemory::size() const {
    return announcedSize;
}
void* kxSharedMemory::data() {
    return segment.data();
}
bool kxSharedMemory::lock() {
    return true;
}
bool kxSharedMemory::unlock() {
    return true;
}
bool kxSharedMemory::detach() {
    return true;
}
QString kxSharedMemory::errorString() const {
    return QString();
}
void kxSleep(int) {}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, std::size_t size) {
    static const bool discarded = (discardOutput(), true);
    require(discarded);
    FuzzInput input(bytes, size);
    int job = input.take<int>();
    const int sameJob = job;
    makeSegment(input);
    const std::vector<uint8_t> before = segment;
    sendClientCheckJob(job);
    require(job == sameJob);
    requireOnlySlotChanged(before);
    return 0;
}
