// Vector marked copies, one build per processor family.
#pragma once

#include <cstdint>

namespace vitrella::kernels::vector {

// The pixels of kernels/marked_copy.h over whole vectors from the first; returns how many
// it covered. colourBytes has all bits set in the bytes of the colour channels of a
// byte pixel; colourLanes in the lanes of those of a float pixel.
int32_t CopyMarked8u(const uint64_t* marks, const uint8_t* from, uint8_t* to, int32_t count,
                     uint32_t colourBytes);
int32_t CopyMarked32f(const uint64_t* marks, const float* from, float* to, int32_t count,
                      const uint32_t colourLanes[4]);

}  // namespace vitrella::kernels::vector
