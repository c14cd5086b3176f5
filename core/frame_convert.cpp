#include "core/frame_convert.h"

#include "core/frame_geometry.h"
#include "core/frame_ops.h"
#include "kernels/convert.h"
#include "kernels/gray.h"

namespace vitrella {
namespace {

kernels::ColourPositions PositionsOf(PixelFormat format) {
  return IsAlphaFirst(format) ? kernels::ColourPositions{3, 2, 1}
                              : kernels::ColourPositions{0, 1, 2};
}

// The gray of the common extent, without any scaling of sizes.
bool GrayOfCommonExtent(const FrameBuffer& src, FrameBuffer& dst) {
  const kernels::ColourPositions at = PositionsOf(src.format);
  const bool floatIn = IsFloatFormat(src.format);
  const bool floatOut = dst.format == PixelFormat32FGray;
  kernels::Status s;
  if (floatIn) {
    s = floatOut ? kernels::ToGray32f(src.View(), at, dst.View())
                 : kernels::ToGray32fTo8u(src.View(), at, dst.View());
  } else {
    s = floatOut ? kernels::ToGray8uTo32f(src.View(), 4, at, dst.View())
                 : kernels::ToGray8u(src.View(), 4, at, dst.View());
  }
  return s == kernels::kOk;
}

}  // namespace

bool ConvertFrame(const FrameBuffer& src, FrameBuffer& dst) {
  if (!IsFourChannel(src) || !IsFourChannel(dst)) return false;
  const PixelFormat from = src.format;
  const PixelFormat to = dst.format;
  const auto is = [&](PixelFormat a, PixelFormat b) { return from == a && to == b; };
  if (is(PixelFormat8BGRA, PixelFormat8ARGB) || is(PixelFormat8ARGB, PixelFormat8BGRA) ||
      is(PixelFormat32FBGRA, PixelFormat32FARGB) || is(PixelFormat32FARGB, PixelFormat32FBGRA)) {
    return ReverseChannels(src, dst);
  }
  kernels::Status s = kernels::kBadSize;
  if (is(PixelFormat8BGRA, PixelFormat32FBGRA) || is(PixelFormat8ARGB, PixelFormat32FARGB)) {
    s = kernels::BytesToUnitFloats_C4(src.View(), dst.View(), false);
  } else if (is(PixelFormat8BGRA, PixelFormat32FARGB)) {
    s = kernels::BytesToUnitFloats_C4(src.View(), dst.View(), true);
  } else if (is(PixelFormat32FBGRA, PixelFormat8BGRA) || is(PixelFormat32FARGB, PixelFormat8ARGB)) {
    s = kernels::UnitFloatsToBytes_C4(src.View(), dst.View(), false);
  } else if (is(PixelFormat32FARGB, PixelFormat8BGRA)) {
    s = kernels::UnitFloatsToBytes_C4(src.View(), dst.View(), true);
  } else {
    return false;
  }
  return s == kernels::kOk;
}

bool ConvertFloatToByte(const FrameBuffer& src, FrameBuffer& dst, int32_t roundMode) {
  if (!IsConsistent(src) || !IsConsistent(dst)) return false;
  if (!IsFloatFormat(src.format) || IsFloatFormat(dst.format)) return false;
  const int32_t values = src.pixelBytes / 4;
  if (dst.pixelBytes != values) return false;
  return kernels::FloatToByte(src.View(), dst.View(), values, roundMode) == kernels::kOk;
}

bool ConvertByteToFloat(const FrameBuffer& src, FrameBuffer& dst) {
  return ConvertByteToFloatDivided(src, dst, 1.0f);
}

bool ConvertFloatToByteScaled(const FrameBuffer& src, FrameBuffer& dst, float factor) {
  if (!IsConsistent(src) || !IsConsistent(dst)) return false;
  if (!IsFloatFormat(src.format) || IsFloatFormat(dst.format)) return false;
  const int32_t values = src.pixelBytes / 4;
  if (dst.pixelBytes != values) return false;
  return kernels::ScaledFloatToByte(src.View(), dst.View(), values, factor) == kernels::kOk;
}

bool ConvertByteToFloatDivided(const FrameBuffer& src, FrameBuffer& dst, float divisor) {
  if (!IsConsistent(src) || !IsConsistent(dst)) return false;
  if (IsFloatFormat(src.format) || !IsFloatFormat(dst.format)) return false;
  const int32_t values = src.pixelBytes;
  if (dst.pixelBytes != 4 * values) return false;
  return kernels::ByteToDividedFloat(src.View(), dst.View(), values, divisor) == kernels::kOk;
}

bool ToGray(const FrameBuffer& src, FrameBuffer& dst, MemoryAllocator* memory,
            int32_t interpolation) {
  if (!IsFourChannel(src) || !IsConsistent(dst)) return false;
  if (dst.format != PixelFormat8Gray && dst.format != PixelFormat32FGray) return false;
  if (src.width <= dst.width && src.height <= dst.height) return GrayOfCommonExtent(src, dst);
  return ScaleToGray(src, dst, memory, interpolation);
}

bool ScaleToGray(const FrameBuffer& src, FrameBuffer& dst, MemoryAllocator* memory,
                 int32_t interpolation) {
  if (!IsFourChannel(src) || !IsConsistent(dst)) return false;
  if (dst.format != PixelFormat8Gray && dst.format != PixelFormat32FGray) return false;
  if (src.width == dst.width && src.height == dst.height) return GrayOfCommonExtent(src, dst);
  // Gray is a weighted sum and every interpolation a weighted mean, so scaling the colour
  // picture first gives the gray of the scaled picture with one pass over the large one
  // and a scratch frame only of the destination's size.
  FrameBuffer scaled;
  if (!scaled.Allocate(dst.width, dst.height, src.pixelBytes, memory, src.format, false)) {
    return false;
  }
  const double xFactor = static_cast<double>(dst.width) / static_cast<double>(src.width);
  const double yFactor = static_cast<double>(dst.height) / static_cast<double>(src.height);
  return ResizeRect(src, FrameRect{0, 0, src.width, src.height}, scaled, xFactor, yFactor,
                    interpolation) &&
         GrayOfCommonExtent(scaled, dst);
}

}  // namespace vitrella
