// Compiled once per processor family by Highway's foreach_target.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/channel_grade_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <cstring>

#include "kernels/channel_grade.h"
#include "kernels/channel_grade_hwy.h"

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

}  // namespace vitrella::kernels::vector
#endif
