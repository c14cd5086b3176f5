#include "kernels/filter_gauss.h"

#include "kernels/dispatch.h"
#include "kernels/filter_gauss_hwy.h"

namespace vitrella::kernels {
namespace {

void Gauss3x3Row8u(const uint8_t* r0, const uint8_t* r1, const uint8_t* r2, uint8_t* out,
                   int32_t count) {
  for (int32_t i = 0; i < count; ++i)
    out[i] = Gauss3x3Tap(r0 + i, r1 + i, r2 + i);
}

void Gauss5x5Row8u(const uint8_t* const* rows, uint8_t* out, int32_t count) {
  for (int32_t i = 0; i < count; ++i) {
    uint32_t sum = 0;
    constexpr uint32_t kWeights[5] = {1, 4, 6, 4, 1};
    for (int k = 0; k < 5; ++k) {
      const uint8_t* r = rows[k];
      const uint32_t h = r[i - 8] + 4u * r[i - 4] + 6u * r[i] + 4u * r[i + 4] + r[i + 8];
      sum += kWeights[k] * h;
    }
    out[i] = RoundShiftEven(sum, 8);
  }
}

void Gauss3x3Row32f(const float* r0, const float* r1, const float* r2, float* out, int32_t count) {
  for (int32_t i = 0; i < count; ++i)
    out[i] = Gauss3x3Tap(r0 + i, r1 + i, r2 + i);
}

void Gauss5x5Row32f(const float* const* rows, float* out, int32_t count) {
  for (int32_t i = 0; i < count; ++i) {
    float sum = 0.0f;
    constexpr float kWeights[5] = {1.0f, 4.0f, 6.0f, 4.0f, 1.0f};
    for (int k = 0; k < 5; ++k) {
      const float* r = rows[k];
      const float h = r[i - 8] + 4.0f * r[i - 4] + 6.0f * r[i] + 4.0f * r[i + 4] + r[i + 8];
      sum += kWeights[k] * h;
    }
    out[i] = sum * (1.0f / 256.0f);
  }
}

template <typename T, typename Row3, typename Row5>
Status FilterGauss(ConstImageView src, ImageView dst, int32_t maskCode, Row3 row3, Row5 row5) {
  if (Status s = CheckViews(src, dst); s != kOk) return s;
  if (maskCode != kMask3x3 && maskCode != kMask5x5) return kBadMaskSize;
  const Size size = MinSize(src.Extent(), dst.Extent());
  const int32_t count = size.width * 4;
  for (int32_t y = 0; y < size.height; ++y) {
    T* out = dst.Row<T>(y);
    if (maskCode == kMask3x3) {
      row3(src.Row<const T>(y - 1), src.Row<const T>(y), src.Row<const T>(y + 1), out, count);
    } else {
      const T* rows[5] = {src.Row<const T>(y - 2), src.Row<const T>(y - 1), src.Row<const T>(y),
                          src.Row<const T>(y + 1), src.Row<const T>(y + 2)};
      row5(rows, out, count);
    }
  }
  return kOk;
}

}  // namespace

Status FilterGauss8u_C4(ConstImageView src, ImageView dst, int32_t maskCode) {
  const auto row3 = UseReferenceKernels() ? Gauss3x3Row8u : vector::Gauss3x3Row8u;
  return FilterGauss<uint8_t>(src, dst, maskCode, row3, Gauss5x5Row8u);
}

Status FilterGauss32f_C4(ConstImageView src, ImageView dst, int32_t maskCode) {
  const auto row3 = UseReferenceKernels() ? Gauss3x3Row32f : vector::Gauss3x3Row32f;
  return FilterGauss<float>(src, dst, maskCode, row3, Gauss5x5Row32f);
}

}  // namespace vitrella::kernels
