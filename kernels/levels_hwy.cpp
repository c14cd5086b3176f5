// Compiled once per processor family by Highway's foreach_target.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/levels_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <cstring>

#include "kernels/levels.h"
#include "kernels/levels_hwy.h"

HWY_BEFORE_NAMESPACE();
namespace vitrella::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Whole 32-bit pixels per lane. The mean's division by 3 goes through floats: the sum of
// three stretched values stays below 2^18, where a correctly rounded quotient truncates to
// the integer quotient.
void StretchRow8u_C4(const uint8_t* in, uint8_t* out, int32_t width, const int32_t inShifts[4],
                     const int32_t outShifts[4], const ByteLevels& levels) {
  const hn::ScalableTag<int32_t> d;
  const hn::Rebind<float, decltype(d)> df;
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(d));
  const auto byte = hn::Set(d, 0xFF);
  const auto zero = hn::Zero(d);
  const auto lo = hn::Set(d, levels.lo);
  const auto gain = hn::Set(d, levels.gain);
  const auto strength = hn::Set(d, levels.strength);
  const auto three = hn::Set(df, 3.0f);
  const bool moves = levels.strength != 0;
  int32_t x = 0;
  for (; x + lanes <= width; x += lanes) {
    const auto px = hn::LoadU(d, reinterpret_cast<const int32_t*>(in + 4 * x));
    const auto stretch = [&](int32_t shift) {
      const auto channel = hn::And(hn::ShiftRightSame(px, shift), byte);
      return hn::ShiftRight<8>(hn::Mul(hn::Sub(channel, lo), gain));
    };
    auto red = stretch(inShifts[0]);
    auto green = stretch(inShifts[1]);
    auto blue = stretch(inShifts[2]);
    if (moves) {
      const auto sum = hn::Add(hn::Add(red, green), blue);
      const auto mean = hn::ConvertTo(d, hn::Div(hn::ConvertTo(df, sum), three));
      const auto move = [&](hn::Vec<decltype(d)> c) {
        const auto delta = hn::ShiftRight<10>(hn::Mul(hn::Sub(c, mean), strength));
        return levels.away ? hn::Add(c, delta) : hn::Sub(c, delta);
      };
      red = move(red);
      green = move(green);
      blue = move(blue);
    }
    const auto limit = [&](hn::Vec<decltype(d)> v) { return hn::Min(hn::Max(v, zero), byte); };
    const auto alpha = hn::And(hn::ShiftRightSame(px, inShifts[3]), byte);
    auto result = hn::ShiftLeftSame(limit(red), outShifts[0]);
    result = hn::Or(result, hn::ShiftLeftSame(limit(green), outShifts[1]));
    result = hn::Or(result, hn::ShiftLeftSame(limit(blue), outShifts[2]));
    result = hn::Or(result, hn::ShiftLeftSame(alpha, outShifts[3]));
    hn::StoreU(result, d, reinterpret_cast<int32_t*>(out + 4 * x));
  }
  for (; x < width; ++x) {
    uint32_t px;
    std::memcpy(&px, in + 4 * x, 4);
    const auto channel = [&](int32_t shift) { return static_cast<int32_t>((px >> shift) & 0xFF); };
    const int32_t rgb[3] = {channel(inShifts[0]), channel(inShifts[1]), channel(inShifts[2])};
    int32_t result[3];
    StretchPixel8u(rgb, result, levels);
    const auto place = [](int32_t value, int32_t shift) {
      return static_cast<uint32_t>(value) << shift;
    };
    const uint32_t packed = place(result[0], outShifts[0]) | place(result[1], outShifts[1]) |
                            place(result[2], outShifts[2]) |
                            place(channel(inShifts[3]), outShifts[3]);
    std::memcpy(out + 4 * x, &packed, 4);
  }
}

// As many pixels as a vector holds doubles: the mean is summed and scaled in doubles, and
// everything else is done in floats of the same lane count.
int32_t StretchRow32f_C4(const float* in, float* out, int32_t width, bool inAlphaFirst,
                         bool outAlphaFirst, const FloatLevels& levels) {
  const hn::ScalableTag<double> dd;
  const hn::Rebind<float, decltype(dd)> d;
  using V = hn::Vec<decltype(d)>;
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(d));
  const auto zero = hn::Zero(d);
  const auto one = hn::Set(d, 1.0f);
  const auto lo = hn::Set(d, levels.lo);
  const auto range = hn::Set(d, levels.range);
  const auto strength = hn::Set(d, levels.strength);
  const auto third = hn::Set(dd, 0.33333);
  int32_t x = 0;
  for (; x + lanes <= width; x += lanes) {
    V v0, v1, v2, v3;
    hn::LoadInterleaved4(d, in + 4 * x, v0, v1, v2, v3);
    const V alpha = inAlphaFirst ? v0 : v3;
    V red = hn::Div(hn::Sub(inAlphaFirst ? v1 : v2, lo), range);
    V green = hn::Div(hn::Sub(inAlphaFirst ? v2 : v1, lo), range);
    V blue = hn::Div(hn::Sub(inAlphaFirst ? v3 : v0, lo), range);
    const auto sum =
        hn::Add(hn::Add(hn::PromoteTo(dd, red), hn::PromoteTo(dd, green)), hn::PromoteTo(dd, blue));
    // Some families narrow a double beyond the float range to the largest float: where a
    // channel is not finite, the sum in floats is the mean that doubles give.
    const auto finite =
        hn::And(hn::And(hn::IsFinite(red), hn::IsFinite(green)), hn::IsFinite(blue));
    const V mean = hn::IfThenElse(finite, hn::DemoteTo(d, hn::Mul(sum, third)),
                                  hn::Add(hn::Add(red, green), blue));
    const auto move = [&](V c) {
      const V delta = hn::Mul(hn::Sub(c, mean), strength);
      const V moved = levels.away ? hn::Add(c, delta) : hn::Sub(c, delta);
      // Not above 0, NaN included, gives 0.
      return hn::IfThenElse(hn::Gt(moved, zero), hn::Min(moved, one), zero);
    };
    red = move(red);
    green = move(green);
    blue = move(blue);
    if (outAlphaFirst) {
      hn::StoreInterleaved4(alpha, red, green, blue, d, out + 4 * x);
    } else {
      hn::StoreInterleaved4(blue, green, red, alpha, d, out + 4 * x);
    }
  }
  return x;
}

// The bucket of each value from the estimate v * 257, which is off by at most one, settled
// against the two boundaries around it; values outside, NaN included, go to the spare
// bucket. The boundaries are computed as k * step in floats, as the table of the plain
// loop holds them, which is cheaper than gathering them; `top` is the last one.
int32_t CountRow32f_C4(const float* in, int32_t width, const int32_t at[3], float top,
                       uint32_t counts[vector::kCountSets][3][vector::kCountBuckets]) {
  const hn::ScalableTag<float> d;
  const hn::RebindToSigned<decltype(d)> di;
  using V = hn::Vec<decltype(d)>;
  constexpr int32_t kMostLanes = HWY_MAX_BYTES / 4;
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(d));
  const auto zero = hn::Zero(d);
  const auto end = hn::Set(d, top);
  const auto perUnit = hn::Set(d, 257.0f);
  const auto last = hn::Set(di, kLevelBuckets - 1);
  const auto spare = hn::Set(di, kLevelBuckets);
  const auto one = hn::Set(di, 1);
  const auto step = hn::Set(d, kFloatLevelStep);
  HWY_ALIGN int32_t buckets[3][kMostLanes];
  int32_t x = 0;
  for (; x + lanes <= width; x += lanes) {
    V v[4];
    hn::LoadInterleaved4(d, in + 4 * x, v[0], v[1], v[2], v[3]);
    for (int c = 0; c < 3; ++c) {
      const V value = v[at[c]];
      const auto counted = hn::And(hn::Ge(value, zero), hn::Lt(value, end));
      // Values not counted may give any estimate; it is limited before the lookups.
      auto k = hn::Min(hn::Max(hn::ConvertTo(di, hn::Mul(value, perUnit)), hn::Zero(di)), last);
      // The boundaries as the table holds them, k * step in floats, computed here.
      const V below = hn::Mul(hn::ConvertTo(d, k), step);
      const V above = hn::Mul(hn::ConvertTo(d, hn::Add(k, one)), step);
      k = hn::Add(k, hn::VecFromMask(di, hn::RebindMask(di, hn::Lt(value, below))));
      k = hn::Sub(k, hn::VecFromMask(di, hn::RebindMask(di, hn::Ge(value, above))));
      k = hn::IfThenElse(hn::RebindMask(di, counted), k, spare);
      hn::Store(k, di, buckets[c]);
    }
    for (int32_t i = 0; i < lanes; ++i) {
      auto& set = counts[(x + i) & (vector::kCountSets - 1)];
      ++set[0][buckets[0][i]];
      ++set[1][buckets[1][i]];
      ++set[2][buckets[2][i]];
    }
  }
  return x;
}

}  // namespace vitrella::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vitrella::kernels::vector {

HWY_EXPORT(StretchRow8u_C4);
HWY_EXPORT(StretchRow32f_C4);
HWY_EXPORT(CountRow32f_C4);

int32_t CountRow32f_C4(const float* in, int32_t width, const int32_t at[3], float top,
                       uint32_t counts[kCountSets][3][kCountBuckets]) {
  return HWY_DYNAMIC_DISPATCH(CountRow32f_C4)(in, width, at, top, counts);
}

void StretchRow8u_C4(const uint8_t* in, uint8_t* out, int32_t width, const int32_t inShifts[4],
                     const int32_t outShifts[4], const ByteLevels& levels) {
  HWY_DYNAMIC_DISPATCH(StretchRow8u_C4)(in, out, width, inShifts, outShifts, levels);
}

int32_t StretchRow32f_C4(const float* in, float* out, int32_t width, bool inAlphaFirst,
                         bool outAlphaFirst, const FloatLevels& levels) {
  return HWY_DYNAMIC_DISPATCH(StretchRow32f_C4)(in, out, width, inAlphaFirst, outAlphaFirst,
                                                levels);
}

}  // namespace vitrella::kernels::vector
#endif
