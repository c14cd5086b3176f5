// The colour adjustment of four-channel pictures: a 3x4 matrix over the colour channels,
// results limited to the sample's range. Alpha goes through (floats: limited as well).
#pragma once

#include <cstdint>

#include "kernels/image.h"

namespace vitrella::kernels {

// Each colour channel i (in memory order from firstColour, 0 for blue-first and 1 for
// alpha-first pixels) becomes m[i][0] c0 + m[i][1] c1 + m[i][2] c2 + m[i][3], summed in
// this order in float.
//   Bytes:  rounded to nearest (halves to even) and saturated to 0..255; alpha copied.
//   Floats: each of the four channels limited to 0..1, a NaN giving 0.
// src and dst may be one view; the common extent is adjusted.
Status ColourAdjust8u_C4(ConstImageView src, ImageView dst, const float matrix[3][4],
                         int32_t firstColour);
Status ColourAdjust32f_C4(ConstImageView src, ImageView dst, const float matrix[3][4],
                          int32_t firstColour);

// The limits of one result, shared by the plain and the vector loops' tails.
inline float LimitToUnit(float v) {
  return v > 0.0f ? (v < 1.0f ? v : 1.0f) : 0.0f;  // a NaN fails the first test
}

}  // namespace vitrella::kernels
