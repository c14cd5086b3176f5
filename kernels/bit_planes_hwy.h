// Vector packing of bit planes, one build per processor family.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vitrella::kernels::vector {

// PackBitPlanes of kernels/bit_planes.h; false where the family's vectors hold fewer than
// eight bytes, which the caller then packs itself.
bool PackBitPlanes(const uint64_t* const* planes, int32_t planeCount, ptrdiff_t words,
                   uint8_t* bytes);

}  // namespace vitrella::kernels::vector
