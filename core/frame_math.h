// Arithmetic on frames: alpha premultiplication and compositing, per-channel arithmetic
// and the colour twist.
#pragma once

#include <cstdint>

#include "core/frame_buffer.h"

namespace vitrella {

// Colour channels times alpha (bytes: divided by 255, truncated); src and dst may be one.
[[nodiscard]] bool PremultiplyAlpha(const FrameBuffer& src, FrameBuffer& dst);

// The foreground over the background into dst, all three of one depth; the foreground's
// format chooses where alpha lies. The extent is the smallest of the three.
[[nodiscard]] bool CompositeFrames(const FrameBuffer& foreground, const FrameBuffer& background,
                                   FrameBuffer& dst, bool premultiplied);

// Float frames: every channel with its own value, or (the colour forms) the three colour
// channels in memory order with alpha left alone.
[[nodiscard]] bool MultiplyChannels(FrameBuffer& frame, const float values[4]);
[[nodiscard]] bool DivideChannels(FrameBuffer& frame, const float values[4]);
[[nodiscard]] bool AddChannels(FrameBuffer& frame, const float values[4]);
[[nodiscard]] bool MultiplyColourChannels(FrameBuffer& frame, const float values[3]);
[[nodiscard]] bool DivideColourChannels(FrameBuffer& frame, const float values[3]);
[[nodiscard]] bool AddColourChannels(FrameBuffer& frame, const float values[3]);

// Each colour channel (in memory order) becomes its matrix row's dot product with the
// three colour channels plus the row's fourth value; alpha is kept. src and dst may be one.
[[nodiscard]] bool ColorTwist(const FrameBuffer& src, FrameBuffer& dst, const float matrix[3][4]);

// Float frames, in place: squares; square roots (a negative value becomes a quiet NaN and
// the operation answers false); values below their channel's bound raised to it.
[[nodiscard]] bool SquareFrame(FrameBuffer& frame);
[[nodiscard]] bool SquareRootFrame(FrameBuffer& frame);
[[nodiscard]] bool ClampFrameBelow(FrameBuffer& frame, const float bounds[4]);

}  // namespace vitrella
