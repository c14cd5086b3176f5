// Operations on whole FrameBuffers: each checks its frames and formats once, cuts the
// work to the common extent and turns the kernel's status into a boolean.
#pragma once

#include <cstdint>

#include "core/frame_buffer.h"
#include "vitrella/pixel_format.h"

namespace vitrella {

// A frame whose pixel size agrees with its format and whose rows hold their pixels; any
// other could make a kernel step outside the host's memory.
[[nodiscard]] bool IsConsistent(const FrameBuffer& frame);
// A consistent frame of format 0, 1, 3 or 4.
[[nodiscard]] bool IsFourChannel(const FrameBuffer& frame);

struct FrameRect {
  int32_t x = 0;
  int32_t y = 0;
  int32_t width = 0;
  int32_t height = 0;
};

// Whether the rows of the two frames overlap in memory.
[[nodiscard]] bool FramesShareMemory(const FrameBuffer& a, const FrameBuffer& b);

// Copies the pixels as they are, over the common extent from the top left. A format the
// library does not know copies one byte per pixel into a one-byte destination.
[[nodiscard]] bool CopyFrame(const FrameBuffer& src, FrameBuffer& dst);

// Copies a rectangle of src to (x, y) of dst, cut to what both frames hold.
[[nodiscard]] bool CopyFrameRect(const FrameBuffer& src, FrameRect rect, FrameBuffer& dst,
                                 int32_t x, int32_t y);

// Sets every value to zero.
[[nodiscard]] bool ClearFrame(FrameBuffer& frame);

// Copies src into dst at (left, top) and repeats the nearest edge pixel into every
// margin. When src and dst are one frame or of one size, dst's inner rectangle, shrunk
// by the margins on all sides, serves as the source.
[[nodiscard]] bool CopyWithBorder(const FrameBuffer& src, FrameBuffer& dst, int32_t left,
                                  int32_t top);

// Sets one channel of every pixel of a four-channel frame; float frames receive
// value / 255.
[[nodiscard]] bool SetChannel(FrameBuffer& frame, int32_t channel, uint8_t value);

// Moves one channel between frames of the same depth: four to four, four to one, one
// to four and one to one channel, in bytes or in floats.
[[nodiscard]] bool CopyChannel(const FrameBuffer& src, FrameBuffer& dst, int32_t srcChannel,
                               int32_t dstChannel);

// Reverses the four channels of each pixel (BGRA <-> ARGB, for bytes and floats); src
// and dst may be one frame.
[[nodiscard]] bool ReverseChannels(const FrameBuffer& src, FrameBuffer& dst);

// In place, formats 0 and 1: output channel i takes input channel order[i].
[[nodiscard]] bool SwapChannels(FrameBuffer& frame, const int32_t order[4]);

// 255 - v or 1 - v on one channel, or on every value of a one-channel frame.
[[nodiscard]] bool InvertChannel(FrameBuffer& frame, int32_t channel);

}  // namespace vitrella
