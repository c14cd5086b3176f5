// Resizes of pictures by any factor: nearest neighbour, bilinear, cubic, and area
// averaging for reductions.
#pragma once

#include <cstdint>

#include "kernels/image.h"
#include "kernels/rect.h"

namespace vitrella::kernels {

// Fills the whole of dst from the rectangle srcRect of src. Destination pixel (x, y)
// samples the rectangle at (x / xFactor, y / yFactor) from its top-left pixel, in pixel
// indices: pixel i holds the positions i to i + 1, so nearest neighbour takes pixel
// floor(x / xFactor). Bilinear and cubic interpolate between pixels at whole positions;
// cubic is Catmull-Rom (a = -0.5), which passes through the pixels and keeps linear ramps
// linear. Supersampling (kInterSuper) averages the area [x, x + 1) / xFactor by
// [y, y + 1) / yFactor, weighted by overlap; it needs both factors at most 1 and is
// bilinear otherwise. Reads never leave srcRect: positions past its edges take its edge
// pixels. Eight-bit results round to nearest (ties to even) and saturate.
//
// Status: kNullPointer, kBadSize (also for a srcRect that is empty or not inside src, and
// for rows of 2 GiB or more),
// kBadPitch, kBadResizeFactor (a factor that is not finite and above 0),
// kBadInterpolation (a code other than 1, 2, 4 or 8), kNoMemory.
Status ResizeImage8u_C4(ConstImageView src, Rect srcRect, ImageView dst, double xFactor,
                        double yFactor, int32_t interpolation);
Status ResizeImage32f_C4(ConstImageView src, Rect srcRect, ImageView dst, double xFactor,
                         double yFactor, int32_t interpolation);
Status ResizeImage8u_C1(ConstImageView src, Rect srcRect, ImageView dst, double xFactor,
                        double yFactor, int32_t interpolation);

// The whole of src enlarged or reduced by the factors and moved by the shifts:
// destination pixel (x, y) samples src at ((x - xShift) / xFactor, (y - yShift) / yFactor),
// bilinear or cubic as ResizeImage samples, positions before the first pixel taking the
// first. Only the pixels whose centres fall on the moved picture, (x + 0.5 - xShift) /
// xFactor within [0, width) and the same down, are written, as a rasteriser would draw the
// picture's rectangle; the rest of dst keeps what it held, so a caller that cleared alpha
// before can tell where the picture lies.
//
// Status: as ResizeImage; kBadResizeFactor also for a shift that is not finite, and
// kBadInterpolation for codes other than bilinear and cubic.
Status ResizeShifted8u_C4(ConstImageView src, ImageView dst, double xFactor, double yFactor,
                          double xShift, double yShift, int32_t interpolation);
Status ResizeShifted32f_C4(ConstImageView src, ImageView dst, double xFactor, double yFactor,
                           double xShift, double yShift, int32_t interpolation);

}  // namespace vitrella::kernels
