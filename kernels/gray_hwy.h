// Vector rows of the gray conversion, one build per processor family.
#pragma once

#include <cstdint>

namespace vitrella::kernels::vector {

// Four-byte pixels to gray bytes; the shifts say where blue, green and red lie in the
// little-endian 32-bit pixel (0, 8, 16 or 24).
void GrayRow8u_C4(const uint8_t* in, uint8_t* out, int32_t width, int32_t blueShift,
                  int32_t greenShift, int32_t redShift);

}  // namespace vitrella::kernels::vector
