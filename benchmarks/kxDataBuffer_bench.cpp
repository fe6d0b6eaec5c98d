// Saving and loading the cache entry of a real picture, and what each zlib level would make of it: size, and the
// time to compress and to inflate in memory. Takes the picture's path as its last argument; without one, a made
// picture.
#include "benchmarks/Alternate.h"
#include "examples/ReadFrame.h"
#include "image/KX_DataTypes_image.h"
#include "image/KX_image.h"
#include "tests/support/TempDir.h"
#include "tests/support/plainCheck.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <random>
#include <string>

namespace {

constexpr size_t headerSize = sizeof(kxCHK::_SingleImageFile);
constexpr size_t wholeSize = headerSize + 4 * static_cast<size_t>(kxCHK::thumbnailCapacity);

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

void addLevels(const std::string& name, const std::string& bytes, int firstLevel, int lastLevel) {
    for (int level = firstLevel; level <= lastLevel; ++level) {
        const std::string stream = plainDeflate(bytes, level);
        const std::string label = name + "/level" + std::to_string(level);
        benchmark::RegisterBenchmark(("compress/" + label).c_str(), [=](benchmark::State& state) {
            for (auto _ : state) benchmark::DoNotOptimize(plainDeflate(bytes, level));
            state.counters["bytes"] = static_cast<double>(stream.size());
        })->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark(("inflate/" + label).c_str(), [=](benchmark::State& state) {
            for (auto _ : state) benchmark::DoNotOptimize(plainInflate(stream, wholeSize));
        })->Unit(benchmark::kMillisecond);
    }
}

// A save filters the pixels: each run starts from the same ones.
void addSaveAndLoad(const Entry& entry) {
    const auto dir = std::make_shared<TempDir>();
    const QString path = dir->qpath() + QStringLiteral("frame.kxCache");
    const auto pixels = std::make_shared<std::string>(bytesOfEntry(*entry).substr(headerSize));
    const auto save = [=](benchmark::State& state) {
        for (auto _ : state) {
            std::memcpy(entry->image.pixels, pixels->data(), pixels->size());
            if (!entry->saveToFile(path).isEmpty()) state.SkipWithError("the entry can't be saved");
        }
        state.counters["bytes"] = static_cast<double>(readFileBytes(dir->file("frame.kxCache")).size());
    };
    const auto load = [=](benchmark::State& state) {
        kxCHK::_SingleImageFile loaded;
        for (auto _ : state) {
            if (!loaded.loadFromFile(path, nullptr)) state.SkipWithError("the entry can't be loaded");
        }
    };
    benchmark::RegisterBenchmark("save", save)->Unit(benchmark::kMillisecond)->UseRealTime();
    benchmark::RegisterBenchmark("load", load)->Unit(benchmark::kMillisecond)->UseRealTime();
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    const Entry entry = entryOf(argc > 1 ? argv[1] : nullptr);
    const Entry filtered = entryOf(argc > 1 ? argv[1] : nullptr);
    kxCHK::encodePredictionFilter(&filtered->image);
    addLevels("unfiltered", bytesOfEntry(*entry), 6, 6);
    addLevels("filtered", bytesOfEntry(*filtered), 0, 9);
    addSaveAndLoad(entry);
    benchmark::RunSpecifiedBenchmarks();
}
