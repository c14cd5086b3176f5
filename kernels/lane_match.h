// How the pixels of a line compare with those just behind them on the same line and with
// those of the lines on either side, as rows of bits: a walk along the line that asks at
// every pixel whether its neighbours match then reads bits instead of comparing colours.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kernels/gray.h"
#include "kernels/image.h"

namespace vitrella::kernels {

// The planes, one bit per position p of the centre lane C; S is a side lane, 0 the one
// before the centre and 1 the one after it. Two pixels match when each of their three
// colour channels lies within the tolerance of the other's, and differ in all when each
// lies beyond it; bytes compare as integers, floats as floats, and a NaN does neither.
inline constexpr int32_t kCentreSelf = 0;   // C(p) matches itself: not for a NaN
inline constexpr int32_t kCentreBack1 = 1;  // C(p) matches C(p - 1)
inline constexpr int32_t kCentreBack2 = 2;  // C(p) matches C(p - 2)
inline constexpr int32_t kCentreBack3 = 3;  // C(p) matches C(p - 3)
inline constexpr int32_t kCentreBack4 = 4;  // C(p) matches C(p - 4)
// Plus 5 * side + d + 2: S(p + d) matches C(p), for d from -2 to 2.
inline constexpr int32_t kSideMatches = 5;
// Plus side: S(p) matches C(p - 3), which is S(q + 3) against C(q) kept at p = q + 3, so
// that no lane is read past the end of a line.
inline constexpr int32_t kSideMatchesBack3 = kSideMatches + 10;
// Plus 2 * side + d: S(p + d) differs in all from C(p), for d of 0 and 1.
inline constexpr int32_t kSideDiffers = kSideMatchesBack3 + 2;
inline constexpr int32_t kLanePlanes = kSideDiffers + 4;

constexpr int32_t SideMatchPlane(int32_t side, int32_t d) {
  return kSideMatches + 5 * side + d + 2;
}
constexpr int32_t SideMatchBack3Plane(int32_t side) {
  return kSideMatchesBack3 + side;
}
constexpr int32_t SideDiffersPlane(int32_t side, int32_t d) {
  return kSideDiffers + 2 * side + d;
}

// Fills the kLanePlanes planes, plane k from planes + k * planePitch, with the bits of
// positions 0 to count - 1 at bit p % 64 of word p / 64, and clears their bits from
// count to the end of the last word. Every lane is read from position -2 to count + 1, the
// centre lane from -4. Without `differences`, a caller that never asks where the side
// lanes differ in all, those planes may be left as they were.
// Byte tolerances are held to 0 to 255.
Status LaneMatches8u_C4(const uint8_t* before, const uint8_t* centre, const uint8_t* after,
                        int32_t count, ColourPositions at, int32_t tolerance, uint64_t* planes,
                        ptrdiff_t planePitch, bool differences);
Status LaneMatches32f_C4(const float* before, const float* centre, const float* after,
                         int32_t count, ColourPositions at, float tolerance, uint64_t* planes,
                         ptrdiff_t planePitch, bool differences);

// The planes of the line after the one whose planes `planes` still hold, with the same
// count: that line's centre lane is this one's lane before, and its lane after this
// centre. The relations of this lane before with the centre are those of that line's lane
// after with its centre, shifted along the line, and are not compared again; what they
// cannot give at a line's ends is. The planes come out as LaneMatches gives them.
Status NextLaneMatches8u_C4(const uint8_t* before, const uint8_t* centre, const uint8_t* after,
                            int32_t count, ColourPositions at, int32_t tolerance, uint64_t* planes,
                            ptrdiff_t planePitch, bool differences);
Status NextLaneMatches32f_C4(const float* before, const float* centre, const float* after,
                             int32_t count, ColourPositions at, float tolerance, uint64_t* planes,
                             ptrdiff_t planePitch, bool differences);

// The planes a line's matches compare afresh: all of them, or, where the line before's
// planes are still in place, all but those that follow from them; and without
// `differences`, none of where the side lanes differ in all. The lane before's match at
// d = 1 follows from the line before only where its difference in all is not asked for,
// which the line before did not compare.
constexpr uint32_t PlanesCompared(bool sideBefore, bool differences) {
  uint32_t planes = (1U << kLanePlanes) - 1;
  if (!sideBefore) {
    for (int32_t d = -2; d <= 2; ++d) {
      if (d != 1 || !differences) planes &= ~(1U << SideMatchPlane(0, d));
    }
    planes &= ~(1U << SideDiffersPlane(0, 0));
  }
  if (!differences) {
    for (int32_t side = 0; side < 2; ++side)
      planes &= ~(3U << SideDiffersPlane(side, 0));
  }
  return planes;
}

// Words each plane needs for count positions.
constexpr ptrdiff_t LaneWords(int32_t count) {
  return (static_cast<ptrdiff_t>(count) + 63) / 64;
}

}  // namespace vitrella::kernels
