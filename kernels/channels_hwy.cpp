// Compiled once per processor family by Highway's foreach_target.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/channels_hwy.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "kernels/channels_hwy.h"

HWY_BEFORE_NAMESPACE();
namespace vitrella::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Whole 32-bit pixels per lane: the destination keeps its other three bytes.
void CopyChannelRow8u(const uint8_t* in, int32_t srcChannels, int32_t srcChannel, uint8_t* out,
                      int32_t dstChannel, int32_t width) {
  const hn::ScalableTag<uint32_t> d;
  const hn::Rebind<uint8_t, decltype(d)> d8;
  const int32_t lanes = static_cast<int32_t>(hn::Lanes(d));
  const auto byte = hn::Set(d, 0xFFu);
  const auto keep = hn::Set(d, ~(0xFFu << (8 * dstChannel)));
  int32_t x = 0;
  for (; x + lanes <= width; x += lanes) {
    const auto value =
        srcChannels == 1 ? hn::PromoteTo(d, hn::LoadU(d8, in + x))
                         : hn::And(hn::ShiftRightSame(
                                       hn::LoadU(d, reinterpret_cast<const uint32_t*>(in + 4 * x)),
                                       8 * srcChannel),
                                   byte);
    uint32_t* row = reinterpret_cast<uint32_t*>(out + 4 * x);
    const auto pixels = hn::And(hn::LoadU(d, row), keep);
    hn::StoreU(hn::Or(pixels, hn::ShiftLeftSame(value, 8 * dstChannel)), d, row);
  }
  for (; x < width; ++x)
    out[4 * x + dstChannel] = in[x * srcChannels + srcChannel];
}

}  // namespace vitrella::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vitrella::kernels::vector {

HWY_EXPORT(CopyChannelRow8u);

void CopyChannelRow8u(const uint8_t* in, int32_t srcChannels, int32_t srcChannel, uint8_t* out,
                      int32_t dstChannel, int32_t width) {
  HWY_DYNAMIC_DISPATCH(CopyChannelRow8u)(in, srcChannels, srcChannel, out, dstChannel, width);
}

}  // namespace vitrella::kernels::vector
#endif
