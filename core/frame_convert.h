// Conversions between the frame formats: depth, channel order and gray.
#pragma once

#include <cstdint>

#include "core/frame_buffer.h"

namespace vitrella {

// 0 -> 3 and 1 -> 4 keep the channel order and scale by 0.003921569; 0 -> 4 scales and
// reverses; 3 -> 0 and 4 -> 1 keep the order; 4 -> 0 reverses; floats become bytes
// clamped to 0..1, times 255, plus 0.5, truncated. 0 <-> 1 and 3 <-> 4 reverse the
// channels. Every other pair is refused.
[[nodiscard]] bool ConvertFrame(const FrameBuffer& src, FrameBuffer& dst);

// Value by value, without scaling: floats saturate to 0..255, truncated or rounded to
// nearest (roundMode 1); four floats into four bytes, or one into one.
[[nodiscard]] bool ConvertFloatToByte(const FrameBuffer& src, FrameBuffer& dst, int32_t roundMode);
[[nodiscard]] bool ConvertByteToFloat(const FrameBuffer& src, FrameBuffer& dst);
// The same with a scale in one pass: floats times factor to rounded bytes, and bytes to
// floats divided by divisor (as MultiplyChannels or DivideChannels after the conversion).
[[nodiscard]] bool ConvertFloatToByteScaled(const FrameBuffer& src, FrameBuffer& dst, float factor);
[[nodiscard]] bool ConvertByteToFloatDivided(const FrameBuffer& src, FrameBuffer& dst,
                                             float divisor);

// 0.114 blue + 0.587 green + 0.299 red of a format 0, 1, 3 or 4 frame into a one-byte or
// one-float frame, each in its own nominal range (bytes 0..255, floats 0..1). A source
// wider or taller than the destination is scaled onto the whole destination with the
// given interpolation code; that alone allocates, from memory (a temporary allocator
// when null).
[[nodiscard]] bool ToGray(const FrameBuffer& src, FrameBuffer& dst, MemoryAllocator* memory,
                          int32_t interpolation);
// The gray of the whole source scaled onto the whole destination, whatever their sizes.
[[nodiscard]] bool ScaleToGray(const FrameBuffer& src, FrameBuffer& dst, MemoryAllocator* memory,
                               int32_t interpolation);

}  // namespace vitrella
