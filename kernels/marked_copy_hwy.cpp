// Compiled once per processor family by Highway's foreach_target.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/marked_copy_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <cstring>

#include "kernels/marked_copy_hwy.h"

HWY_BEFORE_NAMESPACE();
namespace vitrella::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// A byte pixel per 32-bit lane: each lane's mark widened to it, then a bitwise choice
// between the two pixels in the colour bytes.
int32_t CopyMarked8u(const uint8_t* marks, const uint8_t* from, uint8_t* to, int32_t count,
                     uint32_t colourBytes) {
  const hn::ScalableTag<uint32_t> d;
  const hn::Rebind<uint8_t, decltype(d)> dm;
  const int32_t n = static_cast<int32_t>(hn::Lanes(d));
  const auto colour = hn::Set(d, colourBytes);
  const auto zero = hn::Zero(d);
  int32_t x = 0;
  for (; x + n <= count; x += n) {
    const auto marked = hn::Ne(hn::PromoteTo(d, hn::LoadU(dm, marks + x)), zero);
    const auto take = hn::And(hn::VecFromMask(d, marked), colour);
    uint32_t* out = reinterpret_cast<uint32_t*>(to) + x;
    const auto kept = hn::LoadU(d, out);
    const auto given = hn::LoadU(d, reinterpret_cast<const uint32_t*>(from) + x);
    hn::StoreU(hn::Or(hn::And(take, given), hn::AndNot(take, kept)), d, out);
  }
  return x;
}

// A float pixel per four lanes: the marks of a vector's pixels as the bytes of one word,
// each shifted down to the lanes of its pixel.
int32_t CopyMarked32f(const uint8_t* marks, const float* from, float* to, int32_t count,
                      const uint32_t colourLanes[4]) {
  const hn::ScalableTag<uint32_t> d;
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(d));
  const int32_t n = lanes / 4;
  if (lanes % 4 != 0 || n < 1 || n > 4) return 0;
  HWY_ALIGN uint32_t colourPattern[16];
  HWY_ALIGN uint32_t shiftPattern[16];
  for (int32_t i = 0; i < lanes; ++i) {
    colourPattern[i] = colourLanes[i % 4];
    shiftPattern[i] = static_cast<uint32_t>(8 * (i / 4));
  }
  const auto colour = hn::Load(d, colourPattern);
  const auto shifts = hn::Load(d, shiftPattern);
  const auto low = hn::Set(d, 0xFFu);
  const auto zero = hn::Zero(d);
  auto* out = reinterpret_cast<uint32_t*>(to);
  const auto* given = reinterpret_cast<const uint32_t*>(from);
  int32_t x = 0;
  for (; x + n <= count; x += n) {
    uint32_t word = 0;
    std::memcpy(&word, marks + x, static_cast<size_t>(n));
    const auto mark = hn::And(hn::Shr(hn::Set(d, word), shifts), low);
    const auto take = hn::And(hn::VecFromMask(d, hn::Ne(mark, zero)), colour);
    const auto kept = hn::LoadU(d, out + 4 * x);
    hn::StoreU(hn::Or(hn::And(take, hn::LoadU(d, given + 4 * x)), hn::AndNot(take, kept)), d,
               out + 4 * x);
  }
  return x;
}

}  // namespace vitrella::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vitrella::kernels::vector {

HWY_EXPORT(CopyMarked8u);
HWY_EXPORT(CopyMarked32f);

int32_t CopyMarked8u(const uint8_t* marks, const uint8_t* from, uint8_t* to, int32_t count,
                     uint32_t colourBytes) {
  return HWY_DYNAMIC_DISPATCH(CopyMarked8u)(marks, from, to, count, colourBytes);
}

int32_t CopyMarked32f(const uint8_t* marks, const float* from, float* to, int32_t count,
                      const uint32_t colourLanes[4]) {
  return HWY_DYNAMIC_DISPATCH(CopyMarked32f)(marks, from, to, count, colourLanes);
}

}  // namespace vitrella::kernels::vector
#endif
