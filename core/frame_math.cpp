#include "core/frame_math.h"

#include "core/frame_ops.h"
#include "kernels/arithmetic.h"
#include "kernels/composite.h"

namespace vitrella {
namespace {

bool IsFourFloat(const FrameBuffer& frame) {
  return IsFourChannel(frame) && IsFloatFormat(frame.format);
}

// The first colour channel: after alpha in formats 1 and 4.
int32_t FirstColour(PixelFormat format) {
  return AlphaChannelOf(format) == 0 ? 1 : 0;
}

using ChannelOp = kernels::Status (*)(kernels::ImageView, const float*, uint32_t);

bool OnAllChannels(FrameBuffer& frame, const float values[4], ChannelOp op) {
  if (!IsFourFloat(frame) || values == nullptr) return false;
  return op(frame.View(), values, kernels::kAllChannels) == kernels::kOk;
}

bool OnColourChannels(FrameBuffer& frame, const float values[3], ChannelOp op) {
  if (!IsFourFloat(frame) || values == nullptr) return false;
  const int32_t first = FirstColour(frame.format);
  float spread[4] = {0, 0, 0, 0};
  for (int i = 0; i < 3; ++i)
    spread[first + i] = values[i];
  return op(frame.View(), spread, 0x7u << first) == kernels::kOk;
}

}  // namespace

bool PremultiplyAlpha(const FrameBuffer& src, FrameBuffer& dst) {
  if (!IsFourChannel(src) || !IsFourChannel(dst) || src.format != dst.format) return false;
  const auto premultiply =
      IsFloatFormat(src.format) ? kernels::PremultiplyAlpha32f_C4 : kernels::PremultiplyAlpha8u_C4;
  return premultiply(src.View(), dst.View(), AlphaChannelOf(src.format)) == kernels::kOk;
}

bool CompositeFrames(const FrameBuffer& foreground, const FrameBuffer& background, FrameBuffer& dst,
                     bool premultiplied) {
  if (!IsFourChannel(foreground) || !IsFourChannel(background) || !IsFourChannel(dst)) {
    return false;
  }
  const bool floats = IsFloatFormat(foreground.format);
  if (IsFloatFormat(background.format) != floats || IsFloatFormat(dst.format) != floats) {
    return false;
  }
  const auto composite = floats ? kernels::Composite32f_C4 : kernels::Composite8u_C4;
  return composite(foreground.View(), background.View(), dst.View(),
                   AlphaChannelOf(foreground.format), premultiplied) == kernels::kOk;
}

bool MultiplyChannels(FrameBuffer& frame, const float values[4]) {
  return OnAllChannels(frame, values, kernels::MultiplyChannels32f);
}
bool DivideChannels(FrameBuffer& frame, const float values[4]) {
  return OnAllChannels(frame, values, kernels::DivideChannels32f);
}
bool AddChannels(FrameBuffer& frame, const float values[4]) {
  return OnAllChannels(frame, values, kernels::AddChannels32f);
}
bool MultiplyColourChannels(FrameBuffer& frame, const float values[3]) {
  return OnColourChannels(frame, values, kernels::MultiplyChannels32f);
}
bool DivideColourChannels(FrameBuffer& frame, const float values[3]) {
  return OnColourChannels(frame, values, kernels::DivideChannels32f);
}
bool AddColourChannels(FrameBuffer& frame, const float values[3]) {
  return OnColourChannels(frame, values, kernels::AddChannels32f);
}

bool ColorTwist(const FrameBuffer& src, FrameBuffer& dst, const float matrix[3][4]) {
  if (!IsFourFloat(src) || !IsFourFloat(dst) || src.format != dst.format) return false;
  return kernels::ColorTwist32f_C4(src.View(), dst.View(), matrix, FirstColour(src.format)) ==
         kernels::kOk;
}

bool SquareFrame(FrameBuffer& frame) {
  return IsFourFloat(frame) && kernels::Square32f(frame.View()) == kernels::kOk;
}

bool SquareRootFrame(FrameBuffer& frame) {
  return IsFourFloat(frame) && kernels::SquareRoot32f(frame.View()) == kernels::kOk;
}

bool ClampFrameBelow(FrameBuffer& frame, const float bounds[4]) {
  return IsFourFloat(frame) && kernels::ClampBelow32f(frame.View(), bounds) == kernels::kOk;
}

}  // namespace vitrella
