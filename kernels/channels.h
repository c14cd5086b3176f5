// Single-channel operations on interleaved pixels.
#pragma once

#include <cstdint>

#include "kernels/image.h"

namespace vitrella::kernels {

// Sets one channel of every four-channel pixel.
Status SetChannel8u(ImageView frame, int32_t channel, uint8_t value);
Status SetChannel32f(ImageView frame, int32_t channel, float value);

// Moves channel srcChannel of src into channel dstChannel of dst over the common extent.
// srcChannels and dstChannels are 1 or 4; a one-channel side ignores its channel index.
Status CopyChannel8u(ConstImageView src, int32_t srcChannels, int32_t srcChannel, ImageView dst,
                     int32_t dstChannels, int32_t dstChannel);
Status CopyChannel32f(ConstImageView src, int32_t srcChannels, int32_t srcChannel, ImageView dst,
                      int32_t dstChannels, int32_t dstChannel);

// Reverses the four channels of each pixel (BGRA <-> ARGB); src and dst may be one.
Status ReverseChannels8u_C4(ConstImageView src, ImageView dst);
Status ReverseChannels32f_C4(ConstImageView src, ImageView dst);

// In place: output channel i takes input channel order[i], each 0 to 3.
Status SwapChannels8u_C4(ImageView frame, const int32_t order[4]);

// 255 - v for bytes, 1 - v for floats: one channel of four-channel pixels, or every
// value when channels is 1.
Status InvertChannel8u(ImageView frame, int32_t channels, int32_t channel);
Status InvertChannel32f(ImageView frame, int32_t channels, int32_t channel);

}  // namespace vitrella::kernels
