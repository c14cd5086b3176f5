// A one-channel mask from the luminance of four-channel pixels, steepened about a centre:
// where the picture is split into its dark and light parts.
#pragma once

#include <cstdint>

#include "kernels/gray.h"
#include "kernels/image.h"

namespace vitrella::kernels {

// Bytes: Y = (76 red + 149 green + 30 blue) >> 8, mask = (((Y - centre) * steepness) >> 8)
// + centre, shifted arithmetically, limited to 0..255; centre and steepness are 8.8 fixed
// point (the fractions times 256, truncated).
Status LumaMask8u_C4(ConstImageView src, ImageView mask, ColourPositions at, int32_t centre,
                     int32_t steepness);

// Floats: Y = 0.298 red + 0.586 green + 0.113 blue (they add up to 0.997), mask =
// (Y - centre) * steepness + centre limited to 0..1, a NaN giving 0.
Status LumaMask32f_C4(ConstImageView src, ImageView mask, ColourPositions at, float centre,
                      float steepness);

}  // namespace vitrella::kernels
