#include "core/colour_ops.h"

#include <algorithm>
#include <cstring>
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

// A flat colour's four channels in a format's order, as floats and as bytes (clamped to
// 0..255 and truncated); alpha's place holds 0.
struct PlacedColour {
  float values[4] = {};
  uint8_t bytes[4] = {};
};

PlacedColour PlaceColour(FlatColour colour, const ChannelPlaces& places) {
  PlacedColour placed;
  placed.values[places.red] = colour.red;
  placed.values[places.green] = colour.green;
  placed.values[places.blue] = colour.blue;
  for (int c = 0; c < 4; ++c) {
    const float v = placed.values[c];
    placed.bytes[c] = static_cast<uint8_t>(v < 0.0f ? 0.0f : v > 255.0f ? 255.0f : v);
  }
  return placed;
}

bool FillColour(FrameBuffer& frame, float red, float green, float blue) {
  if (!IsFourChannel(frame)) return false;
  const ChannelPlaces places = ChannelPlacesOf(frame.format);
  const bool isFloat = IsFloatFormat(frame.format);
  const PlacedColour placed = PlaceColour({red, green, blue}, places);
  const float* values = placed.values;
  const uint8_t* bytes = placed.bytes;
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

bool MixColours(FlatColour first, FlatColour second, const FrameBuffer& mask, FrameBuffer& dst) {
  if (!IsFourChannel(dst) || !IsGray(mask)) return false;
  if (IsFloatFormat(mask.format) != IsFloatFormat(dst.format)) return false;
  const ChannelPlaces places = ChannelPlacesOf(dst.format);
  const PlacedColour a = PlaceColour(first, places);
  const PlacedColour b = PlaceColour(second, places);
  const int32_t width = std::min(mask.width, dst.width);
  const int32_t height = std::min(mask.height, dst.height);
  if (IsFloatFormat(dst.format)) {
    // Runs of whole pixels, alpha saved and put back, so that the loop vectorises.
    constexpr int32_t kRun = 256;
    float kept[kRun];
    for (int32_t y = 0; y < height; ++y) {
      for (int32_t x = 0; x < width; x += kRun) {
        const int32_t count = std::min(kRun, width - x);
        const float* m = mask.Row<const float>(y) + x;
        float* out = dst.Row<float>(y) + 4 * x;
        for (int32_t i = 0; i < count; ++i)
          kept[i] = out[4 * i + places.alpha];
        for (int32_t i = 0; i < count; ++i) {
          const float t = m[i];
          for (int c = 0; c < 4; ++c)
            out[4 * i + c] = std::min(a.values[c] * t + b.values[c] * (1.0f - t), 1.0f);
        }
        for (int32_t i = 0; i < count; ++i)
          out[4 * i + places.alpha] = kept[i];
      }
    }
    return true;
  }
  // The mix's rule for each of the 256 mask values, the colour bytes in place and alpha 0.
  const bool shift = dst.format == PixelFormat8ARGB;
  uint32_t colours[256];
  for (int32_t t = 0; t < 256; ++t) {
    uint8_t bytes[4] = {};
    for (int c = 0; c < 4; ++c) {
      const int32_t sum = a.bytes[c] * t + b.bytes[c] * (255 - t);
      bytes[c] = static_cast<uint8_t>(std::min(shift ? sum >> 8 : sum / 255, 255));
    }
    bytes[places.alpha] = 0;
    std::memcpy(&colours[t], bytes, 4);
  }
  uint32_t alphaBits = 0;
  std::memset(reinterpret_cast<uint8_t*>(&alphaBits) + places.alpha, 0xFF, 1);
  for (int32_t y = 0; y < height; ++y) {
    const uint8_t* m = mask.Row(y);
    uint8_t* out = dst.Row(y);
    for (int32_t x = 0; x < width; ++x) {
      uint32_t pixel;
      std::memcpy(&pixel, out + 4 * x, 4);
      pixel = (pixel & alphaBits) | colours[m[x]];
      std::memcpy(out + 4 * x, &pixel, 4);
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
