// Compiled once per processor family by Highway's foreach_target.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/filter_gauss_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "kernels/filter_gauss.h"
#include "kernels/filter_gauss_hwy.h"

HWY_BEFORE_NAMESPACE();
namespace vitrella::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// 1 2 1 along a row, in 16 bits (at most 16 * 255 with the column weights); neighbours
// lie one pixel, four values, away.
template <class D16, class D8>
HWY_INLINE hn::Vec<D16> Taps121(D16 d16, D8 d8, const uint8_t* HWY_RESTRICT row) {
  const auto left = hn::PromoteTo(d16, hn::LoadU(d8, row - 4));
  const auto centre = hn::PromoteTo(d16, hn::LoadU(d8, row));
  const auto right = hn::PromoteTo(d16, hn::LoadU(d8, row + 4));
  return hn::Add(hn::Add(left, right), hn::ShiftLeft<1>(centre));
}

void Gauss3x3Row8u(const uint8_t* HWY_RESTRICT r0, const uint8_t* HWY_RESTRICT r1,
                   const uint8_t* HWY_RESTRICT r2, uint8_t* HWY_RESTRICT out, int32_t count) {
  const hn::ScalableTag<int16_t> d16;  // signed: u8 demotes from i16 only
  const hn::Rebind<uint8_t, decltype(d16)> d8;
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(d16));
  const auto one = hn::Set(d16, 1);
  const auto seven = hn::Set(d16, 7);
  int32_t i = 0;
  for (; i + lanes <= count; i += lanes) {
    const auto sum = hn::Add(hn::Add(Taps121(d16, d8, r0 + i), Taps121(d16, d8, r2 + i)),
                             hn::ShiftLeft<1>(Taps121(d16, d8, r1 + i)));
    // Ties to even: the quotient's lowest bit decides whether a half goes up.
    const auto odd = hn::And(hn::ShiftRight<4>(sum), one);
    const auto rounded = hn::ShiftRight<4>(hn::Add(hn::Add(sum, odd), seven));
    hn::StoreU(hn::DemoteTo(d8, rounded), d8, out + i);
  }
  for (; i < count; ++i)
    out[i] = Gauss3x3Tap(r0 + i, r1 + i, r2 + i);
}

template <class D>
HWY_INLINE hn::Vec<D> Taps121(D d, const float* HWY_RESTRICT row) {
  const auto left = hn::LoadU(d, row - 4);
  const auto centre = hn::LoadU(d, row);
  const auto right = hn::LoadU(d, row + 4);
  return hn::Add(hn::Add(left, hn::Add(centre, centre)), right);
}

void Gauss3x3Row32f(const float* HWY_RESTRICT r0, const float* HWY_RESTRICT r1,
                    const float* HWY_RESTRICT r2, float* HWY_RESTRICT out, int32_t count) {
  const hn::ScalableTag<float> d;
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(d));
  const auto sixteenth = hn::Set(d, 0.0625f);
  int32_t i = 0;
  for (; i + lanes <= count; i += lanes) {
    const auto b = Taps121(d, r1 + i);
    // The same order of additions as the plain tap, so both give the same floats.
    const auto sum = hn::Add(hn::Add(Taps121(d, r0 + i), hn::Add(b, b)), Taps121(d, r2 + i));
    hn::StoreU(hn::Mul(sum, sixteenth), d, out + i);
  }
  for (; i < count; ++i)
    out[i] = Gauss3x3Tap(r0 + i, r1 + i, r2 + i);
}

}  // namespace vitrella::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vitrella::kernels::vector {

HWY_EXPORT(Gauss3x3Row8u);
HWY_EXPORT(Gauss3x3Row32f);

void Gauss3x3Row8u(const uint8_t* r0, const uint8_t* r1, const uint8_t* r2, uint8_t* out,
                   int32_t count) {
  HWY_DYNAMIC_DISPATCH(Gauss3x3Row8u)(r0, r1, r2, out, count);
}

void Gauss3x3Row32f(const float* r0, const float* r1, const float* r2, float* out, int32_t count) {
  HWY_DYNAMIC_DISPATCH(Gauss3x3Row32f)(r0, r1, r2, out, count);
}

}  // namespace vitrella::kernels::vector
#endif
