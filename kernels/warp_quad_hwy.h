// Vector rows of the warps, one build per processor family. Same arguments and the same
// values as WarpRow of warp_quad_pixel.h. Byte offsets into the source rectangle must fit
// in 32 bits.
#pragma once

#include <cstdint>

#include "kernels/warp_quad_pixel.h"

namespace vitrella::kernels::vector {

void WarpRow8u_C4(const WarpSource& source, const WarpRowMap& map, int32_t first, int32_t end,
                  uint8_t* base, int32_t mode);
void WarpRow32f_C4(const WarpSource& source, const WarpRowMap& map, int32_t first, int32_t end,
                   uint8_t* base, int32_t mode);
// Columns [first, end) of a row across strips of four-channel pictures, nearest or
// bilinear: the values of WarpStripRow of warp_quad_pixel.h.
void WarpStripRow8u_C4(const WarpSource& source, const StripRowMaps& maps, int32_t first,
                       int32_t end, uint8_t* row, int32_t mode);
void WarpStripRow32f_C4(const WarpSource& source, const StripRowMaps& maps, int32_t first,
                        int32_t end, uint8_t* row, int32_t mode);
// One-channel rows; cubic in vectors, nearest and bilinear by the plain rows.
void WarpRow8u_C1(const WarpSource& source, const WarpRowMap& map, int32_t first, int32_t end,
                  uint8_t* base, int32_t mode);
void WarpRow32f_C1(const WarpSource& source, const WarpRowMap& map, int32_t first, int32_t end,
                   uint8_t* base, int32_t mode);

}  // namespace vitrella::kernels::vector
