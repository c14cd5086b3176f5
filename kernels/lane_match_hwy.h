// Vector lane matches, one build per processor family.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vitrella::kernels::vector {

// The planes of kernels/lane_match.h over whole vectors: every position when count
// reaches one vector, none below that. Returns the count of positions covered. colour
// has all bits set in the bytes (8u) or lanes (32f) of the three colour channels. Only
// the planes in the mask `written`, one of PlanesCompared, change.
int32_t LaneMatches8u(const uint8_t* before, const uint8_t* centre, const uint8_t* after,
                      int32_t count, uint32_t colourBytes, int32_t tolerance, uint64_t* planes,
                      ptrdiff_t planePitch, uint32_t written);
int32_t LaneMatches32f(const float* before, const float* centre, const float* after, int32_t count,
                       const uint32_t colourLanes[4], float tolerance, uint64_t* planes,
                       ptrdiff_t planePitch, uint32_t written);

}  // namespace vitrella::kernels::vector
