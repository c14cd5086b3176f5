#include "kernels/yuy2.h"

#include "kernels/dispatch.h"
#include "kernels/yuy2_hwy.h"

namespace vitrella::kernels {
namespace {

void DecodeRow(const uint8_t* in, uint8_t* out, int32_t width, uint8_t alpha) {
  int32_t x = 0;
  for (; x + 1 < width; x += 2) {
    const uint8_t* pair = in + 2 * x;
    const Bgr first = DecodeYCbCr(pair[0], pair[1], pair[3]);
    const Bgr second = DecodeYCbCr(pair[2], pair[1], pair[3]);
    uint8_t* o = out + 4 * x;
    o[0] = first.blue, o[1] = first.green, o[2] = first.red, o[3] = alpha;
    o[4] = second.blue, o[5] = second.green, o[6] = second.red, o[7] = alpha;
  }
  if (x < width) {
    const Bgr last = DecodeYCbCr(in[2 * x], in[2 * x + 1], 128);
    uint8_t* o = out + 4 * x;
    o[0] = last.blue, o[1] = last.green, o[2] = last.red, o[3] = alpha;
  }
}

uint8_t Luma(int32_t b, int32_t g, int32_t r) {
  return static_cast<uint8_t>((b * 6423 + g * 33030 + r * 16843 + 0x108000) >> 16);
}

void EncodeRow(const uint8_t* in, uint8_t* out, int32_t width) {
  int32_t x = 0;
  for (; x + 1 < width; x += 2) {
    const uint8_t* p = in + 4 * x;
    const int32_t bs = p[0] + p[4];
    const int32_t gs = p[1] + p[5];
    const int32_t rs = p[2] + p[6];
    uint8_t* o = out + 2 * x;
    o[0] = Luma(p[0], p[1], p[2]);
    // Kept as eight bits, without a clamp.
    o[1] = static_cast<uint8_t>(((bs * 28770 - gs * 19071 - rs * 9699 + 0x4000) >> 17) + 128);
    o[2] = Luma(p[4], p[5], p[6]);
    o[3] = static_cast<uint8_t>(((rs * 28770 - gs * 24117 - bs * 4653 + 0x4000) >> 17) + 128);
  }
  if (x < width) {
    const uint8_t* p = in + 4 * x;
    uint8_t* o = out + 2 * x;
    o[0] = Luma(p[0], p[1], p[2]);
    o[1] = static_cast<uint8_t>(((p[0] * 28770 - p[1] * 19071 - p[2] * 9699 + 0x2000) >> 16) + 128);
  }
}

}  // namespace

Status YUY2ToBGRA(ConstImageView src, ImageView dst, uint8_t alpha) {
  if (Status s = CheckViews(src, dst); s != kOk) return s;
  const Size size = MinSize(src.Extent(), dst.Extent());
  if (size.width < 2) return kBadSize;
  const bool plain = UseReferenceKernels();
  for (int32_t y = 0; y < size.height; ++y) {
    const uint8_t* in = src.Row(y);
    uint8_t* out = dst.Row(y);
    const int32_t done = plain ? 0 : vector::YUY2ToBGRAPairs(in, out, size.width, alpha);
    DecodeRow(in + 2 * done, out + 4 * done, size.width - done, alpha);
  }
  return kOk;
}

Status BGRAToYUY2(ConstImageView src, ImageView dst) {
  if (Status s = CheckViews(src, dst); s != kOk) return s;
  const Size size = MinSize(src.Extent(), dst.Extent());
  if (size.width < 2) return kBadSize;
  for (int32_t y = 0; y < size.height; ++y)
    EncodeRow(src.Row(y), dst.Row(y), size.width);
  return kOk;
}

}  // namespace vitrella::kernels
