#include "kernels/warp_quad.h"

#include "kernels/warp_quad_hwy.h"
#include "kernels/warp_quad_rows.h"

namespace vitrella::kernels {
namespace {

template <typename T, int kChannels>
Status Warp(ConstImageView src, Rect srcRect, const Quad srcQuad, ImageView dst, Rect dstRect,
            const Quad dstQuad, int32_t interpolation, WarpRowFn vectorRow) {
  const QuadRows<T, kChannels> rows(src, srcRect, srcQuad, dst, dstRect, dstQuad, interpolation,
                                    vectorRow);
  if (rows.status() != kOk) return rows.status();
  bool wrote = false;
  for (int32_t y = rows.FirstRow(); y <= rows.LastRow(); ++y) {
    wrote = rows.Row(y) || wrote;
  }
  return wrote ? kOk : kNoPixelInside;
}

}  // namespace

Status WarpQuad8u_C4(ConstImageView src, Rect srcRect, const Quad srcQuad, ImageView dst,
                     Rect dstRect, const Quad dstQuad, int32_t interpolation) {
  return Warp<uint8_t, 4>(src, srcRect, srcQuad, dst, dstRect, dstQuad, interpolation,
                          vector::WarpRow8u_C4);
}

Status WarpQuad32f_C4(ConstImageView src, Rect srcRect, const Quad srcQuad, ImageView dst,
                      Rect dstRect, const Quad dstQuad, int32_t interpolation) {
  return Warp<float, 4>(src, srcRect, srcQuad, dst, dstRect, dstQuad, interpolation,
                        vector::WarpRow32f_C4);
}

Status WarpQuad8u_C1(ConstImageView src, Rect srcRect, const Quad srcQuad, ImageView dst,
                     Rect dstRect, const Quad dstQuad, int32_t interpolation) {
  return Warp<uint8_t, 1>(src, srcRect, srcQuad, dst, dstRect, dstQuad, interpolation,
                          vector::WarpRow8u_C1);
}

Status WarpQuad32f_C1(ConstImageView src, Rect srcRect, const Quad srcQuad, ImageView dst,
                      Rect dstRect, const Quad dstQuad, int32_t interpolation) {
  return Warp<float, 1>(src, srcRect, srcQuad, dst, dstRect, dstQuad, interpolation,
                        vector::WarpRow32f_C1);
}

}  // namespace vitrella::kernels
