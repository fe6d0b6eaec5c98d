// SPDX-License-Identifier: BSD-3-Clause
// The listing beside the bare calls that it can't do without, on a directory of 100000 entries of which 24999 are
// frames of the sequence.
#include "benchmarks/LargeDirectory.h"
#include "shared/kxFileSystem.h"

#include <benchmark/benchmark.h>

namespace {

void checkFrames(benchmark::State& state, int frames) {
    if (frames != frameCount) state.SkipWithError("not every frame was found");
    state.SetItemsProcessed(state.iterations() * (frameCount + otherCount));
}

// ---- The floor

void BM_bareReaddir(benchmark::State& state) {
    directoryPath();
    int entries = 0;
    while (state.KeepRunning()) {
        entries = 0;
        readEntries([&](int, const dirent*) { ++entries; });
    }
    checkFrames(state, entries - otherCount - 2);  // "." and ".."
}
BENCHMARK(BM_bareReaddir)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_bareReaddirAndFstatatOfFrames(benchmark::State& state) {
    directoryPath();
    int frames = 0;
    while (state.KeepRunning()) frames = askFrames();
    checkFrames(state, frames);
}
BENCHMARK(BM_bareReaddirAndFstatatOfFrames)->Unit(benchmark::kMillisecond)->UseRealTime();

// ---- The lister

template <class Visit>
void listFrames(const Visit& visit) {
    kxDirListing listing;
    listing.setNameFilter(QLatin1String(framePrefix), QStringLiteral(".exr"));
    listing.init(QString::fromLatin1(directoryPath().c_str()) + QLatin1Char('*'), false, true, false, false);
    while (listing.nextFile()) visit(listing);
}

void BM_listNames(benchmark::State& state) {
    directoryPath();
    int frames = 0;
    while (state.KeepRunning()) {
        frames = 0;
        listFrames([&](kxDirListing& listing) {
            benchmark::DoNotOptimize(listing.fileName());
            ++frames;
        });
    }
    checkFrames(state, frames);
}
BENCHMARK(BM_listNames)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_listNamesSizesAndTimes(benchmark::State& state) {
    directoryPath();
    int frames = 0;
    while (state.KeepRunning()) {
        frames = 0;
        listFrames([&](kxDirListing& listing) {
            benchmark::DoNotOptimize(listing.fileName());
            frames += listing.fileSize() >= 0 && listing.fileTime() != _kxTime();
        });
    }
    checkFrames(state, frames);
}
BENCHMARK(BM_listNamesSizesAndTimes)->Unit(benchmark::kMillisecond)->UseRealTime();

// Without the lister's filter every entry becomes a QString before its name can be tested.
void BM_listUnfiltered(benchmark::State& state) {
    directoryPath();
    int entries = 0;
    while (state.KeepRunning()) {
        entries = 0;
        kxDirListing listing;
        listing.init(QString::fromLatin1(directoryPath().c_str()) + QLatin1Char('*'), false, true, false, false);
        for (; listing.nextFile(); ++entries) benchmark::DoNotOptimize(listing.fileName());
    }
    checkFrames(state, entries - otherCount);
}
BENCHMARK(BM_listUnfiltered)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
