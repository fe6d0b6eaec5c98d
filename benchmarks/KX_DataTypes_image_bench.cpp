// SPDX-License-Identifier: BSD-3-Clause
// The histogram, the searches and the filter beside their plain rules; the filter also beside memcpy of the same
// bytes. The alpha search has no entry of its own: it is measured as what the whole check takes beyond histogram
// and tile search.
#include "benchmarks/Compare.h"
#include "image/KX_DataTypes_image.h"
#include "tests/support/plainCheck.h"

#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <random>
#include <vector>

using kxP::_imgRGBABuffer8;

namespace {

using Shared = std::shared_ptr<_imgRGBABuffer8>;

struct Size {
    const char* name;
    int width, height;
    double pixels() const { return 1.0 * width * height; }
};
constexpr Size sizes[] = {{"thumbnail", 500, 380}, {"1920x1080", 1920, 1080}};

PlainImage plain(const _imgRGBABuffer8& image) {
    return {image.pixels, image.width, image.height, image.valid != 0};
}

std::size_t byteCount(const _imgRGBABuffer8& image) {
    return 4 * static_cast<std::size_t>(image.pixelCount);
}

Shared uniformImage(const Size& size) {
    auto image = std::make_shared<_imgRGBABuffer8>(static_cast<unsigned>(size.width * size.height));
    image->setWidth(size.width);
    image->setHeight(size.height);
    image->valid = 1;
    std::memset(image->pixels, 255, byteCount(*image));
    return image;
}

Shared randomImage(const Size& size) {
    Shared image = uniformImage(size);
    std::mt19937 random(1);
    for (std::size_t i = 0; i < byteCount(*image); ++i) image->pixels[i] = static_cast<unsigned char>(random());
    return image;
}

std::string named(const char* operation, const char* content, const Size& size) {
    return std::string(operation) + "/" + content + "/" + size.name;
}

void addHistogram(const char* content, const Size& size, const Shared& image) {
    const auto record = std::make_shared<kxCHK::_SingleImageData>();
    addComparison(
        named("histogram", content, size), size.pixels(), [=] { record->createHistogram(image.get()); },
        [=] { benchmark::DoNotOptimize(plainHistogram(plain(*image))); });
}

void addTileSearch(const char* content, const Size& size, const Shared& image) {
    addComparison(
        named("tileSearch", content, size), size.pixels(),
        [=] { benchmark::DoNotOptimize(kxCHK::doErrorSearch(*image, nullptr)); },
        [=] { benchmark::DoNotOptimize(plainMissingTiles(plain(*image))); });
}

void addWholeCheck(const char* content, const Size& size, const Shared& image) {
    const auto record = std::make_shared<kxCHK::_SingleImageData>();
    addComparison(
        named("wholeCheck", content, size), size.pixels(),
        [=] { benchmark::DoNotOptimize(kxCHK::doErrorSearch(*image, record.get())); },
        [=] { benchmark::DoNotOptimize(plainErrorBits(plain(*image))); });
}

void addAlphaSearch(const Size& size, const Shared& image) {
    const auto run = [=](benchmark::State& state) {
        kxCHK::_SingleImageData record;
        std::vector<double> whole, parts, others;
        for (auto _ : state) {
            others.push_back(microsecondsOf([&] { benchmark::DoNotOptimize(plainAlphaHoles(plain(*image))); }));
            whole.push_back(microsecondsOf([&] { kxCHK::doErrorSearch(*image, &record); }));
            parts.push_back(microsecondsOf([&] {
                record.createHistogram(image.get());
                benchmark::DoNotOptimize(kxCHK::doErrorSearch(*image, nullptr));
            }));
            state.SetIterationTime(whole.back() * 1e-6);
        }
        const double own = fastestOf(whole) - fastestOf(parts);
        state.counters["Mpixel/s"] = size.pixels() / own;
        state.counters["other_Mpixel/s"] = size.pixels() / fastestOf(others);
        state.counters["ratio"] = fastestOf(others) / own;
    };
    benchmark::RegisterBenchmark(named("alphaSearch", "clean", size).c_str(), run)
        ->UseManualTime()
        ->Unit(benchmark::kMicrosecond)
        ->MinTime(0.3);
}

void addFilter(const Size& size, const Shared& image) {
    const auto copy = std::make_shared<std::vector<char>>(byteCount(*image));
    const Work encode = [=] { kxCHK::encodePredictionFilter(image.get()); };
    const Work decode = [=] { kxCHK::decodePredictionFilter(image.get()); };
    const Work copyBytes = [=] {
        std::memcpy(copy->data(), image->pixels, copy->size());
        benchmark::ClobberMemory();
    };
    addComparison(named("encode", "plain", size), size.pixels(), encode, [=] { plainEncode(plain(*image)); });
    addComparison(named("decode", "plain", size), size.pixels(), decode, [=] { plainDecode(plain(*image)); });
    addComparison(named("encode", "memcpy", size), size.pixels(), encode, copyBytes);
    addComparison(named("decode", "memcpy", size), size.pixels(), decode, copyBytes);
}

// The 25000 views of a sequence, as at every start of the tool, beside one pass of memset over the same memory; one
// "pixel" is one view.
void addViews() {
    constexpr std::size_t count = 25000;
    using View = kxCHK::_SingleImageView;
    const auto memory =
        std::make_shared<std::vector<std::max_align_t>>(count * sizeof(View) / sizeof(std::max_align_t) + 1);
    addComparison(
        "constructViews/memset", count,
        [=] {
            auto* const views = reinterpret_cast<View*>(memory->data());
            for (std::size_t i = 0; i < count; ++i) new (views + i) View;
            for (std::size_t i = 0; i < count; ++i) views[i].~View();
        },
        [=] {
            std::memset(memory->data(), 0, count * sizeof(View));
            benchmark::ClobberMemory();
        });
}

}  // namespace

int main(int argc, char** argv) {
    for (const Size& size : sizes) {
        const Shared uniform = uniformImage(size);
        const Shared random = randomImage(size);
        addHistogram("uniform", size, uniform);
        addHistogram("random", size, random);
        addTileSearch("clean", size, uniform);
        addTileSearch("random", size, random);
        addAlphaSearch(size, uniform);
        addWholeCheck("clean", size, uniform);
        addFilter(size, randomImage(size));
    }
    addViews();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
