// Vector rows of the composite through a mask, one build per processor family.
#pragma once

#include <cstdint>

namespace vitrella::kernels::vector {

// Four-byte pixels: fg over bg through mask, into bg's colour; alpha is byte `alpha`.
void ThroughMaskRow8u_C4(const uint8_t* fg, uint8_t* bg, const uint8_t* mask, int32_t width,
                         int32_t alpha);

// Four-float pixels likewise, as many whole vectors of them as the row holds; returns how
// many pixels it did, and the caller does the rest.
int32_t ThroughMaskRow32f_C4(const float* fg, float* bg, const float* mask, int32_t width,
                             int32_t alpha);

}  // namespace vitrella::kernels::vector
