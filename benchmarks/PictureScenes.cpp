// SPDX-License-Identifier: BSD-3-Clause
#include "benchmarks/PictureScenes.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace {

constexpr int spots = 60;
constexpr std::size_t noiseValues = 1U << 16U;
// Factors are in these parts, so that the loop over pixels counts in whole numbers.
constexpr std::int64_t one = 1024;

std::uint8_t displayValue(double linear) {
    return static_cast<std::uint8_t>(std::lround(255 * std::pow(std::clamp(linear, 0.0, 1.0), 1 / 2.2)));
}

// Of each value of light up to four times white.
const std::vector<std::uint8_t>& displayValues() {
    static const std::vector<std::uint8_t> values = [] {
        std::vector<std::uint8_t> made;
        made.reserve(std::size_t{4} * Scene::white);
        for (int light = 0; light < 4 * Scene::white; ++light)
            made.push_back(displayValue(static_cast<double>(light) / Scene::white));
        return made;
    }();
    return values;
}

// Normally distributed, of deviation 2048.
const std::vector<std::int64_t>& noise() {
    static const std::vector<std::int64_t> values = [] {
        std::vector<std::int64_t> made(noiseValues);
        std::mt19937 random(7);
        std::normal_distribution<double> normal(0, 2048);
        for (std::int64_t& value : made) value = std::llround(normal(random));
        return made;
    }();
    return values;
}

class Grain {
public:
    explicit Grain(const Shot& shot)
        : factor_(std::llround(shot.grain * static_cast<double>(one))), state_(shot.seed * 2654435761U + 12345U) {}

    // For this light: more in the lights than in the shadows.
    std::int64_t next(std::int64_t light) {
        if (factor_ == 0) return 0;
        state_ = state_ * 1664525U + 1013904223U;
        return noise()[state_ >> 16U] * factor_ / one * (light + 2000) / 40000;
    }

private:
    std::int64_t factor_;
    std::uint32_t state_;
};

double shareWithin(double first, double end, int pixel) {
    return std::max(0.0, std::min(end, pixel + 1.0) - std::max(first, static_cast<double>(pixel)));
}

}  // namespace

Scene::Scene(unsigned seed) {
    std::mt19937 random(seed);
    const auto between = [&](double a, double b) {
        return static_cast<float>(std::uniform_real_distribution<double>(a, b)(random));
    };
    const float ground[3] = {between(0.02, 0.3), between(0.02, 0.3), between(0.02, 0.3)};
    std::vector<float> light(std::size_t{3} * side * side);
    for (std::size_t i = 0; i < light.size(); ++i) light[i] = ground[i % 3];
    for (int spot = 0; spot < spots; ++spot) {
        const int x = static_cast<int>(between(0, side));
        const int y = static_cast<int>(between(0, side));
        const int radius = static_cast<int>(between(20, 300));
        const float colour[3] = {between(0, 0.6), between(0, 0.6), between(0, 0.6)};
        if (spot % 2 == 0)
            addBox(light, x, y, radius, colour);
        else
            addSpot(light, x, y, radius, colour);
    }
    light_.reserve(light.size());
    for (const float value : light)
        light_.push_back(static_cast<std::uint16_t>(std::min(65535.0F, value * static_cast<float>(white))));
}

void Scene::addSpot(std::vector<float>& light, int x, int y, int radius, const float (&colour)[3]) {
    for (int dy = -radius; dy <= radius; ++dy)
        for (int dx = -radius; dx <= radius; ++dx) {
            const float away =
                std::hypot(static_cast<float>(dx), static_cast<float>(dy)) / static_cast<float>(radius);
            float* const pixel = &light[3 * indexOf(x + dx, y + dy)];
            for (int c = 0; c < 3; ++c) pixel[c] += std::max(0.0F, 1 - away) * colour[c];
        }
}

void Scene::addBox(std::vector<float>& light, int x, int y, int radius, const float (&colour)[3]) {
    for (int dy = -radius; dy <= radius; ++dy)
        for (int dx = -radius; dx <= radius; ++dx) {
            float* const pixel = &light[3 * indexOf(x + dx, y + dy)];
            for (int c = 0; c < 3; ++c) pixel[c] += 0.3F * colour[c];
        }
}

// The second time with the new height.
void setSize(kxP::_imgRGBABuffer8& picture, int width, int height) {
    picture.setWidth(width);
    picture.setHeight(height);
    picture.setWidth(width);
    picture.valid = 0;
}

void draw(kxP::_imgRGBABuffer8& picture, const Shot& shot) {
    const auto& display = displayValues();
    const std::int64_t exposure = std::llround(shot.exposure * static_cast<double>(one));
    const std::int64_t lightFactor = shot.light ? std::llround(shot.lightFactor * static_cast<double>(one)) : 0;
    const Scene& other = shot.light ? *shot.light : *shot.scene;
    Grain grain(shot);
    unsigned char* pixel = picture.pixels;
    for (int y = 0; y < picture.height; ++y)
        for (int x = 0; x < picture.width; ++x, pixel += 4) {
            const std::uint16_t* const light = shot.scene->at(x + shot.x, y + shot.y);
            const std::uint16_t* const more = other.at(x + shot.x, y + shot.y);
            for (int c = 0; c < 3; ++c) {
                const std::int64_t value = (light[c] * exposure + more[c] * lightFactor) / one;
                const std::int64_t grained = value + grain.next(value);
                const std::int64_t most = static_cast<std::int64_t>(display.size()) - 1;
                pixel[c] = display[static_cast<std::size_t>(std::clamp<std::int64_t>(grained, 0, most))];
            }
            pixel[3] = 255;
        }
}

void fill(kxP::_imgRGBABuffer8& picture, int x, int y, int width, int height, _Rgba8 colour) {
    for (int row = std::max(0, y); row < std::min(picture.height, y + height); ++row)
        for (int column = std::max(0, x); column < std::min(picture.width, x + width); ++column)
            picture.write(column, row, colour);
}

void drawTitles(kxP::_imgRGBABuffer8& picture, int y, double brightness) {
    struct Stroke {
        int x, y, width, height;
    };
    static constexpr Stroke strokes[] = {
        {0, 0, 50, 10}, {0, 0, 10, 90}, {0, 40, 50, 10}, {0, 80, 50, 10}, {40, 0, 10, 90}};
    fill(picture, 0, 0, picture.width, picture.height, {0, 0, 0, 255});
    const std::uint8_t value = displayValue(brightness);
    for (int line = 0; line < 6; ++line)
        for (int letter = 0; letter < 18; ++letter) {
            const auto shape = static_cast<unsigned>(line * 31 + letter * 17 + 1) * 2654435761U >> 20U;
            for (unsigned i = 0; i < std::size(strokes); ++i) {
                if ((shape >> i & 1U) == 0) continue;
                const Stroke& stroke = strokes[i];
                fill(picture, 100 + letter * 80 + stroke.x, y + line * 140 + stroke.y, stroke.width, stroke.height,
                     {value, value, value, 255});
            }
        }
}

void openWindow(kxP::_imgRGBABuffer8& picture, double left, double top, double right, double bottom) {
    for (int y = static_cast<int>(top); y <= static_cast<int>(bottom); ++y)
        for (int x = static_cast<int>(left); x <= static_cast<int>(right); ++x) {
            const double rest = 1 - shareWithin(left, right, x) * shareWithin(top, bottom, y);
            const double shown = std::pow(rest, 1 / 2.2);
            _Rgba8 pixel{};
            picture.read(pixel, x, y);
            const auto reduced = [](unsigned char value, double factor) {
                return static_cast<unsigned char>(std::lround(value * factor));
            };
            picture.write(x, y,
                          {reduced(pixel.r, shown), reduced(pixel.g, shown), reduced(pixel.b, shown),
                           picture.valid ? reduced(pixel.a, rest) : pixel.a});
        }
}

void fillGrey(kxP::_imgRGBABuffer8& picture, double linear) {
    const auto value =
        static_cast<unsigned char>(std::lround(255 * std::pow(std::clamp(linear, 0.0, 1.0), 1 / 2.2)));
    fill(picture, 0, 0, picture.width, picture.height, {value, value, value, 255});
}
