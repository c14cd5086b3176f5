#include "core/colour_adjust.h"

#include <cmath>

#include "core/frame_ops.h"
#include "kernels/colour_adjust.h"
#include "vitrella/pixel_format.h"

namespace vitrella {

ColourMatrix ColourAdjustMatrix(float brightness, float colour, bool bytes) {
  constexpr float kWeights[3] = {0.3086f, 0.6094f, 0.082f};
  constexpr float kDarkening = 0.9953638f;  // bits 0x3F7ED029
  const float saturation = 3.0f * std::pow(colour, 1.58496f);
  float offset = 2.0f * brightness - 1.0f;
  if (bytes) offset *= 255.0f;
  ColourMatrix matrix{};
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) {
      const float own = i == j ? saturation : 0.0f;
      matrix.m[i][j] = kDarkening * (own + (1.0f - saturation) * kWeights[j]);
    }
    matrix.m[i][3] = kDarkening * offset;
  }
  return matrix;
}

bool ColourAdjustFrame(const FrameBuffer& src, FrameBuffer& dst, float brightness, float colour) {
  if (!IsFourChannel(src) || !IsFourChannel(dst) || src.format != dst.format) return false;
  const bool floats = IsFloatFormat(src.format);
  const ColourMatrix matrix = ColourAdjustMatrix(brightness, colour, !floats);
  const int32_t first = IsAlphaFirst(src.format) ? 1 : 0;
  const auto adjust = floats ? kernels::ColourAdjust32f_C4 : kernels::ColourAdjust8u_C4;
  return adjust(src.View(), dst.View(), matrix.m, first) == kernels::kOk;
}

}  // namespace vitrella
