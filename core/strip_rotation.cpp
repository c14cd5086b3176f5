#include "core/strip_rotation.h"

#include <algorithm>
#include <cmath>

#include "core/frame_ops.h"
#include "kernels/warp_quad.h"
#include "vitrella/pixel_format.h"

namespace vitrella {
namespace {

constexpr double kDegrees = 3.14159265358979323846 / 180.0;

}  // namespace

StripShift StripRotationShift(int32_t width, int32_t height, int32_t cx, int32_t cy,
                              float thetaDegrees, int32_t rampLength) {
  const double s = std::sin(thetaDegrees * kDegrees);
  const double c = std::cos(thetaDegrees * kDegrees);
  // The strip starts behind every corner of the frame along its y axis (sin θ, cos θ), with
  // room for the cubic's taps and the smoothed edge, so that no corner is left uncovered at
  // slanted angles; the walk back along its x axis (cos θ, -sin θ) by half the ramp puts
  // column rampLength >> 1 on the centre.
  constexpr double kMargin = 2.0;
  const double corners[4][2] = {{-kMargin, -kMargin},
                                {width - 1.0 + kMargin, -kMargin},
                                {width - 1.0 + kMargin, height - 1.0 + kMargin},
                                {-kMargin, height - 1.0 + kMargin}};
  double behind = 0.0;
  for (const auto& corner : corners) {
    behind = std::fmax(behind, (cx - corner[0]) * s + (cy - corner[1]) * c);
  }
  const double half = rampLength >> 1;
  return {cx - half * c - behind * s, cy + half * s - behind * c};
}

kernels::Size StripExtentNeeded(int32_t width, int32_t height, float thetaDegrees,
                                StripShift shift) {
  const double s = std::sin(thetaDegrees * kDegrees);
  const double c = std::cos(thetaDegrees * kDegrees);
  constexpr double kMargin = 4.0;
  double farU = 0.0;
  double farV = 0.0;
  for (const double x : {-kMargin, width - 1.0 + kMargin}) {
    for (const double y : {-kMargin, height - 1.0 + kMargin}) {
      farU = std::fmax(farU, (x - shift.x) * c - (y - shift.y) * s);
      farV = std::fmax(farV, (x - shift.x) * s + (y - shift.y) * c);
    }
  }
  const auto extent = [](double far) {
    return static_cast<int32_t>(std::fmin(std::ceil(far) + kMargin, 1e9));
  };
  return {std::max(2, extent(farU)), std::max(2, extent(farV))};
}

kernels::Status RotateStrip(const FrameBuffer& strip, FrameBuffer& dst, float thetaDegrees,
                            double shiftX, double shiftY, int32_t interpolation) {
  if (strip.data == nullptr || dst.data == nullptr) return kernels::kNullPointer;
  if (strip.format != dst.format || strip.pixelBytes != dst.pixelBytes) return kernels::kBadSize;
  // A strip of pitch 0 holds one row for all its rows.
  FrameBuffer checked;
  checked.AttachFrame(strip);
  if (checked.pitch == 0) checked.pitch = checked.width * checked.pixelBytes;
  if (!IsConsistent(checked) || !IsConsistent(dst)) return kernels::kBadSize;
  if (strip.width < 2 || strip.height < 2) return kernels::kBadSize;
  const double s = std::sin(thetaDegrees * kDegrees);
  const double c = std::cos(thetaDegrees * kDegrees);
  const double lastU = strip.width - 1.0;
  const double lastV = strip.height - 1.0;
  const double corners[4][2] = {{0.0, 0.0}, {lastU, 0.0}, {lastU, lastV}, {0.0, lastV}};
  double from[4][2];
  double to[4][2];
  for (int i = 0; i < 4; ++i) {
    const double u = corners[i][0];
    const double v = corners[i][1];
    from[i][0] = u;
    from[i][1] = v;
    to[i][0] = shiftX + u * c + v * s;
    to[i][1] = shiftY - u * s + v * c;
  }
  const kernels::Rect stripRect{0, 0, strip.width, strip.height};
  const kernels::Rect dstRect{0, 0, dst.width, dst.height};
  switch (strip.format) {
    case PixelFormat8Gray:
      return kernels::WarpQuad8u_C1(strip.View(), stripRect, from, dst.View(), dstRect, to,
                                    interpolation);
    case PixelFormat32FGray:
      return kernels::WarpQuad32f_C1(strip.View(), stripRect, from, dst.View(), dstRect, to,
                                     interpolation);
    case PixelFormat8BGRA:
    case PixelFormat8ARGB:
      return kernels::WarpQuad8u_C4(strip.View(), stripRect, from, dst.View(), dstRect, to,
                                    interpolation);
    case PixelFormat32FBGRA:
    case PixelFormat32FARGB:
      return kernels::WarpQuad32f_C4(strip.View(), stripRect, from, dst.View(), dstRect, to,
                                     interpolation);
    default:
      return kernels::kBadSize;
  }
}

}  // namespace vitrella
