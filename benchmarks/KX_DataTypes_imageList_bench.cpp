// SPDX-License-Identifier: BSD-3-Clause
// The sequence record's operations at full size, each beside what it can't do without or what it is measured
// against; "ratio" is the operation's time divided by the other's.
#include "benchmarks/Alternate.h"
#include "benchmarks/LargeDirectory.h"
#include "image/KX_DataTypes_imageList.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace {

using Work = std::function<void()>;

// Both run in turn, so that a change of the machine's load strikes both; `prepare` comes before each and is not
// counted.
void compare(benchmark::State& state, const Work& prepare, const Work& own, const Work& other) {
    std::vector<double> ownTimes, otherTimes;
    while (state.KeepRunning()) {
        prepare();
        otherTimes.push_back(microsecondsOf(other));
        prepare();
        ownTimes.push_back(microsecondsOf(own));
        state.SetIterationTime(ownTimes.back() * 1e-6);
    }
    state.counters["other_ms"] = medianOf(otherTimes) / 1000;
    state.counters["median_ms"] = medianOf(ownTimes) / 1000;
    state.counters["ratio"] = medianOf(ownTimes) / medianOf(otherTimes);
}

void nothing() {}

void split(_kxViewSequence& record, const char* name) {
    if (!record.imageDirFileFromString(QString::fromLatin1(directoryPath().c_str()) + QLatin1String(name))) {
        std::abort();
    }
}

void find(_kxViewSequence& record) {
    record.findSequence(false, false, QString(), -1, -1, 1, 0, QString(), false, nullptr);
}

void checkFound(benchmark::State& state, const _kxViewSequence& record) {
    if (record.imageCount != frameCount) state.SkipWithError("not every frame was found");
}

// 24999 frames among 100000 entries, beside a bare readdir with fstatat of the frames.
void BM_discovery(benchmark::State& state) {
    const auto record = std::make_unique<_kxViewSequence>();
    const auto prepare = [&] {
        split(*record, "other.*.exr");
        split(*record, "beauty.*.exr");
    };
    compare(
        state, prepare, [&] { find(*record); }, [] { benchmark::DoNotOptimize(askFrames()); });
    checkFound(state, *record);
}
BENCHMARK(BM_discovery)->UseManualTime()->Unit(benchmark::kMillisecond);

// A refresh of the same frames beside their first discovery.
void BM_refresh(benchmark::State& state) {
    const auto record = std::make_unique<_kxViewSequence>();
    const auto refreshed = std::make_unique<_kxViewSequence>();
    split(*refreshed, "beauty.*.exr");
    find(*refreshed);
    const auto prepare = [&] {
        split(*record, "other.*.exr");
        split(*record, "beauty.*.exr");
        split(*refreshed, "beauty.*.exr");
    };
    compare(
        state, prepare, [&] { find(*refreshed); }, [&] { find(*record); });
    checkFound(state, *refreshed);
}
BENCHMARK(BM_refresh)->UseManualTime()->Unit(benchmark::kMillisecond);

// Getting and freeing a record, beside writing as many bytes of fresh memory.
void BM_construction(benchmark::State& state) {
    const auto other = [] {
        const std::unique_ptr<char[]> memory(new char[sizeof(_kxViewSequence)]);
        std::memset(memory.get(), 1, sizeof(_kxViewSequence));
        benchmark::DoNotOptimize(memory.get());
    };
    const auto own = [] { benchmark::DoNotOptimize(std::make_unique<_kxViewSequence>().get()); };
    compare(state, nothing, own, other);
}
BENCHMARK(BM_construction)->UseManualTime()->Unit(benchmark::kMillisecond);

// The stride and the number of frames have no common factor, so every frame comes once.
void shuffleFrames(_kxViewSequence& record) {
    record.imageCount = frameCount;
    for (int i = 0; i < frameCount; ++i) {
        const int frame = i * 7919 % frameCount + 1;
        record.images[i].frameNumber = frame;
        record.images[i].fileSize = frame % 1000;
    }
}

// Shuffled slots put in order, beside the standard library's sort of the same slots.
void BM_sortFiles(benchmark::State& state) {
    const auto record = std::make_unique<_kxViewSequence>();
    const auto byFrame = [](const kxCHK::_SingleImageView& a, const kxCHK::_SingleImageView& b) {
        return a.frameNumber < b.frameNumber;
    };
    compare(
        state, [&] { shuffleFrames(*record); }, [&] { record->QSort_files(0, frameCount - 1); },
        [&] { std::sort(record->images, record->images + frameCount, byFrame); });
}
BENCHMARK(BM_sortFiles)->UseManualTime()->Unit(benchmark::kMillisecond);

// The display list by size, beside the standard library's sort with the same order.
void BM_sortSize(benchmark::State& state) {
    const auto record = std::make_unique<_kxViewSequence>();
    shuffleFrames(*record);
    const auto bySize = [&record](unsigned a, unsigned b) {
        const auto key = [](const kxCHK::_SingleImageView& slot) {
            return std::pair<long long, long long>(slot.fileSize, slot.frameNumber);
        };
        return key(record->images[a]) < key(record->images[b]);
    };
    const auto prepare = [&] { record->sort(sortNone, false); };
    compare(
        state, prepare, [&] { record->QSort_Size(0, frameCount - 1); },
        [&] { std::sort(record->sortOrder, record->sortOrder + frameCount, bySize); });
}
BENCHMARK(BM_sortSize)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
