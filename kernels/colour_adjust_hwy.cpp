// Compiled once per processor family by Highway's foreach_target.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/colour_adjust_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "kernels/colour_adjust_hwy.h"

HWY_BEFORE_NAMESPACE();
namespace vitrella::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// One matrix row over the three colour vectors, in the plain loop's order of operations,
// so that both give the same floats.
template <class D>
HWY_INLINE hn::Vec<D> MatrixRow(D d, const float* row, hn::Vec<D> c0, hn::Vec<D> c1,
                                hn::Vec<D> c2) {
  auto sum = hn::Mul(hn::Set(d, row[0]), c0);
  sum = hn::Add(sum, hn::Mul(hn::Set(d, row[1]), c1));
  sum = hn::Add(sum, hn::Mul(hn::Set(d, row[2]), c2));
  return hn::Add(sum, hn::Set(d, row[3]));
}

// Whole 32-bit pixels per lane: the colour bytes are shifted out into floats, and their
// results, limited and rounded to even like nearbyint, shifted back over the kept alpha.
int32_t ColourAdjustPixels8u(const uint8_t* in, uint8_t* out, int32_t width,
                             const float matrix[3][4], int32_t firstColour) {
  const hn::ScalableTag<int32_t> di;
  const hn::ScalableTag<float> df;
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(di));
  const auto byte = hn::Set(di, 0xFF);
  const auto zero = hn::Zero(df);
  const auto full = hn::Set(df, 255.0f);
  const int32_t shift0 = 8 * firstColour;
  const int32_t alphaShift = firstColour == 0 ? 24 : 0;
  const auto alphaMask = hn::Set(di, static_cast<int32_t>(0xFFu << alphaShift));
  const auto channel = [&](hn::Vec<decltype(di)> px, int32_t shift) {
    return hn::ConvertTo(df, hn::And(hn::ShiftRightSame(px, shift), byte));
  };
  const auto toByte = [&](hn::Vec<decltype(df)> v) {
    return hn::NearestInt(hn::Min(hn::Max(v, zero), full));
  };
  int32_t x = 0;
  for (; x + lanes <= width; x += lanes) {
    const auto px = hn::LoadU(di, reinterpret_cast<const int32_t*>(in + 4 * x));
    const auto c0 = channel(px, shift0);
    const auto c1 = channel(px, shift0 + 8);
    const auto c2 = channel(px, shift0 + 16);
    auto result = hn::And(px, alphaMask);
    result =
        hn::Or(result, hn::ShiftLeftSame(toByte(MatrixRow(df, matrix[0], c0, c1, c2)), shift0));
    result =
        hn::Or(result, hn::ShiftLeftSame(toByte(MatrixRow(df, matrix[1], c0, c1, c2)), shift0 + 8));
    result = hn::Or(result,
                    hn::ShiftLeftSame(toByte(MatrixRow(df, matrix[2], c0, c1, c2)), shift0 + 16));
    hn::StoreU(result, di, reinterpret_cast<int32_t*>(out + 4 * x));
  }
  return x;
}

// Limited to 0..1 with a NaN going to 0: the compare is false for a NaN.
template <class D>
HWY_INLINE hn::Vec<D> LimitToUnit(D d, hn::Vec<D> v) {
  return hn::IfThenElseZero(hn::Gt(v, hn::Zero(d)), hn::Min(v, hn::Set(d, 1.0f)));
}

int32_t ColourAdjustPixels32f(const float* in, float* out, int32_t width, const float matrix[3][4],
                              int32_t firstColour) {
  const hn::ScalableTag<float> d;
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(d));
  const int32_t alpha = firstColour == 0 ? 3 : 0;
  int32_t x = 0;
  for (; x + lanes <= width; x += lanes) {
    hn::Vec<decltype(d)> v[4];
    hn::LoadInterleaved4(d, in + 4 * x, v[0], v[1], v[2], v[3]);
    const auto c0 = v[firstColour], c1 = v[firstColour + 1], c2 = v[firstColour + 2];
    v[firstColour] = LimitToUnit(d, MatrixRow(d, matrix[0], c0, c1, c2));
    v[firstColour + 1] = LimitToUnit(d, MatrixRow(d, matrix[1], c0, c1, c2));
    v[firstColour + 2] = LimitToUnit(d, MatrixRow(d, matrix[2], c0, c1, c2));
    v[alpha] = LimitToUnit(d, v[alpha]);
    hn::StoreInterleaved4(v[0], v[1], v[2], v[3], d, out + 4 * x);
  }
  return x;
}

}  // namespace vitrella::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vitrella::kernels::vector {

HWY_EXPORT(ColourAdjustPixels8u);
HWY_EXPORT(ColourAdjustPixels32f);

int32_t ColourAdjustPixels8u(const uint8_t* in, uint8_t* out, int32_t width,
                             const float matrix[3][4], int32_t firstColour) {
  return HWY_DYNAMIC_DISPATCH(ColourAdjustPixels8u)(in, out, width, matrix, firstColour);
}

int32_t ColourAdjustPixels32f(const float* in, float* out, int32_t width, const float matrix[3][4],
                              int32_t firstColour) {
  return HWY_DYNAMIC_DISPATCH(ColourAdjustPixels32f)(in, out, width, matrix, firstColour);
}

}  // namespace vitrella::kernels::vector
#endif
