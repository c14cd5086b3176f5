// Vector rows of the levels stretch, one build per processor family.
#pragma once

#include <cstdint>

#include "kernels/levels.h"

namespace vitrella::kernels::vector {

// Four-byte pixels; the shifts say where red, green, blue and alpha lie in the
// little-endian 32-bit pixel, for the source and the destination each.
void StretchRow8u_C4(const uint8_t* in, uint8_t* out, int32_t width, const int32_t inShifts[4],
                     const int32_t outShifts[4], const ByteLevels& levels);
// Four-float pixels; alphaFirst says whether alpha is channel 0 (else 3), for each side.
// Answers how many pixels it did; the caller finishes the rest.
int32_t StretchRow32f_C4(const float* in, float* out, int32_t width, bool inAlphaFirst,
                         bool outAlphaFirst, const FloatLevels& levels);

}  // namespace vitrella::kernels::vector
