// SPDX-License-Identifier: BSD-3-Clause
// Floats to whole numbers, saturating: no float is out of range.
#pragma once

namespace kxRounding {

// Truncates toward zero what lies within the limits; what lies beyond becomes the limit, NaN the lower one.
template <class Float>
inline int truncWithin(Float lowest, Float highest, Float value) {
    value = value > lowest ? value : lowest;
    value = value < highest ? value : highest;
    return static_cast<int>(value);
}

// The limits are the last numbers of each type that int can hold.
inline int truncToInt(float value) {
    return truncWithin(-2147483648.0F, 2147483520.0F, value);
}
inline int truncToInt(double value) {
    return truncWithin(-2147483648.0, 2147483647.0, value);
}

// Truncated toward zero this is the value rounded half away from zero.
inline double halfAwayFromZero(float value) {
    return static_cast<double>(value) + (value < 0.0F ? -0.5 : 0.5);
}

inline int roundToInt(float value) {
    return truncToInt(halfAwayFromZero(value));
}

}  // namespace kxRounding
