// Vector rows of the colour twist, one build per processor family.
#pragma once

#include <cstdint>

namespace vitrella::kernels::vector {

// Twists whole vectors of pixels from the start of a row and returns how many it did;
// the same floats as the plain row.
int32_t ColorTwistPixels(const float* in, float* out, int32_t width, const float matrix[3][4],
                         int32_t firstColour);

}  // namespace vitrella::kernels::vector
