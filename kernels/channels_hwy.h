// Vector rows of the channel moves, one build per processor family.
#pragma once

#include <cstdint>

namespace vitrella::kernels::vector {

// Byte `srcChannel` of each four-byte pixel of in (or each byte, for one channel) into
// byte `dstChannel` of each four-byte pixel of out.
void CopyChannelRow8u(const uint8_t* in, int32_t srcChannels, int32_t srcChannel, uint8_t* out,
                      int32_t dstChannel, int32_t width);

}  // namespace vitrella::kernels::vector
