#include "core/frame_ops.h"

#include "kernels/channels.h"
#include "kernels/copy.h"

namespace vitrella {
namespace {

// A frame whose pixel size agrees with its format; anything else could make a kernel
// step outside the host's memory.
bool Consistent(const FrameBuffer& frame) {
  const int32_t bytes = FormatPixelBytes(frame.format);
  return frame.data != nullptr && bytes != 0 && frame.pixelBytes == bytes &&
         int64_t{frame.pitch} >= int64_t{frame.width} * bytes;
}

int32_t Channels(const FrameBuffer& frame) {
  return frame.format == PixelFormat8Gray || frame.format == PixelFormat32FGray ? 1 : 4;
}

}  // namespace

int32_t FormatPixelBytes(PixelFormat format) {
  switch (format) {
    case PixelFormat8BGRA:
    case PixelFormat8ARGB:
    case PixelFormat32FGray:
      return 4;
    case PixelFormat32FBGRA:
    case PixelFormat32FARGB:
      return 16;
    case PixelFormat8Gray:
      return 1;
  }
  return 0;
}

bool IsFloatFormat(PixelFormat format) {
  return format == PixelFormat32FBGRA || format == PixelFormat32FARGB ||
         format == PixelFormat32FGray;
}

bool CopyFrame(const FrameBuffer& src, FrameBuffer& dst) {
  if (!Consistent(src) || dst.data == nullptr || dst.pixelBytes != src.pixelBytes) return false;
  return kernels::CopyPixels(src.View(), dst.View(), src.pixelBytes) == kernels::kOk;
}

bool CopyWithBorder(const FrameBuffer& src, FrameBuffer& dst, int32_t left, int32_t top) {
  if (!Consistent(src) || !Consistent(dst) || dst.pixelBytes != src.pixelBytes) return false;
  const bool inPlace =
      src.data == dst.data || (src.width == dst.width && src.height == dst.height);
  if (inPlace) {
    if (src.data != dst.data &&
        kernels::CopyPixels(src.View(), dst.View(), src.pixelBytes) != kernels::kOk) {
      return false;
    }
    return kernels::ReplicateBorder(dst.View(), dst.pixelBytes, left, top, left, top) ==
           kernels::kOk;
  }
  return kernels::CopyWithBorder(src.View(), dst.View(), src.pixelBytes, left, top) ==
         kernels::kOk;
}

bool SetChannel(FrameBuffer& frame, int32_t channel, uint8_t value) {
  if (!Consistent(frame) || Channels(frame) != 4) return false;
  if (IsFloatFormat(frame.format)) {
    return kernels::SetChannel32f(frame.View(), channel, value * 0.003921569f) == kernels::kOk;
  }
  return kernels::SetChannel8u(frame.View(), channel, value) == kernels::kOk;
}

bool CopyChannel(const FrameBuffer& src, FrameBuffer& dst, int32_t srcChannel,
                 int32_t dstChannel) {
  if (!Consistent(src) || !Consistent(dst)) return false;
  if (IsFloatFormat(src.format) != IsFloatFormat(dst.format)) return false;
  const auto copy = IsFloatFormat(src.format) ? kernels::CopyChannel32f : kernels::CopyChannel8u;
  return copy(src.View(), Channels(src), srcChannel, dst.View(), Channels(dst), dstChannel) ==
         kernels::kOk;
}

}  // namespace vitrella
