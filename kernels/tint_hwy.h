// Vector rows of the tint arithmetic, one build per processor family. Each does whole
// vectors of pixels, bit for bit as the plain loops, and returns how many pixels it did:
// the caller finishes the row with the plain loop.
#pragma once

#include <cstdint>

namespace vitrella::kernels::vector {

// The eight-bit colour mask (see ColourMask8u) of one row; the shifts say where red,
// green and blue lie in the little-endian 32-bit pixel.
int32_t ColourMaskRow8u(const uint8_t* picture, const uint8_t* tint, uint8_t* mask, int32_t width,
                        int32_t redShift, int32_t greenShift, int32_t blueShift, int32_t base1,
                        int32_t base2);

// The eight-bit hue blend (see HueBlend8u_C4) of one row; firstColour is 0 or 1.
int32_t HueBlendRow8u(const uint8_t* picture, const uint8_t* tint, const uint8_t* strength,
                      uint8_t* out, int32_t width, int32_t firstColour);

// The same on float pixels: the colour mask (see ColourMask32f), with the bases already
// divided by 255, and the hue blend (see HueBlend32f_C4). Their largest and smallest
// channels are picked as std::max and std::min pick them, so NaN and signed zeros come
// out as in the plain loops.
int32_t ColourMaskRow32f(const float* picture, const float* tint, float* mask, int32_t width,
                         int32_t red, int32_t green, int32_t blue, float base1, float base2);
int32_t HueBlendRow32f(const float* picture, const float* tint, const float* strength, float* out,
                       int32_t width, int32_t firstColour);

}  // namespace vitrella::kernels::vector
