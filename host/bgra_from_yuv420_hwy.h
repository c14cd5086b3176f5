// The matrix step of BgraFromYuv420 in vectors, one build per processor family.
#pragma once

#include <cstdint>

namespace vitrella::host::vector {

// The matrix in 16-bit fixed point. Luma enters shifted left by 7 and chroma, centred on
// zero, by 8; each product keeps its top bits (rounded, as a multiply-high does), and the
// sum carries 6 fractional bits.
struct YuvWeights {
  int16_t luma;            // Y's weight, 14 fractional bits
  int16_t base;            // luma's offset times its weight, and the rounding, 6 fractional bits
  int16_t rv, gu, gv, bu;  // 13 fractional bits
};

// One chroma plane's values for a row of pixels: `count` samples of the nearer chroma row
// weighed against the other (`weight` of 4), into `blended` (which has room for a repeated
// edge sample at -1 and `count`), then widened to a value per pixel into `out`, 2 x count of
// them: pixel 2i weighs sample i against sample i-1 by `even` of 4, pixel 2i+1 against
// sample i+1 by `odd`. The values come centred and shifted as PixelRow takes them.
void ChromaRow(const uint8_t* nearer, const uint8_t* other, int count, int weight, int even,
               int odd, uint16_t* blended, int16_t* out);

// `width` BGRA pixels (alpha 255) from a row of luma and a chroma value per pixel in each
// of `u` and `v`, centred and shifted as above.
void PixelRow(const uint8_t* luma, const int16_t* u, const int16_t* v, int width,
              const YuvWeights& weights, uint8_t* bgra);

}  // namespace vitrella::host::vector
