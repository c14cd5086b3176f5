// Vector rows of the fixed Gaussian filters, one build per processor family.
#pragma once

#include <cstdint>

namespace vitrella::kernels::vector {

// Same arguments and results as the plain rows: three rows above, at and below, four
// values per pixel, `count` values; the rows have one pixel of border on each side.
void Gauss3x3Row8u(const uint8_t* r0, const uint8_t* r1, const uint8_t* r2, uint8_t* out,
                   int32_t count);
void Gauss3x3Row32f(const float* r0, const float* r1, const float* r2, float* out, int32_t count);

}  // namespace vitrella::kernels::vector
