// One-dimensional filters of whole frames, along rows or along columns.
#pragma once

#include <cstdint>

#include "core/frame_buffer.h"

namespace vitrella {

// Filters src into dst with kernel[0 .. length - 1], kernel[anchor] weighing the pixel
// itself (see kernels/linear_filter.h). The integer kernel with its divisor serves the
// byte formats 0, 1 and 6, the normalised float kernel the float formats 3, 4 and 7; both
// frames must have the same depth and channel count, and must not share memory.
//
// The area processed is the common extent less half the kernel (length / 2) at both ends
// of the filter's direction, narrowed further where an off-centre anchor would reach past
// the frame; nothing outside it is written. A kernel longer than the frame has no such
// area: it is then anchored on the frame's middle pixel, which alone is filtered, from the
// taps that fall inside the frame.
//
// keepAlpha zero copies the alpha channel of src into the filtered pixels (channel 3 of
// formats 0 and 3, channel 0 of formats 1 and 4); non-zero keeps the filtered alpha. Gray
// frames ignore it.
[[nodiscard]] bool RowFilter(const FrameBuffer& src, FrameBuffer& dst, const int32_t* kernel,
                             int32_t length, int32_t anchor, int32_t divisor, uint8_t keepAlpha);
[[nodiscard]] bool RowFilter(const FrameBuffer& src, FrameBuffer& dst, const float* kernel,
                             int32_t length, int32_t anchor, uint8_t keepAlpha);
[[nodiscard]] bool ColumnFilter(const FrameBuffer& src, FrameBuffer& dst, const int32_t* kernel,
                                int32_t length, int32_t anchor, int32_t divisor, uint8_t keepAlpha);
[[nodiscard]] bool ColumnFilter(const FrameBuffer& src, FrameBuffer& dst, const float* kernel,
                                int32_t length, int32_t anchor, uint8_t keepAlpha);

}  // namespace vitrella
