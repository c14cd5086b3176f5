// Operations on whole FrameBuffers: each checks its frames and formats once, cuts the
// work to the common extent and turns the kernel's status into a boolean.
#pragma once

#include <cstdint>

#include "core/frame_buffer.h"

namespace vitrella {

// Bytes of one pixel of a format, 0 for a format the library does not know.
int32_t FormatPixelBytes(PixelFormat format);
bool IsFloatFormat(PixelFormat format);

// Copies the pixels as they are, over the common extent from the top left.
bool CopyFrame(const FrameBuffer& src, FrameBuffer& dst);

// Copies src into dst at (left, top) and repeats the nearest edge pixel into every
// margin. When src and dst are one frame or of one size, dst's inner rectangle, shrunk
// by the margins on all sides, serves as the source.
bool CopyWithBorder(const FrameBuffer& src, FrameBuffer& dst, int32_t left, int32_t top);

// Sets one channel of every pixel of a four-channel frame; float frames receive
// value / 255.
bool SetChannel(FrameBuffer& frame, int32_t channel, uint8_t value);

// Moves one channel between frames of the same depth: four to four, four to one, one
// to four and one to one channel, in bytes or in floats.
bool CopyChannel(const FrameBuffer& src, FrameBuffer& dst, int32_t srcChannel,
                 int32_t dstChannel);

}  // namespace vitrella
