// SPDX-License-Identifier: BSD-3-Clause
// Every image operation beside its plain rule, and beside the least that its memory traffic costs: the scalers
// beside a bare loop over the same samples, the fills beside memset.
#include "benchmarks/Compare.h"
#include "image/KX_image.h"
#include "tests/support/plainImage.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

using kxP::_imgRGBABuffer8;

namespace {

struct Size {
    const char* name;
    int width, height;
    int box;  // that it is scaled into
};
constexpr Size sizes[] = {{"thumbnail", 500, 380, 125}, {"1920x1080", 1920, 1080, 580}};

void add(const std::string& name, const Size& size, double pixels, const Work& work, const Work& other) {
    addComparison(name + "/" + size.name, pixels, work, other);
}

using Shared8 = std::shared_ptr<_imgRGBABuffer8>;
using SharedF = std::shared_ptr<kxP::_imgRGBABufferf>;

Shared8 pictureOf(const Size& size) {
    return makeRandomImage(size.width, size.height, 1);
}

// --- Gamma -----------------------------------------------------------------------------------------------------

// Every run starts from the same picture, copied in its time: gamma applied over and over would leave only white.
template <class Image, class Fast, class Plain>
void addConversion(const std::string& name, const Size& size, const Image& image, const Image& target, Fast fast,
                   Plain plainRule) {
    const auto onCopy = [=](auto convert) {
        return [=] {
            image->copyTo(*target, true);
            convert(*target);
        };
    };
    add(name, size, size.width * size.height, onCopy(fast), onCopy(plainRule));
}

void addGamma(const Size& size) {
    const Shared8 image = pictureOf(size);
    const Shared8 target = pictureOf(size);
    const SharedF floats = makeRandomFloatImage(size.width, size.height, 1);
    const SharedF floatTarget = makeFloatImage(size.width, size.height);
    addConversion("doGamma/plain", size, image, target, kximgRGBABuffer8_doGamma22,
                  [](auto& picture) { plain::doGamma22(picture); });
    addConversion("undoGamma/plain", size, image, target, kximgRGBABuffer8_undoGamma22,
                  [](auto& picture) { plain::undoGamma22(picture); });
    addConversion("doGammaFloat/plain", size, floats, floatTarget, kximgRGBABufferf_doGamma22,
                  [](auto& picture) { plain::doGamma22(picture); });
}

// --- Scaling ---------------------------------------------------------------------------------------------------

// Reads the samples of an n x n grid without jitter and adds them up, channel by channel: the positions are
// computed beforehand and there is nothing to clamp or to divide.
struct AsIs {
    template <class Value>
    Value operator()(Value value) const {
        return value;
    }
};
struct ToInteger {
    int operator()(float value) const { return static_cast<int>(value * 255.0F); }
};

template <class Value, class Sum, class Convert = AsIs>
class BareSampling {
public:
    BareSampling(const kxP::_imgRGBABuffer_all& src, const _imgRGBABuffer8& dst, int grid)
        : pixels_(reinterpret_cast<const Value*>(src.pixels)), grid_(grid), width_(dst.width), height_(dst.height) {
        const auto positions = [grid](int extent, int targets, std::size_t unit) {
            const long long count = 1LL * targets * grid;
            std::vector<std::size_t> result;
            result.reserve(static_cast<std::size_t>(count));
            for (long long i = 0; i < count; ++i) {
                result.push_back(static_cast<std::size_t>(i * extent / count) * unit);
            }
            return result;
        };
        rows_ = positions(src.height, height_, 4 * static_cast<std::size_t>(src.width));
        columns_ = positions(src.width, width_, 4);
        sums_.resize(4 * static_cast<std::size_t>(width_ * height_));
    }

    void run() {
        Sum* target = sums_.data();
        for (int y = 0; y < height_; ++y) {
            for (int x = 0; x < width_; ++x, target += 4) addSamples(&rows_[index(y)], &columns_[index(x)], target);
        }
        benchmark::DoNotOptimize(sums_.data());
        benchmark::ClobberMemory();
    }

private:
    std::size_t index(int target) const { return static_cast<std::size_t>(1LL * target * grid_); }

    void addSamples(const std::size_t* rows, const std::size_t* columns, Sum* target) const {
        const Convert convert;
        Sum r = 0, g = 0, b = 0, a = 0;
        for (int j = 0; j < grid_; ++j) {
            for (int i = 0; i < grid_; ++i) {
                const Value* pixel = pixels_ + rows[j] + columns[i];
                r += convert(pixel[0]);
                g += convert(pixel[1]);
                b += convert(pixel[2]);
                a += convert(pixel[3]);
            }
        }
        target[0] = r;
        target[1] = g;
        target[2] = b;
        target[3] = a;
    }

    const Value* pixels_;
    int grid_, width_, height_;
    std::vector<std::size_t> rows_, columns_;
    std::vector<Sum> sums_;
};

template <class Sampling, class Source, class Fast>
void addBare(const std::string& name, const Size& size, const Source& src, int grid, Fast fast) {
    const Shared8 dst = makeImage(size.box, size.box);
    dst->setWidth(0);
    fast(*src, *dst, size.box);
    const auto bare = std::make_shared<Sampling>(*src, *dst, grid);
    add(
        name, size, dst->pixelCount, [=] { fast(*src, *dst, size.box); }, [=] { bare->run(); });
}

template <class Sampling, class Source, class Fast, class Plain>
void addScaler(const std::string& name, const Size& size, const Source& src, int grid, Fast fast, Plain plainRule) {
    const Shared8 dst = makeImage(size.box, size.box);
    dst->setWidth(0);
    fast(*src, *dst, size.box);
    add(
        name + "/plain", size, dst->pixelCount, [=] { fast(*src, *dst, size.box); },
        [=] { plainRule(*src, *dst, size.box); });
    addBare<Sampling>(name + "/bareSampling", size, src, grid, fast);
}

void addScaling(const Size& size) {
    using Bytes = BareSampling<unsigned char, unsigned>;
    using Floats = BareSampling<float, float>;
    const Shared8 image = pictureOf(size);
    const SharedF floats = makeRandomFloatImage(size.width, size.height, 1);
    const auto scale4 = [](auto& src, auto& dst, int box) { kximgRGBABuffer8_Scale4(src, dst, box, 0, false); };
    addScaler<Bytes>(
        "Scale16", size, image, 4,
        [](auto& src, auto& dst, int box) { kximgRGBABuffer8_Scale16(src, dst, box, 0, false); },
        [](auto& src, auto& dst, int box) { plain::scale16(src, dst, box, 0); });
    addScaler<Bytes>(
        "Scale16_noProportions", size, image, 4,
        [](auto& src, auto& dst, int box) { kximgRGBABuffer8_Scale16_noProportions(src, dst, box, box / 2); },
        [](auto& src, auto& dst, int box) { plain::scale16NoProportions(src, dst, box, box / 2); });
    addScaler<Bytes>(
        "Scale9", size, image, 3,
        [](auto& src, auto& dst, int box) { kximgRGBABuffer8_Scale9(src, dst, box, 0, false); },
        [](auto& src, auto& dst, int box) { plain::scale9(src, dst, box, 0); });
    addScaler<Bytes>("Scale4", size, image, 2, scale4,
                     [](auto& src, auto& dst, int box) { plain::scale4(src, dst, box, 0); });
    addScaler<Floats>("Scale4Float", size, floats, 2, scale4,
                      [](auto& src, auto& dst, int box) { plain::scale4(src, dst, box, 0); });
    addBare<BareSampling<float, int, ToInteger>>("Scale4Float/bareConversion", size, floats, 2, scale4);
    const auto factor = static_cast<float>(size.box) / static_cast<float>(size.width);
    addScaler<Bytes>(
        "Scale9_placed", size, image, 3,
        [=](auto& src, auto& dst, int box) {
            if (dst.width == 0) scale4(src, dst, box);
            kximgRGBABuffer8_Scale9(src, dst, factor, factor, 0, 0, false);
        },
        [=](auto& src, auto& dst, int) { plain::scale9At(src, dst, factor, factor, 0, 0, false); });
}

// --- Drawing ---------------------------------------------------------------------------------------------------

void addFills(const Size& size) {
    const Shared8 image = pictureOf(size);
    const double pixels = size.width * size.height;
    const auto width = static_cast<unsigned>(size.width);
    const auto height = static_cast<unsigned>(size.height);
    const Work memoryFill = [=] {
        std::memset(image->pixels, 77, std::size_t{4} * image->pixelCount);
        benchmark::ClobberMemory();
    };
    const std::pair<const char*, _Rgba8> colours[] = {{"fillOpaque", {1, 2, 3, 255}},
                                                      {"fillTranslucent", {1, 2, 3, 100}}};
    for (const auto& [name, colour] : colours) {
        const _Rgba8 c = colour;
        const Work fill = [=] { kximgRGBABuffer8_fillRect(*image, c, 0, 0, width, height); };
        add(std::string(name) + "/plain", size, pixels, fill,
            [=] { plain::fillRect(*image, c, 0, 0, width, height); });
        add(std::string(name) + "/memset", size, pixels, fill, memoryFill);
    }
}

void addPlacedImages(const Size& size) {
    const Shared8 image = pictureOf(size);
    const Shared8 mixed = pictureOf(size);
    const Shared8 opaque = makeUniformImage(size.width, size.height, {1, 2, 3, 255});
    for (const auto& [name, src] : {std::pair{"drawImageOpaque", opaque}, std::pair{"drawImageMixed", mixed}}) {
        const Shared8 source = src;
        add(
            std::string(name) + "/plain", size, size.width * size.height,
            [=] { kximgRGBABuffer8_drawImage(*image, *source, 0, 0, 0); },
            [=] { plain::drawImage(*image, *source, 0, 0, 0); });
    }
}

void addLines(const Size& size) {
    const Shared8 image = pictureOf(size);
    const int right = size.width - 1, bottom = size.height - 1;
    const auto x1 = static_cast<float>(right), y1 = static_cast<float>(bottom);
    for (const auto& [name, alpha] : {std::pair{"lineOpaque", 255}, std::pair{"lineTranslucent", 100}}) {
        const _Rgba8 c{1, 2, 3, static_cast<unsigned char>(alpha)};
        add(
            std::string(name) + "/plain", size, size.width,
            [=] { kximgRGBABuffer8_DrawLine(*image, c, 0, 0, right, bottom); },
            [=] { plain::drawLine(*image, c, 0, 0, right, bottom); });
    }
    const _Rgba8 c{1, 2, 3, 200};
    add(
        "lineAA/plain", size, size.width, [=] { kximgRGBABuffer8_DrawLineAA(*image, c, 0, 0, x1, y1); },
        [=] { plain::drawLineAA(*image, c, 0, 0, x1, y1); });
}

const bool registered = [] {
    for (const Size& size : sizes) {
        addGamma(size);
        addScaling(size);
        addFills(size);
        addPlacedImages(size);
        addLines(size);
    }
    return true;
}();

}  // namespace
