#include "kernels/colour_adjust.h"

#include <cmath>

#include "kernels/colour_adjust_hwy.h"
#include "kernels/dispatch.h"

namespace vitrella::kernels {
namespace {

float Row(const float m[4], float c0, float c1, float c2) {
  return m[0] * c0 + m[1] * c1 + m[2] * c2 + m[3];
}

uint8_t ToByte(float v) {
  const float limited = v > 0.0f ? (v < 255.0f ? v : 255.0f) : 0.0f;
  return static_cast<uint8_t>(std::nearbyint(limited));
}

void AdjustRow(const uint8_t* in, uint8_t* out, int32_t width, const float m[3][4], int32_t first) {
  const int32_t alpha = first == 0 ? 3 : 0;
  for (int32_t x = 0; x < width; ++x, in += 4, out += 4) {
    const float c0 = in[first], c1 = in[first + 1], c2 = in[first + 2];
    const uint8_t a = in[alpha];
    out[first] = ToByte(Row(m[0], c0, c1, c2));
    out[first + 1] = ToByte(Row(m[1], c0, c1, c2));
    out[first + 2] = ToByte(Row(m[2], c0, c1, c2));
    out[alpha] = a;
  }
}

void AdjustRow(const float* in, float* out, int32_t width, const float m[3][4], int32_t first) {
  const int32_t alpha = first == 0 ? 3 : 0;
  for (int32_t x = 0; x < width; ++x, in += 4, out += 4) {
    const float c0 = in[first], c1 = in[first + 1], c2 = in[first + 2];
    const float a = in[alpha];
    out[first] = LimitToUnit(Row(m[0], c0, c1, c2));
    out[first + 1] = LimitToUnit(Row(m[1], c0, c1, c2));
    out[first + 2] = LimitToUnit(Row(m[2], c0, c1, c2));
    out[alpha] = LimitToUnit(a);
  }
}

template <typename T, typename Vector>
Status Adjust(ConstImageView src, ImageView dst, const float matrix[3][4], int32_t firstColour,
              Vector vectorRow) {
  if (Status s = CheckViews(src, dst); s != kOk) return s;
  if (matrix == nullptr) return kNullPointer;
  if (firstColour != 0 && firstColour != 1) return kBadChannel;
  const Size size = MinSize(src.Extent(), dst.Extent());
  const bool plain = UseReferenceKernels();
  for (int32_t y = 0; y < size.height; ++y) {
    const T* in = src.Row<const T>(y);
    T* out = dst.Row<T>(y);
    const int32_t done = plain ? 0 : vectorRow(in, out, size.width, matrix, firstColour);
    AdjustRow(in + 4 * done, out + 4 * done, size.width - done, matrix, firstColour);
  }
  return kOk;
}

}  // namespace

Status ColourAdjust8u_C4(ConstImageView src, ImageView dst, const float matrix[3][4],
                         int32_t firstColour) {
  return Adjust<uint8_t>(src, dst, matrix, firstColour, vector::ColourAdjustPixels8u);
}

Status ColourAdjust32f_C4(ConstImageView src, ImageView dst, const float matrix[3][4],
                          int32_t firstColour) {
  return Adjust<float>(src, dst, matrix, firstColour, vector::ColourAdjustPixels32f);
}

}  // namespace vitrella::kernels
