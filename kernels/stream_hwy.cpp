// Compiled once per processor family by Highway's foreach_target.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/stream_hwy.cpp"
#include <hwy/cache_control.h>
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <cstring>

#include "kernels/stream_hwy.h"

HWY_BEFORE_NAMESPACE();
namespace vitrella::kernels::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

bool StreamBytes(const uint8_t* src, uint8_t* dst, size_t bytes) {
#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128  // no stores past the caches
  (void)src, (void)dst, (void)bytes;
  return false;
#else
  const hn::ScalableTag<uint8_t> d;
  const size_t n = hn::Lanes(d);
  // Plain stores up to dst's first vector boundary, then whole aligned vectors.
  size_t head = (n - reinterpret_cast<uintptr_t>(dst) % n) % n;
  head = head < bytes ? head : bytes;
  std::memcpy(dst, src, head);
  size_t i = head;
  for (; i + n <= bytes; i += n)
    hn::Stream(hn::LoadU(d, src + i), d, dst + i);
  std::memcpy(dst + i, src + i, bytes - i);
  hwy::FlushStream();
  return true;
#endif
}

}  // namespace vitrella::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vitrella::kernels::vector {

HWY_EXPORT(StreamBytes);

bool StreamBytes(const uint8_t* src, uint8_t* dst, size_t bytes) {
  return HWY_DYNAMIC_DISPATCH(StreamBytes)(src, dst, bytes);
}

}  // namespace vitrella::kernels::vector
#endif
