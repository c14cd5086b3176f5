#include "core/linear_filter_ops.h"

#include <algorithm>
#include <cstdint>
#include <type_traits>

#include "core/frame_ops.h"
#include "kernels/linear_filter.h"

namespace vitrella {
namespace {

enum class Pixels { kNone, kBytes4, kFloats4, kBytes1, kFloats1 };

// The kernel family of a frame whose pixel size and pitch agree with its format.
Pixels PixelsOf(const FrameBuffer& frame) {
  if (frame.data == nullptr || frame.pixelBytes != FormatPixelBytes(frame.format) ||
      int64_t{frame.pitch} < int64_t{frame.width} * frame.pixelBytes) {
    return Pixels::kNone;
  }
  switch (frame.format) {
    case PixelFormat8BGRA:
    case PixelFormat8ARGB:
      return Pixels::kBytes4;
    case PixelFormat32FBGRA:
    case PixelFormat32FARGB:
      return Pixels::kFloats4;
    case PixelFormat8Gray:
      return Pixels::kBytes1;
    case PixelFormat32FGray:
      return Pixels::kFloats1;
  }
  return Pixels::kNone;
}

// The pixels of a line that the filter writes, `count` from `start`, and the part of the
// kernel that it uses.
struct Span {
  int32_t start = 0;
  int32_t count = 0;
  int32_t firstTap = 0;
  int32_t taps = 0;
  int32_t anchor = 0;
};

Span FilteredSpan(int32_t extent, int32_t length, int32_t anchor) {
  if (length <= extent) {
    const int32_t half = length / 2;
    const int32_t start = std::max(half, anchor);
    const int32_t end = std::min(extent - half, extent - length + 1 + anchor);
    return {start, std::max(end - start, 0), 0, length, anchor};
  }
  const int32_t middle = extent / 2;
  const int32_t firstTap = std::max(0, anchor - middle);
  const int32_t lastTap = std::min(length - 1, anchor + extent - 1 - middle);
  return {middle, 1, firstTap, lastTap - firstTap + 1, anchor - firstTap};
}

// Checks the frames once, cuts the views to the filtered span and hands them to `run`
// with the part of the kernel that applies.
template <typename Weight, typename Run>
bool Filter(bool alongRows, const FrameBuffer& src, FrameBuffer& dst, const Weight* kernel,
            int32_t length, int32_t anchor, uint8_t keepAlpha, Run run) {
  constexpr bool kFloats = std::is_same_v<Weight, float>;
  const Pixels pixels = PixelsOf(src);
  const bool floatPixels = pixels == Pixels::kFloats4 || pixels == Pixels::kFloats1;
  if (pixels == Pixels::kNone || pixels != PixelsOf(dst) || floatPixels != kFloats) return false;
  if (kernel == nullptr || length < 1 || anchor < 0 || anchor >= length) return false;
  if (FramesShareMemory(src, dst)) return false;
  const kernels::Size size = kernels::MinSize(src.View().Extent(), dst.View().Extent());
  if (size.width < 1 || size.height < 1) return false;
  const Span span = FilteredSpan(alongRows ? size.width : size.height, length, anchor);
  if (span.count == 0) return true;
  const int32_t x = alongRows ? span.start : 0;
  const int32_t y = alongRows ? 0 : span.start;
  const int32_t w = alongRows ? span.count : size.width;
  const int32_t h = alongRows ? size.height : span.count;
  int32_t channel = kernels::kFilterAllChannels;
  PixelLayout layout;
  if (!keepAlpha && FourChannelLayout(dst, &layout)) channel = layout.alpha;
  return run(pixels, src.View().Sub(x, y, w, h, src.pixelBytes),
             dst.View().Sub(x, y, w, h, dst.pixelBytes), kernel + span.firstTap, span.taps,
             span.anchor, channel) == kernels::kOk;
}

}  // namespace

bool RowFilter(const FrameBuffer& src, FrameBuffer& dst, const int32_t* kernel, int32_t length,
               int32_t anchor, int32_t divisor, uint8_t keepAlpha) {
  return Filter(true, src, dst, kernel, length, anchor, keepAlpha,
                [divisor](Pixels pixels, kernels::ConstImageView from, kernels::ImageView to,
                          const int32_t* taps, int32_t count, int32_t at, int32_t channel) {
                  return pixels == Pixels::kBytes4
                             ? kernels::RowFilter8u_C4(from, to, taps, count, at, divisor, channel)
                             : kernels::RowFilter8u_C1(from, to, taps, count, at, divisor);
                });
}

bool RowFilter(const FrameBuffer& src, FrameBuffer& dst, const float* kernel, int32_t length,
               int32_t anchor, uint8_t keepAlpha) {
  return Filter(true, src, dst, kernel, length, anchor, keepAlpha,
                [](Pixels pixels, kernels::ConstImageView from, kernels::ImageView to,
                   const float* taps, int32_t count, int32_t at, int32_t channel) {
                  return pixels == Pixels::kFloats4
                             ? kernels::RowFilter32f_C4(from, to, taps, count, at, channel)
                             : kernels::RowFilter32f_C1(from, to, taps, count, at);
                });
}

bool ColumnFilter(const FrameBuffer& src, FrameBuffer& dst, const int32_t* kernel, int32_t length,
                  int32_t anchor, int32_t divisor, uint8_t keepAlpha) {
  return Filter(false, src, dst, kernel, length, anchor, keepAlpha,
                [divisor](Pixels pixels, kernels::ConstImageView from, kernels::ImageView to,
                          const int32_t* taps, int32_t count, int32_t at, int32_t channel) {
                  return pixels == Pixels::kBytes4
                             ? kernels::ColumnFilter8u_C4(from, to, taps, count, at, divisor,
                                                          channel)
                             : kernels::ColumnFilter8u_C1(from, to, taps, count, at, divisor);
                });
}

bool ColumnFilter(const FrameBuffer& src, FrameBuffer& dst, const float* kernel, int32_t length,
                  int32_t anchor, uint8_t keepAlpha) {
  return Filter(false, src, dst, kernel, length, anchor, keepAlpha,
                [](Pixels pixels, kernels::ConstImageView from, kernels::ImageView to,
                   const float* taps, int32_t count, int32_t at, int32_t channel) {
                  return pixels == Pixels::kFloats4
                             ? kernels::ColumnFilter32f_C4(from, to, taps, count, at, channel)
                             : kernels::ColumnFilter32f_C1(from, to, taps, count, at);
                });
}

}  // namespace vitrella
