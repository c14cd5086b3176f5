// Aligned image memory for the kernels.
#pragma once

#include <cstdint>

namespace vitrella::kernels {

// Rows start on this boundary, so that a kernel can read a whole row with vectors.
inline constexpr int32_t kRowAlignment = 64;

// An image of width by height pixels of pixelBytes (1, 2, 3, 4 or 16) with a pitch
// rounded up to kRowAlignment; null on failure, with *pitch set to 0.
uint8_t* AllocImage(int32_t width, int32_t height, int32_t pixelBytes, int32_t* pitch);
void FreeImage(void* image);

}  // namespace vitrella::kernels
