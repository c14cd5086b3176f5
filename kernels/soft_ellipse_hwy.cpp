// Compiled once per processor family by Highway's foreach_target.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/soft_ellipse_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <cmath>

#include "hwy/contrib/math/math-inl.h"
#include "kernels/soft_ellipse.h"
#include "kernels/soft_ellipse_hwy.h"
#include "kernels/unit_maths-inl.h"

HWY_BEFORE_NAMESPACE();
namespace vitrella::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Each product and sum as the plain formula has it, none fused: the same bits.
void SoftEllipseDistances(const SoftEllipseShape& s, float yy, int32_t begin, int32_t count,
                          float* out) {
  const hn::ScalableTag<float> df;
  const hn::RebindToSigned<decltype(df)> di;
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(df));
  const auto cosT = hn::Set(df, s.cosTheta);
  const auto sinT = hn::Set(df, s.sinTheta);
  const auto ySin = hn::Set(df, yy * s.sinTheta);
  const auto yCos = hn::Set(df, yy * s.cosTheta);
  const auto xScale = hn::Set(df, s.xScale);
  const auto a2 = hn::Set(df, s.a2);
  const auto b2 = hn::Set(df, s.b2);
  const auto b = hn::Set(df, s.b);
  int32_t i = 0;
  for (; i + lanes <= count; i += lanes) {
    const auto x = hn::Iota(di, begin + i - s.centreX);
    const auto xx = hn::Mul(hn::ConvertTo(df, x), xScale);
    const auto u = hn::Sub(hn::Mul(xx, cosT), ySin);
    const auto v = hn::Add(hn::Mul(xx, sinT), yCos);
    const auto q = hn::Add(hn::Div(hn::Mul(hn::Mul(b2, u), u), a2), hn::Mul(v, v));
    hn::StoreU(hn::Sub(hn::Sqrt(q), b), df, out + i);
  }
  for (; i < count; ++i)
    out[i] = SoftEllipseDistance(s, begin + i, yy);
}

void SoftEllipseBytes(const SoftEllipseShape& s, const SoftEllipseBands& bands,
                      const float* distances, int32_t count, uint8_t* out, uint8_t* unsure) {
  const hn::ScalableTag<float> df;
  const hn::RebindToSigned<decltype(df)> di;
  const hn::Rebind<uint8_t, decltype(di)> d8;
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(df));
  const auto bins = static_cast<int32_t>(bands.bytes.size());
  const auto feather = hn::Set(df, s.feather);
  const auto inner = hn::Set(df, -0.5f * s.feather);
  const auto start = hn::Set(df, bands.start);
  const auto perPixel = hn::Set(df, bands.binsPerPixel);
  const auto binCount = hn::Set(df, static_cast<float>(bins));
  const auto low = hn::Set(df, 0.01f);
  const auto high = hn::Set(df, 0.99f);
  const auto full = hn::Set(di, 255);
  const auto one = hn::Set(di, 1);
  int32_t i = 0;
  if (bins > 0) {
    for (; i + lanes <= count; i += lanes) {
      const auto d = hn::LoadU(df, distances + i);
      const auto beyond = hn::Not(hn::Lt(d, feather));  // NaN too
      const auto inside = hn::Le(d, inner);
      const auto at = hn::Mul(hn::Sub(d, start), perPixel);
      // Within the table and clear of a bin's edges, where rounding could cross it.
      const auto inTable = hn::And(hn::Ge(at, hn::Zero(df)), hn::Lt(at, binCount));
      const auto bin = hn::ConvertTo(di, hn::IfThenElseZero(inTable, at));
      const auto within = hn::Sub(at, hn::ConvertTo(df, bin));
      const auto clear = hn::And(inTable, hn::And(hn::Ge(within, low), hn::Le(within, high)));
      const auto looked = hn::GatherIndex(di, bands.bytes.data(), bin);
      const auto known = hn::And(hn::RebindMask(di, clear), hn::Ne(looked, full));
      auto byte = hn::IfThenElseZero(known, looked);
      byte = hn::IfThenElse(hn::RebindMask(di, inside), full, byte);
      byte = hn::IfThenZeroElse(hn::RebindMask(di, beyond), byte);
      const auto settled = hn::Or(known, hn::RebindMask(di, hn::Or(beyond, inside)));
      hn::StoreU(hn::DemoteTo(d8, byte), d8, out + i);
      hn::StoreU(hn::DemoteTo(d8, hn::IfThenZeroElse(settled, one)), d8, unsure + i);
    }
  }
  for (; i < count; ++i) {
    const float d = distances[i];
    unsure[i] = 0;
    if (!(d < s.feather)) {
      out[i] = 0;
    } else if (d <= -0.5f * s.feather) {
      out[i] = 255;
    } else {
      unsure[i] = 1;
    }
  }
}

// The falloff is 2.71828f to the power -(t t). Here it is exp(-(t t) ln 2.71828f): the
// exponential is within 1 ulp, the rounded logarithm and product add under 4e-7 of the
// value where a byte is above 0 (the exponent is then above -5.6), and the library's power
// is within 1 ulp. Together under 2e-4 of a byte: a margin of 2e-3 leaves no doubt.
void SoftEllipseSettle(const SoftEllipseShape& s, const float* distances, int32_t count,
                       uint8_t* out, uint8_t* unsure) {
  const hn::ScalableTag<float> df;
  const hn::RebindToSigned<decltype(df)> di;
  const hn::Rebind<uint8_t, decltype(di)> d8;
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(df));
  const auto half = hn::Set(df, s.feather * 0.5f);
  const auto falloff = hn::Set(df, s.falloff);
  const auto widen = hn::Set(df, 1.1f);
  const auto logBase = hn::Set(df, static_cast<float>(std::log(static_cast<double>(2.71828f))));
  const auto scale = hn::Set(df, 255.0f);
  const auto margin = hn::Set(df, 0.002f);
  const auto farFromUp = hn::Set(df, 0.998f);
  for (int32_t i = 0; i + lanes <= count; i += lanes) {
    const auto doubt = hn::PromoteTo(di, hn::LoadU(d8, unsure + i));
    if (hn::AllTrue(di, hn::Eq(doubt, hn::Zero(di)))) continue;
    const auto d = hn::LoadU(df, distances + i);
    // SoftEllipseFalloff's t, in its order of operations.
    const auto t = hn::Mul(hn::Mul(hn::Add(d, half), falloff), widen);
    const auto value = hn::CallExp(df, hn::Mul(hn::Neg(hn::Mul(t, t)), logBase));
    const auto b = hn::Mul(value, scale);
    const auto step = hn::Floor(b);
    const auto above = hn::Sub(b, step);
    const auto sure =
        hn::Or(hn::Lt(b, farFromUp), hn::And(hn::Gt(above, margin), hn::Lt(above, farFromUp)));
    const auto settle = hn::And(hn::RebindMask(di, sure), hn::Ne(doubt, hn::Zero(di)));
    const auto old = hn::PromoteTo(di, hn::LoadU(d8, out + i));
    const auto byte = hn::IfThenElse(settle, hn::ConvertTo(di, step), old);
    hn::StoreU(hn::DemoteTo(d8, byte), d8, out + i);
    hn::StoreU(hn::DemoteTo(d8, hn::IfThenZeroElse(settle, doubt)), d8, unsure + i);
  }
}

// Two vectors at a time through the power, so that their chains of steps interleave; the
// last few values go through SoftEllipseValue itself.
void SoftEllipseValues(const SoftEllipseShape& s, float* distances, int32_t count) {
  const hn::ScalableTag<float> df;
  using V = hn::Vec<decltype(df)>;
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(df));
  const V feather = hn::Set(df, s.feather);
  const V inside = hn::Set(df, -0.5f * s.feather);
  const V half = hn::Set(df, s.feather * 0.5f);
  const V falloff = hn::Set(df, s.falloff);
  const V widen = hn::Set(df, 1.1f);
  const V logBase = hn::Set(df, kSoftEllipseLog2Base);
  const V one = hn::Set(df, 1.0f);
  int32_t i = 0;
  for (; i + 2 * lanes <= count; i += 2 * lanes) {
    V d[2] = {hn::LoadU(df, distances + i), hn::LoadU(df, distances + i + lanes)};
    V power[2];
    for (int j = 0; j < 2; ++j) {
      const V t = hn::Mul(hn::Mul(hn::Add(d[j], half), falloff), widen);
      power[j] = hn::Mul(hn::Neg(hn::Mul(t, t)), logBase);
    }
    Exp2Lanes(df, power);
    for (int j = 0; j < 2; ++j) {
      const V value = hn::IfThenElse(hn::Le(d[j], inside), one, power[j]);
      // Lt is false for NaN, which gives 0 as the plain formula does.
      hn::StoreU(hn::IfThenElseZero(hn::Lt(d[j], feather), value), df, distances + i + j * lanes);
    }
  }
  for (; i < count; ++i)
    distances[i] = SoftEllipseValue(s, distances[i]);
}

}  // namespace vitrella::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vitrella::kernels::vector {

HWY_EXPORT(SoftEllipseDistances);
HWY_EXPORT(SoftEllipseBytes);
HWY_EXPORT(SoftEllipseSettle);
HWY_EXPORT(SoftEllipseValues);

void SoftEllipseValues(const SoftEllipseShape& shape, float* distances, int32_t count) {
  HWY_DYNAMIC_DISPATCH(SoftEllipseValues)(shape, distances, count);
}

void SoftEllipseSettle(const SoftEllipseShape& shape, const float* distances, int32_t count,
                       uint8_t* out, uint8_t* unsure) {
  HWY_DYNAMIC_DISPATCH(SoftEllipseSettle)(shape, distances, count, out, unsure);
}

void SoftEllipseDistances(const SoftEllipseShape& shape, float yy, int32_t begin, int32_t count,
                          float* out) {
  HWY_DYNAMIC_DISPATCH(SoftEllipseDistances)(shape, yy, begin, count, out);
}

void SoftEllipseBytes(const SoftEllipseShape& shape, const SoftEllipseBands& bands,
                      const float* distances, int32_t count, uint8_t* out, uint8_t* unsure) {
  HWY_DYNAMIC_DISPATCH(SoftEllipseBytes)(shape, bands, distances, count, out, unsure);
}

}  // namespace vitrella::kernels::vector
#endif
