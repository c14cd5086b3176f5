// Vector rows of the 4:2:2 decoder, one build per processor family.
#pragma once

#include <cstdint>

namespace vitrella::kernels::vector {

// Decodes whole vectors of pairs from the start of a row and returns how many pixels it
// did (an even number); the same bytes as the plain row.
int32_t YUY2ToBGRAPairs(const uint8_t* in, uint8_t* out, int32_t width, uint8_t alpha);

}  // namespace vitrella::kernels::vector
