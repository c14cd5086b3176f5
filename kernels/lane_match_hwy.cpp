// Compiled once per processor family by Highway's foreach_target.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/lane_match_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "kernels/lane_match.h"
#include "kernels/lane_match_hwy.h"

HWY_BEFORE_NAMESPACE();
namespace vitrella::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Inlined into its caller whatever its size: a block's comparisons, which the loop over a
// word's blocks then keeps in registers.
#if defined(__GNUC__)
#define VITRELLA_ALWAYS_INLINE __attribute__((always_inline))
#else
#define VITRELLA_ALWAYS_INLINE
#endif

// Sets the n bits of positions p onwards, which may straddle two words. A block that
// overlaps one already written sets its bits again to the same values.
inline void PutBits(uint64_t* plane, int32_t p, uint64_t bits, int32_t n) {
  const int32_t shift = p & 63;
  plane[p >> 6] |= bits << shift;
  if (shift != 0 && shift + n > 64) plane[(p >> 6) + 1] |= bits >> (64 - shift);
}

// Each plane's bits a whole word at a time where 64 positions remain, from the blocks of
// `pixels` that make it up, then the rest block by block, the last one ending at count
// and overlapping the one before it: no lane is read past position count + 1. Only the
// planes in `written` change.
template <typename Block>
void EveryBlock(int32_t count, int32_t pixels, uint64_t* planes, ptrdiff_t planePitch,
                uint32_t written, Block block) {
  int32_t p = 0;
  uint64_t word[kLanePlanes] = {};
  for (; p + 64 <= count; p += 64) {
    // The first block sets the words, which saves clearing them for every word.
    block(p, [&](int32_t plane, uint64_t bits) { word[plane] = bits; });
    for (int32_t j = pixels; j < 64; j += pixels)
      block(p + j, [&](int32_t plane, uint64_t bits) { word[plane] |= bits << j; });
    for (int32_t k = 0; k < kLanePlanes; ++k) {
      if ((written >> k & 1U) != 0) planes[k * planePitch + p / 64] = word[k];
    }
  }
  const auto put = [&](int32_t at) {
    block(at, [&](int32_t plane, uint64_t bits) {
      PutBits(planes + plane * planePitch, at, bits, pixels);
    });
  };
  for (; p + pixels <= count; p += pixels)
    put(p);
  if (p < count) put(count - pixels);
}

// Bit i set where 32-bit word i of the four vectors, taken in order, is zero: on x86 the
// words narrow to bytes by two saturating packs, which keep zero and nonzero apart, and
// one byte mask takes them all; the packs interleave the 16-byte blocks of wider vectors,
// which one lane shuffle puts back in order.
template <class D, class V>
VITRELLA_ALWAYS_INLINE inline uint64_t ZeroWordBits(D d, V t0, V t1, V t2, V t3) {
  (void)d;  // its type alone says the vectors' shape
#if HWY_ARCH_X86 && HWY_TARGET <= HWY_AVX2
  if constexpr (sizeof(t0.raw) == 32) {
    const __m256i words =
        _mm256_packs_epi16(_mm256_packs_epi32(t0.raw, t1.raw), _mm256_packs_epi32(t2.raw, t3.raw));
    const __m256i ordered =
        _mm256_permutevar8x32_epi32(words, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
    return static_cast<uint32_t>(
        _mm256_movemask_epi8(_mm256_cmpeq_epi8(ordered, _mm256_setzero_si256())));
  }
#endif
#if HWY_ARCH_X86 && HWY_TARGET <= HWY_SSSE3  // not the emulated vectors
  if constexpr (sizeof(t0.raw) == 16) {
    const __m128i words =
        _mm_packs_epi16(_mm_packs_epi32(t0.raw, t1.raw), _mm_packs_epi32(t2.raw, t3.raw));
    return static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(words, _mm_setzero_si128())));
  }
#endif
  const hn::Repartition<uint32_t, D> d32;
  const auto n = static_cast<int32_t>(hn::Lanes(d32));
  uint64_t bits = 0;
  int32_t shift = 0;
  for (const V t : {t0, t1, t2, t3}) {
    uint64_t part = 0;
    hn::StoreMaskBits(d32, hn::Eq(hn::BitCast(d32, t), hn::Zero(d32)),
                      reinterpret_cast<uint8_t*>(&part));
    bits |= part << shift;
    shift += n;
  }
  return bits;
}

// Bytes as bytes, four vectors of pixels a block. Each reference pixel's bytes widen once
// by the tolerance to a highest and a lowest byte, saturated: another lies beyond it where
// a subtraction from either side leaves something. The alpha byte's tolerance is 255,
// which nothing passes. A pixel matches where no byte of its word lies beyond, and
// differs in all where every colour byte does. The planes to write are known when
// compiled, so that the blocks' comparisons unroll with no test of them.
template <uint32_t kWritten>
int32_t LaneMatchesOf8u(const uint8_t* before, const uint8_t* centre, const uint8_t* after,
                        int32_t count, uint32_t colourBytes, int32_t tolerance, uint64_t* planes,
                        ptrdiff_t planePitch) {
#if HWY_TARGET == HWY_SCALAR  // one-lane vectors cannot hold the bytes of a pixel
  (void)before, (void)centre, (void)after, (void)count, (void)colourBytes, (void)tolerance;
  (void)planes, (void)planePitch;
  return 0;
#else
  constexpr size_t kBytes = HWY_MIN(32, HWY_LANES(uint8_t));
  const hn::FixedTag<uint8_t, kBytes> d;
  const hn::Repartition<uint32_t, decltype(d)> d32;
  using V = hn::Vec<decltype(d)>;
  constexpr auto kPixels = static_cast<int32_t>(kBytes);  // four vectors of kBytes / 4
  if (count < kPixels) return 0;
  const uint32_t limits =
      (static_cast<uint32_t>(tolerance) * 0x01010101U & colourBytes) | ~colourBytes;
  const V limit = hn::BitCast(d, hn::Set(d32, limits));
  const V colour = hn::BitCast(d, hn::Set(d32, colourBytes));
  const V zero = hn::Zero(d);
  struct Reference {
    V high[4];
    V low[4];
  };
  const auto reference = [&](const uint8_t* px) VITRELLA_ALWAYS_INLINE {
    Reference r;
    for (size_t i = 0; i < 4; ++i) {
      const V v = hn::LoadU(d, px + i * kBytes);
      r.high[i] = hn::SaturatedAdd(v, limit);
      r.low[i] = hn::SaturatedSub(v, limit);
    }
    return r;
  };
  // Nonzero bytes of vector i of `other` where they lie beyond the reference's.
  const auto beyond = [&](const uint8_t* other, const Reference& r,
                          size_t i) VITRELLA_ALWAYS_INLINE {
    const V v = hn::LoadU(d, other + i * kBytes);
    return hn::Or(hn::SaturatedSub(v, r.high[i]), hn::SaturatedSub(r.low[i], v));
  };
  const auto matches = [&](const uint8_t* other, const Reference& r) VITRELLA_ALWAYS_INLINE {
    return ZeroWordBits(d, beyond(other, r, 0), beyond(other, r, 1), beyond(other, r, 2),
                        beyond(other, r, 3));
  };
  const uint64_t all = kPixels == 64 ? ~uint64_t{0} : (uint64_t{1} << kPixels) - 1;
  EveryBlock(count, kPixels, planes, planePitch, kWritten,
             [&](int32_t p, auto put) VITRELLA_ALWAYS_INLINE {
               const uint8_t* c = centre + 4 * static_cast<ptrdiff_t>(p);
               const Reference here = reference(c);
               put(kCentreSelf, all);
               put(kCentreBack1, matches(c - 4, here));
               put(kCentreBack2, matches(c - 8, here));
               put(kCentreBack3, matches(c - 12, here));
               put(kCentreBack4, matches(c - 16, here));
               const auto sideLane = [&]<int32_t kSide, int32_t kD>() VITRELLA_ALWAYS_INLINE {
                 if constexpr ((kWritten >> SideMatchPlane(kSide, kD) & 1U) != 0) {
                   const uint8_t* side =
                       (kSide == 0 ? before : after) + 4 * (static_cast<ptrdiff_t>(p) + kD);
                   if constexpr ((kD == 0 || kD == 1) &&
                                 (kWritten >> SideDiffersPlane(kSide, kD) & 1U) != 0) {
                     V over[4];
                     for (size_t i = 0; i < 4; ++i)
                       over[i] = beyond(side, here, i);
                     put(SideMatchPlane(kSide, kD),
                         ZeroWordBits(d, over[0], over[1], over[2], over[3]));
                     // Colour bytes within the tolerance, which a pixel that differs in all has
                     // none of.
                     V within[4];
                     for (size_t i = 0; i < 4; ++i)
                       within[i] = hn::And(hn::VecFromMask(d, hn::Eq(over[i], zero)), colour);
                     put(SideDiffersPlane(kSide, kD),
                         ZeroWordBits(d, within[0], within[1], within[2], within[3]));
                   } else {
                     put(SideMatchPlane(kSide, kD), matches(side, here));
                   }
                 }
               };
               const auto sides = [&]<int32_t kSide>() VITRELLA_ALWAYS_INLINE {
                 sideLane.template operator()<kSide, -2>();
                 sideLane.template operator()<kSide, -1>();
                 sideLane.template operator()<kSide, 0>();
                 sideLane.template operator()<kSide, 1>();
                 sideLane.template operator()<kSide, 2>();
               };
               sides.template operator()<0>();
               sides.template operator()<1>();
               // Both side lanes at p against the centre three back.
               const Reference back3 = reference(c - 12);
               put(SideMatchBack3Plane(0), matches(before + 4 * static_cast<ptrdiff_t>(p), back3));
               put(SideMatchBack3Plane(1), matches(after + 4 * static_cast<ptrdiff_t>(p), back3));
             });
  return count;
#endif
}

int32_t LaneMatches8u(const uint8_t* before, const uint8_t* centre, const uint8_t* after,
                      int32_t count, uint32_t colourBytes, int32_t tolerance, uint64_t* planes,
                      ptrdiff_t planePitch, uint32_t written) {
  const auto run = [&]<uint32_t kWritten>() {
    return LaneMatchesOf8u<kWritten>(before, centre, after, count, colourBytes, tolerance, planes,
                                     planePitch);
  };
  switch (written) {
    case PlanesCompared(true, true):
      return run.template operator()<PlanesCompared(true, true)>();
    case PlanesCompared(false, true):
      return run.template operator()<PlanesCompared(false, true)>();
    case PlanesCompared(true, false):
      return run.template operator()<PlanesCompared(true, false)>();
    case PlanesCompared(false, false):
      return run.template operator()<PlanesCompared(false, false)>();
    default:
      return 0;  // the caller compares them all itself
  }
}

// Floats as the plain comparisons make them: |a - b| <= tolerance to match and > to
// differ, both false for a NaN. Blocks of 16 pixels, 64 lanes, whose lane bits gather into
// one word per comparison; a pixel's bit needs all four of its lanes, the alpha lane
// always counting as true.
int32_t LaneMatches32f(const float* before, const float* centre, const float* after, int32_t count,
                       const uint32_t colourLanes[4], float tolerance, uint64_t* planes,
                       ptrdiff_t planePitch, uint32_t written) {
  const hn::ScalableTag<float> d;
  const auto lanes = static_cast<int32_t>(hn::Lanes(d));
  constexpr int32_t kBlock = 16;
  if (lanes % 4 != 0 || 64 % lanes != 0 || count < kBlock) return 0;
  uint64_t alphaBits = 0;
  for (int32_t i = 0; i < 64; ++i)
    alphaBits |= static_cast<uint64_t>(colourLanes[i % 4] == 0) << i;
  const auto limit = hn::Set(d, tolerance);
  // The lowest lane of each four where all four are set, then those 16 bits side by side.
  const auto pixelBits = [&](uint64_t bits) {
    bits |= alphaBits;
    bits &= bits >> 1;
    bits &= bits >> 2;
    bits &= 0x1111111111111111ULL;
    bits = (bits | bits >> 3) & 0x0303030303030303ULL;
    bits = (bits | bits >> 6) & 0x000F000F000F000FULL;
    bits = (bits | bits >> 12) & 0x000000FF000000FFULL;
    return (bits | bits >> 24) & 0xFFFFULL;
  };
  const float* sides[2] = {before, after};
  EveryBlock(count, kBlock, planes, planePitch, written, [&](int32_t p, auto put) {
    const float* c = centre + 4 * static_cast<ptrdiff_t>(p);
    // One comparison of the block: `other` against the centre, lane bits of each vector.
    const auto compareWith = [&](const float* other, const float* with, auto test) {
      uint64_t bits = 0;
      for (int32_t j = 0; j < 64; j += lanes) {
        const auto vc = hn::LoadU(d, with + j);
        const auto apart = hn::Abs(hn::Sub(hn::LoadU(d, other + j), vc));
        uint64_t part = 0;
        hn::StoreMaskBits(d, test(apart), reinterpret_cast<uint8_t*>(&part));
        bits |= part << j;
      }
      return pixelBits(bits);
    };
    const auto compare = [&](const float* other, auto test) { return compareWith(other, c, test); };
    const auto within = [&](auto apart) { return hn::Le(apart, limit); };
    const auto beyond = [&](auto apart) { return hn::Gt(apart, limit); };
    put(kCentreSelf, compare(c, within));
    put(kCentreBack1, compare(c - 4, within));
    put(kCentreBack2, compare(c - 8, within));
    put(kCentreBack3, compare(c - 12, within));
    put(kCentreBack4, compare(c - 16, within));
    for (int32_t side = 0; side < 2; ++side) {
      put(SideMatchBack3Plane(side),
          compareWith(sides[side] + 4 * static_cast<ptrdiff_t>(p), c - 12, within));
      for (int32_t dp = -2; dp <= 2; ++dp) {
        if ((written >> SideMatchPlane(side, dp) & 1U) == 0) continue;
        const float* other = sides[side] + 4 * (static_cast<ptrdiff_t>(p) + dp);
        put(SideMatchPlane(side, dp), compare(other, within));
        if ((dp == 0 || dp == 1) && (written >> SideDiffersPlane(side, dp) & 1U) != 0)
          put(SideDiffersPlane(side, dp), compare(other, beyond));
      }
    }
  });
  return count;
}

}  // namespace vitrella::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vitrella::kernels::vector {

HWY_EXPORT(LaneMatches8u);
HWY_EXPORT(LaneMatches32f);

int32_t LaneMatches8u(const uint8_t* before, const uint8_t* centre, const uint8_t* after,
                      int32_t count, uint32_t colourBytes, int32_t tolerance, uint64_t* planes,
                      ptrdiff_t planePitch, uint32_t written) {
  return HWY_DYNAMIC_DISPATCH(LaneMatches8u)(before, centre, after, count, colourBytes, tolerance,
                                             planes, planePitch, written);
}

int32_t LaneMatches32f(const float* before, const float* centre, const float* after, int32_t count,
                       const uint32_t colourLanes[4], float tolerance, uint64_t* planes,
                       ptrdiff_t planePitch, uint32_t written) {
  return HWY_DYNAMIC_DISPATCH(LaneMatches32f)(before, centre, after, count, colourLanes, tolerance,
                                              planes, planePitch, written);
}

}  // namespace vitrella::kernels::vector
#endif
