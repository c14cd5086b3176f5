// Whole-frame colour operations of the tint and split effects: mixing two pictures by a
// mask, plain colour fills, and the box blur of a mask.
#pragma once

#include <cstdint>

#include "core/frame_buffer.h"

namespace vitrella {

// dst = a t + b (1 - t) on the colour channels, t from the one-channel mask of the same
// depth (bytes 0..255, floats 0..1); dst's alpha stays. The rule follows the format of a,
// which all three pictures share:
//   PixelFormat8ARGB: (a t + b (255 - t)) >> 8, limited to 255;
//   PixelFormat8BGRA: the alpha composition's plus, (a t + b (255 - t)) / 255;
//   floats:           limited to 1 from above.
// a or b may be dst. Common extent of the four frames.
[[nodiscard]] bool MixFrames(const FrameBuffer& a, const FrameBuffer& b, const FrameBuffer& mask,
                             FrameBuffer& dst);

// The same with t taken from a's own alpha channel.
[[nodiscard]] bool MixFramesByAlpha(const FrameBuffer& a, const FrameBuffer& b, FrameBuffer& dst);

// Sets the colour channels of a four-channel frame to red, green and blue, given on the
// frame's own scale (0..255 for bytes, truncated; 0..1 for floats); alpha stays.
[[nodiscard]] bool FillColour(FrameBuffer& frame, float red, float green, float blue);

// A colour given on a frame's own scale, as FillColour takes it.
struct FlatColour {
  float red, green, blue;
};

// The picture of FillColour(a, first), FillColour(b, second), MixFrames(a, b, mask, dst),
// bit for bit, without the two flat frames: each mask value gives one colour, looked up
// for bytes. dst's alpha stays.
[[nodiscard]] bool MixColours(FlatColour first, FlatColour second, const FrameBuffer& mask,
                              FrameBuffer& dst);

// A box of size x size (odd, anchored on its middle) over a one-channel mask, in place,
// through a copy padded by size / 2 on every side with its edge pixels repeated. Bytes
// round each pass to nearest. Allocates the padded copies from `memory`.
[[nodiscard]] bool BoxBlurMask(FrameBuffer& mask, int32_t size, MemoryAllocator* memory);

}  // namespace vitrella
