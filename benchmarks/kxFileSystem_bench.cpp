// The listing beside the bare calls that it can't do without, on a directory of 100000 entries of which 24999 are
// frames of the sequence.
#include "shared/kxFileSystem.h"

#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

namespace fs = std::filesystem;

namespace {

constexpr int frameCount = 24999;
constexpr int otherCount = 100000 - frameCount;
constexpr char prefix[] = "beauty.";

// Made at first use, removed at the end of the program.
class LargeDirectory {
public:
    LargeDirectory() {
        std::string pattern = (fs::temp_directory_path() / "kxbenchXXXXXX").string();
        if (!mkdtemp(&pattern[0])) {
            std::perror(pattern.c_str());
            std::abort();
        }
        path_ = pattern + "/";
        for (int i = 1; i <= frameCount; ++i) makeFile(prefix + std::to_string(i) + ".exr");
        for (int i = 1; i <= otherCount; ++i) makeFile("diffuse." + std::to_string(i) + ".exr");
    }
    ~LargeDirectory() {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    LargeDirectory(const LargeDirectory&) = delete;
    LargeDirectory& operator=(const LargeDirectory&) = delete;

    const std::string& path() const { return path_; }

private:
    void makeFile(const std::string& name) const { std::ofstream(path_ + name); }

    std::string path_;
};

const std::string& directoryPath() {
    static const LargeDirectory directory;
    return directory.path();
}

void checkFrames(benchmark::State& state, int frames) {
    if (frames != frameCount) state.SkipWithError("not every frame was found");
    state.SetItemsProcessed(state.iterations() * (frameCount + otherCount));
}

// ---- The floor

template <class Visit>
void readEntries(const Visit& visit) {
    DIR* directory = opendir(directoryPath().c_str());
    while (const dirent* entry = readdir(directory)) visit(dirfd(directory), entry);
    closedir(directory);
}

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
    while (state.KeepRunning()) {
        frames = 0;
        long long bytes = 0;
        readEntries([&](int directory, const dirent* entry) {
            if (std::strncmp(entry->d_name, prefix, sizeof prefix - 1) != 0) return;
            struct stat status {};
            frames += fstatat(directory, entry->d_name, &status, 0) == 0;
            bytes += status.st_size;
        });
        benchmark::DoNotOptimize(bytes);
    }
    checkFrames(state, frames);
}
BENCHMARK(BM_bareReaddirAndFstatatOfFrames)->Unit(benchmark::kMillisecond)->UseRealTime();

// ---- The lister

template <class Visit>
void listFrames(const Visit& visit) {
    kxDirListing listing;
    listing.setNameFilter(QLatin1String(prefix), QStringLiteral(".exr"));
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
