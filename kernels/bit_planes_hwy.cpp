// Compiled once per processor family by Highway's foreach_target.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/bit_planes_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "kernels/bit_planes_hwy.h"

HWY_BEFORE_NAMESPACE();
namespace vitrella::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Up to 32 positions at a time: each way's nibble from its planes' bits as masks, looked
// up in its table by a byte shuffle, and the four ways' bytes then zipped side by side.
// Zips work within blocks of sixteen bytes, so two blocks' results are put in order
// after.
bool LookupBitNibbles(const uint64_t* const* own, const uint64_t* const* shared,
                      const uint8_t (*tables)[16], ptrdiff_t words, uint8_t* out) {
#if HWY_TARGET == HWY_SCALAR  // one-lane vectors have no byte shuffle
  (void)own, (void)shared, (void)tables, (void)words, (void)out;
  return false;
#else
  constexpr size_t kLanes = HWY_MIN(32, HWY_LANES(uint8_t));
  static_assert(kLanes == 16 || kLanes == 32);
  const hn::FixedTag<uint8_t, kLanes> d;
  const hn::RepartitionToWide<decltype(d)> d16;
  const hn::RepartitionToWide<decltype(d16)> d32;
  using V = hn::Vec<decltype(d)>;
  V table[4];
  for (int32_t s = 0; s < 4; ++s)
    table[s] = hn::LoadDup128(d, tables[s]);
  for (ptrdiff_t w = 0; w < words; ++w) {
    for (size_t part = 0; part < 64; part += kLanes) {
      const auto bit = [&](const uint64_t* plane, uint8_t value) {
        const auto* bits = reinterpret_cast<const uint8_t*>(plane + w) + part / 8;
        return hn::IfThenElseZero(hn::LoadMaskBits(d, bits), hn::Set(d, value));
      };
      const V common = hn::Or(bit(shared[0], 4), bit(shared[1], 8));
      V v[4];
      for (int32_t s = 0; s < 4; ++s) {
        const V nibble = hn::Or(common, hn::Or(bit(own[s], 1), bit(own[4 + s], 2)));
        v[s] = hn::TableLookupBytes(table[s], nibble);
      }
      const auto low01 = hn::ZipLower(d16, v[0], v[1]);
      const auto high01 = hn::ZipUpper(d16, v[0], v[1]);
      const auto low23 = hn::ZipLower(d16, v[2], v[3]);
      const auto high23 = hn::ZipUpper(d16, v[2], v[3]);
      // Positions 0-3, 4-7, 8-11 and 12-15 of each block.
      const V q0 = hn::BitCast(d, hn::ZipLower(d32, low01, low23));
      const V q1 = hn::BitCast(d, hn::ZipUpper(d32, low01, low23));
      const V q2 = hn::BitCast(d, hn::ZipLower(d32, high01, high23));
      const V q3 = hn::BitCast(d, hn::ZipUpper(d32, high01, high23));
      uint8_t* at = out + 4 * (64 * w + static_cast<ptrdiff_t>(part));
      if constexpr (kLanes == 16) {
        hn::StoreU(q0, d, at);
        hn::StoreU(q1, d, at + 16);
        hn::StoreU(q2, d, at + 32);
        hn::StoreU(q3, d, at + 48);
      } else {
        hn::StoreU(hn::ConcatLowerLower(d, q1, q0), d, at);
        hn::StoreU(hn::ConcatLowerLower(d, q3, q2), d, at + 32);
        hn::StoreU(hn::ConcatUpperUpper(d, q1, q0), d, at + 64);
        hn::StoreU(hn::ConcatUpperUpper(d, q3, q2), d, at + 96);
      }
    }
  }
  return true;
#endif
}

// The four ways apart again by a de-interleaving load, and each way's top bits as a mask.
bool GatherHighBits4(const uint8_t* bytes, ptrdiff_t words, uint64_t* const* planes) {
#if HWY_TARGET == HWY_SCALAR
  (void)bytes, (void)words, (void)planes;
  return false;
#else
  const hn::ScalableTag<uint8_t> d;
  const hn::RebindToSigned<decltype(d)> di;
  const auto lanes = static_cast<int32_t>(hn::Lanes(d));
  if (lanes < 8 || 64 % lanes != 0) return false;
  const auto zero = hn::Zero(di);
  for (ptrdiff_t w = 0; w < words; ++w) {
    for (int32_t part = 0; part < 64; part += lanes) {
      hn::Vec<decltype(d)> v[4];
      hn::LoadInterleaved4(d, bytes + 4 * (64 * w + part), v[0], v[1], v[2], v[3]);
      for (int32_t s = 0; s < 4; ++s) {
        if (planes[s] == nullptr) continue;
        auto* bits = reinterpret_cast<uint8_t*>(planes[s] + w) + part / 8;
        hn::StoreMaskBits(di, hn::Lt(hn::BitCast(di, v[s]), zero), bits);
      }
    }
  }
  return true;
#endif
}

// A byte gather within the 64 bytes from a block's start, which every jump of up to 32
// from its lanes stays in: each of the four 16-byte pieces of that window looked up by
// shuffle, with indices that fall outside the piece pushed to 0x80 and above by a
// saturating add, which the shuffle reads as zero, so that the four results just OR.
bool PairJumps(const uint8_t* jumps, ptrdiff_t count, uint8_t* pairs) {
#if HWY_TARGET == HWY_SCALAR
  (void)jumps, (void)count, (void)pairs;
  return false;
#else
  constexpr size_t kLanes = HWY_MIN(32, HWY_LANES(uint8_t));
  static_assert(kLanes == 16 || kLanes == 32);
  const hn::FixedTag<uint8_t, kLanes> d;
  const auto lanes = static_cast<ptrdiff_t>(kLanes);
  const auto stop = hn::Set(d, 0x40);
  const auto outside = hn::Set(d, 0x70);
  const auto iota = hn::Iota(d, 0);
  ptrdiff_t n = 0;
  for (; n + lanes <= count; n += lanes) {
    const auto jump = hn::LoadU(d, jumps + n);
    const auto target = hn::Add(iota, jump);
    auto second = hn::Zero(d);
    for (int32_t piece = 0; piece < 4; ++piece) {
      const auto bytes = hn::LoadDup128(d, jumps + n + 16 * piece);
      const auto index =
          hn::SaturatedAdd(hn::Sub(target, hn::Set(d, static_cast<uint8_t>(16 * piece))), outside);
      second = hn::Or(second, hn::TableLookupBytesOr0(bytes, index));
    }
    const auto pair = hn::IfThenElse(hn::Lt(jump, stop), hn::Add(jump, second), jump);
    hn::StoreU(pair, d, pairs + n);
  }
  for (; n < count; ++n) {
    const uint8_t jump = jumps[n];
    pairs[n] = jump < 0x40 ? static_cast<uint8_t>(jump + jumps[n + jump]) : jump;
  }
  return true;
#endif
}

}  // namespace vitrella::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vitrella::kernels::vector {

HWY_EXPORT(LookupBitNibbles);
HWY_EXPORT(GatherHighBits4);
HWY_EXPORT(PairJumps);

bool LookupBitNibbles(const uint64_t* const* own, const uint64_t* const* shared,
                      const uint8_t (*tables)[16], ptrdiff_t words, uint8_t* out) {
  return HWY_DYNAMIC_DISPATCH(LookupBitNibbles)(own, shared, tables, words, out);
}

bool GatherHighBits4(const uint8_t* bytes, ptrdiff_t words, uint64_t* const* planes) {
  return HWY_DYNAMIC_DISPATCH(GatherHighBits4)(bytes, words, planes);
}

bool PairJumps(const uint8_t* jumps, ptrdiff_t count, uint8_t* pairs) {
  return HWY_DYNAMIC_DISPATCH(PairJumps)(jumps, count, pairs);
}

}  // namespace vitrella::kernels::vector
#endif
