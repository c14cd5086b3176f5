// Rotation of a strip (a ramp, a profile) onto a frame, so that one of its columns runs
// through a chosen point at a chosen angle: the gradient of a tint, the edge of a split.
#pragma once

#include <cstdint>

#include "core/frame_buffer.h"
#include "kernels/image.h"

namespace vitrella {

// The kernel modes the effects rotate their strips with.
inline constexpr int32_t kStripCubicSmooth = kernels::kInterCubic | kernels::kSmoothEdges;
inline constexpr int32_t kStripLinearSmooth = kernels::kInterLinear | kernels::kSmoothEdges;

struct StripShift {
  double x = 0.0;
  double y = 0.0;
};

// Where the strip's origin goes so that, rotated by thetaDegrees, its column rampLength >> 1
// passes through the centre (column cx, row cy) of a width x height frame, and its rows
// start behind every pixel of the frame. A strip of D + D / 2 by 2 D pixels, with
// D = trunc(sqrt(2 max(width, height)^2)), then covers the frame from the centre's column on.
StripShift StripRotationShift(int32_t width, int32_t height, int32_t cx, int32_t cy,
                              float thetaDegrees, int32_t rampLength);

// The columns and rows of a strip, from its origin, that a rotation with this shift reads
// for a width x height frame: the frame's corners mapped into the strip, with room for the
// cubic's taps and the smoothed edge. A strip cut to this extent (and no more than it
// holds) gives the same picture as the whole strip, and only this much needs filling.
kernels::Size StripExtentNeeded(int32_t width, int32_t height, float thetaDegrees,
                                StripShift shift);

// Maps the strip about its origin onto dst: strip pixel (u, v) lands on
// (shiftX + u cos θ + v sin θ, shiftY − u sin θ + v cos θ) in (column, row), so the strip's x
// axis runs along (cos θ, −sin θ). Pixels of dst outside the rotated strip keep their
// values; `interpolation` is a warp code, usually one of the two above. Strip and dst share
// their format: 8-bit or float gray, or one of the four-channel formats. A strip whose rows
// are all alike may be held as its first row alone, with pitch 0: the picture is the same,
// and the rotation reads one row instead of walking across many.
//
// Returns the warp's status; kernels::kNoOverlap and kernels::kNoPixelInside (the strip
// misses the frame) count as success, see StripRotated.
kernels::Status RotateStrip(const FrameBuffer& strip, FrameBuffer& dst, float thetaDegrees,
                            double shiftX, double shiftY, int32_t interpolation);

// Whether a status of RotateStrip is no failure.
constexpr bool StripRotated(kernels::Status status) {
  return status == kernels::kOk || status == kernels::kNoOverlap ||
         status == kernels::kNoPixelInside;
}

}  // namespace vitrella
