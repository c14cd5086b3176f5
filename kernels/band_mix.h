// Two colour adjustments of one picture mixed through its own luminance mask, in one pass
// over float pixels: the float side of a dark and light band split.
#pragma once

#include <cstdint>

#include "kernels/gray.h"
#include "kernels/image.h"

namespace vitrella::kernels {

struct BandMix {
  float centre;             // the mask: (Y - centre) steepness + centre, limited to 0..1, with
  float steepness;          // Y = 0.298 red + 0.586 green + 0.113 blue
  const float (*light)[4];  // 3x4 matrices over the colour channels in stored order,
  const float (*dark)[4];   // results limited to 0..1 as the colour adjustment limits them
};

// Per pixel, with m the mask, L and D the two adjusted colours and a the source's alpha:
// colour = min(1, L m + D min(1, limit(a) (1 - m))), the dark band weighed by alpha as the
// non-premultiplied over rule weighs its background; alpha stays a. `first` is the first
// colour channel (0 blue-first, 1 alpha-first), `at` where red, green and blue lie. src
// and dst may be one view; the common extent is mixed. Floats summed in the plain order,
// so the vector rows give the plain loops' floats.
Status MixBands32f_C4(ConstImageView src, ImageView dst, ColourPositions at, int32_t first,
                      const BandMix& mix);

}  // namespace vitrella::kernels
