// Vector scans of colour runs, one build per processor family.
#pragma once

#include <cstdint>

namespace vitrella::kernels::vector {

// colourLanes holds 0xFF (or all ones) in the lanes of the three colour channels of a
// pixel. Each answers the count of leading pixels within the tolerance in every colour
// lane; tolerance 0..255 for bytes.
int32_t ColourRun8u(const uint8_t* pixels, int32_t count, uint32_t colour, uint32_t colourLanes,
                    int32_t tolerance);
int32_t ColourRun32f(const float* pixels, int32_t count, const float colour[4],
                     const uint32_t colourLanes[4], float tolerance);

}  // namespace vitrella::kernels::vector
