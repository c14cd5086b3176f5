#include "core/colour_ops.h"

#include <vector>

#include "core/frame_ops.h"
#include "core/linear_filter_ops.h"
#include "kernels/tint.h"
#include "vitrella/pixel_format.h"

namespace vitrella {
namespace {

bool IsGray(const FrameBuffer& f) {
  return IsConsistent(f) && (f.format == PixelFormat8Gray || f.format == PixelFormat32FGray);
}

bool Mix(const FrameBuffer& a, const FrameBuffer& b, const kernels::ConstImageView& mask,
         int32_t maskStep, FrameBuffer& dst) {
  const int32_t alpha = AlphaChannelOf(a.format);
  if (IsFloatFormat(a.format)) {
    return kernels::Mix32f_C4(a.View(), b.View(), mask, maskStep, dst.View(), alpha) ==
           kernels::kOk;
  }
  const kernels::MixDivide divide =
      a.format == PixelFormat8ARGB ? kernels::MixDivide::kShift8 : kernels::MixDivide::kBy255;
  return kernels::Mix8u_C4(a.View(), b.View(), mask, maskStep, dst.View(), alpha, divide) ==
         kernels::kOk;
}

bool SameFourChannelFormat(const FrameBuffer& a, const FrameBuffer& b, const FrameBuffer& dst) {
  return IsFourChannel(a) && IsFourChannel(b) && IsFourChannel(dst) && a.format == b.format &&
         a.format == dst.format;
}

}  // namespace

bool MixFrames(const FrameBuffer& a, const FrameBuffer& b, const FrameBuffer& mask,
               FrameBuffer& dst) {
  if (!SameFourChannelFormat(a, b, dst) || !IsGray(mask)) return false;
  if (IsFloatFormat(mask.format) != IsFloatFormat(a.format)) return false;
  return Mix(a, b, mask.View(), mask.pixelBytes, dst);
}

bool MixFramesByAlpha(const FrameBuffer& a, const FrameBuffer& b, FrameBuffer& dst) {
  if (!SameFourChannelFormat(a, b, dst)) return false;
  const int32_t sample = IsFloatFormat(a.format) ? 4 : 1;
  kernels::ConstImageView alpha = a.View();
  alpha.data += static_cast<ptrdiff_t>(AlphaChannelOf(a.format)) * sample;
  return Mix(a, b, alpha, a.pixelBytes, dst);
}

bool FillColour(FrameBuffer& frame, float red, float green, float blue) {
  if (!IsFourChannel(frame)) return false;
  const ChannelPlaces places = ChannelPlacesOf(frame.format);
  const bool isFloat = IsFloatFormat(frame.format);
  float values[4] = {};
  values[places.red] = red;
  values[places.green] = green;
  values[places.blue] = blue;
  uint8_t bytes[4] = {};
  for (int c = 0; c < 4; ++c) {
    const float v = values[c] < 0.0f ? 0.0f : values[c] > 255.0f ? 255.0f : values[c];
    bytes[c] = static_cast<uint8_t>(v);
  }
  // Whole pixels: the colour, and the alpha each pixel held.
  for (int32_t y = 0; y < frame.height; ++y) {
    if (isFloat) {
      float* row = frame.Row<float>(y);
      for (int32_t x = 0; x < frame.width; ++x) {
        const float kept = row[4 * x + places.alpha];
        for (int c = 0; c < 4; ++c)
          row[4 * x + c] = values[c];
        row[4 * x + places.alpha] = kept;
      }
    } else {
      uint8_t* row = frame.Row(y);
      for (int32_t x = 0; x < frame.width; ++x) {
        const uint8_t kept = row[4 * x + places.alpha];
        for (int c = 0; c < 4; ++c)
          row[4 * x + c] = bytes[c];
        row[4 * x + places.alpha] = kept;
      }
    }
  }
  return true;
}

bool BoxBlurMask(FrameBuffer& mask, int32_t size, MemoryAllocator* memory) {
  if (!IsGray(mask) || size < 1 || (size & 1) == 0) return false;
  if (size == 1) return true;
  const int32_t r = size >> 1;
  const int64_t paddedW = int64_t{mask.width} + 2 * r;
  const int64_t paddedH = int64_t{mask.height} + 2 * r;
  if (paddedW > INT32_MAX / 16 || paddedH > INT32_MAX / 16) return false;
  FrameBuffer padded;
  FrameBuffer columns;
  const auto w = static_cast<int32_t>(paddedW);
  const auto h = static_cast<int32_t>(paddedH);
  if (!padded.Allocate(w, h, mask.pixelBytes, memory, mask.format, false) ||
      !columns.Allocate(w, h, mask.pixelBytes, memory, mask.format, false)) {
    return false;
  }
  if (!CopyWithBorder(mask, padded, r, r)) return false;
  bool ok = false;
  if (mask.format == PixelFormat8Gray) {
    const std::vector<int32_t> ones(static_cast<size_t>(size), 1);
    ok = ColumnFilter(padded, columns, ones.data(), size, r, size, 0) &&
         RowFilter(columns, padded, ones.data(), size, r, size, 0);
  } else {
    const std::vector<float> ones(static_cast<size_t>(size), 1.0f / static_cast<float>(size));
    ok = ColumnFilter(padded, columns, ones.data(), size, r, 0) &&
         RowFilter(columns, padded, ones.data(), size, r, 0);
  }
  return ok && CopyFrameRect(padded, {r, r, mask.width, mask.height}, mask, 0, 0);
}

}  // namespace vitrella
