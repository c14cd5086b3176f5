#include "effects/rs_correction.h"

#include "kernels/warp_quad.h"

namespace vitrella {
namespace {

using kernels::Quad;

int32_t TruncateShear(float value) {
  if (!(value > -2147483648.0f && value < 2147483648.0f)) return 0;
  return static_cast<int32_t>(value);
}

void SetQuad(Quad quad, double x0, double y0, double x1, double y1, double x2, double y2, double x3,
             double y3) {
  const double corners[4][2] = {{x0, y0}, {x1, y1}, {x2, y2}, {x3, y3}};
  for (int i = 0; i < 4; ++i) {
    quad[i][0] = corners[i][0];
    quad[i][1] = corners[i][1];
  }
}

// Bilinear, with the slanted edges smoothed into what lies beside them.
bool Warp(const FrameBuffer& src, FrameBuffer& dst, int32_t width, int32_t height, const Quad from,
          const Quad to) {
  const kernels::Rect area{0, 0, width, height};
  const int32_t interpolation = kernels::kInterLinear | kernels::kSmoothEdges;
  const kernels::Status status =
      src.pixelBytes == 16
          ? kernels::WarpQuad32f_C4(src.View(), area, from, dst.View(), area, to, interpolation)
          : kernels::WarpQuad8u_C4(src.View(), area, from, dst.View(), area, to, interpolation);
  // A warp that writes nothing has done all it had to.
  return status == kernels::kOk || status == kernels::kNoOverlap ||
         status == kernels::kNoPixelInside;
}

// The strips around a stretched picture, painted from thin slices of the source's edges,
// in the order that lets later strips cover the joins of earlier ones. A strip that comes
// out empty for this shear fails its warp and is simply not painted.
void PaintStretchStrips(const FrameBuffer& src, FrameBuffer& dst, int32_t w, int32_t h,
                        RsShear shear) {
  const int32_t sx = shear.x;
  const int32_t hx = shear.x >> 1;
  const int32_t hy = shear.y >> 1;
  const int32_t h2 = h >> 1;
  const bool grows = shear.y > 0;
  const bool leftward = sx < 1;
  Quad from;
  Quad to;
  const auto paint = [&] { Warp(src, dst, w, h, from, to); };

  if (grows) {  // 5, bottom
    SetQuad(from, 0, h - 2, w, h - 2, w, h - 1, 0, h - 1);
    SetQuad(to, hx, h - hy, w + hx, h - hy, w + hx, h, hx, h);
    paint();
  }
  if (leftward) {  // 7, left
    SetQuad(from, 1, 0, 3, 0, 3, h2, 1, h2);
    SetQuad(to, 1, hy, (-sx) >> 1, hy, 3, h2, 1, h2);
  } else {
    SetQuad(from, 0, h2, 1, h2, 1, h, 0, h);
    SetQuad(to, 0, h2, 1, h2, hx, h - hy, 0, h - hy);
  }
  paint();
  if (grows) {  // 9, bottom corner
    if (leftward) {
      SetQuad(from, w - 4, h - 4, w - 1, h - 4, w - 1, h - 1, w - 4, h - 1);
      SetQuad(to, w + hx, h - hy, w, h - hy, w, h, w + hx, h);
    } else {
      SetQuad(from, 0, h - 4, 4, h - 4, 4, h - 1, 0, h - 1);
      SetQuad(to, 0, h - hy, hx, h - hy, hx, h, 0, h);
    }
    paint();
    // 10, top corner
    if (leftward) {
      SetQuad(from, 1, 0, 4, 0, 4, 4, 1, 4);
      SetQuad(to, 0, 0, -hx, 0, -hx, hy, 0, hy);
    } else {
      SetQuad(from, w - 4, 0, w - 1, 0, w - 1, 4, w - 4, 4);
      SetQuad(to, w - hx, 0, w, 0, w, hy, w - hx, hy);
    }
    paint();
    // 6, top
    SetQuad(from, 0, 0, w, 0, w, 2, 0, 2);
    SetQuad(to, -hx, 0, w - hx, 0, w - hx, hy, -hx, hy);
    paint();
  }
  if (leftward) {  // 8, right
    SetQuad(from, w - 4, h2, w - 1, h2, w - 1, h, w - 4, h);
    SetQuad(to, w - 4, h2, w - 1, h2, w - 1, h - hy, w + hx - 5, h - hy);
  } else {
    SetQuad(from, w - 4, 0, w - 1, 0, w - 1, h2, w - 4, h2);
    SetQuad(to, w - hx, hy, w - 1, hy, w - 1, h2, w - 4, h2);
  }
  paint();
}

}  // namespace

RsShear RsShearOf(float dx, float dy, float width, float height, float correction,
                  uint16_t fieldMode) {
  const float fx = dx / width;
  float fy = (dy / height) * 0.5f;
  if (fieldMode != 3) fy *= 0.5f;  // a field holds half the rows of a frame
  // The factors in this order, in floats: both sizes enter, so a larger frame gets a
  // larger shear for the same motion in analysis pixels.
  return {TruncateShear(width * correction * (width * 0.01f) * fx),
          TruncateShear(height * correction * (height * 0.01f) * fy)};
}

void RsDestinationQuad(RsShear shear, int32_t width, int32_t height, RsBorderFill fill,
                       kernels::Quad quad) {
  const int32_t sx = shear.x;
  const int32_t hx = shear.x >> 1;
  const int32_t hy = shear.y >> 1;
  const int32_t w = width;
  const int32_t h = height;
  if (fill != RsBorderFill::kZoom) {
    SetQuad(quad, (-sx) >> 1, hy, w - hx, hy, w + hx, h - hy, hx, h - hy);
  } else if (sx > 0) {  // one edge stays put, so the shear is all on the other side
    SetQuad(quad, -sx, hy, w, hy, w + sx, h - hy, 0, h - hy);
  } else {
    SetQuad(quad, 0, hy, w - sx, hy, w, h - hy, sx, h - hy);
  }
}

bool ApplyRsCorrection(const FrameBuffer& src, FrameBuffer& dst, int32_t width, int32_t height,
                       RsShear shear, RsBorderFill fill) {
  Quad whole;
  SetQuad(whole, 0, 0, width, 0, width, height, 0, height);
  Quad target;
  RsDestinationQuad(shear, width, height, fill, target);
  if (fill == RsBorderFill::kStretch) PaintStretchStrips(src, dst, width, height, shear);
  return Warp(src, dst, width, height, whole, target);
}

}  // namespace vitrella
