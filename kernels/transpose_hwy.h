// Vector transposition of 4- and 16-byte pixels, one build per processor family.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vitrella::kernels::vector {

// Writes pixel x of row y of src as pixel y of row x of dst for the whole blocks of
// width x height that the family turns in registers, and returns how many columns and rows
// it covered (multiples of its block); the rest is the caller's. {0, 0} where the family
// has no such blocks.
struct Covered {
  int32_t columns, rows;
};
Covered TransposePixels4(const uint8_t* src, ptrdiff_t srcPitch, uint8_t* dst, ptrdiff_t dstPitch,
                         int32_t width, int32_t height);
Covered TransposePixels16(const uint8_t* src, ptrdiff_t srcPitch, uint8_t* dst, ptrdiff_t dstPitch,
                          int32_t width, int32_t height);

}  // namespace vitrella::kernels::vector
