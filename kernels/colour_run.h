// How long a run of four-channel pixels stays within a tolerance of one colour: each of
// the three colour channels within it of the colour's, as a walk along a line asks pixel
// after pixel while nothing changes.
#pragma once

#include <cstdint>

#include "kernels/gray.h"

namespace vitrella::kernels {

// The colour as the pixel's own channels: colour[at.blue] is blue, and so on; the fourth
// is ignored. Bytes compare as integers and floats as floats; a NaN ends a run.
struct RunColour8u {
  uint8_t channels[4];
  int32_t tolerance;
};
struct RunColour32f {
  float channels[4];
  float tolerance;
};

// The count of pixels from the first that match the colour, up to count: count when all
// do. 0 for a null pointer, a count below 1 or positions that are not three channels.
int32_t ColourRunLength8u_C4(const uint8_t* pixels, int32_t count, ColourPositions at,
                             const RunColour8u& colour);
int32_t ColourRunLength32f_C4(const float* pixels, int32_t count, ColourPositions at,
                              const RunColour32f& colour);

}  // namespace vitrella::kernels
