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

// Pixels of kLanes 32-bit lanes each, a byte pixel in one, a float pixel in four: each
// pixel's mark spread over its lanes, then a bitwise choice between the two pixels in the
// lanes' colour bits. colour[i] holds those of lane i of a pixel.
template <int32_t kLanes>
int32_t CopyMarkedLanes(const uint64_t* marks, const uint32_t* given, uint32_t* out, int32_t count,
                        const uint32_t colour[kLanes]) {
  const hn::ScalableTag<uint32_t> d;
  const auto lanes = static_cast<int32_t>(hn::Lanes(d));
  const int32_t n = lanes / kLanes;
  if (lanes % kLanes != 0 || n < 1 || 64 % n != 0 || lanes > 64) return 0;
  HWY_ALIGN uint32_t colourPattern[64];
  for (int32_t i = 0; i < lanes; ++i)
    colourPattern[i] = colour[i % kLanes];
  const auto keep = hn::Load(d, colourPattern);
  constexpr uint64_t kPixelLanes = (uint64_t{1} << kLanes) - 1;
  int32_t x = 0;
  for (; x + n <= count; x += n) {
    const uint64_t bits = MarksAt(marks, x, n);
    if (bits == 0) continue;
    uint64_t laneBits = bits;
    if constexpr (kLanes > 1) {
      laneBits = 0;
      for (int32_t j = 0; j < n; ++j)
        laneBits |= ((bits >> j) & 1U) * (kPixelLanes << (kLanes * j));
    }
    const auto marked = hn::LoadMaskBits(d, reinterpret_cast<const uint8_t*>(&laneBits));
    const auto take = hn::And(hn::VecFromMask(d, marked), keep);
    uint32_t* px = out + static_cast<ptrdiff_t>(kLanes) * x;
    const auto taken = hn::LoadU(d, given + static_cast<ptrdiff_t>(kLanes) * x);
    hn::StoreU(hn::Or(hn::And(take, taken), hn::AndNot(take, hn::LoadU(d, px))), d, px);
  }
  return x;
}

int32_t CopyMarked8u(const uint64_t* marks, const uint8_t* from, uint8_t* to, int32_t count,
                     uint32_t colourBytes) {
  const uint32_t colour[1] = {colourBytes};
  return CopyMarkedLanes<1>(marks, reinterpret_cast<const uint32_t*>(from),
                            reinterpret_cast<uint32_t*>(to), count, colour);
}

int32_t CopyMarked32f(const uint64_t* marks, const float* from, float* to, int32_t count,
                      const uint32_t colourLanes[4]) {
  return CopyMarkedLanes<4>(marks, reinterpret_cast<const uint32_t*>(from),
                            reinterpret_cast<uint32_t*>(to), count, colourLanes);
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
