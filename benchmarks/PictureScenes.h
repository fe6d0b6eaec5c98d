// SPDX-License-Identifier: BSD-3-Clause
// Pictures of made-up scenes, drawn in memory as a frame's picture is: 8 bits a channel with display gamma.
#pragma once

#include "shared/kxImageBuffer.h"

#include <cstddef>
#include <cstdint>
#include <vector>

// The light of a scene: round spots of light and hard-edged boxes over a plain ground, others for each seed. It
// goes on for ever by repeating.
class Scene {
public:
    explicit Scene(unsigned seed);

    // Three channels of linear light; Scene::white is white, up to twice as much is kept.
    const std::uint16_t* at(int x, int y) const { return &light_[3 * indexOf(x, y)]; }
    static constexpr int white = 32768;

private:
    static constexpr int side = 2048;
    static std::size_t indexOf(int x, int y) {
        const auto wrapped = [](int at) { return static_cast<std::size_t>(at & (side - 1)); };
        return wrapped(y) * side + wrapped(x);
    }
    void addSpot(std::vector<float>& light, int x, int y, int radius, const float (&colour)[3]);
    void addBox(std::vector<float>& light, int x, int y, int radius, const float (&colour)[3]);

    std::vector<std::uint16_t> light_;
};

// What is seen of a scene in one frame.
struct Shot {
    const Scene* scene = nullptr;
    const Scene* light = nullptr;  // lights the same place as well, by `lightFactor`
    double exposure = 1;
    double lightFactor = 0;
    double grain = 0;   // 1: as of a fast film
    unsigned seed = 0;  // of the grain
    int x = 0;          // of the left upper corner in the scene
    int y = 0;
};

// The size of the picture, at most its capacity; opaque, and not yet with an alpha of its own.
void setSize(kxP::_imgRGBABuffer8& picture, int width, int height);
// Over the whole picture.
void draw(kxP::_imgRGBABuffer8& picture, const Shot& shot);
// A box; what lies outside is left out.
void fill(kxP::_imgRGBABuffer8& picture, int x, int y, int width, int height, _Rgba8 colour);
// Six lines of letters of straight strokes, on black; `brightness` is linear, 1 is white.
void drawTitles(kxP::_imgRGBABuffer8& picture, int y, double brightness);
// A dark window whose edges lie anywhere between pixels; transparent in a picture with alpha.
void openWindow(kxP::_imgRGBABuffer8& picture, double left, double top, double right, double bottom);
// All in one grey; linear light, 1 is white.
void fillGrey(kxP::_imgRGBABuffer8& picture, double linear);
