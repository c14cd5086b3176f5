// Compiled once per processor family by Highway's foreach_target.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/marked_copy_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "kernels/marked_copy_hwy.h"

HWY_BEFORE_NAMESPACE();
namespace vitrella::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// The n marks of pixels x onwards, which lie in one word: vectors hold a power of two of
// pixels, at most 64, from a multiple of that.
inline uint64_t MarksAt(const uint64_t* marks, int32_t x, int32_t n) {
  const uint64_t bits = marks[x >> 6] >> (x & 63);
  return n == 64 ? bits : bits & ((uint64_t{1} << n) - 1);
}

// A byte pixel per 32-bit lane: a bitwise choice between the two pixels in the colour
// bytes of the marked lanes.
int32_t CopyMarked8u(const uint64_t* marks, const uint8_t* from, uint8_t* to, int32_t count,
                     uint32_t colourBytes) {
  const hn::ScalableTag<uint32_t> d;
  const auto n = static_cast<int32_t>(hn::Lanes(d));
  if (64 % n != 0) return 0;
  const auto colour = hn::Set(d, colourBytes);
  auto* out = reinterpret_cast<uint32_t*>(to);
  const auto* given = reinterpret_cast<const uint32_t*>(from);
  int32_t x = 0;
  for (; x + n <= count; x += n) {
    const uint64_t bits = MarksAt(marks, x, n);
    if (bits == 0) continue;
    const auto marked = hn::LoadMaskBits(d, reinterpret_cast<const uint8_t*>(&bits));
    const auto take = hn::And(hn::VecFromMask(d, marked), colour);
    const auto kept = hn::LoadU(d, out + x);
    hn::StoreU(hn::Or(hn::And(take, hn::LoadU(d, given + x)), hn::AndNot(take, kept)), d, out + x);
  }
  return x;
}

// A float pixel per four lanes: each pixel's mark spread over its lanes.
int32_t CopyMarked32f(const uint64_t* marks, const float* from, float* to, int32_t count,
                      const uint32_t colourLanes[4]) {
  const hn::ScalableTag<uint32_t> d;
  const auto lanes = static_cast<int32_t>(hn::Lanes(d));
  const int32_t n = lanes / 4;
  if (lanes % 4 != 0 || n < 1 || n > 16) return 0;
  HWY_ALIGN uint32_t colourPattern[64];
  for (int32_t i = 0; i < lanes; ++i)
    colourPattern[i] = colourLanes[i % 4];
  const auto colour = hn::Load(d, colourPattern);
  auto* out = reinterpret_cast<uint32_t*>(to);
  const auto* given = reinterpret_cast<const uint32_t*>(from);
  int32_t x = 0;
  for (; x + n <= count; x += n) {
    const uint64_t bits = MarksAt(marks, x, n);
    if (bits == 0) continue;
    uint64_t laneBits = 0;
    for (int32_t j = 0; j < n; ++j)
      laneBits |= ((bits >> j) & 1U) * (uint64_t{0xF} << (4 * j));
    const auto marked = hn::LoadMaskBits(d, reinterpret_cast<const uint8_t*>(&laneBits));
    const auto take = hn::And(hn::VecFromMask(d, marked), colour);
    uint32_t* px = out + 4 * static_cast<ptrdiff_t>(x);
    const auto kept = hn::LoadU(d, px);
    hn::StoreU(hn::Or(hn::And(take, hn::LoadU(d, given + 4 * static_cast<ptrdiff_t>(x))),
                      hn::AndNot(take, kept)),
               d, px);
  }
  return x;
}

}  // namespace vitrella::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vitrella::kernels::vector {

HWY_EXPORT(CopyMarked8u);
HWY_EXPORT(CopyMarked32f);

int32_t CopyMarked8u(const uint64_t* marks, const uint8_t* from, uint8_t* to, int32_t count,
                     uint32_t colourBytes) {
  return HWY_DYNAMIC_DISPATCH(CopyMarked8u)(marks, from, to, count, colourBytes);
}

int32_t CopyMarked32f(const uint64_t* marks, const float* from, float* to, int32_t count,
                      const uint32_t colourLanes[4]) {
  return HWY_DYNAMIC_DISPATCH(CopyMarked32f)(marks, from, to, count, colourLanes);
}

}  // namespace vitrella::kernels::vector
#endif
