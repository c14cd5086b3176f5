// Scaling of whole frames and of rectangles of them.
#pragma once

#include <cstdint>

#include "core/frame_buffer.h"
#include "core/frame_ops.h"

namespace vitrella {

// The whole of src onto the whole of dst, both four-channel bytes (formats 0 and 1), with
// the factors dst size / src size and an interpolation code.
[[nodiscard]] bool ResizeFrame(const FrameBuffer& src, FrameBuffer& dst, int32_t interpolation);

// The rectangle of src scaled by the factors into the top left of dst: four-channel
// bytes, four-channel floats or one byte per pixel.
[[nodiscard]] bool ResizeRect(const FrameBuffer& src, FrameRect rect, FrameBuffer& dst,
                              double xFactor, double yFactor, int32_t interpolation);

}  // namespace vitrella
