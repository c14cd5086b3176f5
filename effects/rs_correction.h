// The rolling-shutter correction of a whole frame: a horizontal shear and a vertical
// stretch made from one motion vector, applied as one quadrilateral warp.
#pragma once

#include <cstdint>

#include "core/frame_buffer.h"
#include "kernels/projective.h"

namespace vitrella {

enum class RsBorderFill : int32_t { kSource = 0, kZoom = 1, kStretch = 2 };

struct RsShear {
  int32_t x = 0;  // columns the bottom moves against the top
  int32_t y = 0;  // rows the picture grows by
};

// The shear and stretch for a motion (dx, dy) in analysis pixels per frame, on a frame of
// width by height, with `correction` the share (0 to 1) to correct. A single field
// stretches half as much as a whole frame.
RsShear RsShearOf(float dx, float dy, float width, float height, float correction,
                  uint16_t fieldMode);

// Where the frame's corners (0, 0), (W, 0), (W, H), (0, H) go.
void RsDestinationQuad(RsShear shear, int32_t width, int32_t height, RsBorderFill fill,
                       kernels::Quad quad);

// Warps src onto dst over their common width by height. With "Stretch" the strips beside
// the warped picture are first filled from the source's edges; with "Source" they keep
// what dst held. False when the main warp fails.
bool ApplyRsCorrection(const FrameBuffer& src, FrameBuffer& dst, int32_t width, int32_t height,
                       RsShear shear, RsBorderFill fill);

}  // namespace vitrella
