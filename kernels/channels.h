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
Status CopyChannel32f(ConstImageView src, int32_t srcChannels, int32_t srcChannel,
                      ImageView dst, int32_t dstChannels, int32_t dstChannel);

}  // namespace vitrella::kernels
