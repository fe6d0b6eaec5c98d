// SPDX-License-Identifier: BSD-3-Clause
// Gamma, scaling and drawing on the pixel buffers.
//
// All operations work on buffers that the caller owns, keep nothing between calls but the gamma table, and touch no
// memory outside a buffer's capacity, whatever sizes and positions they are given. Results are the same bits on
// every machine: single precision, no fused operations.
//
// Threads: calls that work on different target buffers may run at the same time, also when they read one source.
#pragma once

#include "shared/kxImageBuffer.h"

// --- Gamma 2.2 -------------------------------------------------------------------------------------------------

// gammaTable[i] = round(255 * (i / 255) ^ (1 / 2.2)): linear 8-bit value to display value. Filled by the first
// gamma call or gammaTable_InitNow(); later ones put it right when it was changed, and otherwise only read it. The
// conversions do not depend on it: reading it in several threads is safe after one such call, changing it is not
// while others read it or convert.
extern unsigned char gammaTable[256];
void gammaTable_InitNow();

// Linear to display values in r, g and b; alpha stays. Sets KX_IMG_GAMMA22 and does not look at it first: a second
// call applies the curve a second time.
void kximgRGBABuffer8_doGamma22(kxP::_imgRGBABuffer8& image);
// The same for floats between 0 and 1, both exclusive; other values stay.
void kximgRGBABufferf_doGamma22(kxP::_imgRGBABufferf& image);
// Display to linear values: the lowest index whose table entry is not below the value, so that the 72 indices with
// the entry of the one before come back as that one (white as 254). Clears KX_IMG_GAMMA22.
void kximgRGBABuffer8_undoGamma22(kxP::_imgRGBABuffer8& image);

// --- Scaling ---------------------------------------------------------------------------------------------------
//
// The number in a name is the number of point samples averaged for one target pixel. The box scalers only reduce:
// a source smaller than the box in both axes is copied (the float source's bytes as they lie). h below 1 means a
// square box. The header of src, all but its bytesPerPixel, is copied first, in every case. The result of a
// reduction is false, and dst otherwise unchanged, when the target size does not fit dst; a copy is clipped
// instead. Width and height of dst are set one after the other, each clipped to the capacity as by setWidth: a dst
// that was used before can come out narrower unless its capacity has room for the new width at its old height. src
// being dst itself is harmless, but the picture is not the scaled one. The trailing flag has no effect.

// 4 x 4 samples with jitter; fits into w x h, proportions kept, even size.
bool kximgRGBABuffer8_Scale16(const kxP::_imgRGBABuffer8& src, kxP::_imgRGBABuffer8& dst, int w, int h, bool);
// 4 x 4 samples at fixed offsets; each axis reduced on its own.
bool kximgRGBABuffer8_Scale16_noProportions(const kxP::_imgRGBABuffer8& src, kxP::_imgRGBABuffer8& dst, int w,
                                            int h);
// 3 x 3 samples with jitter; reductions below two and a half in both axes go to Scale4.
bool kximgRGBABuffer8_Scale9(const kxP::_imgRGBABuffer8& src, kxP::_imgRGBABuffer8& dst, int w, int h, bool);
// 2 x 2 samples.
bool kximgRGBABuffer8_Scale4(const kxP::_imgRGBABuffer8& src, kxP::_imgRGBABuffer8& dst, int w, int h, bool);
// 2 x 2 samples of a float source: 1.0 becomes 255, the average is clamped to 0 .. 255. A sample counts as at most
// two million times white, NaN as that much below black.
bool kximgRGBABuffer8_Scale4(const kxP::_imgRGBABufferf& src, kxP::_imgRGBABuffer8& dst, int w, int h, bool);

// 3 x 3 samples at fixed offsets, factors sx and sy (target pixels per source pixel), drawn at (x, y) of dst, whose
// size stays. Draws nothing when the area does not fit dst's capacity; pixels beside dst are left out. Positions
// below 0 become 0. keepAspect takes the smaller step for both axes, but draws the area that sx and sy give.
void kximgRGBABuffer8_Scale9(const kxP::_imgRGBABuffer8& src, kxP::_imgRGBABuffer8& dst, float sx, float sy, int x,
                             int y, bool keepAspect);

// --- Drawing ---------------------------------------------------------------------------------------------------
//
// The colour's alpha is the opacity of the drawing. The target's alpha channel stays, except that opaque lines,
// rectangles and image pixels store the whole colour.

// Line between two pixels, both included. Points are bounded by the linear index only: an x beyond a side lands on
// the neighbouring row. A line of more than 2^25 points leaves out those whose coordinate on the longer axis alone
// is worth more than 2^24 pixels of linear index beyond the memory, so that no line takes more than a moment.
void kximgRGBABuffer8_DrawLine(kxP::_imgRGBABuffer8& image, _Rgba8 c, int x0, int y0, int x1, int y1);
// Anti-aliased line between two real positions, clipped to the image.
void kximgRGBABuffer8_DrawLineAA(kxP::_imgRGBABuffer8& image, _Rgba8 c, float x0, float y0, float x1, float y1);
// Filled rectangle of w columns and h rows, cut at the right and bottom edges. A corner outside is moved to the
// nearest edge, not cut off. Opaque pixels get alpha 255.
void kximgRGBABuffer8_fillRect(kxP::_imgRGBABuffer8& image, _Rgba8 c, int x, int y, unsigned w, unsigned h);

// Where (x, y) lies in a placed image; none is its top-left corner. Within a pair the lower bit wins.
enum DrawImageAlign { alignVerticalCentre = 1, alignBottom = 2, alignRight = 4, alignHorizontalCentre = 8 };
// Places src onto dst at (x, y), clipped; src may be dst itself.
void kximgRGBABuffer8_drawImage(kxP::_imgRGBABuffer8& dst, kxP::_imgRGBABuffer8& src, int x, int y,
                                const int& mode);
