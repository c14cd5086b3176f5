// Vector rows of the neighbour matches, one build per processor family.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vitrella::kernels::vector {

// Row `centre` of four-byte pixels (width of them, with two more on each side and two
// rows above and below reachable by pitch) into masks; colourBytes has 0xFF in the bytes
// of the three colour channels of a little-endian 32-bit pixel.
void NeighbourMatchRow8u(const uint8_t* centre, ptrdiff_t pitch, int32_t width,
                         uint32_t colourBytes, int32_t tolerance, uint16_t* masks);

}  // namespace vitrella::kernels::vector
