// Vector packing and unpacking of bit planes, one build per processor family.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vitrella::kernels::vector {

// LookupBitNibbles, GatherHighBits4 and PairJumps of kernels/bit_planes.h; false where
// the family has no byte shuffle.
bool LookupBitNibbles(const uint64_t* const* own, const uint64_t* const* shared,
                      const uint8_t (*tables)[16], ptrdiff_t words, uint8_t* out);
bool GatherHighBits4(const uint8_t* bytes, ptrdiff_t words, uint64_t* const* planes);
bool PairJumps(const uint8_t* jumps, ptrdiff_t count, uint8_t* pairs);

}  // namespace vitrella::kernels::vector
