// Warps of a picture cut into strips, each strip by its own quadrilaterals.
#pragma once

#include <cstdint>

#include "kernels/image.h"
#include "kernels/projective.h"

namespace vitrella::kernels {

// One strip: its quadrilateral of the source and the one it goes to in the destination.
struct WarpStrip {
  Quad from;
  Quad to;
};

// Writes the bytes that WarpQuad would, strip after strip in order, with the whole of
// both views as rectangles: a later strip writes over (or, on its smoothed edges, blends
// over) what an earlier one left. A strip that WarpQuad refuses, or that covers no pixel
// of dst, is left out.
//
// Strips whose destination sides run down pixel columns x0 < x1, with each strip starting
// right of the one before and no more than one column past its end (as a picture cut into
// columns of strips is), are worked a row at a time across all of them: the rows where a
// strip covers all of x0..x1 unblended take one vector pass with their neighbours', which
// spares a warp's set-up per strip and row, and the strip's other rows are warped one by
// one. Other strips are warped one after another.
//
// Status: kNullPointer (also for null strips with a count above 0), kBadSize (also for a
// count below 0), kBadPitch of either view, kBadInterpolation; nothing is written then.
// kOk otherwise, whatever the strips wrote.
Status WarpStrips8u_C4(ConstImageView src, ImageView dst, const WarpStrip* strips, int32_t count,
                       int32_t interpolation);
Status WarpStrips32f_C4(ConstImageView src, ImageView dst, const WarpStrip* strips, int32_t count,
                        int32_t interpolation);

}  // namespace vitrella::kernels
