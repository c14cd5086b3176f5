#include "core/frame_geometry.h"

#include "kernels/resize.h"

namespace vitrella {
namespace {

bool IsByteQuad(const FrameBuffer& f) {
  return IsHostFormat(f.format) && !IsFloatFormat(f.format) && IsConsistent(f);
}

bool IsFloatQuad(const FrameBuffer& f) {
  return IsHostFormat(f.format) && IsFloatFormat(f.format) && IsConsistent(f);
}

}  // namespace

bool ResizeFrame(const FrameBuffer& src, FrameBuffer& dst, int32_t interpolation) {
  // The four-channel byte resize whatever the formats say; only the pixel size must fit.
  if (src.data == nullptr || dst.data == nullptr || src.pixelBytes != 4 || dst.pixelBytes != 4) {
    return false;
  }
  if (src.width < 1 || src.height < 1) return false;
  const double xFactor = static_cast<double>(dst.width) / static_cast<double>(src.width);
  const double yFactor = static_cast<double>(dst.height) / static_cast<double>(src.height);
  const kernels::Rect whole{0, 0, src.width, src.height};
  return kernels::ResizeImage8u_C4(src.View(), whole, dst.View(), xFactor, yFactor,
                                   interpolation) == kernels::kOk;
}

bool ResizeRect(const FrameBuffer& src, FrameRect rect, FrameBuffer& dst, double xFactor,
                double yFactor, int32_t interpolation) {
  const kernels::Rect from{rect.x, rect.y, rect.width, rect.height};
  kernels::Status s = kernels::kBadSize;
  if (IsByteQuad(src) && IsByteQuad(dst)) {
    s = kernels::ResizeImage8u_C4(src.View(), from, dst.View(), xFactor, yFactor, interpolation);
  } else if (IsFloatQuad(src) && IsFloatQuad(dst)) {
    s = kernels::ResizeImage32f_C4(src.View(), from, dst.View(), xFactor, yFactor, interpolation);
  } else if (src.pixelBytes == 1 && dst.pixelBytes == 1 && src.data != nullptr &&
             dst.data != nullptr) {
    s = kernels::ResizeImage8u_C1(src.View(), from, dst.View(), xFactor, yFactor, interpolation);
  } else {
    return false;
  }
  return s == kernels::kOk;
}

}  // namespace vitrella
