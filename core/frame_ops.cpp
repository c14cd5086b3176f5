#include "core/frame_ops.h"

#include <algorithm>
#include <cstdint>

#include "kernels/channels.h"
#include "kernels/copy.h"

namespace vitrella {
namespace {

int32_t Channels(const FrameBuffer& frame) {
  return frame.format == PixelFormat8Gray || frame.format == PixelFormat32FGray ? 1 : 4;
}

}  // namespace

bool IsConsistent(const FrameBuffer& frame) {
  const int32_t bytes = FormatPixelBytes(frame.format);
  return frame.data != nullptr && bytes != 0 && frame.pixelBytes == bytes &&
         int64_t{frame.pitch} >= int64_t{frame.width} * bytes;
}

bool IsFourChannel(const FrameBuffer& frame) {
  return IsConsistent(frame) && frame.format != PixelFormat8Gray &&
         frame.format != PixelFormat32FGray;
}

bool FramesShareMemory(const FrameBuffer& a, const FrameBuffer& b) {
  const auto end = [](const FrameBuffer& f) {
    return reinterpret_cast<uintptr_t>(f.data) + static_cast<uintptr_t>(f.pitch) * f.height;
  };
  return reinterpret_cast<uintptr_t>(a.data) < end(b) &&
         reinterpret_cast<uintptr_t>(b.data) < end(a);
}

bool CopyFrame(const FrameBuffer& src, FrameBuffer& dst) {
  if (src.data == nullptr || dst.data == nullptr) return false;
  // A format the library does not know counts as one byte per pixel, and goes only into
  // a one-byte destination.
  const bool known = FormatPixelBytes(src.format) != 0;
  const int32_t bytes = known ? src.pixelBytes : 1;
  if ((known && !IsConsistent(src)) || dst.pixelBytes != bytes) return false;
  const auto holds = [bytes](const FrameBuffer& f) {
    return int64_t{f.pitch} >= int64_t{f.width} * bytes;
  };
  if (!holds(src) || !holds(dst)) return false;
  return kernels::CopyPixels(src.View(), dst.View(), bytes) == kernels::kOk;
}

bool CopyFrameRect(const FrameBuffer& src, FrameRect rect, FrameBuffer& dst, int32_t x, int32_t y) {
  if (!IsConsistent(src) || !IsConsistent(dst) || dst.pixelBytes != src.pixelBytes) return false;
  if (rect.x < 0 || rect.y < 0 || x < 0 || y < 0) return false;
  const int32_t width = std::min({rect.width, src.width - rect.x, dst.width - x});
  const int32_t height = std::min({rect.height, src.height - rect.y, dst.height - y});
  if (width < 1 || height < 1) return false;
  const int32_t bytes = src.pixelBytes;
  return kernels::CopyPixels(src.View().Sub(rect.x, rect.y, width, height, bytes),
                             dst.View().Sub(x, y, width, height, bytes), bytes) == kernels::kOk;
}

bool ClearFrame(FrameBuffer& frame) {
  if (!IsConsistent(frame)) return false;
  return kernels::ClearPixels(frame.View(), frame.pixelBytes) == kernels::kOk;
}

bool CopyWithBorder(const FrameBuffer& src, FrameBuffer& dst, int32_t left, int32_t top) {
  if (!IsConsistent(src) || !IsConsistent(dst) || dst.pixelBytes != src.pixelBytes) return false;
  const bool inPlace = src.data == dst.data || (src.width == dst.width && src.height == dst.height);
  if (inPlace) {
    if (src.data != dst.data &&
        kernels::CopyPixels(src.View(), dst.View(), src.pixelBytes) != kernels::kOk) {
      return false;
    }
    return kernels::ReplicateBorder(dst.View(), dst.pixelBytes, left, top, left, top) ==
           kernels::kOk;
  }
  return kernels::CopyWithBorder(src.View(), dst.View(), src.pixelBytes, left, top) == kernels::kOk;
}

bool SetChannel(FrameBuffer& frame, int32_t channel, uint8_t value) {
  if (!IsConsistent(frame) || Channels(frame) != 4) return false;
  if (IsFloatFormat(frame.format)) {
    return kernels::SetChannel32f(frame.View(), channel, value * 0.003921569f) == kernels::kOk;
  }
  return kernels::SetChannel8u(frame.View(), channel, value) == kernels::kOk;
}

bool CopyChannel(const FrameBuffer& src, FrameBuffer& dst, int32_t srcChannel, int32_t dstChannel) {
  if (!IsConsistent(src) || !IsConsistent(dst)) return false;
  if (IsFloatFormat(src.format) != IsFloatFormat(dst.format)) return false;
  const auto copy = IsFloatFormat(src.format) ? kernels::CopyChannel32f : kernels::CopyChannel8u;
  return copy(src.View(), Channels(src), srcChannel, dst.View(), Channels(dst), dstChannel) ==
         kernels::kOk;
}

bool ReverseChannels(const FrameBuffer& src, FrameBuffer& dst) {
  if (!IsFourChannel(src) || !IsFourChannel(dst) || src.pixelBytes != dst.pixelBytes) return false;
  const auto reverse =
      IsFloatFormat(src.format) ? kernels::ReverseChannels32f_C4 : kernels::ReverseChannels8u_C4;
  return reverse(src.View(), dst.View()) == kernels::kOk;
}

bool SwapChannels(FrameBuffer& frame, const int32_t order[4]) {
  if (!IsFourChannel(frame) || IsFloatFormat(frame.format)) return false;
  return kernels::SwapChannels8u_C4(frame.View(), order) == kernels::kOk;
}

bool InvertChannel(FrameBuffer& frame, int32_t channel) {
  if (!IsConsistent(frame)) return false;
  const auto invert =
      IsFloatFormat(frame.format) ? kernels::InvertChannel32f : kernels::InvertChannel8u;
  return invert(frame.View(), Channels(frame), channel) == kernels::kOk;
}

}  // namespace vitrella
