// Which of its close neighbours each pixel of a four-channel picture matches: whether two
// pixels lie within a tolerance of each other in each of their three colour channels, and
// whether they lie beyond it in all three at once. Computed for a whole picture at a
// time, so that a walk that asks these questions pixel by pixel only reads bits.
#pragma once

#include <cstdint>

#include "kernels/gray.h"
#include "kernels/image.h"

namespace vitrella::kernels {

// The neighbours asked about, one bit each: half of the offsets of the 5 by 5 square
// without its corners (the other half is the neighbour's own bit, the other way round).
inline constexpr int32_t kNeighbourOffsets = 10;
inline constexpr int32_t kNeighbourDx[kNeighbourOffsets] = {1, 2, -2, -1, 0, 1, 2, -1, 0, 1};
inline constexpr int32_t kNeighbourDy[kNeighbourOffsets] = {0, 0, 1, 1, 1, 1, 1, 2, 2, 2};
// Bits 10 and 11: beyond the tolerance in all three channels from the neighbour at (1, 0)
// and at (0, 1).
inline constexpr int32_t kDiffersRightBit = 10;
inline constexpr int32_t kDiffersBelowBit = 11;

// The bit of the neighbour at (dx, dy), or -1 for an offset of the other half or none.
inline constexpr int8_t kNeighbourBits[5][5] = {{-1, -1, -1, -1, -1},
                                                {-1, -1, -1, -1, -1},
                                                {-1, -1, -1, 0, 1},
                                                {2, 3, 4, 5, 6},
                                                {-1, 7, 8, 9, -1}};
constexpr int32_t NeighbourBit(int32_t dx, int32_t dy) {
  return dx < -2 || dx > 2 || dy < -2 || dy > 2 ? -1 : kNeighbourBits[dy + 2][dx + 2];
}
static_assert([] {
  for (int32_t i = 0; i < kNeighbourOffsets; ++i) {
    if (NeighbourBit(kNeighbourDx[i], kNeighbourDy[i]) != i) return false;
  }
  return true;
}());

// For each of the width by height pixels of `picture`, whose rows and columns go on for
// two pixels beyond that extent on every side (a copy with a border), its bits into
// masks[y * maskPitch + x]. Bytes compare as integers, floats as floats.
Status NeighbourMatches8u_C4(ConstImageView picture, ColourPositions at, int32_t tolerance,
                             uint16_t* masks, ptrdiff_t maskPitch);
Status NeighbourMatches32f_C4(ConstImageView picture, ColourPositions at, float tolerance,
                              uint16_t* masks, ptrdiff_t maskPitch);

}  // namespace vitrella::kernels
