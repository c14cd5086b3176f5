// Compiled once per processor family by Highway's foreach_target.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/tint_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "kernels/tint_hwy.h"

HWY_BEFORE_NAMESPACE();
namespace vitrella::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

using DI = hn::ScalableTag<int32_t>;
using DF = hn::Rebind<float, DI>;
using VI = hn::Vec<DI>;
using VF = hn::Vec<DF>;

// One byte of each 32-bit pixel, as a number.
HWY_INLINE VI Channel(DI di, VI pixels, int32_t shift) {
  return hn::And(hn::ShiftRightSame(pixels, shift), hn::Set(di, 0xFF));
}

// The 768-step hue of MatchHue8: blue tested first, then green. 65535 / delta is the
// floor of the float quotient, which is exact for every delta of 1..255.
HWY_INLINE VI MatchHue8(DI di, VI r, VI g, VI b) {
  const DF df;
  const VI high = hn::Max(hn::Max(r, g), b);
  const VI delta = hn::Sub(high, hn::Min(hn::Min(r, g), b));
  const VF quotient =
      hn::Div(hn::Set(df, 65535.0f), hn::ConvertTo(df, hn::Max(delta, hn::Set(di, 1))));
  const VI k = hn::ConvertTo(di, hn::Floor(quotient));
  VI fromBlue = hn::ShiftRight<9>(hn::Mul(hn::Sub(g, r), k));
  // Compared, not IfNegativeThenElse: that picks by the sign of each byte on some targets.
  fromBlue =
      hn::IfThenElse(hn::Lt(fromBlue, hn::Zero(di)), hn::Add(fromBlue, hn::Set(di, 768)), fromBlue);
  const VI fromGreen = hn::Add(hn::ShiftRight<9>(hn::Mul(hn::Sub(r, b), k)), hn::Set(di, 256));
  const VI fromRed = hn::Add(hn::ShiftRight<9>(hn::Mul(hn::Sub(b, g), k)), hn::Set(di, 512));
  const VI hue = hn::IfThenElse(hn::Eq(b, high), fromBlue,
                                hn::IfThenElse(hn::Eq(g, high), fromGreen, fromRed));
  return hn::IfThenZeroElse(hn::Lt(delta, hn::Set(di, 1)), hue);
}

int32_t ColourMaskRow8u(const uint8_t* HWY_RESTRICT picture, const uint8_t* HWY_RESTRICT tint,
                        uint8_t* HWY_RESTRICT mask, int32_t width, int32_t redShift,
                        int32_t greenShift, int32_t blueShift, int32_t base1, int32_t base2) {
  const DI di;
  const hn::Rebind<uint8_t, DI> d8;
  const hn::RebindToUnsigned<DI> du;
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(di));
  const VI full = hn::Set(di, 255);
  const VI b1 = hn::Set(di, base1);
  const VI b2 = hn::Set(di, base2);
  int32_t x = 0;
  for (; x + lanes <= width; x += lanes) {
    const VI p = hn::LoadU(di, reinterpret_cast<const int32_t*>(picture + 4 * x));
    const VI t = hn::LoadU(di, reinterpret_cast<const int32_t*>(tint + 4 * x));
    const VI pr = Channel(di, p, redShift), pg = Channel(di, p, greenShift);
    const VI pb = Channel(di, p, blueShift);
    const VI tr = Channel(di, t, redShift), tg = Channel(di, t, greenShift);
    const VI tb = Channel(di, t, blueShift);
    VI h = hn::Abs(hn::Sub(MatchHue8(di, pr, pg, pb), MatchHue8(di, tr, tg, tb)));
    h = hn::IfThenElse(hn::Gt(h, hn::Set(di, 384)), hn::Sub(hn::Set(di, 768), h), h);
    const VI dr = hn::Sub(pr, tr), dg = hn::Sub(pg, tg), db = hn::Sub(pb, tb);
    const VI s = hn::Add(hn::Add(hn::Mul(dr, dr), hn::Mul(dg, dg)),
                         hn::Add(hn::Mul(db, db), hn::ShiftLeft<9>(h)));
    VI match = hn::Sub(full, hn::ShiftRight<16>(hn::Mul(s, hn::Set(di, 170))));
    match = hn::IfThenZeroElse(hn::Gt(s, hn::Set(di, 98302)), match);
    match = hn::IfThenElse(hn::Lt(s, hn::Zero(di)), full, match);
    const VI g = hn::PromoteTo(di, hn::LoadU(d8, mask + x));
    const VI sum = hn::Add(hn::Mul(hn::Sub(full, g), hn::Min(hn::Add(b2, match), full)),
                           hn::Mul(g, hn::Min(hn::Add(b1, match), full)));
    // The plain loop keeps the low byte of the shifted sum.
    hn::StoreU(hn::TruncateTo(d8, hn::BitCast(du, hn::ShiftRight<8>(sum))), d8, mask + x);
  }
  return x;
}

// RgbToHsv of values 0..1 in its order of operations: red tested first, then green.
struct Hsv {
  VF h, s, v;
};
HWY_INLINE Hsv ToHsv(DF df, VF r, VF g, VF b) {
  const VF zero = hn::Zero(df);
  const VF high = hn::Max(hn::Max(r, g), b);
  const VF delta = hn::Sub(high, hn::Min(hn::Min(r, g), b));
  const VF s = hn::IfThenElseZero(hn::Gt(high, zero), hn::Div(delta, high));
  VF fromRed = hn::Div(hn::Sub(g, b), delta);
  fromRed = hn::IfThenElse(hn::Lt(fromRed, zero), hn::Add(fromRed, hn::Set(df, 6.0f)), fromRed);
  const VF fromGreen = hn::Add(hn::Div(hn::Sub(b, r), delta), hn::Set(df, 2.0f));
  const VF fromBlue = hn::Add(hn::Div(hn::Sub(r, g), delta), hn::Set(df, 4.0f));
  const VF h = hn::IfThenElse(hn::Eq(r, high), fromRed,
                              hn::IfThenElse(hn::Eq(g, high), fromGreen, fromBlue));
  return {hn::IfThenElseZero(hn::Gt(delta, zero), hn::Div(h, hn::Set(df, 6.0f))), s, high};
}

// RoundByte of a value times 255: to nearest, ties to even, saturated.
HWY_INLINE VI ToByte(DF df, VF value) {
  const VF r = hn::Round(hn::Mul(value, hn::Set(df, 255.0f)));
  const VF clamped = hn::Min(hn::IfThenElseZero(hn::Gt(r, hn::Zero(df)), r), hn::Set(df, 255.0f));
  return hn::ConvertTo(DI(), clamped);
}

// out may be the picture: each vector is read whole before it is written.
int32_t HueBlendRow8u(const uint8_t* picture, const uint8_t* HWY_RESTRICT tint,
                      const uint8_t* HWY_RESTRICT strength, uint8_t* out, int32_t width,
                      int32_t firstColour) {
  const DI di;
  const DF df;
  const hn::Rebind<uint8_t, DI> d8;
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(di));
  const int32_t s0 = 8 * firstColour;
  const VF scale = hn::Set(df, 255.0f);
  const VF one = hn::Set(df, 1.0f);
  const VF zero = hn::Zero(df);
  // The byte of each pixel that the blend leaves as dst held it.
  const VI kept = hn::Set(di, firstColour == 0 ? static_cast<int32_t>(0xFF000000u) : 0xFF);
  const auto unit = [&](VI pixels, int32_t shift) {
    return hn::Div(hn::ConvertTo(df, Channel(di, pixels, shift)), scale);
  };
  int32_t x = 0;
  for (; x + lanes <= width; x += lanes) {
    const VI p = hn::LoadU(di, reinterpret_cast<const int32_t*>(picture + 4 * x));
    const VI t = hn::LoadU(di, reinterpret_cast<const int32_t*>(tint + 4 * x));
    const Hsv ph = ToHsv(df, unit(p, s0), unit(p, s0 + 8), unit(p, s0 + 16));
    const Hsv th = ToHsv(df, unit(t, s0), unit(t, s0 + 8), unit(t, s0 + 16));
    const VF k = hn::Div(hn::ConvertTo(df, hn::PromoteTo(di, hn::LoadU(d8, strength + x))), scale);
    // The planes hold bytes: the hues are rounded as a stored HSV picture would.
    const VF hp = hn::Round(hn::Mul(ph.h, scale));
    const VF ht = hn::Round(hn::Mul(th.h, scale));
    const VF hue = hn::Round(hn::Add(hn::Mul(ht, k), hn::Mul(hp, hn::Sub(one, k))));
    const VF sat = hn::Div(hn::Round(hn::Mul(ph.s, scale)), scale);
    const VF v = ph.v;
    // HsvToRgb in its order of operations.
    VF sector = hn::Mul(hn::Div(hue, scale), hn::Set(df, 6.0f));
    sector = hn::IfThenElse(hn::And(hn::Ge(sector, zero), hn::Lt(sector, hn::Set(df, 6.0f))),
                            sector, zero);
    const VF i = hn::Floor(sector);
    const VF f = hn::Sub(sector, i);
    const VF pv = hn::Mul(v, hn::Sub(one, sat));
    const VF qv = hn::Mul(v, hn::Sub(one, hn::Mul(sat, f)));
    const VF tv = hn::Mul(v, hn::Sub(one, hn::Mul(sat, hn::Sub(one, f))));
    const auto is = [&](float n) { return hn::Eq(i, hn::Set(df, n)); };
    // Sectors 0..5: (v t p) (q v p) (p v t) (p q v) (t p v) (v p q).
    const VF red = hn::IfThenElse(hn::Or(is(0.0f), is(5.0f)), v,
                                  hn::IfThenElse(is(1.0f), qv, hn::IfThenElse(is(4.0f), tv, pv)));
    const VF green = hn::IfThenElse(hn::Or(is(1.0f), is(2.0f)), v,
                                    hn::IfThenElse(is(0.0f), tv, hn::IfThenElse(is(3.0f), qv, pv)));
    const VF blue = hn::IfThenElse(hn::Or(is(3.0f), is(4.0f)), v,
                                   hn::IfThenElse(is(2.0f), tv, hn::IfThenElse(is(5.0f), qv, pv)));
    int32_t* const at = reinterpret_cast<int32_t*>(out + 4 * x);
    VI word = hn::And(hn::LoadU(di, at), kept);
    word = hn::Or(word, hn::ShiftLeftSame(ToByte(df, red), s0));
    word = hn::Or(word, hn::ShiftLeftSame(ToByte(df, green), s0 + 8));
    word = hn::Or(word, hn::ShiftLeftSame(ToByte(df, blue), s0 + 16));
    hn::StoreU(word, di, at);
  }
  return x;
}

// std::max and std::min of the plain loops: the first of equals, and NaN where it comes
// first.
HWY_INLINE VF MaxOf(VF a, VF b) {
  return hn::IfThenElse(hn::Lt(a, b), b, a);
}
HWY_INLINE VF MinOf(VF a, VF b) {
  return hn::IfThenElse(hn::Lt(b, a), b, a);
}

// Four-channel float pixels split into their channels, a vector of pixels at a time.
struct Pixels {
  VF c[4];
};
HWY_INLINE Pixels LoadPixels(DF df, const float* at) {
  Pixels p;
  hn::LoadInterleaved4(df, at, p.c[0], p.c[1], p.c[2], p.c[3]);
  return p;
}

// MatchHue32: blue tested first, then green.
HWY_INLINE VF MatchHue32(DF df, VF r, VF g, VF b) {
  const VF zero = hn::Zero(df);
  const VF high = MaxOf(MaxOf(r, g), b);
  const VF delta = hn::Sub(high, MinOf(MinOf(r, g), b));
  VF fromBlue = hn::Div(hn::Sub(g, r), delta);
  fromBlue = hn::IfThenElse(hn::Lt(fromBlue, zero), hn::Add(fromBlue, hn::Set(df, 6.0f)), fromBlue);
  const VF fromGreen = hn::Add(hn::Div(hn::Sub(r, b), delta), hn::Set(df, 2.0f));
  const VF fromRed = hn::Add(hn::Div(hn::Sub(b, g), delta), hn::Set(df, 4.0f));
  const VF h = hn::IfThenElse(hn::Eq(b, high), fromBlue,
                              hn::IfThenElse(hn::Eq(g, high), fromGreen, fromRed));
  return hn::IfThenElseZero(hn::Gt(delta, zero), hn::Mul(h, hn::Set(df, 0.16666667f)));
}

int32_t ColourMaskRow32f(const float* HWY_RESTRICT picture, const float* HWY_RESTRICT tint,
                         float* HWY_RESTRICT mask, int32_t width, int32_t red, int32_t green,
                         int32_t blue, float base1, float base2) {
  const DF df;
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(df));
  const VF one = hn::Set(df, 1.0f);
  const VF zero = hn::Zero(df);
  const VF sixth = hn::Set(df, 0.16666667f);
  const VF b1 = hn::Set(df, base1);
  const VF b2 = hn::Set(df, base2);
  // std::min(x, 1.0f): 1 only where 1 < x, so NaN stays.
  const auto atMostOne = [&](VF x) { return hn::IfThenElse(hn::Lt(one, x), one, x); };
  int32_t x = 0;
  for (; x + lanes <= width; x += lanes) {
    const Pixels p = LoadPixels(df, picture + 4 * x);
    const Pixels t = LoadPixels(df, tint + 4 * x);
    VF h = hn::Abs(hn::Sub(MatchHue32(df, p.c[red], p.c[green], p.c[blue]),
                           MatchHue32(df, t.c[red], t.c[green], t.c[blue])));
    h = hn::IfThenElse(hn::Gt(h, hn::Set(df, 0.5f)), hn::Sub(one, h), h);
    h = hn::Mul(h, hn::Set(df, 6.0f));
    const VF dr = hn::Sub(p.c[red], t.c[red]);
    const VF dg = hn::Sub(p.c[green], t.c[green]);
    const VF db = hn::Sub(p.c[blue], t.c[blue]);
    const VF squares = hn::Add(hn::Add(hn::Mul(dr, dr), hn::Mul(dg, dg)), hn::Mul(db, db));
    const VF s = hn::Mul(hn::Add(squares, h), sixth);
    VF match = hn::Sub(one, hn::Mul(hn::Set(df, 4.0f), s));
    match = hn::IfThenZeroElse(hn::Gt(s, hn::Set(df, 0.25f)), match);
    match = hn::IfThenElse(hn::Ge(s, zero), match, one);
    const VF g = hn::LoadU(df, mask + x);
    const VF mixed = hn::Add(hn::Mul(hn::Sub(one, g), atMostOne(hn::Add(match, b2))),
                             hn::Mul(g, atMostOne(hn::Add(match, b1))));
    hn::StoreU(mixed, df, mask + x);
  }
  return x;
}

// out may be the picture: each vector is read whole before it is written.
int32_t HueBlendRow32f(const float* picture, const float* HWY_RESTRICT tint,
                       const float* HWY_RESTRICT strength, float* out, int32_t width,
                       int32_t firstColour) {
  const DF df;
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(df));
  const VF one = hn::Set(df, 1.0f);
  const VF zero = hn::Zero(df);
  const VF six = hn::Set(df, 6.0f);
  const int32_t f = firstColour;
  int32_t x = 0;
  for (; x + lanes <= width; x += lanes) {
    const Pixels p = LoadPixels(df, picture + 4 * x);
    const Pixels t = LoadPixels(df, tint + 4 * x);
    Pixels o = LoadPixels(df, out + 4 * x);
    // ToHsv picks with Max and Min, which differ from std::max at NaN and signed zeros:
    // the plain comparisons stand in for them here.
    const auto hsv = [&](VF r, VF g, VF b) {
      const VF high = MaxOf(MaxOf(r, g), b);
      const VF delta = hn::Sub(high, MinOf(MinOf(r, g), b));
      const VF s = hn::IfThenElseZero(hn::Gt(high, zero), hn::Div(delta, high));
      VF fromRed = hn::Div(hn::Sub(g, b), delta);
      fromRed = hn::IfThenElse(hn::Lt(fromRed, zero), hn::Add(fromRed, six), fromRed);
      const VF fromGreen = hn::Add(hn::Div(hn::Sub(b, r), delta), hn::Set(df, 2.0f));
      const VF fromBlue = hn::Add(hn::Div(hn::Sub(r, g), delta), hn::Set(df, 4.0f));
      const VF h = hn::IfThenElse(hn::Eq(r, high), fromRed,
                                  hn::IfThenElse(hn::Eq(g, high), fromGreen, fromBlue));
      return Hsv{hn::IfThenElseZero(hn::Gt(delta, zero), hn::Div(h, six)), s, high};
    };
    const Hsv ph = hsv(p.c[f], p.c[f + 1], p.c[f + 2]);
    const Hsv th = hsv(t.c[f], t.c[f + 1], t.c[f + 2]);
    const VF k = hn::LoadU(df, strength + x);
    const VF hue = hn::Add(hn::Mul(th.h, k), hn::Mul(ph.h, hn::Sub(one, k)));
    VF sector = hn::Mul(hue, six);
    sector = hn::IfThenElse(hn::And(hn::Ge(sector, zero), hn::Lt(sector, six)), sector, zero);
    const VF i = hn::Floor(sector);
    const VF frac = hn::Sub(sector, i);
    const VF sat = ph.s;
    const VF v = ph.v;
    const VF pv = hn::Mul(v, hn::Sub(one, sat));
    const VF qv = hn::Mul(v, hn::Sub(one, hn::Mul(sat, frac)));
    const VF tv = hn::Mul(v, hn::Sub(one, hn::Mul(sat, hn::Sub(one, frac))));
    const auto is = [&](float n) { return hn::Eq(i, hn::Set(df, n)); };
    o.c[f] = hn::IfThenElse(hn::Or(is(0.0f), is(5.0f)), v,
                            hn::IfThenElse(is(1.0f), qv, hn::IfThenElse(is(4.0f), tv, pv)));
    o.c[f + 1] = hn::IfThenElse(hn::Or(is(1.0f), is(2.0f)), v,
                                hn::IfThenElse(is(0.0f), tv, hn::IfThenElse(is(3.0f), qv, pv)));
    o.c[f + 2] = hn::IfThenElse(hn::Or(is(3.0f), is(4.0f)), v,
                                hn::IfThenElse(is(2.0f), tv, hn::IfThenElse(is(5.0f), qv, pv)));
    hn::StoreInterleaved4(o.c[0], o.c[1], o.c[2], o.c[3], df, out + 4 * x);
  }
  return x;
}

}  // namespace vitrella::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vitrella::kernels::vector {

HWY_EXPORT(ColourMaskRow8u);
HWY_EXPORT(HueBlendRow8u);
HWY_EXPORT(ColourMaskRow32f);
HWY_EXPORT(HueBlendRow32f);

int32_t ColourMaskRow32f(const float* picture, const float* tint, float* mask, int32_t width,
                         int32_t red, int32_t green, int32_t blue, float base1, float base2) {
  return HWY_DYNAMIC_DISPATCH(ColourMaskRow32f)(picture, tint, mask, width, red, green, blue, base1,
                                                base2);
}

int32_t HueBlendRow32f(const float* picture, const float* tint, const float* strength, float* out,
                       int32_t width, int32_t firstColour) {
  return HWY_DYNAMIC_DISPATCH(HueBlendRow32f)(picture, tint, strength, out, width, firstColour);
}

int32_t ColourMaskRow8u(const uint8_t* picture, const uint8_t* tint, uint8_t* mask, int32_t width,
                        int32_t redShift, int32_t greenShift, int32_t blueShift, int32_t base1,
                        int32_t base2) {
  return HWY_DYNAMIC_DISPATCH(ColourMaskRow8u)(picture, tint, mask, width, redShift, greenShift,
                                               blueShift, base1, base2);
}

int32_t HueBlendRow8u(const uint8_t* picture, const uint8_t* tint, const uint8_t* strength,
                      uint8_t* out, int32_t width, int32_t firstColour) {
  return HWY_DYNAMIC_DISPATCH(HueBlendRow8u)(picture, tint, strength, out, width, firstColour);
}

}  // namespace vitrella::kernels::vector
#endif
