// Alpha: premultiplication and compositing a foreground over a background.
#pragma once

#include <cstdint>

#include "kernels/image.h"

namespace vitrella::kernels {

// Each colour channel times alpha; in bytes divided by 255 and truncated. `alpha` is the
// alpha channel's index (0 or 3). src and dst may be one.
Status PremultiplyAlpha8u_C4(ConstImageView src, ImageView dst, int32_t alpha);
Status PremultiplyAlpha32f_C4(ConstImageView src, ImageView dst, int32_t alpha);

// The foreground over the background, over the common extent of the three views. Bytes
// divide by 255 truncating and saturate at 255; floats take alpha as 0..1 and clamp at 1.
Status Composite8u_C4(ConstImageView foreground, ConstImageView background, ImageView dst,
                      int32_t alpha, bool premultiplied);
Status Composite32f_C4(ConstImageView foreground, ConstImageView background, ImageView dst,
                       int32_t alpha, bool premultiplied);

// The foreground over the background through a one-channel mask of the same depth, which
// takes the place of the foreground's alpha; the result replaces the background's colour
// channels and leaves its alpha. Per pixel, with m the mask and a the background's alpha:
//   bytes:  t = min(255, a (255 - m) / 255), colour = min(255, (fg m + bg t) / 255), both
//           divisions truncating;
//   floats: t = min(1, a (1 - m)), colour = min(1, fg m + bg t).
// Where the mask is 0 the foreground is not read, and where it is full the background's
// colour is not: a float foreground or background that holds anything there gives what
// the formula gives with finite values. Common extent of the three views.
Status CompositeThroughMask8u_C4(ConstImageView foreground, ImageView background,
                                 ConstImageView mask, int32_t alpha);
Status CompositeThroughMask32f_C4(ConstImageView foreground, ImageView background,
                                  ConstImageView mask, int32_t alpha);

}  // namespace vitrella::kernels
