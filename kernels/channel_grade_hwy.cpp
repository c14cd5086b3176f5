// Compiled once per processor family by Highway's foreach_target.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/channel_grade_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <cstring>

#include "kernels/channel_grade.h"
#include "kernels/channel_grade_hwy.h"
#include "kernels/unit_maths-inl.h"

HWY_BEFORE_NAMESPACE();
namespace vitrella::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_AVX3 || HWY_TARGET == HWY_AVX3_DL

// A table of 256 16-bit entries looked up for 32 indices (0..255) by permutes of its four
// quarters, two registers at a time, chosen by the indices' two high bits: far cheaper than
// gathering each entry.
HWY_INLINE __m512i LookUp256(const uint16_t* table, __m512i index) {
  const auto quarter = [&](int q) {
    return _mm512_permutex2var_epi16(_mm512_load_si512(table + 64 * q), index,
                                     _mm512_load_si512(table + 64 * q + 32));
  };
  const __mmask32 high6 = _mm512_test_epi16_mask(index, _mm512_set1_epi16(64));
  const __mmask32 high7 = _mm512_test_epi16_mask(index, _mm512_set1_epi16(128));
  const __m512i low = _mm512_mask_blend_epi16(high6, quarter(0), quarter(1));
  const __m512i high = _mm512_mask_blend_epi16(high6, quarter(2), quarter(3));
  return _mm512_mask_blend_epi16(high7, low, high);
}

// Two vectors of channel values (0..255 in 32-bit lanes) through one table.
template <class V>
HWY_INLINE void LookUpPair(const uint16_t* table, V& a, V& b) {
  const __m512i index = _mm512_packus_epi32(a.raw, b.raw);
  const __m512i value = LookUp256(table, index);
  a = V{_mm512_unpacklo_epi16(value, _mm512_setzero_si512())};
  b = V{_mm512_unpackhi_epi16(value, _mm512_setzero_si512())};
}

constexpr bool kPermuteLookups = true;

#else

template <class V>
HWY_INLINE void LookUpPair(const uint16_t*, V&, V&) {}

constexpr bool kPermuteLookups = false;

#endif

// Whole 32-bit pixels per lane: each channel is shifted out, moved and looked up in 32-bit
// lanes, and shifted back; the other byte (alpha) goes through as it was.
void GradeRow8u_C4(const uint8_t* in, uint8_t* out, int32_t width, int32_t blueShift,
                   int32_t greenShift, int32_t redShift, bool move, int32_t amount,
                   const int32_t weights[3], const int32_t* const tables[3],
                   const uint16_t* narrow) {
  const hn::ScalableTag<int32_t> d;
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(d));
  const auto byte = hn::Set(d, 0xFF);
  const auto zero = hn::Zero(d);
  const auto keepMask = hn::Set(
      d,
      static_cast<int32_t>(~((0xFFu << blueShift) | (0xFFu << greenShift) | (0xFFu << redShift))));
  const auto keep = hn::Set(d, 127 - amount);
  const auto toward = hn::Set(d, amount);
  const auto wBlue = hn::Set(d, weights[0]);
  const auto wGreen = hn::Set(d, weights[1]);
  const auto wRed = hn::Set(d, weights[2]);
  const bool lookup = tables[0] != nullptr;
  const auto channel = [&](hn::Vec<decltype(d)> px, int32_t shift) {
    return hn::And(hn::ShiftRightSame(px, shift), byte);
  };
  using V = hn::Vec<decltype(d)>;
  struct Channels {
    V blue, green, red;
  };
  const auto moved = [&](V px) {
    Channels c{channel(px, blueShift), channel(px, greenShift), channel(px, redShift)};
    if (move) {
      const auto luma = hn::ShiftRight<8>(
          hn::Add(hn::Add(hn::Mul(c.blue, wBlue), hn::Mul(c.green, wGreen)), hn::Mul(c.red, wRed)));
      const auto towardLuma = [&](V v) {
        const auto m = hn::ShiftRight<7>(hn::Add(hn::Mul(v, keep), hn::Mul(luma, toward)));
        return hn::Min(hn::Max(m, zero), byte);
      };
      c = {towardLuma(c.blue), towardLuma(c.green), towardLuma(c.red)};
    }
    return c;
  };
  const auto store = [&](V px, const Channels& c, int32_t at) {
    auto result = hn::And(px, keepMask);
    result = hn::Or(result, hn::ShiftLeftSame(c.blue, blueShift));
    result = hn::Or(result, hn::ShiftLeftSame(c.green, greenShift));
    result = hn::Or(result, hn::ShiftLeftSame(c.red, redShift));
    hn::StoreU(result, d, reinterpret_cast<int32_t*>(out + 4 * at));
  };
  int32_t x = 0;
  if (kPermuteLookups && lookup) {
    for (; x + 2 * lanes <= width; x += 2 * lanes) {
      const auto px0 = hn::LoadU(d, reinterpret_cast<const int32_t*>(in + 4 * x));
      const auto px1 = hn::LoadU(d, reinterpret_cast<const int32_t*>(in + 4 * (x + lanes)));
      Channels c0 = moved(px0);
      Channels c1 = moved(px1);
      LookUpPair(narrow, c0.blue, c1.blue);
      LookUpPair(narrow + 256, c0.green, c1.green);
      LookUpPair(narrow + 512, c0.red, c1.red);
      store(px0, c0, x);
      store(px1, c1, x + lanes);
    }
  }
  for (; x + lanes <= width; x += lanes) {
    const auto px = hn::LoadU(d, reinterpret_cast<const int32_t*>(in + 4 * x));
    Channels c = moved(px);
    if (lookup) {
      c = {hn::GatherIndex(d, tables[0], c.blue), hn::GatherIndex(d, tables[1], c.green),
           hn::GatherIndex(d, tables[2], c.red)};
    }
    store(px, c, x);
  }
  ByteGradeSpec grade;
  grade.move = move;
  grade.amount = amount;
  grade.weightBlue = weights[0];
  grade.weightGreen = weights[1];
  grade.weightRed = weights[2];
  grade.blueTable = tables[0];
  grade.greenTable = tables[1];
  grade.redTable = tables[2];
  for (; x < width; ++x) {
    uint32_t px;
    std::memcpy(&px, in + 4 * x, 4);
    auto blue = static_cast<int32_t>((px >> blueShift) & 0xFF);
    auto green = static_cast<int32_t>((px >> greenShift) & 0xFF);
    auto red = static_cast<int32_t>((px >> redShift) & 0xFF);
    GradePixel(blue, green, red, grade);
    px &= ~((0xFFu << blueShift) | (0xFFu << greenShift) | (0xFFu << redShift));
    px |= static_cast<uint32_t>(blue) << blueShift | static_cast<uint32_t>(green) << greenShift |
          static_cast<uint32_t>(red) << redShift;
    std::memcpy(out + 4 * x, &px, 4);
  }
}

// UnitClarityCurve lane by lane, in the same operations in the same order.
template <class D>
class CurveOfUnit {
 public:
  using V = hn::Vec<D>;
  CurveOfUnit(D d, float exponent, float clarity)
      : d_(d),
        exponent_(hn::Set(d, exponent)),
        clarity_(hn::Set(d, clarity)),
        rest_(hn::Set(d, 1.0f - clarity)) {}

  // kN vectors at once, step by step, so that their chains of dependent steps interleave:
  // one chain alone leaves most of the processor's units waiting.
  template <int kN>
  HWY_INLINE void operator()(V (&v)[kN]) const {
    const V zero = hn::Zero(d_);
    const V one = hn::Set(d_, 1.0f);
    V u[kN], p[kN], z[kN], z2[kN], s[kN];
#define VITRELLA_EACH _Pragma("GCC unroll 8") for (int j = 0; j < kN; ++j)
    VITRELLA_EACH u[j] =
        hn::IfThenElse(hn::Gt(v[j], zero), hn::IfThenElse(hn::Lt(one, v[j]), one, v[j]), zero);
    VITRELLA_EACH p[j] = u[j];
    Log2Lanes(d_, p);
    VITRELLA_EACH p[j] = hn::Mul(exponent_, p[j]);
    Exp2Lanes(d_, p);
    VITRELLA_EACH p[j] = hn::IfThenElseZero(hn::Gt(u[j], zero), p[j]);
    VITRELLA_EACH z[j] = hn::Sub(hn::Mul(p[j], hn::Set(d_, 3.1415927f)), hn::Set(d_, 1.5707964f));
    VITRELLA_EACH z2[j] = hn::Mul(z[j], z[j]);
    VITRELLA_EACH s[j] = hn::Set(d_, kCurveSine[6]);
    for (int i = 5; i >= 0; --i) {
      VITRELLA_EACH s[j] = hn::Add(hn::Set(d_, kCurveSine[i]), hn::Mul(z2[j], s[j]));
    }
    VITRELLA_EACH {
      const V wave =
          hn::Mul(hn::Mul(hn::Add(hn::Mul(z[j], s[j]), one), hn::Set(d_, 0.5f)), clarity_);
      v[j] = hn::Add(wave, hn::Mul(rest_, p[j]));
    }
#undef VITRELLA_EACH
  }

 private:
  D d_;
  V exponent_, clarity_, rest_;
};

// Whole pixels, their four channels split into four vectors, on which the stages run.
void GradeRow32f_C4(const float* in, float* out, int32_t width, int32_t blue, int32_t green,
                    int32_t red, const FloatGradeSpec& grade) {
  const hn::ScalableTag<float> d;
  using V = hn::Vec<decltype(d)>;
  const auto lanes = static_cast<int32_t>(hn::Lanes(d));
  const auto zero = hn::Zero(d);
  const auto one = hn::Set(d, 1.0f);
  const auto two = hn::Set(d, 2.0f);
  // std::clamp to the last bit, NaN and -0 alike, which Min and Max are not on every target.
  const auto limit = [&](V v) {
    return hn::IfThenElse(hn::Lt(v, zero), zero, hn::IfThenElse(hn::Lt(one, v), one, v));
  };
  const auto keep = hn::Set(d, grade.keep);
  const auto toward = hn::Set(d, grade.toward);
  const auto wBlue = hn::Set(d, grade.weightBlue);
  const auto wGreen = hn::Set(d, grade.weightGreen);
  const auto wRed = hn::Set(d, grade.weightRed);
  // A tint's two forms, as TintValue computes them.
  struct Tint {
    bool lift;
    V scale, offset, cut, stretch;
  };
  const auto tintOf = [&](float a) {
    const float h = a * -0.5f;
    const float room = 1.0f - h;
    return Tint{a >= 0.0f, hn::Set(d, 1.0f - a * 0.5f), hn::Set(d, a * 0.5f), hn::Set(d, h),
                hn::Set(d, 1.0f / (room == 0.0f ? 0.0000001f : room))};
  };
  const Tint tints[3] = {tintOf(grade.tintBlue), tintOf(grade.tintGreen), tintOf(grade.tintRed)};
  const auto tint = [&](V v, const Tint& t) {
    if (t.lift) return limit(hn::Add(hn::Mul(t.scale, v), t.offset));
    return limit(hn::IfThenZeroElse(hn::Lt(v, t.cut), hn::Mul(hn::Sub(v, t.cut), t.stretch)));
  };
  const CurveOfUnit<decltype(d)> curve(d, grade.exponent, grade.clarity);
  const int32_t alpha = 6 - blue - green - red;
  // kBlocks vectors of pixels at a time, their colours side by side through each stage.
  const auto blocks = [&]<int kBlocks>(int32_t at) {
    V c[kBlocks][4];
    V colours[3 * kBlocks];
    for (int i = 0; i < kBlocks; ++i) {
      hn::LoadInterleaved4(d, in + 4 * (at + i * lanes), c[i][0], c[i][1], c[i][2], c[i][3]);
      colours[3 * i] = c[i][blue];
      colours[3 * i + 1] = c[i][green];
      colours[3 * i + 2] = c[i][red];
    }
    if (grade.move) {
      for (int i = 0; i < kBlocks; ++i) {
        V* bgr = colours + 3 * i;
        const V luma = hn::Add(hn::Add(hn::Mul(bgr[0], wBlue), hn::Mul(bgr[1], wGreen)),
                               hn::Mul(bgr[2], wRed));
        for (int j = 0; j < 3; ++j)
          bgr[j] = limit(hn::Mul(hn::Add(hn::Mul(bgr[j], keep), hn::Mul(luma, toward)), two));
      }
    }
    if (grade.curve) {
      curve(colours);
      for (V& v : colours)
        v = limit(v);
    }
    if (grade.tint) {
      for (int j = 0; j < 3 * kBlocks; ++j)
        colours[j] = tint(colours[j], tints[j % 3]);
    }
    for (int i = 0; i < kBlocks; ++i) {
      V o[4];
      o[alpha] = c[i][alpha];
      o[blue] = colours[3 * i];
      o[green] = colours[3 * i + 1];
      o[red] = colours[3 * i + 2];
      hn::StoreInterleaved4(o[0], o[1], o[2], o[3], d, out + 4 * (at + i * lanes));
    }
  };
  int32_t x = 0;
  for (; x + 2 * lanes <= width; x += 2 * lanes)
    blocks.template operator()<2>(x);
  for (; x + lanes <= width; x += lanes)
    blocks.template operator()<1>(x);
  for (; x < width; ++x) {
    const float* p = in + 4 * x;
    float* q = out + 4 * x;
    float pb = p[blue];
    float pg = p[green];
    float pr = p[red];
    GradePixel(pb, pg, pr, grade);
    q[alpha] = p[alpha];
    q[blue] = pb;
    q[green] = pg;
    q[red] = pr;
  }
}

}  // namespace vitrella::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vitrella::kernels::vector {

HWY_EXPORT(GradeRow8u_C4);

void GradeRow8u_C4(const uint8_t* in, uint8_t* out, int32_t width, int32_t blueShift,
                   int32_t greenShift, int32_t redShift, bool move, int32_t amount,
                   const int32_t weights[3], const int32_t* const tables[3],
                   const uint16_t* narrow) {
  HWY_DYNAMIC_DISPATCH(GradeRow8u_C4)
  (in, out, width, blueShift, greenShift, redShift, move, amount, weights, tables, narrow);
}

HWY_EXPORT(GradeRow32f_C4);

void GradeRow32f_C4(const float* in, float* out, int32_t width, int32_t blue, int32_t green,
                    int32_t red, const FloatGradeSpec& grade) {
  HWY_DYNAMIC_DISPATCH(GradeRow32f_C4)(in, out, width, blue, green, red, grade);
}

}  // namespace vitrella::kernels::vector
#endif
