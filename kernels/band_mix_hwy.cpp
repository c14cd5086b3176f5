// Compiled once per processor family by Highway's foreach_target.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/band_mix_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "kernels/band_mix_hwy.h"

HWY_BEFORE_NAMESPACE();
namespace vitrella::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

template <class D>
HWY_INLINE hn::Vec<D> MatrixRow(D d, const float* row, hn::Vec<D> c0, hn::Vec<D> c1,
                                hn::Vec<D> c2) {
  auto sum = hn::Mul(hn::Set(d, row[0]), c0);
  sum = hn::Add(sum, hn::Mul(hn::Set(d, row[1]), c1));
  sum = hn::Add(sum, hn::Mul(hn::Set(d, row[2]), c2));
  return hn::Add(sum, hn::Set(d, row[3]));
}

// 0..1, a NaN giving 0, as the plain loop's test does.
template <class D>
HWY_INLINE hn::Vec<D> LimitToUnit(D d, hn::Vec<D> v) {
  return hn::IfThenElseZero(hn::Gt(v, hn::Zero(d)), hn::Min(v, hn::Set(d, 1.0f)));
}

// Channels of four pixels at a time, deinterleaved; every step in the plain loop's order.
int32_t MixBandsPixels32f(const float* in, float* out, int32_t width, ColourPositions at,
                          int32_t first, const BandMix& mix) {
  const hn::ScalableTag<float> d;
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(d));
  const int32_t alpha = first == 0 ? 3 : 0;
  const auto one = hn::Set(d, 1.0f);
  const auto centre = hn::Set(d, mix.centre);
  const auto steepness = hn::Set(d, mix.steepness);
  int32_t x = 0;
  for (; x + lanes <= width; x += lanes) {
    hn::Vec<decltype(d)> v[4];
    hn::LoadInterleaved4(d, in + 4 * x, v[0], v[1], v[2], v[3]);
    auto luma = hn::Mul(hn::Set(d, 0.298f), v[at.red]);
    luma = hn::Add(luma, hn::Mul(hn::Set(d, 0.586f), v[at.green]));
    luma = hn::Add(luma, hn::Mul(hn::Set(d, 0.113f), v[at.blue]));
    const auto m = LimitToUnit(d, hn::Add(hn::Mul(hn::Sub(luma, centre), steepness), centre));
    const auto c0 = v[first], c1 = v[first + 1], c2 = v[first + 2];
    const auto under = hn::Min(one, hn::Mul(LimitToUnit(d, v[alpha]), hn::Sub(one, m)));
    for (int i = 0; i < 3; ++i) {
      const auto light = LimitToUnit(d, MatrixRow(d, mix.light[i], c0, c1, c2));
      const auto dark = LimitToUnit(d, MatrixRow(d, mix.dark[i], c0, c1, c2));
      v[first + i] = hn::Min(one, hn::Add(hn::Mul(light, m), hn::Mul(dark, under)));
    }
    hn::StoreInterleaved4(v[0], v[1], v[2], v[3], d, out + 4 * x);
  }
  return x;
}

}  // namespace vitrella::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vitrella::kernels::vector {

HWY_EXPORT(MixBandsPixels32f);

int32_t MixBandsPixels32f(const float* in, float* out, int32_t width, ColourPositions at,
                          int32_t first, const BandMix& mix) {
  return HWY_DYNAMIC_DISPATCH(MixBandsPixels32f)(in, out, width, at, first, mix);
}

}  // namespace vitrella::kernels::vector
#endif
