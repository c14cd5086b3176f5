// Per-value arithmetic on four-channel float pictures, in place.
#pragma once

#include <cstdint>

#include "kernels/image.h"

namespace vitrella::kernels {

// Channel masks: bit i stands for channel i of the pixel.
inline constexpr uint32_t kAllChannels = 0xF;

// v * values[c], v / values[c], v + values[c] on the channels of `mask`.
Status MultiplyChannels32f(ImageView frame, const float values[4], uint32_t mask);
Status DivideChannels32f(ImageView frame, const float values[4], uint32_t mask);
Status AddChannels32f(ImageView frame, const float values[4], uint32_t mask);

// Every value squared.
Status Square32f(ImageView frame);
// Square roots of positive values; 0 stays 0, a negative value becomes the quiet NaN
// 0xFFC00000 and the result is kSqrtOfNegative.
Status SquareRoot32f(ImageView frame);
// Each value below its channel's bound becomes that bound.
Status ClampBelow32f(ImageView frame, const float bounds[4]);

// Each of the three colour channels, starting at channel `firstColour` (0 or 1), becomes
// its row of the matrix times the three colours plus the row's fourth value; the fourth
// channel is copied. src and dst may be one.
Status ColorTwist32f_C4(ConstImageView src, ImageView dst, const float matrix[3][4],
                        int32_t firstColour);

}  // namespace vitrella::kernels
