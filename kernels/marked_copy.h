// Copies of the colour channels of the pixels that a row of marks picks, leaving the
// other pixels and every alpha as they are: for a search that decides pixel by pixel
// what to change, and then changes a whole row at once. The marks are bits, that of
// pixel x at bit x % 64 of word x / 64.
#pragma once

#include <cstdint>

#include "kernels/gray.h"
#include "kernels/image.h"

namespace vitrella::kernels {

// For each of the count pixels whose mark is set, the three colour channels of `from`
// into `to`.
Status CopyMarked8u_C4(const uint64_t* marks, const uint8_t* from, uint8_t* to, int32_t count,
                       ColourPositions at);
Status CopyMarked32f_C4(const uint64_t* marks, const float* from, float* to, int32_t count,
                        ColourPositions at);

}  // namespace vitrella::kernels
