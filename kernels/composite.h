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

}  // namespace vitrella::kernels
