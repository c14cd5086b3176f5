// Quadrilaterals and the projective maps between them, for warps.
#pragma once

#include <cstdint>

namespace vitrella::kernels {

// A quadrilateral: four corners (x, y) in the caller's order, in pixel indices (pixel i's
// centre at i).
using Quad = double[4][2];

// The winding of a quadrilateral that a warp accepts: +1 or -1 for a convex one whose
// corners turn one way all round (the sign of the turns, in x-right y-down coordinates),
// 0 for one that is refused: a coordinate that is not finite, a corner that turns the
// other way (not convex, or crossed), or three corners on a line, which includes
// repeated corners and zero area. A turn counts as straight when its sine is below 1e-9.
int32_t QuadWinding(const Quad quad);

// A projective map: (x, y) goes to ((m[0] x + m[1] y + m[2]) / w, (m[3] x + m[4] y + m[5]) / w)
// with w = m[6] x + m[7] y + m[8].
struct ProjectiveMap {
  double m[9];
};

// The map that takes each corner of `from` to the corner of `to` with the same index;
// both must have a winding. It is scaled so that w is 1 at the centre of `from`, and so
// positive all over it.
ProjectiveMap QuadToQuad(const Quad from, const Quad to);

}  // namespace vitrella::kernels
