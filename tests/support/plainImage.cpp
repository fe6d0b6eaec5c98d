// SPDX-License-Identifier: BSD-3-Clause
#include "tests/support/plainImage.h"

#include <cmath>
#include <cstring>
#include <vector>

namespace plain {

namespace {

using kxP::_imgRGBABuffer8;
using kxP::_imgRGBABufferf;

int rounded(float value) {
    return static_cast<int>(value < 0 ? value - 0.5 : value + 0.5);
}
int cut(float value) {
    return static_cast<int>(value);
}
unsigned char byteOf(int value) {
    return static_cast<unsigned char>(value);
}

const float exponent = 1.0F / 2.2F;

unsigned char gammaOf(int value) {
    return byteOf(rounded(powf(static_cast<float>(value) / 255.0F, exponent) * 255.0F));
}

}  // namespace

void doGamma22(_imgRGBABuffer8& image) {
    for (unsigned i = 0; i < image.pixelCount; ++i) {
        const _Rgba8 p = image.read(i);
        image.write(static_cast<int>(i), {gammaOf(p.r), gammaOf(p.g), gammaOf(p.b), p.a});
    }
    image.flags |= KX_IMG_GAMMA22;
}

void doGamma22(_imgRGBABufferf& image) {
    const auto withGamma = [](float v) { return v > 0 && v < 1 ? powf(v, exponent) : v; };
    for (unsigned i = 0; i < image.pixelCount; ++i) {
        const _Rgbaf p = image.read(i);
        image.write(static_cast<int>(i), {withGamma(p.r), withGamma(p.g), withGamma(p.b), p.a});
    }
    image.flags |= KX_IMG_GAMMA22;
}

void undoGamma22(_imgRGBABuffer8& image) {
    unsigned char table[256];
    for (int i = 0; i < 256; ++i) table[i] = gammaOf(i);
    const auto searched = [&](unsigned char value) {
        for (int k = 0; k < 256; ++k) {
            if (value <= table[k]) return byteOf(k);
        }
        return value;
    };
    for (unsigned i = 0; i < image.pixelCount; ++i) {
        const _Rgba8 p = image.read(i);
        image.write(static_cast<int>(i), {searched(p.r), searched(p.g), searched(p.b), p.a});
    }
    image.flags &= 0xfe;
}

namespace {

// The target's size and factors, or what else became of the call.
enum class Outcome { copied, refused, sized };

template <class Source>
Outcome prepare(const Source& src, _imgRGBABuffer8& dst, int w, int h, bool proportional, float& fx, float& fy) {
    dst.copyHeaderFrom(src);
    if (src.width < w && src.height < h) {
        dst.setWidth(src.width);
        dst.setHeight(src.height);
        dst.writeMulti(0, src.pixels, static_cast<int>(src.pixelCount));
        return Outcome::copied;
    }
    fx = std::max(1.0F, static_cast<float>(src.width) / static_cast<float>(w));
    fy = std::max(1.0F, static_cast<float>(src.height) / static_cast<float>(h));
    if (proportional) fx = fy = std::max(fx, fy);
    float width = static_cast<float>(src.width) / fx;
    float height = static_cast<float>(src.height) / fy;
    if (proportional && cut(width) % 2 != 0) width -= 1.0F;
    if (proportional && cut(height) % 2 != 0) height -= 1.0F;
    if (!dst.doesImageSizeFit(static_cast<unsigned>(cut(width)), static_cast<unsigned>(cut(height)))) {
        return Outcome::refused;
    }
    dst.setWidth(cut(width));
    dst.setHeight(cut(height));
    return Outcome::sized;
}

void clampAll(std::vector<int>& positions, int extent) {
    if (positions.back() < extent) return;
    for (int& position : positions) {
        if (position >= extent) position = extent - 1;
    }
}

// Positions of one target coordinate; a spread of 0 draws nothing.
std::vector<int> positionsOf(int t, const std::vector<float>& offsets, double spread, float factor, int extent,
                             unsigned& seed) {
    std::vector<int> positions;
    for (const float offset : offsets) {
        float position = static_cast<float>(t) + offset;
        if (spread > 0) position += static_cast<float>((kxRand(seed) - 0.4) * spread);
        positions.push_back(cut(position * factor));
    }
    clampAll(positions, extent);
    return positions;
}

_Rgba8 averageOf(const _imgRGBABuffer8& src, const std::vector<int>& rows, const std::vector<int>& columns) {
    int r = 0, g = 0, b = 0, a = 0;
    for (const int row : rows) {
        for (const int column : columns) {
            const _Rgba8 p = src.read(static_cast<unsigned>(row * src.width + column));
            r += p.r;
            g += p.g;
            b += p.b;
            a += p.a;
        }
    }
    const auto n = static_cast<int>(rows.size() * columns.size());
    return {byteOf(r / n), byteOf(g / n), byteOf(b / n), byteOf(a / n)};
}

_Rgba8 averageOf(const _imgRGBABufferf& src, const std::vector<int>& rows, const std::vector<int>& columns) {
    int r = 0, g = 0, b = 0, a = 0;
    for (const int row : rows) {
        for (const int column : columns) {
            const _Rgbaf p = src.read(static_cast<unsigned>(row * src.width + column));
            r += cut(p.r * 255.0F);
            g += cut(p.g * 255.0F);
            b += cut(p.b * 255.0F);
            a += cut(p.a * 255.0F);
        }
    }
    const auto mean = [](int sum) { return sum <= -4 ? byteOf(0) : sum >= 1024 ? byteOf(255) : byteOf(sum / 4); };
    return {mean(r), mean(g), mean(b), mean(a)};
}

template <class Source>
bool scale(const Source& src, _imgRGBABuffer8& dst, int w, int h, bool proportional,
           const std::vector<float>& rowOffsets, const std::vector<float>& columnOffsets, double spread) {
    float fx, fy;
    const Outcome outcome = prepare(src, dst, w, h, proportional, fx, fy);
    if (outcome != Outcome::sized) return outcome == Outcome::copied;
    unsigned seed = 4325;
    for (int y = 0; y < dst.height; ++y) {
        const std::vector<int> rows = positionsOf(y, rowOffsets, spread, fy, src.height, seed);
        for (int x = 0; x < dst.width; ++x) {
            const std::vector<int> columns = positionsOf(x, columnOffsets, spread, fx, src.width, seed);
            dst.write(x, y, averageOf(src, rows, columns));
        }
    }
    return true;
}

int square(int w, int h) {
    return h < 1 ? w : h;
}

}  // namespace

bool scale16(const _imgRGBABuffer8& src, _imgRGBABuffer8& dst, int w, int h) {
    const std::vector<float> offsets{0.0F, 0.5F, 0.25F, 0.75F};
    return scale(src, dst, w, square(w, h), true, offsets, offsets, 0.14000000059604645);
}

bool scale16NoProportions(const _imgRGBABuffer8& src, _imgRGBABuffer8& dst, int w, int h) {
    return scale(src, dst, w, square(w, h), false, {0.0F, 0.22F, 0.53F, 0.72F}, {0.0F, 0.28F, 0.47F, 0.78F}, 0);
}

bool scale9(const _imgRGBABuffer8& src, _imgRGBABuffer8& dst, int w, int h) {
    h = square(w, h);
    const std::vector<float> offsets{0.0F, 0.333F, 0.666F};
    if (src.width < w * 5 / 2 && src.height < h * 5 / 2) return scale4(src, dst, w, h);
    return scale(src, dst, w, h, true, offsets, offsets, 0.15000000596046448);
}

bool scale4(const _imgRGBABuffer8& src, _imgRGBABuffer8& dst, int w, int h) {
    return scale(src, dst, w, square(w, h), true, {0.0F, 0.5F}, {0.0F, 0.5F}, 0);
}

bool scale4(const _imgRGBABufferf& src, _imgRGBABuffer8& dst, int w, int h) {
    return scale(src, dst, w, square(w, h), true, {0.0F, 0.5F}, {0.0F, 0.5F}, 0);
}

void scale9At(const _imgRGBABuffer8& src, _imgRGBABuffer8& dst, float sx, float sy, int x, int y, bool keepAspect) {
    x = std::max(x, 0);
    y = std::max(y, 0);
    dst.copyHeaderFrom(src);
    float stepX = 1.0F / sx;
    float stepY = 1.0F / sy;
    const int w = rounded(static_cast<float>(src.width) / stepX);
    const int h = rounded(static_cast<float>(src.height) / stepY);
    int offX = 0, offY = 0;
    if (keepAspect && stepX > stepY) {
        offX = std::max(0, rounded((1.0F - stepX * stepY) * (static_cast<float>(src.width) * 0.5F)));
        stepX = stepY;
    } else if (keepAspect) {
        offY = std::max(0, rounded((1.0F - stepX * stepY) * (static_cast<float>(src.height) * 0.5F)));
        stepY = stepX;
    }
    if (!dst.doesImageSizeFit(static_cast<unsigned>(x + w), static_cast<unsigned>(y + h)) || h < 1) return;
    const auto samples = [](int t, float step, int start, int extent) {
        std::vector<int> positions;
        for (const float o : {0.0F, 0.333F, 0.666F}) {
            positions.push_back(rounded((static_cast<float>(t) + o) * step) + start);
        }
        clampAll(positions, extent);
        return positions;
    };
    for (int j = 0; j < h; ++j) {
        const std::vector<int> rows = samples(j, stepY, offY, src.height);
        for (int i = 0; i < w; ++i) {
            dst.write(x + i, y + j, averageOf(src, rows, samples(i, stepX, offX, src.width)));
        }
    }
}

namespace {

unsigned char part(unsigned char channel, float weight) {
    return byteOf(cut(static_cast<float>(channel) * weight));
}

// The pixel under a translucent colour.
_Rgba8 covered(_Rgba8 old, _Rgba8 c) {
    const float a = static_cast<float>(c.a) / 255.0F;
    return {byteOf(part(old.r, 1.0F - a) + part(c.r, a)), byteOf(part(old.g, 1.0F - a) + part(c.g, a)),
            byteOf(part(old.b, 1.0F - a) + part(c.b, a)), old.a};
}

void putLinePoint(_imgRGBABuffer8& image, _Rgba8 c, int x, int y) {
    const int index = y * image.width + x;
    if (c.a == 255) {
        image.write(index, c);
    } else if (static_cast<unsigned>(index) < image.pixelCount) {
        image.write(index, covered(image.read(static_cast<unsigned>(index)), c));
    }
}

}  // namespace

void drawLine(_imgRGBABuffer8& image, _Rgba8 c, int x0, int y0, int x1, int y1) {
    if (c.a == 0) return;
    const int dx = std::abs(x1 - x0);
    const int dy = std::abs(y1 - y0);
    if (dy < dx) {
        const float slope = static_cast<float>(y0 - y1) / static_cast<float>(x0 - x1);
        for (int x = std::min(x0, x1); x <= std::max(x0, x1); ++x) {
            putLinePoint(image, c, x, y0 + rounded(static_cast<float>(x - x0) * slope));
        }
    } else if (y0 == y1 && c.a == 255) {
        image.write(x0, y0, c);
    } else if (y0 == y1) {
        putLinePoint(image, c, x0, y0);
    } else {
        const float slope = static_cast<float>(x0 - x1) / static_cast<float>(y0 - y1);
        for (int y = std::min(y0, y1); y <= std::max(y0, y1); ++y) {
            putLinePoint(image, c, x0 + rounded(static_cast<float>(y - y0) * slope), y);
        }
    }
}

void drawLineAA(_imgRGBABuffer8& image, _Rgba8 c, float x0, float y0, float x1, float y1) {
    if (c.a == 0) return;
    const float a = static_cast<float>(c.a) / 255.0F;
    const int xs = rounded(x0), xe = rounded(x1), ys = rounded(y0), ye = rounded(y1);
    if (std::fabs(x1 - x0) >= std::fabs(y1 - y0)) {
        if (xs == xe) {
            image.writeMix(xs, ys, c, a);
            return;
        }
        const float slope = (y0 - y1) / (x0 - x1);
        for (int x = std::min(xs, xe); x <= std::max(xs, xe); ++x) {
            const float yf = (static_cast<float>(x) - x0) * slope + y0;
            const float fr = yf - floorf(yf);
            image.writeMix(x, cut(floorf(yf)), c, (1.0F - fr) * a);
            image.writeMix(x, cut(floorf(yf)) + 1, c, fr * a);
        }
        return;
    }
    const float slope = (x0 - x1) / (y0 - y1);
    for (int y = std::min(ys, ye); y <= std::max(ys, ye); ++y) {
        const float xf = (static_cast<float>(y) - y0) * slope + x0;
        const float fr = xf - floorf(xf);
        image.writeMix(cut(floorf(xf)), y, c, (1.0F - fr) * a);
        image.writeMix(cut(floorf(xf)) + 1, y, c, fr * a);
    }
}

void fillRect(_imgRGBABuffer8& image, _Rgba8 c, int x, int y, unsigned w, unsigned h) {
    if (w == 0 || h == 0) return;
    const auto start = [](int at, int extent) { return at < 0 ? 0 : at >= extent ? extent - 1 : at; };
    const int left = start(x, image.width);
    const int top = start(y, image.height);
    const auto size = [](int from, unsigned wanted, int extent) {
        return from + static_cast<int>(wanted) < extent ? static_cast<int>(wanted) : extent - from;
    };
    for (int row = top; row < top + size(top, h, image.height); ++row) {
        for (int column = left; column < left + size(left, w, image.width); ++column) {
            _Rgba8 old;
            image.read(old, column, row);
            image.write(column, row, c.a == 255 ? c : covered(old, c));
        }
    }
}

void drawImage(_imgRGBABuffer8& dst, _imgRGBABuffer8& src, int x, int y, int mode) {
    if (mode & 1) {
        y -= src.height / 2;
    } else if (mode & 2) {
        y -= src.height;
    }
    if (mode & 4) {
        x -= src.width;
    } else if (mode & 8) {
        x -= src.width / 2;
    }
    _Rgba8 p{204, 204, 204, 255};
    _Rgba8 q = p;
    const auto mix = [](unsigned char over, unsigned char under, float a) {
        return byteOf(cut(static_cast<float>(over) * a + static_cast<float>(under) * (1.0F - a)));
    };
    for (int sx = 0; sx < src.width; ++sx) {
        for (int sy = 0; sy < src.height; ++sy) {
            src.read(p, sx, sy);
            if (p.a == 255) dst.write(x + sx, y + sy, p);
            if (p.a == 0 || p.a == 255) continue;
            dst.read(q, x + sx, y + sy);
            const float a = static_cast<float>(p.a) / 255.0F;
            dst.write(x + sx, y + sy, {mix(p.r, q.r, a), mix(p.g, q.g, a), mix(p.b, q.b, a), q.a});
        }
    }
}

}  // namespace plain

namespace {

template <class Buffer>
std::unique_ptr<Buffer> sized(int width, int height, unsigned spare) {
    auto image = std::make_unique<Buffer>(static_cast<unsigned>(width * height) + spare);
    image->setWidth(width);
    image->setHeight(height);
    return image;
}

}  // namespace

Image8 makeImage(int width, int height, unsigned spare) {
    return sized<kxP::_imgRGBABuffer8>(width, height, spare);
}

ImageF makeFloatImage(int width, int height) {
    return sized<kxP::_imgRGBABufferf>(width, height, 0);
}

Image8 makeRandomImage(int width, int height, unsigned seed, unsigned spare) {
    Image8 image = makeImage(width, height, spare);
    for (unsigned i = 0; i < 4 * image->capacity; ++i) {
        image->pixels[i] = static_cast<unsigned char>(kxRand(seed) * 256);
    }
    return image;
}

ImageF makeRandomFloatImage(int width, int height, unsigned seed) {
    ImageF image = makeFloatImage(width, height);
    const auto value = [&seed] { return kxRand(seed) * 2.5F - 0.5F; };
    for (unsigned i = 0; i < image->capacity; ++i) {
        image->write(static_cast<int>(i), {value(), value(), value(), value()});
    }
    return image;
}

Image8 makeUniformImage(int width, int height, _Rgba8 colour, unsigned spare) {
    Image8 image = makeImage(width, height, spare);
    for (unsigned i = 0; i < image->capacity; ++i) std::memcpy(image->pixels + std::size_t{4} * i, &colour, 4);
    return image;
}

Image8 makeCopy(const kxP::_imgRGBABuffer8& image) {
    auto copy = std::make_unique<kxP::_imgRGBABuffer8>(image.capacity);
    image.copyTo(*copy, true);
    if (image.capacity > 0) std::memcpy(copy->pixels, image.pixels, std::size_t{4} * image.capacity);
    return copy;
}

std::string differenceOf(const kxP::_imgRGBABuffer8& a, const kxP::_imgRGBABuffer8& b) {
    if (a.width != b.width || a.height != b.height || a.pixelCount != b.pixelCount) {
        return "sizes " + std::to_string(a.width) + " x " + std::to_string(a.height) + " and " +
               std::to_string(b.width) + " x " + std::to_string(b.height);
    }
    if (std::memcmp(static_cast<const void*>(&a), static_cast<const void*>(&b),
                    offsetof(kxP::_imgRGBABuffer8, pixels)) != 0) {
        return "headers or capacities";
    }
    for (unsigned i = 0; i < 4 * a.capacity; ++i) {
        if (a.pixels[i] != b.pixels[i]) {
            return "channel " + std::to_string(i % 4) + " of pixel " + std::to_string(i / 4) + ": " +
                   std::to_string(a.pixels[i]) + " and " + std::to_string(b.pixels[i]);
        }
    }
    return {};
}

std::string pixelText(const kxP::_imgRGBABuffer8& image, int x, int y) {
    _Rgba8 p{};
    image.read(p, x, y);
    return std::to_string(p.r) + " " + std::to_string(p.g) + " " + std::to_string(p.b) + " " + std::to_string(p.a);
}
