// Vector rows of the glow's byte steps, one build per processor family. Each does whole
// vectors from the start of the row and answers how many pixels that was.
#pragma once

#include <cstdint>

namespace vitrella::kernels::vector {

// Mask byte = table[sum of the pixel's three colour bytes], the colours from bit
// firstShift of the little-endian 32-bit pixel; the table has 766 entries, each 0..255.
int32_t BrightMaskPixels8u(const uint8_t* in, uint8_t* mask, int32_t width, int32_t firstShift,
                           const int32_t* table);

// Each pixel's bytes plus the bytes of table[mask byte], saturating at 255.
int32_t AddGlowPixels8u(const uint8_t* mask, uint8_t* out, int32_t width, const int32_t* table);

}  // namespace vitrella::kernels::vector
