// Compiled once per processor family by Highway's foreach_target.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/linear_filter_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "kernels/byte_division-inl.h"
#include "kernels/linear_filter_hwy.h"

HWY_BEFORE_NAMESPACE();
namespace vitrella::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

template <class Divider, class DI>
HWY_INLINE void ConvolveAt8u(DI di, const Divider& divide, const DivisionVectors<DI>& constants,
                             const uint8_t* first, ptrdiff_t tapStep, const int32_t* weights,
                             int32_t taps, int32_t half, uint8_t* out, int32_t j) {
  auto sum = hn::Set(di, half);
  for (int32_t i = 0; i < taps; ++i) {
    const auto value = LoadBytes(di, first + i * tapStep + j);
    sum = hn::Add(sum, hn::Mul(hn::Set(di, weights[i]), value));
  }
  const hn::Rebind<uint8_t, DI> du8;
  hn::StoreU(divide(di, sum, constants), du8, out + j);
}

void ConvolveLine8u(const uint8_t* first, ptrdiff_t tapStep, const int32_t* weights, int32_t taps,
                    const ByteDivision& division, uint8_t* out, int32_t count) {
  WithDivision(division, [&](const auto& divide) {
    const hn::ScalableTag<int32_t> di;
    const hn::CappedTag<int32_t, 1> d1;
    const DivisionVectors<hn::ScalableTag<int32_t>> constants(di, division);
    const DivisionVectors<hn::CappedTag<int32_t, 1>> constants1(d1, division);
    const int32_t lanes = static_cast<int32_t>(hn::Lanes(di));
    int32_t j = 0;
    for (; j + lanes <= count; j += lanes) {
      ConvolveAt8u(di, divide, constants, first, tapStep, weights, taps, division.half, out, j);
    }
    for (; j < count; ++j) {
      ConvolveAt8u(d1, divide, constants1, first, tapStep, weights, taps, division.half, out, j);
    }
  });
}

// 16-bit lanes: twice as many values per vector, and a division by a shift or by
// multiplication.
template <bool kShift, class D16>
HWY_INLINE void ConvolveAtNarrow8u(D16 d16, const uint8_t* first, ptrdiff_t tapStep,
                                   const int32_t* weights, int32_t taps,
                                   const ByteDivision& division, uint8_t* out, int32_t j) {
  auto sum = hn::Set(d16, static_cast<uint16_t>(division.half));
  for (int32_t i = 0; i < taps; ++i) {
    const auto value = LoadBytes(d16, first + i * tapStep + j);
    sum = hn::Add(sum, weights[i] == 1
                           ? value
                           : hn::Mul(hn::Set(d16, static_cast<uint16_t>(weights[i])), value));
  }
  hn::Vec<D16> q;
  if constexpr (kShift) {
    q = hn::ShiftRightSame(sum, division.shift);
  } else {
    const auto high = hn::MulHigh(sum, hn::Set(d16, division.magic));
    q = hn::ShiftRightSame(hn::Add(high, hn::ShiftRightSame(hn::Sub(sum, high), division.shift1)),
                           division.shift2);
  }
  q = hn::Min(q, hn::Set(d16, uint16_t{255}));
  const hn::Rebind<uint8_t, D16> du8;
  hn::StoreU(hn::DemoteTo(du8, hn::BitCast(hn::RebindToSigned<D16>(), q)), du8, out + j);
}

template <bool kShift>
void ConvolveLineNarrow8uT(const uint8_t* first, ptrdiff_t tapStep, const int32_t* weights,
                           int32_t taps, const ByteDivision& shared, uint8_t* out, int32_t count) {
  const ByteDivision division = shared;  // a local copy: stores of bytes could alias the caller's
  const hn::ScalableTag<uint16_t> d16;
  const hn::CappedTag<uint16_t, 1> d1;
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(d16));
  int32_t j = 0;
  for (; j + lanes <= count; j += lanes) {
    ConvolveAtNarrow8u<kShift>(d16, first, tapStep, weights, taps, division, out, j);
  }
  for (; j < count; ++j) {
    ConvolveAtNarrow8u<kShift>(d1, first, tapStep, weights, taps, division, out, j);
  }
}

void ConvolveLineNarrow8u(const uint8_t* first, ptrdiff_t tapStep, const int32_t* weights,
                          int32_t taps, const ByteDivision& division, uint8_t* out, int32_t count) {
  if (division.shift >= 0) {
    ConvolveLineNarrow8uT<true>(first, tapStep, weights, taps, division, out, count);
  } else {
    ConvolveLineNarrow8uT<false>(first, tapStep, weights, taps, division, out, count);
  }
}

template <class DF>
HWY_INLINE void ConvolveAt32f(DF df, const float* first, ptrdiff_t tapStep, const float* weights,
                              int32_t taps, float* out, int32_t j) {
  auto sum = hn::Mul(hn::Set(df, weights[0]), hn::LoadU(df, first + j));
  for (int32_t i = 1; i < taps; ++i) {
    const auto value = hn::LoadU(df, Advance(first, i * tapStep) + j);
    sum = hn::Add(sum, hn::Mul(hn::Set(df, weights[i]), value));
  }
  hn::StoreU(sum, df, out + j);
}

void ConvolveLine32f(const float* first, ptrdiff_t tapStep, const float* weights, int32_t taps,
                     float* out, int32_t count) {
  const hn::ScalableTag<float> df;
  const hn::CappedTag<float, 1> d1;
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(df));
  int32_t j = 0;
  for (; j + lanes <= count; j += lanes)
    ConvolveAt32f(df, first, tapStep, weights, taps, out, j);
  for (; j < count; ++j)
    ConvolveAt32f(d1, first, tapStep, weights, taps, out, j);
}

}  // namespace vitrella::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vitrella::kernels::vector {

HWY_EXPORT(ConvolveLine8u);
HWY_EXPORT(ConvolveLineNarrow8u);
HWY_EXPORT(ConvolveLine32f);

void ConvolveLine8u(const uint8_t* first, ptrdiff_t tapStep, const int32_t* weights, int32_t taps,
                    const ByteDivision& division, uint8_t* out, int32_t count) {
  HWY_DYNAMIC_DISPATCH(ConvolveLine8u)(first, tapStep, weights, taps, division, out, count);
}

void ConvolveLineNarrow8u(const uint8_t* first, ptrdiff_t tapStep, const int32_t* weights,
                          int32_t taps, const ByteDivision& division, uint8_t* out, int32_t count) {
  HWY_DYNAMIC_DISPATCH(ConvolveLineNarrow8u)(first, tapStep, weights, taps, division, out, count);
}

void ConvolveLine32f(const float* first, ptrdiff_t tapStep, const float* weights, int32_t taps,
                     float* out, int32_t count) {
  HWY_DYNAMIC_DISPATCH(ConvolveLine32f)(first, tapStep, weights, taps, out, count);
}

}  // namespace vitrella::kernels::vector
#endif
