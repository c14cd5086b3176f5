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

// Source positions of a vector of destination pixels, clamped into the source rectangle,
// in the order of operations of MapAlongRow and ClampPosition: lane k maps its place x
// along the row by the lane's own map (a, b, c, d, e, f).
template <class DF>
struct RowPositions {
  hn::Vec<DF> u, v;
};

template <class DF>
struct LaneMaps {
  hn::Vec<DF> a, b, c, d, e, f;
};

template <class DF>
class PositionClamp {
 public:
  PositionClamp(DF df, const WarpSource& s)
      : lastX_(hn::Set(df, static_cast<float>(s.width - 1))),
        lastY_(hn::Set(df, static_cast<float>(s.height - 1))),
        df_(df) {}

  RowPositions<DF> At(const LaneMaps<DF>& m, hn::Vec<DF> x) const {
    const auto inverse = hn::Div(hn::Set(df_, 1.0f), hn::Add(m.e, hn::Mul(m.f, x)));
    const auto u = hn::Mul(hn::Add(m.a, hn::Mul(m.b, x)), inverse);
    const auto v = hn::Mul(hn::Add(m.c, hn::Mul(m.d, x)), inverse);
    return {Clamp(u, lastX_), Clamp(v, lastY_)};
  }

 private:
  hn::Vec<DF> Clamp(hn::Vec<DF> p, hn::Vec<DF> last) const {
    const auto zero = hn::Zero(df_);
    p = hn::IfThenElse(p >= zero, p, zero);  // NaN fails the test and goes to 0
    return hn::IfThenElse(p <= last, p, last);
  }

  hn::Vec<DF> lastX_, lastY_;
  DF df_;
};

// Consecutive pixels of one row map.
template <class DF>
class RowMapper {
 public:
  RowMapper(DF df, const WarpSource& s, const WarpRowMap& m)
      : maps_{hn::Set(df, m.a), hn::Set(df, m.b), hn::Set(df, m.c),
              hn::Set(df, m.d), hn::Set(df, m.e), hn::Set(df, m.f)},
        clamp_(df, s),
        df_(df) {}

  RowPositions<DF> At(int32_t i) const {
    return clamp_.At(maps_, hn::Iota(df_, static_cast<float>(i)));
  }

 private:
  LaneMaps<DF> maps_;
  PositionClamp<DF> clamp_;
  DF df_;
};

// Consecutive columns of a row across strips, each column by its strip's row map.
template <class DF>
class StripMapper {
 public:
  StripMapper(DF df, const WarpSource& s, const StripRowMaps& m) : m_(m), clamp_(df, s), df_(df) {}

  RowPositions<DF> At(int32_t x) const {
    const hn::RebindToSigned<DF> di;
    // The lanes' strips lie within a vector's width of the first lane's, which each map
    // is loaded from and spread by.
    const int32_t first = m_.owner[x];
    const auto index =
        hn::IndicesFromVec(df_, hn::Sub(hn::LoadU(di, m_.owner + x), hn::Set(di, first)));
    const auto spread = [&](const float* map) {
      return hn::TableLookupLanes(hn::LoadU(df_, map + first), index);
    };
    const LaneMaps<DF> maps{spread(m_.a), spread(m_.b), spread(m_.c),
                            spread(m_.d), spread(m_.e), spread(m_.f)};
    return clamp_.At(maps, hn::LoadU(df_, m_.place + x));
  }

 private:
  const StripRowMaps& m_;
  PositionClamp<DF> clamp_;
  DF df_;
};

#if HWY_TARGET == HWY_SCALAR

// One lane holds less than a pixel: the plain rows are the vector rows.
void WarpRow8u_C4(const WarpSource& s, const WarpRowMap& m, int32_t first, int32_t end,
                  uint8_t* base, int32_t mode) {
  WarpRow<uint8_t>(s, m, first, end, base, mode);
}
void WarpStripRow8u_C4(const WarpSource& s, const StripRowMaps& m, int32_t first, int32_t end,
                       uint8_t* row, int32_t mode) {
  WarpStripRow<uint8_t>(s, m, first, end, row, mode);
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

// Four-channel bytes, one pixel per lane, nearest or bilinear: taps are gathered as 32-bit
// words, and the bilinear arithmetic runs on channels 0 and 2, then 1 and 3, in 16-bit
// halves.
class Sampler8uC4 {
 public:
  using DF = hn::ScalableTag<float>;
  using DI = hn::RebindToSigned<DF>;
  using D16 = hn::Repartition<int16_t, DI>;

  Sampler8uC4(const WarpSource& s, int32_t mode)
      : s_(s),
        mode_(mode),
        words_(reinterpret_cast<const int32_t*>(s.origin)),
        pitch_(hn::Set(di_, static_cast<int32_t>(s.pitch))),
        lastX_(hn::Set(di_, s.width - 1)),
        lastY_(hn::Set(di_, s.height - 1)),
        pairs_(s.width > 1) {}

  // The pixels of the first `count` lanes; the others sample positions clamped into the
  // source like any other, and are not to be stored.
  hn::Vec<DI> Sample(const RowPositions<DF>& p, int32_t count) {
    if (mode_ == kInterNearest) {
      const auto half = hn::Set(df_, 0.5f);
      const auto x = hn::ConvertTo(di_, hn::Floor(hn::Add(p.u, half)));
      const auto y = hn::ConvertTo(di_, hn::Floor(hn::Add(p.v, half)));
      return hn::GatherOffset(di_, words_, hn::Add(hn::Mul(y, pitch_), hn::ShiftLeft<2>(x)));
    }
    const auto fu = hn::Floor(p.u);
    const auto fv = hn::Floor(p.v);
    const auto x = hn::ConvertTo(di_, fu);
    const auto y = hn::ConvertTo(di_, fv);
    const auto wx = Weight(hn::Sub(p.u, fu));
    const auto wy = Weight(hn::Sub(p.v, fv));
    const auto stepY = hn::IfThenElseZero(y < lastY_, pitch_);
    hn::Vec<DI> p00, p01, p10, p11;
    if (pairs_) {
      // Gathers of four single taps cost more than two scalar loads of two taps each on
      // some processors. The two taps of a row side by side in one 64-bit load: at x and
      // x + 1, or at x - 1 and x on the last column, where both taps are x.
      const int32_t lanes = static_cast<int32_t>(hn::Lanes(di_));
      const auto inside = x < lastX_;
      const auto o00 = hn::Add(hn::Mul(y, pitch_), hn::ShiftLeft<2>(x));
      const auto pair = hn::Sub(o00, hn::IfThenZeroElse(inside, hn::Set(di_, 4)));
      hn::Store(pair, di_, offsets_);
      hn::Store(hn::Add(pair, stepY), di_, offsets_ + lanes);
      // Lanes past the count keep what they held.
      for (int32_t j = 0; j < count; ++j) {
        std::memcpy(taps_ + 2 * j, s_.origin + offsets_[j], 8);
        std::memcpy(taps_ + 2 * (lanes + j), s_.origin + offsets_[lanes + j], 8);
      }
      const auto t0 = hn::Load(di_, taps_);
      const auto t1 = hn::Load(di_, taps_ + lanes);
      const auto b0 = hn::Load(di_, taps_ + 2 * lanes);
      const auto b1 = hn::Load(di_, taps_ + 3 * lanes);
      p01 = hn::ConcatOdd(di_, t1, t0);
      p11 = hn::ConcatOdd(di_, b1, b0);
      p00 = hn::IfThenElse(inside, hn::ConcatEven(di_, t1, t0), p01);
      p10 = hn::IfThenElse(inside, hn::ConcatEven(di_, b1, b0), p11);
    } else {
      // A source of one column has no pair to load.
      const auto stepX = hn::IfThenElseZero(x < lastX_, hn::Set(di_, 4));
      const auto o00 = hn::Add(hn::Mul(y, pitch_), hn::ShiftLeft<2>(x));
      const auto o10 = hn::Add(o00, stepY);
      p00 = hn::GatherOffset(di_, words_, o00);
      p01 = hn::GatherOffset(di_, words_, hn::Add(o00, stepX));
      p10 = hn::GatherOffset(di_, words_, o10);
      p11 = hn::GatherOffset(di_, words_, hn::Add(o10, stepX));
    }
    const auto c02 = BilinearFixed(d16_, Even(p00), Even(p01), Even(p10), Even(p11), wx, wy);
    const auto c13 = BilinearFixed(d16_, Odd(p00), Odd(p01), Odd(p10), Odd(p11), wx, wy);
    return hn::Or(hn::BitCast(di_, c02), hn::ShiftLeft<8>(hn::BitCast(di_, c13)));
  }

  // Writes the first `count` lanes' pixels from pixel `at` of `base` on.
  void Write(const RowPositions<DF>& p, uint8_t* HWY_RESTRICT base, int32_t at, int32_t count) {
    const hn::Vec<DI> pixels = Sample(p, count);
    int32_t* out = reinterpret_cast<int32_t*>(base + static_cast<ptrdiff_t>(at) * 4);
    if (count == static_cast<int32_t>(hn::Lanes(di_))) {
      hn::StoreU(pixels, di_, out);
    } else {
      hn::BlendedStore(pixels, hn::FirstN(di_, static_cast<size_t>(count)), di_, out);
    }
  }

 private:
  // A fixed-point weight, the same in both halves of each word.
  hn::Vec<D16> Weight(hn::Vec<DF> w) const {
    const auto q = hn::Min(hn::NearestInt(hn::Mul(w, hn::Set(df_, 32768.0f))), hn::Set(di_, 32767));
    return hn::BitCast(d16_, hn::Or(q, hn::ShiftLeft<16>(q)));
  }
  hn::Vec<D16> Even(hn::Vec<DI> p) const {
    return hn::BitCast(d16_, hn::And(p, hn::Set(di_, 0x00FF00FF)));
  }
  hn::Vec<D16> Odd(hn::Vec<DI> p) const {
    return hn::BitCast(d16_, hn::And(hn::ShiftRight<8>(p), hn::Set(di_, 0x00FF00FF)));
  }

  static constexpr size_t kMaxLanes = HWY_MAX_BYTES / sizeof(int32_t);
  DF df_;
  DI di_;
  D16 d16_;
  const WarpSource& s_;
  int32_t mode_;
  const int32_t* words_;
  hn::Vec<DI> pitch_, lastX_, lastY_;
  bool pairs_;
  HWY_ALIGN int32_t offsets_[2 * kMaxLanes];
  HWY_ALIGN int32_t taps_[4 * kMaxLanes] = {};
};

// Pixels [first, end) of a row, nearest or bilinear, a vector at a time: positions from
// the mapper, values from the sampler. The last vector may reach past the end: its extra
// lanes sample positions clamped into the source like any other and are not written.
// Returns where the plain row takes over: at the end, or at once for cubic.
template <class Sampler, template <class> class Mapper, class Map>
int32_t SampleRow(const WarpSource& s, const Map& m, int32_t first, int32_t end,
                  uint8_t* HWY_RESTRICT base, int32_t mode) {
  if (mode == kInterCubic) return first;
  const typename Sampler::DF df;
  const auto lanes = static_cast<int32_t>(hn::Lanes(df));
  const Mapper<typename Sampler::DF> mapper(df, s, m);
  Sampler sampler(s, mode);
  for (int32_t i = first; i < end; i += lanes)
    sampler.Write(mapper.At(i), base, i, std::min(lanes, end - i));
  return end;
}

void WarpRow8u_C4(const WarpSource& s, const WarpRowMap& m, int32_t first, int32_t end,
                  uint8_t* HWY_RESTRICT base, int32_t mode) {
  const int32_t done = SampleRow<Sampler8uC4, RowMapper>(s, m, first, end, base, mode);
  WarpRow<uint8_t>(s, m, done, end, base, mode);
}

void WarpStripRow8u_C4(const WarpSource& s, const StripRowMaps& m, int32_t first, int32_t end,
                       uint8_t* HWY_RESTRICT row, int32_t mode) {
  const int32_t done = SampleRow<Sampler8uC4, StripMapper>(s, m, first, end, row, mode);
  WarpStripRow<uint8_t>(s, m, done, end, row, mode);
}

#endif

#if HWY_TARGET == HWY_SCALAR

// One lane holds less than a pixel: the plain rows are the vector rows.
void WarpRow32f_C4(const WarpSource& s, const WarpRowMap& m, int32_t first, int32_t end,
                   uint8_t* base, int32_t mode) {
  WarpRow<float>(s, m, first, end, base, mode);
}
void WarpStripRow32f_C4(const WarpSource& s, const StripRowMaps& m, int32_t first, int32_t end,
                        uint8_t* row, int32_t mode) {
  WarpStripRow<float>(s, m, first, end, row, mode);
}

#else

// Four-channel floats, nearest or bilinear: positions a vector at a time, then each
// pixel's four channels in one 128-bit vector, as a pixel's channels lie side by side.
class Sampler32fC4 {
 public:
  using DF = hn::ScalableTag<float>;
  using DI = hn::RebindToSigned<DF>;

  Sampler32fC4(const WarpSource& s, int32_t mode)
      : s_(s),
        mode_(mode),
        pitch_(hn::Set(di_, static_cast<int32_t>(s.pitch))),
        lastX_(hn::Set(di_, s.width - 1)),
        lastY_(hn::Set(di_, s.height - 1)) {}

  // Writes the first `count` lanes' pixels from pixel `at` of `base` on.
  void Write(const RowPositions<DF>& p, uint8_t* HWY_RESTRICT base, int32_t at, int32_t count) {
    float* out = reinterpret_cast<float*>(base + static_cast<ptrdiff_t>(at) * 16);
    if (mode_ == kInterNearest) {
      const auto half = hn::Set(df_, 0.5f);
      const auto x = hn::ConvertTo(di_, hn::Floor(hn::Add(p.u, half)));
      const auto y = hn::ConvertTo(di_, hn::Floor(hn::Add(p.v, half)));
      hn::Store(hn::Add(hn::Mul(y, pitch_), hn::ShiftLeft<4>(x)), di_, offsets_);
      for (int32_t k = 0; k < count; ++k)
        hn::StoreU(Load(offsets_[k]), d4_, out + 4 * k);
      return;
    }
    const auto fu = hn::Floor(p.u);
    const auto fv = hn::Floor(p.v);
    const auto x = hn::ConvertTo(di_, fu);
    const auto y = hn::ConvertTo(di_, fv);
    hn::Store(hn::Sub(p.u, fu), df_, weightsX_);
    hn::Store(hn::Sub(p.v, fv), df_, weightsY_);
    hn::Store(hn::IfThenElseZero(x < lastX_, hn::Set(di_, 16)), di_, stepsX_);
    hn::Store(hn::IfThenElseZero(y < lastY_, pitch_), di_, stepsY_);
    hn::Store(hn::Add(hn::Mul(y, pitch_), hn::ShiftLeft<4>(x)), di_, offsets_);
    for (int32_t k = 0; k < count; ++k) {
      const auto wx = hn::Set(d4_, weightsX_[k]);
      const auto wy = hn::Set(d4_, weightsY_[k]);
      const ptrdiff_t o00 = offsets_[k];
      const ptrdiff_t o10 = o00 + stepsY_[k];
      const auto a = Load(o00);
      const auto top = hn::Add(a, hn::Mul(hn::Sub(Load(o00 + stepsX_[k]), a), wx));
      const auto d = Load(o10);
      const auto bottom = hn::Add(d, hn::Mul(hn::Sub(Load(o10 + stepsX_[k]), d), wx));
      hn::StoreU(hn::Add(top, hn::Mul(hn::Sub(bottom, top), wy)), d4_, out + 4 * k);
    }
  }

 private:
  hn::Vec<hn::Full128<float>> Load(ptrdiff_t offset) const {
    return hn::LoadU(d4_, reinterpret_cast<const float*>(s_.origin + offset));
  }

  static constexpr size_t kMaxLanes = HWY_MAX_BYTES / sizeof(float);
  DF df_;
  DI di_;
  hn::Full128<float> d4_;
  const WarpSource& s_;
  int32_t mode_;
  hn::Vec<DI> pitch_, lastX_, lastY_;
  HWY_ALIGN int32_t offsets_[kMaxLanes];
  HWY_ALIGN int32_t stepsX_[kMaxLanes];
  HWY_ALIGN int32_t stepsY_[kMaxLanes];
  HWY_ALIGN float weightsX_[kMaxLanes];
  HWY_ALIGN float weightsY_[kMaxLanes];
};

void WarpRow32f_C4(const WarpSource& s, const WarpRowMap& m, int32_t first, int32_t end,
                   uint8_t* HWY_RESTRICT base, int32_t mode) {
  const int32_t done = SampleRow<Sampler32fC4, RowMapper>(s, m, first, end, base, mode);
  WarpRow<float>(s, m, done, end, base, mode);
}

void WarpStripRow32f_C4(const WarpSource& s, const StripRowMaps& m, int32_t first, int32_t end,
                        uint8_t* HWY_RESTRICT row, int32_t mode) {
  const int32_t done = SampleRow<Sampler32fC4, StripMapper>(s, m, first, end, row, mode);
  WarpStripRow<float>(s, m, done, end, row, mode);
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
HWY_EXPORT(WarpStripRow8u_C4);
HWY_EXPORT(WarpStripRow32f_C4);

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

void WarpStripRow8u_C4(const WarpSource& source, const StripRowMaps& maps, int32_t first,
                       int32_t end, uint8_t* row, int32_t mode) {
  HWY_DYNAMIC_DISPATCH(WarpStripRow8u_C4)(source, maps, first, end, row, mode);
}

void WarpStripRow32f_C4(const WarpSource& source, const StripRowMaps& maps, int32_t first,
                        int32_t end, uint8_t* row, int32_t mode) {
  HWY_DYNAMIC_DISPATCH(WarpStripRow32f_C4)(source, maps, first, end, row, mode);
}

}  // namespace vitrella::kernels::vector
#endif
