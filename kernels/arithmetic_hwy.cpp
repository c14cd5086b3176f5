// Compiled once per processor family by Highway's foreach_target.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/arithmetic_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "kernels/arithmetic_hwy.h"

HWY_BEFORE_NAMESPACE();
namespace vitrella::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// In and out may be one frame, so no restrict here. Row i of the matrix applied to the three colour
// vectors, with the same order of operations as the plain row so that both give the same floats.
template <class D>
HWY_INLINE hn::Vec<D> TwistRow(D d, const float* row, hn::Vec<D> c0, hn::Vec<D> c1, hn::Vec<D> c2) {
  auto sum = hn::Mul(hn::Set(d, row[0]), c0);
  sum = hn::Add(sum, hn::Mul(hn::Set(d, row[1]), c1));
  sum = hn::Add(sum, hn::Mul(hn::Set(d, row[2]), c2));
  return hn::Add(sum, hn::Set(d, row[3]));
}

int32_t ColorTwistPixels(const float* in, float* out, int32_t width, const float matrix[3][4],
                         int32_t firstColour) {
  const hn::ScalableTag<float> d;
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(d));
  int32_t x = 0;
  for (; x + lanes <= width; x += lanes) {
    hn::Vec<decltype(d)> v[4];
    hn::LoadInterleaved4(d, in + 4 * x, v[0], v[1], v[2], v[3]);
    const auto c0 = v[firstColour], c1 = v[firstColour + 1], c2 = v[firstColour + 2];
    v[firstColour] = TwistRow(d, matrix[0], c0, c1, c2);
    v[firstColour + 1] = TwistRow(d, matrix[1], c0, c1, c2);
    v[firstColour + 2] = TwistRow(d, matrix[2], c0, c1, c2);
    hn::StoreInterleaved4(v[0], v[1], v[2], v[3], d, out + 4 * x);
  }
  return x;
}

}  // namespace vitrella::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vitrella::kernels::vector {

HWY_EXPORT(ColorTwistPixels);

int32_t ColorTwistPixels(const float* in, float* out, int32_t width, const float matrix[3][4],
                         int32_t firstColour) {
  return HWY_DYNAMIC_DISPATCH(ColorTwistPixels)(in, out, width, matrix, firstColour);
}

}  // namespace vitrella::kernels::vector
#endif
