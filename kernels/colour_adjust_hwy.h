// Vector rows of the colour adjustment, one build per processor family. Each does whole
// vectors from the start of the row and answers how many pixels that was.
#pragma once

#include <cstdint>

namespace vitrella::kernels::vector {

int32_t ColourAdjustPixels8u(const uint8_t* in, uint8_t* out, int32_t width,
                             const float matrix[3][4], int32_t firstColour);
int32_t ColourAdjustPixels32f(const float* in, float* out, int32_t width, const float matrix[3][4],
                              int32_t firstColour);

}  // namespace vitrella::kernels::vector
