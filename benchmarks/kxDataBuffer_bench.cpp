// SPDX-License-Identifier: BSD-3-Clause
// Saving and loading the cache entry of a real picture at every zlib level: size and time of the whole operation,
// flushing to disk included; a save starts with a copy of the unfiltered pixels, some 0.05 ms. Takes the picture's
// path as its first argument that is no option; without one, a made picture.
#include "image/KX_DataTypes_image.h"
#include "image/KX_image.h"
#include "tests/support/ReadFrame.h"
#include "tests/support/TempDir.h"
#include "tests/support/plainCheck.h"

#include <benchmark/benchmark.h>
#include <zlib.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <utility>

namespace {

constexpr std::size_t headerSize = sizeof(kxCHK::_SingleImageFile);
constexpr std::size_t wholeSize = headerSize + 4 * static_cast<std::size_t>(kxCHK::thumbnailCapacity);

using Job = std::function<void(benchmark::State&)>;
using Entry = std::shared_ptr<kxCHK::_SingleImageFile>;

void drawGradient(kxP::_imgRGBABuffer8& image) {
    image.setWidth(500);
    image.setHeight(380);
    std::mt19937 random(1);
    for (int y = 0; y < image.height; ++y) {
        for (int x = 0; x < image.width; ++x) {
            const auto noise = static_cast<unsigned>(random() % 4);
            const auto shade = static_cast<unsigned char>(static_cast<unsigned>(x + y) / 4 + noise);
            image.write(x, y, {shade, shade, static_cast<unsigned char>(y / 2), 255});
        }
    }
}

Entry entryOf(const char* picture) {
    auto entry = std::make_shared<kxCHK::_SingleImageFile>();
    if (!picture) {
        drawGradient(entry->image);
        return entry;
    }
    const auto frame = readFrame(picture);
    kximgRGBABuffer8_Scale4(*frame, entry->image, std::min(500, frame->width), std::min(380, frame->height), false);
    kximgRGBABuffer8_doGamma22(entry->image);
    kxCHK::doErrorSearch(entry->image, &entry->data);
    return entry;
}

std::string bytesOfEntry(const kxCHK::_SingleImageFile& entry) {
    std::string bytes(reinterpret_cast<const char*>(&entry), headerSize);
    bytes.append(reinterpret_cast<const char*>(entry.image.pixels), wholeSize - headerSize);
    return bytes;
}

// The level that saves compress with, in place of the one that they ask for: the call is wrapped by the linker,
// which leaves the calls within the shared zlib alone.
int levelOfSaves = 0;

// A save filters the pixels: each run starts from the same ones.
void addSaveAndLoad(const Entry& entry, int level) {
    const auto dir = std::make_shared<TempDir>();
    const QString path = dir->qpath() + QStringLiteral("frame.kxCache");
    const auto pixels = std::make_shared<std::string>(bytesOfEntry(*entry).substr(headerSize));
    const auto save = [=](benchmark::State& state) {
        levelOfSaves = level;
        for (auto _ : state) {
            std::memcpy(entry->image.pixels, pixels->data(), pixels->size());
            if (!entry->saveToFile(path).isEmpty()) return state.SkipWithError("the entry can't be saved");
        }
        state.counters["bytes"] = static_cast<double>(readFileBytes(dir->file("frame.kxCache")).size());
    };
    const auto load = [=](benchmark::State& state) {
        kxCHK::_SingleImageFile loaded;
        for (auto _ : state) {
            if (!loaded.loadFromFile(path, nullptr)) return state.SkipWithError("the entry can't be loaded");
        }
    };
    const std::string label = "level" + std::to_string(level);
    for (const auto& [name, work] : {std::pair<const char*, Job>{"save/", save}, {"load/", load}}) {
        benchmark::RegisterBenchmark((name + label).c_str(), work)->Unit(benchmark::kMillisecond)->UseRealTime();
    }
}

// What the vertical filter is worth: the size without it.
void addUnfiltered(const std::string& bytes, int level) {
    benchmark::RegisterBenchmark(("unfiltered/level" + std::to_string(level)).c_str(),
                                 [=](benchmark::State& state) {
                                     std::string stream;
                                     for (auto _ : state)
                                         benchmark::DoNotOptimize(stream = plainDeflate(bytes, level));
                                     state.counters["bytes"] = static_cast<double>(stream.size());
                                 })
        ->Unit(benchmark::kMillisecond);
}

}  // namespace

extern "C" int __real_deflateInit_(z_streamp stream, int level, const char* version, int size);
extern "C" int __wrap_deflateInit_(z_streamp stream, int, const char* version, int size) {
    return __real_deflateInit_(stream, levelOfSaves, version, size);
}

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    const Entry entry = entryOf(argc > 1 ? argv[1] : nullptr);
    for (int level = 0; level <= 9; ++level) {
        addUnfiltered(bytesOfEntry(*entry), level);
        addSaveAndLoad(entry, level);
    }
    benchmark::RunSpecifiedBenchmarks();
}
