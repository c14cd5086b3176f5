// Compiled once per processor family by Highway's foreach_target.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/composite_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <algorithm>

#include "kernels/composite_hwy.h"

HWY_BEFORE_NAMESPACE();
namespace vitrella::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Whole 32-bit pixels per lane, each channel in a 32-bit lane of its own. The truncating
// divisions by 255 go through floats: every sum here is below 2^18, where the float
// quotient never rounds up to the next integer.
void ThroughMaskRow8u_C4(const uint8_t* fg, uint8_t* bg, const uint8_t* mask, int32_t width,
                         int32_t alpha) {
  const hn::ScalableTag<int32_t> d;
  const hn::Rebind<float, decltype(d)> df;
  const hn::Rebind<uint8_t, decltype(d)> d8;
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(d));
  const auto byte = hn::Set(d, 0xFF);
  const auto full = hn::Set(d, 255);
  const auto divisor = hn::Set(df, 255.0f);
  const auto divide = [&](hn::Vec<decltype(d)> v) {
    return hn::ConvertTo(d, hn::Div(hn::ConvertTo(df, v), divisor));
  };
  const int32_t alphaShift = 8 * alpha;
  int32_t x = 0;
  for (; x + lanes <= width; x += lanes) {
    const auto f = hn::LoadU(d, reinterpret_cast<const int32_t*>(fg + 4 * x));
    const auto b = hn::LoadU(d, reinterpret_cast<const int32_t*>(bg + 4 * x));
    const auto m = hn::PromoteTo(d, hn::LoadU(d8, mask + x));
    const auto a = hn::And(hn::ShiftRightSame(b, alphaShift), byte);
    const auto t = hn::Min(full, divide(hn::Mul(a, hn::Sub(full, m))));
    auto result = hn::ShiftLeftSame(a, alphaShift);
    for (int32_t c = 0; c < 4; ++c) {
      if (c == alpha) continue;
      const int32_t shift = 8 * c;
      const auto fc = hn::And(hn::ShiftRightSame(f, shift), byte);
      const auto bc = hn::And(hn::ShiftRightSame(b, shift), byte);
      const auto mixed = hn::Min(full, divide(hn::Add(hn::Mul(fc, m), hn::Mul(bc, t))));
      result = hn::Or(result, hn::ShiftLeftSame(mixed, shift));
    }
    hn::StoreU(result, d, reinterpret_cast<int32_t*>(bg + 4 * x));
  }
  for (; x < width; ++x) {
    const uint8_t* p = fg + 4 * x;
    uint8_t* q = bg + 4 * x;
    const uint32_t m = mask[x];
    const uint32_t t = std::min(255U, q[alpha] * (255 - m) / 255);
    for (int c = 0; c < 4; ++c) {
      if (c != alpha) q[c] = static_cast<uint8_t>(std::min(255U, (p[c] * m + q[c] * t) / 255));
    }
  }
}

// Each channel in a vector of its own. The products that a mask of 0 or 1 drops are
// dropped by selection, as the plain loop skips them, so that what the foreground holds
// under a mask of 0 (or the background under 1) does not come through; the limits at 1
// are std::min's, which takes 1 for NaN.
int32_t ThroughMaskRow32f_C4(const float* fg, float* bg, const float* mask, int32_t width,
                             int32_t alpha) {
  const hn::ScalableTag<float> d;
  using V = hn::Vec<decltype(d)>;
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(d));
  const V zero = hn::Zero(d);
  const V one = hn::Set(d, 1.0f);
  const auto atMost1 = [&](V v) { return hn::IfThenElse(hn::Lt(v, one), v, one); };
  int32_t x = 0;
  for (; x + lanes <= width; x += lanes) {
    V f[4];
    V b[4];
    hn::LoadInterleaved4(d, fg + 4 * x, f[0], f[1], f[2], f[3]);
    hn::LoadInterleaved4(d, bg + 4 * x, b[0], b[1], b[2], b[3]);
    const V m = hn::LoadU(d, mask + x);
    const auto none = hn::Eq(m, zero);
    const auto whole = hn::Eq(m, one);
    const V t = atMost1(hn::Mul(b[alpha], hn::Sub(one, m)));
    for (int c = 0; c < 4; ++c) {
      if (c == alpha) continue;
      const V front = hn::IfThenZeroElse(none, hn::Mul(f[c], m));
      const V back = hn::IfThenZeroElse(whole, hn::Mul(b[c], t));
      b[c] = atMost1(hn::Add(front, back));
    }
    hn::StoreInterleaved4(b[0], b[1], b[2], b[3], d, bg + 4 * x);
  }
  return x;
}

}  // namespace vitrella::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vitrella::kernels::vector {

HWY_EXPORT(ThroughMaskRow8u_C4);

void ThroughMaskRow8u_C4(const uint8_t* fg, uint8_t* bg, const uint8_t* mask, int32_t width,
                         int32_t alpha) {
  HWY_DYNAMIC_DISPATCH(ThroughMaskRow8u_C4)(fg, bg, mask, width, alpha);
}

HWY_EXPORT(ThroughMaskRow32f_C4);

int32_t ThroughMaskRow32f_C4(const float* fg, float* bg, const float* mask, int32_t width,
                             int32_t alpha) {
  return HWY_DYNAMIC_DISPATCH(ThroughMaskRow32f_C4)(fg, bg, mask, width, alpha);
}

}  // namespace vitrella::kernels::vector
#endif
