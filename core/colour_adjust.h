// The colour adjustment of whole frames: brightness and amount of colour as one 3x4
// matrix over the colour channels, with hue and contrast at their neutral 0.5.
#pragma once

#include "core/frame_buffer.h"

namespace vitrella {

struct ColourMatrix {
  float m[3][4];  // row i: the weights of the three colour channels and the offset
};

// The matrix of a brightness b and a colour s, both 0..1 with 0.5 neutral, for the colour
// channels c0, c1, c2 in stored order:
//   S = 3 s^1.58496 (so that s = 0.5 gives 1), N = 0.3086 c0 + 0.6094 c1 + 0.082 c2,
//   result = 0.9953638 (S c + (1 - S) N + o), o = 2 b - 1 (times 255 for bytes).
// The factor 0.9953638 always applies: with both controls centred a picture comes out
// 0.46% darker. That is how this adjustment has always looked, and it stays.
ColourMatrix ColourAdjustMatrix(float brightness, float colour, bool bytes);

// The adjustment of src into dst, both four-channel frames of one format (src and dst
// may be one): bytes rounded to nearest and saturated, floats (alpha too) limited to
// 0..1 with a NaN giving 0; byte alpha is copied. Common extent.
[[nodiscard]] bool ColourAdjustFrame(const FrameBuffer& src, FrameBuffer& dst, float brightness,
                                     float colour);

}  // namespace vitrella
