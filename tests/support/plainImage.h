// SPDX-License-Identifier: BSD-3-Clause
// The image operations once more, as simply as their rules read: what the fast ones are compared and measured with.
// Also pictures for tests.
#pragma once

#include "shared/kxImageBuffer.h"

#include <memory>
#include <string>

namespace plain {

void doGamma22(kxP::_imgRGBABuffer8& image);
void doGamma22(kxP::_imgRGBABufferf& image);
void undoGamma22(kxP::_imgRGBABuffer8& image);

bool scale16(const kxP::_imgRGBABuffer8& src, kxP::_imgRGBABuffer8& dst, int w, int h);
bool scale16NoProportions(const kxP::_imgRGBABuffer8& src, kxP::_imgRGBABuffer8& dst, int w, int h);
bool scale9(const kxP::_imgRGBABuffer8& src, kxP::_imgRGBABuffer8& dst, int w, int h);
bool scale4(const kxP::_imgRGBABuffer8& src, kxP::_imgRGBABuffer8& dst, int w, int h);
bool scale4(const kxP::_imgRGBABufferf& src, kxP::_imgRGBABuffer8& dst, int w, int h);
void scale9At(const kxP::_imgRGBABuffer8& src, kxP::_imgRGBABuffer8& dst, float sx, float sy, int x, int y,
              bool keepAspect);

void drawLine(kxP::_imgRGBABuffer8& image, _Rgba8 c, int x0, int y0, int x1, int y1);
void drawLineAA(kxP::_imgRGBABuffer8& image, _Rgba8 c, float x0, float y0, float x1, float y1);
void fillRect(kxP::_imgRGBABuffer8& image, _Rgba8 c, int x, int y, unsigned w, unsigned h);
void drawImage(kxP::_imgRGBABuffer8& dst, kxP::_imgRGBABuffer8& src, int x, int y, int mode);

}  // namespace plain

using Image8 = std::unique_ptr<kxP::_imgRGBABuffer8>;
using ImageF = std::unique_ptr<kxP::_imgRGBABufferf>;

// A black, transparent image; the capacity is that of the size plus `spare` pixels.
Image8 makeImage(int width, int height, unsigned spare = 0);
ImageF makeFloatImage(int width, int height);
// Every byte of the capacity random.
Image8 makeRandomImage(int width, int height, unsigned seed, unsigned spare = 0);
// Floats of -0.5 to 2.0.
ImageF makeRandomFloatImage(int width, int height, unsigned seed);
// Every pixel of the capacity in one colour.
Image8 makeUniformImage(int width, int height, _Rgba8 colour, unsigned spare = 0);
// Size, header and all pixel memory of another image.
Image8 makeCopy(const kxP::_imgRGBABuffer8& image);

// What differs first in header, size or pixel memory; empty when nothing does.
std::string differenceOf(const kxP::_imgRGBABuffer8& a, const kxP::_imgRGBABuffer8& b);
// The pixel as "r g b a".
std::string pixelText(const kxP::_imgRGBABuffer8& image, int x, int y);
