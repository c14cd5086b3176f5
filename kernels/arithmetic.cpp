#include "kernels/arithmetic.h"

#include <cmath>
#include <cstring>

#include "kernels/arithmetic_hwy.h"
#include "kernels/dispatch.h"

namespace vitrella::kernels {
namespace {

template <typename Op>
Status EachValue(ImageView frame, Op op) {
  if (Status s = CheckView(frame); s != kOk) return s;
  for (int32_t y = 0; y < frame.height; ++y) {
    float* row = frame.Row<float>(y);
    for (int32_t i = 0; i < frame.width * 4; ++i)
      row[i] = op(row[i], i & 3);
  }
  return kOk;
}

// Channels outside the mask get the neutral operand, which keeps the loop branch-free.
template <typename Op>
Status EachMaskedValue(ImageView frame, const float values[4], uint32_t mask, float neutral,
                       Op op) {
  if (values == nullptr) return kNullPointer;
  float operand[4];
  for (int c = 0; c < 4; ++c)
    operand[c] = (mask >> c) & 1u ? values[c] : neutral;
  // Division by the neutral 1 is exact, so masked channels come back bit for bit.
  return EachValue(frame, [&](float v, int c) { return op(v, operand[c]); });
}

float QuietNaN() {
  const uint32_t bits = 0xFFC00000u;
  float nan;
  std::memcpy(&nan, &bits, sizeof(nan));
  return nan;
}

void TwistRow(const float* in, float* out, int32_t width, const float m[3][4], int32_t first) {
  const int32_t other = first == 0 ? 3 : 0;
  for (int32_t x = 0; x < width; ++x) {
    const float* p = in + 4 * x;
    const float c0 = p[first], c1 = p[first + 1], c2 = p[first + 2], kept = p[other];
    float* o = out + 4 * x;
    o[first] = m[0][0] * c0 + m[0][1] * c1 + m[0][2] * c2 + m[0][3];
    o[first + 1] = m[1][0] * c0 + m[1][1] * c1 + m[1][2] * c2 + m[1][3];
    o[first + 2] = m[2][0] * c0 + m[2][1] * c1 + m[2][2] * c2 + m[2][3];
    o[other] = kept;
  }
}

}  // namespace

Status MultiplyChannels32f(ImageView frame, const float values[4], uint32_t mask) {
  return EachMaskedValue(frame, values, mask, 1.0f, [](float v, float k) { return v * k; });
}

Status DivideChannels32f(ImageView frame, const float values[4], uint32_t mask) {
  return EachMaskedValue(frame, values, mask, 1.0f, [](float v, float k) { return v / k; });
}

Status AddChannels32f(ImageView frame, const float values[4], uint32_t mask) {
  // Adding 0 would turn -0 into +0; only here does the mask need a real branch.
  if (values == nullptr) return kNullPointer;
  return EachValue(frame, [&](float v, int c) { return (mask >> c) & 1u ? v + values[c] : v; });
}

Status Square32f(ImageView frame) {
  return EachValue(frame, [](float v, int) { return v * v; });
}

Status SquareRoot32f(ImageView frame) {
  bool negative = false;
  const float nan = QuietNaN();
  const Status s = EachValue(frame, [&](float v, int) {
    if (v < 0.0f) {
      negative = true;
      return nan;
    }
    return std::sqrt(v);
  });
  if (s != kOk) return s;
  return negative ? kSqrtOfNegative : kOk;
}

Status ClampBelow32f(ImageView frame, const float bounds[4]) {
  if (bounds == nullptr) return kNullPointer;
  return EachValue(frame, [&](float v, int c) { return v < bounds[c] ? bounds[c] : v; });
}

Status ColorTwist32f_C4(ConstImageView src, ImageView dst, const float matrix[3][4],
                        int32_t firstColour) {
  if (Status s = CheckViews(src, dst); s != kOk) return s;
  if (matrix == nullptr) return kNullPointer;
  if (firstColour != 0 && firstColour != 1) return kBadChannel;
  const Size size = MinSize(src.Extent(), dst.Extent());
  const bool plain = UseReferenceKernels();
  for (int32_t y = 0; y < size.height; ++y) {
    const float* in = src.Row<const float>(y);
    float* out = dst.Row<float>(y);
    const int32_t done =
        plain ? 0 : vector::ColorTwistPixels(in, out, size.width, matrix, firstColour);
    TwistRow(in + 4 * done, out + 4 * done, size.width - done, matrix, firstColour);
  }
  return kOk;
}

}  // namespace vitrella::kernels
