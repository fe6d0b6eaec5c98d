// SPDX-License-Identifier: BSD-3-Clause
// Every call that draws, scales or corrects, on images of random sizes, at random positions.
#include "fuzz/FuzzInput.h"
#include "image/KX_image.h"

#include <cstddef>

namespace {

constexpr unsigned capacity = 4096;

// Sizes within the capacity mostly, and nonsense set past the setters as by a damaged file.
void resize(kxP::_imgRGBABuffer_all& image, FuzzInput& input) {
    const auto kind = input.take<uint8_t>();
    const int width = input.takeCoordinate();
    const int height = input.takeCoordinate();
    if (kind < 230) {
        image.setWidth(kind < 180 ? width & 63 : width);
        image.setHeight(kind < 180 ? height & 63 : height);
    } else {
        image.width = width;
        image.height = height;
        image.pixelCount = input.take<uint32_t>();
    }
}

struct Images {
    kxP::_imgRGBABuffer8 a{capacity};
    kxP::_imgRGBABuffer8 b{capacity};
    kxP::_imgRGBABufferf f{capacity};
};

// An image may be scaled into itself.
kxP::_imgRGBABuffer8& takeSource(Images& images, FuzzInput& input) {
    return input.takeBit() ? images.b : images.a;
}

_Rgba8 takeColour(FuzzInput& input) {
    return input.take<_Rgba8>();
}

using Call = void (*)(Images&, FuzzInput&);
// One read from the input in each statement: the arguments of a call may be read in any order, and kept inputs must
// mean the same whatever the compiler.

struct Scaling {
    kxP::_imgRGBABuffer8& source;
    int w, h;
};

Scaling takeScaling(Images& images, FuzzInput& input) {
    const int w = input.takeCoordinate();
    kxP::_imgRGBABuffer8& source = takeSource(images, input);
    const int h = input.takeCoordinate();
    return {source, w, h};
}

void takeScaling9At(Images& images, FuzzInput& input, float sx, float sy) {
    const int x = input.takeCoordinate();
    const int y = input.takeCoordinate();
    kxP::_imgRGBABuffer8& source = takeSource(images, input);
    const bool keepAspect = input.takeBit();
    kximgRGBABuffer8_Scale9(source, images.a, sx, sy, x, y, keepAspect);
}

float takeQuarters(FuzzInput& input) {
    return static_cast<float>(input.takeCoordinate()) / 4;
}

float takeSixtyFourths(FuzzInput& input) {
    return static_cast<float>(input.take<uint8_t>()) / 64;
}

constexpr Call calls[] = {
    [](Images& images, FuzzInput& input) { resize(images.a, input); },
    [](Images& images, FuzzInput& input) { resize(images.b, input); },
    [](Images& images, FuzzInput& input) { resize(images.f, input); },
    [](Images& images, FuzzInput& input) {
        const int x0 = input.takeCoordinate(), y0 = input.takeCoordinate(), x1 = input.takeCoordinate();
        const _Rgba8 colour = takeColour(input);
        const int y1 = input.takeCoordinate();
        kximgRGBABuffer8_DrawLine(images.a, colour, x0, y0, x1, y1);
    },
    [](Images& images, FuzzInput& input) {
        const auto x0 = input.take<float>(), y0 = input.take<float>(), x1 = input.take<float>();
        const _Rgba8 colour = takeColour(input);
        const auto y1 = input.take<float>();
        kximgRGBABuffer8_DrawLineAA(images.a, colour, x0, y0, x1, y1);
    },
    [](Images& images, FuzzInput& input) {
        const float x0 = takeQuarters(input), y0 = takeQuarters(input), x1 = takeQuarters(input);
        const _Rgba8 colour = takeColour(input);
        const auto y1 = static_cast<float>(input.takeCoordinate());
        kximgRGBABuffer8_DrawLineAA(images.a, colour, x0, y0, x1, y1);
    },
    [](Images& images, FuzzInput& input) {
        const int x = input.takeCoordinate(), y = input.takeCoordinate();
        const auto w = static_cast<unsigned>(input.takeCoordinate());
        const _Rgba8 colour = takeColour(input);
        const auto h = static_cast<unsigned>(input.takeCoordinate());
        kximgRGBABuffer8_fillRect(images.a, colour, x, y, w, h);
    },
    [](Images& images, FuzzInput& input) {
        const int x = input.takeCoordinate(), y = input.takeCoordinate();
        kxP::_imgRGBABuffer8& source = takeSource(images, input);
        const auto mode = input.take<int8_t>();
        kximgRGBABuffer8_drawImage(images.a, source, x, y, mode);
    },
    [](Images& images, FuzzInput& input) {
        const Scaling to = takeScaling(images, input);
        kximgRGBABuffer8_Scale16(to.source, images.a, to.w, to.h, false);
    },
    [](Images& images, FuzzInput& input) {
        const Scaling to = takeScaling(images, input);
        kximgRGBABuffer8_Scale16_noProportions(to.source, images.a, to.w, to.h);
    },
    [](Images& images, FuzzInput& input) {
        const Scaling to = takeScaling(images, input);
        kximgRGBABuffer8_Scale9(to.source, images.a, to.w, to.h, true);
    },
    [](Images& images, FuzzInput& input) {
        const Scaling to = takeScaling(images, input);
        kximgRGBABuffer8_Scale4(to.source, images.a, to.w, to.h, true);
    },
    [](Images& images, FuzzInput& input) {
        const int w = input.takeCoordinate(), h = input.takeCoordinate();
        kximgRGBABuffer8_Scale4(images.f, images.a, w, h, true);
    },
    [](Images& images, FuzzInput& input) {
        const auto sx = input.take<float>(), sy = input.take<float>();
        takeScaling9At(images, input, sx, sy);
    },
    [](Images& images, FuzzInput& input) {
        const float sx = takeSixtyFourths(input), sy = takeSixtyFourths(input);
        takeScaling9At(images, input, sx, sy);
    },
    [](Images& images, FuzzInput&) { kximgRGBABuffer8_doGamma22(images.a); },
    [](Images& images, FuzzInput&) { kximgRGBABuffer8_undoGamma22(images.a); },
    [](Images& images, FuzzInput&) { kximgRGBABufferf_doGamma22(images.f); },
    [](Images& images, FuzzInput& input) {
        const int index = input.takeCoordinate();
        const auto r = input.take<float>(), g = input.take<float>(), b = input.take<float>(),
                   a = input.take<float>();
        images.f.write(index, _Rgbaf{r, g, b, a});
    },
    [](Images& images, FuzzInput&) { images.a.copyTo(images.b, true); },
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, std::size_t size) {
    constexpr int mostCalls = 32;
    FuzzInput input(bytes, size);
    Images images;
    for (int i = 0; i < mostCalls && !input.empty(); ++i)
        calls[input.take<uint8_t>() % std::size(calls)](images, input);
    return 0;
}
