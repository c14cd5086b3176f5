// The product of two masks of one channel, as fractions of full.
#pragma once

#include "kernels/image.h"

namespace vitrella::kernels {

// dst = dst * src over the common extent: bytes as a * b / 255 rounded to nearest, so that
// full times full stays full and 0 keeps 0; floats as the plain product.
Status MultiplyScaled8u_C1(ConstImageView src, ImageView dst);
Status MultiplyScaled32f_C1(ConstImageView src, ImageView dst);

}  // namespace vitrella::kernels
