// Vector rows of the band mix, one build per processor family: whole vectors from the
// start of the row, answering how many pixels that was.
#pragma once

#include <cstdint>

#include "kernels/band_mix.h"

namespace vitrella::kernels::vector {

int32_t MixBandsPixels32f(const float* in, float* out, int32_t width, ColourPositions at,
                          int32_t first, const BandMix& mix);

}  // namespace vitrella::kernels::vector
