// Compiled once per processor family by Highway's foreach_target.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/warp_quad_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <algorithm>
#include <cstring>

#include "kernels/warp_quad_hwy.h"
#include "kernels/warp_quad_pixel.h"

HWY_BEFORE_NAMESPACE();
namespace vitrella::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Source positions of a vector of consecutive destination pixels, clamped into the
// source rectangle, in the order of operations of MapAlongRow and ClampPosition.
template <class DF>
struct RowPositions {
  hn::Vec<DF> u, v;
};

template <class DF>
class RowMapper {
 public:
  RowMapper(DF df, const WarpSource& s, const WarpRowMap& m)
      : a_(hn::Set(df, m.a)),
        b_(hn::Set(df, m.b)),
        c_(hn::Set(df, m.c)),
        d_(hn::Set(df, m.d)),
        e_(hn::Set(df, m.e)),
        f_(hn::Set(df, m.f)),
        lastX_(hn::Set(df, static_cast<float>(s.width - 1))),
        lastY_(hn::Set(df, static_cast<float>(s.height - 1))),
        df_(df) {}

  RowPositions<DF> At(int32_t i) const {
    const auto x = hn::Iota(df_, static_cast<float>(i));
    const auto inverse = hn::Div(hn::Set(df_, 1.0f), hn::Add(e_, hn::Mul(f_, x)));
    const auto u = hn::Mul(hn::Add(a_, hn::Mul(b_, x)), inverse);
    const auto v = hn::Mul(hn::Add(c_, hn::Mul(d_, x)), inverse);
    return {Clamp(u, lastX_), Clamp(v, lastY_)};
  }

 private:
  hn::Vec<DF> Clamp(hn::Vec<DF> p, hn::Vec<DF> last) const {
    const auto zero = hn::Zero(df_);
    p = hn::IfThenElse(p >= zero, p, zero);  // NaN fails the test and goes to 0
    return hn::IfThenElse(p <= last, p, last);
  }

  hn::Vec<DF> a_, b_, c_, d_, e_, f_, lastX_, lastY_;
  DF df_;
};

#if HWY_TARGET == HWY_SCALAR

// One lane holds less than a pixel: the plain row is the vector row.
void WarpRow8u_C4(const WarpSource& s, const WarpRowMap& m, int32_t first, int32_t end,
                  uint8_t* base, int32_t mode) {
  WarpRow<uint8_t>(s, m, first, end, base, mode);
}

#else

// LerpFixed7 on two channels of each pixel at once, one in each 16-bit half of its word.
template <class D16>
HWY_INLINE hn::Vec<D16> LerpFixed7(D16, hn::Vec<D16> a, hn::Vec<D16> b, hn::Vec<D16> w) {
  return hn::Add(hn::ShiftLeft<7>(a), hn::MulFixedPoint15(hn::ShiftLeft<7>(hn::Sub(b, a)), w));
}

// Bilinear of two channels of each pixel from its four gathered taps, in the fixed point
// of the plain SampleBilinear<uint8_t>; the bytes end in the low half of each 16 bits.
template <class D16>
HWY_INLINE hn::Vec<D16> BilinearFixed(D16 d16, hn::Vec<D16> p00, hn::Vec<D16> p01, hn::Vec<D16> p10,
                                      hn::Vec<D16> p11, hn::Vec<D16> wx, hn::Vec<D16> wy) {
  const auto top = LerpFixed7(d16, p00, p01, wx);
  const auto bottom = LerpFixed7(d16, p10, p11, wx);
  const auto sum = hn::Add(top, hn::MulFixedPoint15(hn::Sub(bottom, top), wy));
  return hn::ShiftRight<7>(hn::Add(sum, hn::Set(d16, 64)));
}

// Four-channel bytes, one pixel per lane: taps are gathered as 32-bit words, and the
// bilinear arithmetic runs on channels 0 and 2, then 1 and 3, in 16-bit halves.
void WarpRow8u_C4(const WarpSource& s, const WarpRowMap& m, int32_t first, int32_t end,
                  uint8_t* HWY_RESTRICT base, int32_t mode) {
  const hn::ScalableTag<float> df;
  const hn::RebindToSigned<decltype(df)> di;
  const hn::Repartition<int16_t, decltype(di)> d16;
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(df));
  int32_t i = first;
  if (mode != kInterCubic) {
    const RowMapper<decltype(df)> mapper(df, s, m);
    const int32_t* words = reinterpret_cast<const int32_t*>(s.origin);
    const auto pitch = hn::Set(di, static_cast<int32_t>(s.pitch));
    const auto lastX = hn::Set(di, s.width - 1);
    const auto lastY = hn::Set(di, s.height - 1);
    const auto half = hn::Set(df, 0.5f);
    const auto scale = hn::Set(df, 32768.0f);
    const auto maxWeight = hn::Set(di, 32767);
    const auto evenBytes = hn::Set(di, 0x00FF00FF);
    // A fixed-point weight, the same in both halves of each word.
    const auto weight = [&](hn::Vec<decltype(df)> w) {
      const auto q = hn::Min(hn::NearestInt(hn::Mul(w, scale)), maxWeight);
      return hn::BitCast(d16, hn::Or(q, hn::ShiftLeft<16>(q)));
    };
    const auto even = [&](hn::Vec<decltype(di)> p) {
      return hn::BitCast(d16, hn::And(p, evenBytes));
    };
    const auto odd = [&](hn::Vec<decltype(di)> p) {
      return hn::BitCast(d16, hn::And(hn::ShiftRight<8>(p), evenBytes));
    };
    // The last vector of a row may reach past its end: its extra lanes sample positions
    // clamped into the source like any other, and are not stored.
    // Gathers of four single taps cost more than two scalar loads of two taps each on some
    // processors; a source of one column has no pair to load.
    const bool pairs = s.width > 1;
    constexpr size_t kMaxLanes = HWY_MAX_BYTES / sizeof(int32_t);
    HWY_ALIGN int32_t offsets[2 * kMaxLanes];
    HWY_ALIGN int32_t taps[4 * kMaxLanes] = {};
    const auto store = [&](hn::Vec<decltype(di)> pixels, int32_t at) {
      int32_t* out = reinterpret_cast<int32_t*>(base + static_cast<ptrdiff_t>(at) * 4);
      if (at + lanes <= end) {
        hn::StoreU(pixels, di, out);
      } else {
        hn::BlendedStore(pixels, hn::FirstN(di, static_cast<size_t>(end - at)), di, out);
      }
    };
    for (; i < end; i += lanes) {
      const RowPositions<decltype(df)> p = mapper.At(i);
      if (mode == kInterNearest) {
        const auto x = hn::ConvertTo(di, hn::Floor(hn::Add(p.u, half)));
        const auto y = hn::ConvertTo(di, hn::Floor(hn::Add(p.v, half)));
        const auto offset = hn::Add(hn::Mul(y, pitch), hn::ShiftLeft<2>(x));
        store(hn::GatherOffset(di, words, offset), i);
        continue;
      }
      const auto fu = hn::Floor(p.u);
      const auto fv = hn::Floor(p.v);
      const auto x = hn::ConvertTo(di, fu);
      const auto y = hn::ConvertTo(di, fv);
      const auto wx = weight(hn::Sub(p.u, fu));
      const auto wy = weight(hn::Sub(p.v, fv));
      const auto stepY = hn::IfThenElseZero(y < lastY, pitch);
      hn::Vec<decltype(di)> p00, p01, p10, p11;
      if (pairs) {
        // The two taps of a row side by side in one 64-bit load: at x and x + 1, or at
        // x - 1 and x on the last column, where both taps are x.
        const auto inside = x < lastX;
        const auto o00 = hn::Add(hn::Mul(y, pitch), hn::ShiftLeft<2>(x));
        const auto pair = hn::Sub(o00, hn::IfThenZeroElse(inside, hn::Set(di, 4)));
        hn::Store(pair, di, offsets);
        hn::Store(hn::Add(pair, stepY), di, offsets + lanes);
        // Lanes past the row's end keep what they held: they are not stored.
        const int32_t count = std::min(lanes, end - i);
        for (int32_t j = 0; j < count; ++j) {
          std::memcpy(taps + 2 * j, s.origin + offsets[j], 8);
          std::memcpy(taps + 2 * (lanes + j), s.origin + offsets[lanes + j], 8);
        }
        const auto t0 = hn::Load(di, taps);
        const auto t1 = hn::Load(di, taps + lanes);
        const auto b0 = hn::Load(di, taps + 2 * lanes);
        const auto b1 = hn::Load(di, taps + 3 * lanes);
        p01 = hn::ConcatOdd(di, t1, t0);
        p11 = hn::ConcatOdd(di, b1, b0);
        p00 = hn::IfThenElse(inside, hn::ConcatEven(di, t1, t0), p01);
        p10 = hn::IfThenElse(inside, hn::ConcatEven(di, b1, b0), p11);
      } else {
        const auto stepX = hn::IfThenElseZero(x < lastX, hn::Set(di, 4));
        const auto o00 = hn::Add(hn::Mul(y, pitch), hn::ShiftLeft<2>(x));
        const auto o10 = hn::Add(o00, stepY);
        p00 = hn::GatherOffset(di, words, o00);
        p01 = hn::GatherOffset(di, words, hn::Add(o00, stepX));
        p10 = hn::GatherOffset(di, words, o10);
        p11 = hn::GatherOffset(di, words, hn::Add(o10, stepX));
      }
      const auto c02 = BilinearFixed(d16, even(p00), even(p01), even(p10), even(p11), wx, wy);
      const auto c13 = BilinearFixed(d16, odd(p00), odd(p01), odd(p10), odd(p11), wx, wy);
      store(hn::Or(hn::BitCast(di, c02), hn::ShiftLeft<8>(hn::BitCast(di, c13))), i);
    }
  }
  WarpRow<uint8_t>(s, m, i, end, base, mode);
}

#endif

#if HWY_TARGET == HWY_SCALAR

// One lane holds less than a pixel: the plain row is the vector row.
void WarpRow32f_C4(const WarpSource& s, const WarpRowMap& m, int32_t first, int32_t end,
                   uint8_t* base, int32_t mode) {
  WarpRow<float>(s, m, first, end, base, mode);
}

#else

// Four-channel floats: positions a vector at a time, then each pixel's four channels in
// one 128-bit vector, as a pixel's channels lie side by side.
void WarpRow32f_C4(const WarpSource& s, const WarpRowMap& m, int32_t first, int32_t end,
                   uint8_t* HWY_RESTRICT base, int32_t mode) {
  const hn::ScalableTag<float> df;
  const hn::RebindToSigned<decltype(df)> di;
  const hn::Full128<float> d4;
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(df));
  int32_t i = first;
  if (mode != kInterCubic) {
    const RowMapper<decltype(df)> mapper(df, s, m);
    const auto pitch = hn::Set(di, static_cast<int32_t>(s.pitch));
    const auto lastX = hn::Set(di, s.width - 1);
    const auto lastY = hn::Set(di, s.height - 1);
    const auto half = hn::Set(df, 0.5f);
    HWY_ALIGN int32_t offsets[HWY_MAX_BYTES / 4];
    HWY_ALIGN int32_t stepsX[HWY_MAX_BYTES / 4];
    HWY_ALIGN int32_t stepsY[HWY_MAX_BYTES / 4];
    HWY_ALIGN float weightsX[HWY_MAX_BYTES / 4];
    HWY_ALIGN float weightsY[HWY_MAX_BYTES / 4];
    const auto load = [&](ptrdiff_t offset) {
      return hn::LoadU(d4, reinterpret_cast<const float*>(s.origin + offset));
    };
    for (; i < end; i += lanes) {
      // The last vector of a row may reach past its end; only its pixels are written.
      const int32_t count = end - i < lanes ? end - i : lanes;
      const RowPositions<decltype(df)> p = mapper.At(i);
      float* out = reinterpret_cast<float*>(base + static_cast<ptrdiff_t>(i) * 16);
      if (mode == kInterNearest) {
        const auto x = hn::ConvertTo(di, hn::Floor(hn::Add(p.u, half)));
        const auto y = hn::ConvertTo(di, hn::Floor(hn::Add(p.v, half)));
        hn::Store(hn::Add(hn::Mul(y, pitch), hn::ShiftLeft<4>(x)), di, offsets);
        for (int32_t k = 0; k < count; ++k)
          hn::StoreU(load(offsets[k]), d4, out + 4 * k);
        continue;
      }
      const auto fu = hn::Floor(p.u);
      const auto fv = hn::Floor(p.v);
      const auto x = hn::ConvertTo(di, fu);
      const auto y = hn::ConvertTo(di, fv);
      hn::Store(hn::Sub(p.u, fu), df, weightsX);
      hn::Store(hn::Sub(p.v, fv), df, weightsY);
      hn::Store(hn::IfThenElseZero(x < lastX, hn::Set(di, 16)), di, stepsX);
      hn::Store(hn::IfThenElseZero(y < lastY, pitch), di, stepsY);
      hn::Store(hn::Add(hn::Mul(y, pitch), hn::ShiftLeft<4>(x)), di, offsets);
      for (int32_t k = 0; k < count; ++k) {
        const auto wx = hn::Set(d4, weightsX[k]);
        const auto wy = hn::Set(d4, weightsY[k]);
        const ptrdiff_t o00 = offsets[k];
        const ptrdiff_t o10 = o00 + stepsY[k];
        const auto a = load(o00);
        const auto top = hn::Add(a, hn::Mul(hn::Sub(load(o00 + stepsX[k]), a), wx));
        const auto d = load(o10);
        const auto bottom = hn::Add(d, hn::Mul(hn::Sub(load(o10 + stepsX[k]), d), wx));
        hn::StoreU(hn::Add(top, hn::Mul(hn::Sub(bottom, top), wy)), d4, out + 4 * k);
      }
    }
  }
  WarpRow<float>(s, m, i, end, base, mode);
}

#endif

#if HWY_TARGET == HWY_SCALAR

// One lane: the plain rows are the vector rows.
void WarpRow8u_C1(const WarpSource& s, const WarpRowMap& m, int32_t first, int32_t end,
                  uint8_t* base, int32_t mode) {
  WarpRow<uint8_t, 1>(s, m, first, end, base, mode);
}
void WarpRow32f_C1(const WarpSource& s, const WarpRowMap& m, int32_t first, int32_t end,
                   uint8_t* base, int32_t mode) {
  WarpRow<float, 1>(s, m, first, end, base, mode);
}

#else

// CubicWeights of warp_quad_pixel.h, in its order of operations.
template <class DF>
HWY_INLINE void CubicWeightsV(DF df, hn::Vec<DF> t, hn::Vec<DF> w[3]) {
  const auto half = hn::Set(df, 0.5f);
  const auto one = hn::Set(df, 1.0f);
  w[0] =
      hn::Mul(hn::Mul(hn::Sub(hn::Mul(hn::Add(hn::Neg(t), hn::Set(df, 2.0f)), t), one), t), half);
  w[1] = hn::Mul(
      hn::Mul(hn::Add(hn::Mul(hn::Add(hn::Mul(hn::Set(df, -3.0f), t), hn::Set(df, 4.0f)), t), one),
              t),
      half);
  w[2] = hn::Mul(hn::Mul(hn::Mul(hn::Sub(t, one), t), t), half);
}

// CubicBlend of warp_quad_pixel.h.
template <class V>
HWY_INLINE V CubicBlendV(V v0, V v1, V v2, V v3, const V w[3]) {
  V sum = hn::Add(v1, hn::Mul(hn::Sub(v0, v1), w[0]));
  sum = hn::Add(sum, hn::Mul(hn::Sub(v2, v1), w[1]));
  return hn::Add(sum, hn::Mul(hn::Sub(v3, v1), w[2]));
}

// One-channel cubic, a vector of pixels at a time: the 4 by 4 taps are gathered, and the
// arithmetic follows SampleCubic. Floats gather each tap with its column clamped; bytes
// gather each row's four taps as one 32-bit word, which lies inside the row only where no
// column needs clamping: a vector with such a lane, and the row's tail, take the plain row.
template <typename T>
void WarpRowC1(const WarpSource& s, const WarpRowMap& m, int32_t first, int32_t end,
               uint8_t* HWY_RESTRICT base, int32_t mode) {
  const hn::ScalableTag<float> df;
  const hn::RebindToSigned<decltype(df)> di;
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(df));
  int32_t i = first;
  if (mode == kInterCubic) {
    const RowMapper<decltype(df)> mapper(df, s, m);
    const auto pitch = hn::Set(di, static_cast<int32_t>(s.pitch));
    const auto lastX = hn::Set(di, s.width - 1);
    const auto lastY = hn::Set(di, s.height - 1);
    const auto zero = hn::Zero(di);
    const auto one = hn::Set(di, 1);
    const bool alikeRows = s.pitch == 0;
    for (; i + lanes <= end; i += lanes) {
      const RowPositions<decltype(df)> p = mapper.At(i);
      const auto fu = hn::Floor(p.u);
      const auto fv = hn::Floor(p.v);
      hn::Vec<decltype(df)> wx[3], wy[3];
      CubicWeightsV(df, hn::Sub(p.u, fu), wx);
      CubicWeightsV(df, hn::Sub(p.v, fv), wy);
      const auto x = hn::ConvertTo(di, fu);
      const auto y = hn::ConvertTo(di, fv);
      hn::Vec<decltype(df)> down[4];
      if constexpr (sizeof(T) == 1) {
        // Taps x - 1 .. x + 2 must lie in the row for the word gather.
        if (!hn::AllTrue(di, hn::And(x > zero, lastX > hn::Add(x, one)))) {
          WarpRow<T, 1>(s, m, i, i + lanes, base, mode);
          continue;
        }
        const int32_t* words = reinterpret_cast<const int32_t*>(s.origin);
        const auto firstTap = hn::Sub(x, one);
        const auto byteMask = hn::Set(di, 0xFF);
        // A source of pitch 0 has four alike rows of taps: one gather serves them all.
        for (int r = 0; r < (alikeRows ? 1 : 4); ++r) {
          const auto row = hn::Min(hn::Max(hn::Add(y, hn::Set(di, r - 1)), zero), lastY);
          const auto word = hn::GatherOffset(di, words, hn::Add(hn::Mul(row, pitch), firstTap));
          const auto tap = [&](auto shifted) {
            return hn::ConvertTo(df, hn::And(shifted, byteMask));
          };
          down[r] = CubicBlendV(tap(word), tap(hn::ShiftRight<8>(word)),
                                tap(hn::ShiftRight<16>(word)), tap(hn::ShiftRight<24>(word)), wx);
        }
      } else {
        const float* floats = reinterpret_cast<const float*>(s.origin);
        hn::Vec<decltype(di)> columns[4];
        for (int k = 0; k < 4; ++k) {
          const auto c = hn::Min(hn::Max(hn::Add(x, hn::Set(di, k - 1)), zero), lastX);
          columns[k] = hn::ShiftLeft<2>(c);
        }
        for (int r = 0; r < (alikeRows ? 1 : 4); ++r) {
          const auto row =
              hn::Mul(hn::Min(hn::Max(hn::Add(y, hn::Set(di, r - 1)), zero), lastY), pitch);
          down[r] = CubicBlendV(hn::GatherOffset(df, floats, hn::Add(row, columns[0])),
                                hn::GatherOffset(df, floats, hn::Add(row, columns[1])),
                                hn::GatherOffset(df, floats, hn::Add(row, columns[2])),
                                hn::GatherOffset(df, floats, hn::Add(row, columns[3])), wx);
        }
      }
      if (alikeRows) down[1] = down[2] = down[3] = down[0];
      const auto value = CubicBlendV(down[0], down[1], down[2], down[3], wy);
      if constexpr (sizeof(T) == 1) {
        // SampleToByte: to nearest, ties to even, then saturated.
        const auto rounded = hn::Round(value);
        const auto positive = hn::IfThenElseZero(rounded > hn::Zero(df), rounded);
        const auto clamped = hn::Min(positive, hn::Set(df, 255.0f));
        const hn::Rebind<uint8_t, decltype(di)> d8;
        hn::StoreU(hn::DemoteTo(d8, hn::ConvertTo(di, clamped)), d8, base + i);
      } else {
        hn::StoreU(value, df, reinterpret_cast<float*>(base) + i);
      }
    }
  }
  WarpRow<T, 1>(s, m, i, end, base, mode);
}

void WarpRow8u_C1(const WarpSource& s, const WarpRowMap& m, int32_t first, int32_t end,
                  uint8_t* base, int32_t mode) {
  WarpRowC1<uint8_t>(s, m, first, end, base, mode);
}
void WarpRow32f_C1(const WarpSource& s, const WarpRowMap& m, int32_t first, int32_t end,
                   uint8_t* base, int32_t mode) {
  WarpRowC1<float>(s, m, first, end, base, mode);
}

#endif

}  // namespace vitrella::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vitrella::kernels::vector {

HWY_EXPORT(WarpRow8u_C4);
HWY_EXPORT(WarpRow32f_C4);
HWY_EXPORT(WarpRow8u_C1);
HWY_EXPORT(WarpRow32f_C1);

void WarpRow8u_C1(const WarpSource& source, const WarpRowMap& map, int32_t first, int32_t end,
                  uint8_t* base, int32_t mode) {
  HWY_DYNAMIC_DISPATCH(WarpRow8u_C1)(source, map, first, end, base, mode);
}

void WarpRow32f_C1(const WarpSource& source, const WarpRowMap& map, int32_t first, int32_t end,
                   uint8_t* base, int32_t mode) {
  HWY_DYNAMIC_DISPATCH(WarpRow32f_C1)(source, map, first, end, base, mode);
}

void WarpRow8u_C4(const WarpSource& source, const WarpRowMap& map, int32_t first, int32_t end,
                  uint8_t* base, int32_t mode) {
  HWY_DYNAMIC_DISPATCH(WarpRow8u_C4)(source, map, first, end, base, mode);
}

void WarpRow32f_C4(const WarpSource& source, const WarpRowMap& map, int32_t first, int32_t end,
                   uint8_t* base, int32_t mode) {
  HWY_DYNAMIC_DISPATCH(WarpRow32f_C4)(source, map, first, end, base, mode);
}

}  // namespace vitrella::kernels::vector
#endif
