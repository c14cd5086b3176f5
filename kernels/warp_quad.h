// Warps of one quadrilateral of a picture onto a quadrilateral of another.
#pragma once

#include <cstdint>

#include "kernels/image.h"
#include "kernels/projective.h"
#include "kernels/rect.h"

namespace vitrella::kernels {

// Maps srcQuad of src onto dstQuad of dst by the projective map that takes corner i to
// corner i. Both quadrilaterals are in the pixel indices of their whole views, pixel i's
// centre at i, so (0,0), (W-1,0), (W-1,H-1), (0,H-1) spans every pixel. Each quadrilateral
// must be convex and wind one way (either way; opposite windings mirror the picture).
//
// Writes only the pixels whose centres lie inside dstQuad (its edges included) and inside
// dstRect; every other byte of dst stays as it was. Each such pixel samples src at the
// mapped position with nearest neighbour (the pixel whose centre is nearest), bilinear
// or Catmull-Rom cubic interpolation; reads never leave srcRect: taps beyond it take its
// edge pixels.
//
// kSmoothEdges in `interpolation` smooths the slanted edges. A pixel's coverage is the
// product, over those edges, of 1/2 plus the signed distance of its centre inside the
// edge, clamped to 0..1: close to the share of the pixel's square on the edge's inner
// side, and at a corner about the share inside both edges. Pixels at least 1/2 inside
// every slanted edge are written as without the flag; nearer, the sample is blended over
// what dst held, by coverage. A pixel whose centre lies outside is still not written, so
// the blend runs from coverage 1/2 on the edge to 1 half a pixel inside. Edges along a
// pixel row or column stay sharp: they have no staircase, and pictures warped in strips
// cut along such lines join without seams.
//
// Eight-bit bilinear runs in fixed point, alike on every code path: weights in 1/32768 of
// a pixel, intermediate values with 7 fractional bits, the result rounded to nearest and
// within 1/2 + 1/32 of the exact blend. Eight-bit cubic and smoothed edges round to
// nearest, ties to even, and saturate.
//
// A source of pitch 0 repeats its first row on every row: a picture whose rows are all
// alike (a ramp, a profile) is given once, and every tap reads that one row, which stays in
// the cache however the warp turns it.
//
// Status: kNullPointer (also for a null quadrilateral), kBadSize (also for a rectangle that
// is empty or not inside its view), kBadPitch, kBadInterpolation (other than 1, 2 or 4,
// with or without kSmoothEdges), kBadQuadrilateral (see QuadWinding); nothing is written
// then. kNoOverlap when dstQuad misses dstRect, and kNoPixelInside when it meets it but holds
// no pixel centre there: nothing is written either, and callers take both as success.
Status WarpQuad8u_C4(ConstImageView src, Rect srcRect, const Quad srcQuad, ImageView dst,
                     Rect dstRect, const Quad dstQuad, int32_t interpolation);
Status WarpQuad32f_C4(ConstImageView src, Rect srcRect, const Quad srcQuad, ImageView dst,
                      Rect dstRect, const Quad dstQuad, int32_t interpolation);
// The same on one-channel pictures (masks): one byte or one float per pixel.
Status WarpQuad8u_C1(ConstImageView src, Rect srcRect, const Quad srcQuad, ImageView dst,
                     Rect dstRect, const Quad dstQuad, int32_t interpolation);
Status WarpQuad32f_C1(ConstImageView src, Rect srcRect, const Quad srcQuad, ImageView dst,
                      Rect dstRect, const Quad dstQuad, int32_t interpolation);

}  // namespace vitrella::kernels
