#include "kernels/resize.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <memory>
#include <new>

#include "kernels/dispatch.h"
#include "kernels/resize_hwy.h"
#include "kernels/resize_rows.h"

namespace vitrella::kernels {
namespace {

template <typename T>
std::unique_ptr<T[]> Scratch(size_t count) {
  return std::unique_ptr<T[]>(new (std::nothrow) T[count]);
}

// The position that destination index i samples along an axis of `length` source pixels,
// (i + origin) / factor, as the pixel at or before it and the fraction beyond; positions
// past the last pixel (an infinite one too, for a tiny factor) take the last pixel, and
// those before the first, which only a shifted resize's first index meets, the first.
struct AxisPosition {
  int32_t index;
  double fraction;
};

AxisPosition PositionOf(int32_t i, double factor, int32_t length, double origin = 0.0) {
  const double position = (i + origin) / factor;
  if (!(position < length - 1)) return {length - 1, 0.0};
  if (position < 0.0) return {0, 0.0};
  const double whole = std::floor(position);
  return {static_cast<int32_t>(whole), position - whole};
}

int32_t ClampIndex(int32_t i, int32_t length) {
  return i < 0 ? 0 : i >= length ? length - 1 : i;
}

// Source indices and weights of the `taps` pixels around position i: two for bilinear,
// four for Catmull-Rom cubic, indices clamped to the axis. The centre tap's weight is
// not used (see CentreTap).
void InterpolationTaps(int32_t i, double factor, int32_t length, int32_t taps, int32_t* index,
                       float* weight, double origin) {
  const AxisPosition p = PositionOf(i, factor, length, origin);
  const double t = p.fraction;
  if (taps == 2) {
    index[0] = p.index;
    index[1] = ClampIndex(p.index + 1, length);
    weight[0] = 0.0f;
    weight[1] = static_cast<float>(t);
    return;
  }
  for (int32_t k = 0; k < 4; ++k)
    index[k] = ClampIndex(p.index + k - 1, length);
  weight[0] = static_cast<float>(((-t + 2.0) * t - 1.0) * t * 0.5);
  weight[1] = 0.0f;
  weight[2] = static_cast<float>(((-3.0 * t + 4.0) * t + 1.0) * t * 0.5);
  weight[3] = static_cast<float>((t - 1.0) * t * t * 0.5);
}

// The column taps of a whole destination row, in the layout of ResizeTaps, along a source
// row of `length` pixels.
ResizeTaps BuildColumnTaps(int32_t count, double factor, double origin, int32_t length,
                           int32_t taps, int32_t pixelBytes, int32_t channels, int32_t* offset,
                           float* weight) {
  ResizeTaps columns{taps, count, offset, weight, count, count};
  bool inRun = false;
  for (int32_t x = 0; x < count; ++x) {
    int32_t index[4];
    float w[4];
    InterpolationTaps(x, factor, length, taps, index, w, origin);
    bool neighbours = int64_t{index[0]} + 16 / pixelBytes <= length;
    for (int32_t k = 0; k < taps; ++k) {
      const ptrdiff_t at = static_cast<ptrdiff_t>(k) * count + x;
      offset[at] = index[k] * pixelBytes;
      for (int32_t c = 0; c < channels; ++c)
        weight[at * channels + c] = w[k];
      neighbours = neighbours && index[k] == index[0] + k;
    }
    // Taps are clamped only at the two ends of the row, so the run is one piece.
    if (neighbours && !inRun) columns.runFirst = x;
    if (!neighbours && inRun) columns.runEnd = x;
    inRun = neighbours;
  }
  if (columns.runEnd < columns.runFirst) columns.runEnd = columns.runFirst;
  return columns;
}

using ResampleFn = void (*)(const uint8_t* row, const ResizeTaps& taps, float* out);
template <typename T>
using BlendFn = void (*)(const float* const* rows, const float* weights, int32_t taps, T* out,
                         int32_t count);

// Where destination index 0 lies, in destination pixels from the source's origin.
struct Origin {
  double x = 0.0;
  double y = 0.0;
};

// Bilinear and cubic: each source row that a destination row needs is resampled along
// the row once into one of `taps` cached rows, then the cached rows are blended down.
template <typename T, int kChannels>
Status ResizeSeparable(ConstImageView area, ImageView dst, double xFactor, double yFactor,
                       int32_t taps, ResampleFn resample, BlendFn<T> blend, Origin origin = {}) {
  const int32_t width = dst.width;
  const size_t values = static_cast<size_t>(width) * kChannels;
  auto offsets = Scratch<int32_t>(static_cast<size_t>(taps) * width);
  auto weights = Scratch<float>(taps * values);
  auto cache = Scratch<float>(taps * values);
  if (!offsets || !weights || !cache) return kNoMemory;
  const ResizeTaps columns =
      BuildColumnTaps(width, xFactor, origin.x, area.width, taps, kChannels * sizeof(T), kChannels,
                      offsets.get(), weights.get());

  int32_t cachedRow[4] = {-1, -1, -1, -1};
  for (int32_t y = 0; y < dst.height; ++y) {
    int32_t need[4];
    float rowWeights[4];
    InterpolationTaps(y, yFactor, area.height, taps, need, rowWeights, origin.y);
    const float* rows[4] = {};
    for (int32_t k = 0; k < taps; ++k) {
      int32_t slot = -1;
      for (int32_t s = 0; s < taps && slot < 0; ++s) {
        if (cachedRow[s] == need[k]) slot = s;
      }
      if (slot < 0) {
        // A slot that no tap of this row needs; one exists, as there are as many slots
        // as taps and this tap's row is not cached.
        for (int32_t s = 0; s < taps && slot < 0; ++s) {
          bool needed = false;
          for (int32_t j = 0; j < taps; ++j)
            needed = needed || cachedRow[s] == need[j];
          if (!needed) slot = s;
        }
        resample(area.Row(need[k]), columns, cache.get() + slot * values);
        cachedRow[slot] = need[k];
      }
      rows[k] = cache.get() + slot * values;
    }
    blend(rows, rowWeights, taps, dst.Row<T>(y), static_cast<int32_t>(values));
  }
  return kOk;
}

// Nearest neighbour: pixel copies through a column table; a destination row that reads
// the same source row as the one above is a copy of it.
template <int kPixelBytes>
Status ResizeNearest(ConstImageView area, ImageView dst, double xFactor, double yFactor) {
  auto columns = Scratch<int32_t>(dst.width);
  if (!columns) return kNoMemory;
  for (int32_t x = 0; x < dst.width; ++x) {
    columns[x] = PositionOf(x, xFactor, area.width).index * kPixelBytes;
  }
  const size_t rowBytes = static_cast<size_t>(dst.width) * kPixelBytes;
  int32_t previous = -1;
  for (int32_t y = 0; y < dst.height; ++y) {
    const int32_t source = PositionOf(y, yFactor, area.height).index;
    uint8_t* out = dst.Row(y);
    if (source == previous) {
      std::memcpy(out, dst.Row(y - 1), rowBytes);
      continue;
    }
    const uint8_t* row = area.Row(source);
    for (int32_t x = 0; x < dst.width; ++x) {
      std::memcpy(out + static_cast<ptrdiff_t>(x) * kPixelBytes, row + columns[x], kPixelBytes);
    }
    previous = source;
  }
  return kOk;
}

// The source pixels that destination index i covers along an axis: the interval
// [i, i + 1) / factor, cut to the axis; an interval past the end takes the last pixel.
struct AxisArea {
  int32_t first;
  int32_t last;
  double begin;
  double end;
};

AxisArea AreaOf(int32_t i, double factor, int32_t length) {
  const double begin = i / factor;
  if (!(begin < length)) return {length - 1, length - 1, length - 1.0, static_cast<double>(length)};
  double end = (i + 1) / factor;
  if (!(end < length)) end = length;
  const int32_t first = static_cast<int32_t>(std::floor(begin));
  const int32_t last = static_cast<int32_t>(std::ceil(end)) - 1;
  return {first, last, begin, end};
}

// The share of pixel j in an area: its overlap over the area's length.
float AreaWeight(const AxisArea& area, int32_t j) {
  const double overlap =
      std::fmin(j + 1.0, area.end) - std::fmax(static_cast<double>(j), area.begin);
  return static_cast<float>(overlap / (area.end - area.begin));
}

// Supersampling: each destination pixel is the overlap-weighted mean of the source pixels
// under it, rows resampled along and summed down into an accumulator row.
template <typename T, int kChannels>
Status ResizeArea(ConstImageView area, ImageView dst, double xFactor, double yFactor) {
  const int32_t width = dst.width;
  auto spans = Scratch<AxisArea>(width);
  if (!spans) return kNoMemory;
  size_t tapCount = 0;
  for (int32_t x = 0; x < width; ++x) {
    spans[x] = AreaOf(x, xFactor, area.width);
    tapCount += static_cast<size_t>(spans[x].last - spans[x].first + 1);
  }
  const size_t values = static_cast<size_t>(width) * kChannels;
  auto tapWeights = Scratch<float>(tapCount);
  auto along = Scratch<float>(values);
  auto sum = Scratch<float>(values);
  if (!tapWeights || !along || !sum) return kNoMemory;
  size_t at = 0;
  for (int32_t x = 0; x < width; ++x) {
    for (int32_t j = spans[x].first; j <= spans[x].last; ++j)
      tapWeights[at++] = AreaWeight(spans[x], j);
  }

  for (int32_t y = 0; y < dst.height; ++y) {
    const AxisArea down = AreaOf(y, yFactor, area.height);
    for (int32_t j = down.first; j <= down.last; ++j) {
      const uint8_t* row = area.Row(j);
      const float* w = tapWeights.get();
      for (int32_t x = 0; x < width; ++x) {
        for (int c = 0; c < kChannels; ++c) {
          float value = 0.0f;
          for (int32_t i = 0; i <= spans[x].last - spans[x].first; ++i) {
            const ptrdiff_t index = static_cast<ptrdiff_t>(spans[x].first + i) * kChannels + c;
            value = value + LoadValue<T>(row + index * sizeof(T)) * w[i];
          }
          along[x * kChannels + c] = value;
        }
        w += spans[x].last - spans[x].first + 1;
      }
      const float rowWeight = AreaWeight(down, j);
      for (size_t i = 0; i < values; ++i) {
        sum[i] = (j == down.first ? 0.0f : sum[i]) + along[i] * rowWeight;
      }
    }
    T* out = dst.Row<T>(y);
    for (size_t i = 0; i < values; ++i)
      StoreResult(sum[i], out + i);
  }
  return kOk;
}

bool ValidFactor(double factor) {
  return std::isfinite(factor) && factor > 0.0;
}

template <typename T, int kChannels>
Status Resize(ConstImageView src, Rect srcRect, ImageView dst, double xFactor, double yFactor,
              int32_t interpolation, ResampleFn resample, BlendFn<T> blend) {
  if (Status s = CheckViews(src, dst); s != kOk) return s;
  if (!RectInside(srcRect, src.Extent())) return kBadSize;
  if (!ValidFactor(xFactor) || !ValidFactor(yFactor)) return kBadResizeFactor;
  constexpr int32_t kPixelBytes = kChannels * sizeof(T);
  // Byte offsets along a row are 32-bit.
  if (int64_t{srcRect.width} * kPixelBytes > INT32_MAX ||
      int64_t{dst.width} * kPixelBytes > INT32_MAX) {
    return kBadSize;
  }
  const ConstImageView area =
      src.Sub(srcRect.x, srcRect.y, srcRect.width, srcRect.height, kPixelBytes);
  switch (interpolation) {
    case kInterNearest:
      return ResizeNearest<kPixelBytes>(area, dst, xFactor, yFactor);
    case kInterSuper:
      // Averaging is for reductions; an enlargement along either axis is bilinear.
      if (xFactor <= 1.0 && yFactor <= 1.0) {
        return ResizeArea<T, kChannels>(area, dst, xFactor, yFactor);
      }
      return ResizeSeparable<T, kChannels>(area, dst, xFactor, yFactor, 2, resample, blend);
    case kInterLinear:
      return ResizeSeparable<T, kChannels>(area, dst, xFactor, yFactor, 2, resample, blend);
    case kInterCubic:
      return ResizeSeparable<T, kChannels>(area, dst, xFactor, yFactor, 4, resample, blend);
    default:
      return kBadInterpolation;
  }
}

// The destination indices [first, end) along an axis whose pixel centres fall on the
// source's [0, length) once moved back by the shift and scaled, (i + 0.5 - shift) / factor,
// as a rasteriser covers a rectangle; and the position of the first times the factor.
struct AxisReach {
  int32_t first;
  int32_t end;
  double origin;
};

AxisReach ReachOf(double shift, double factor, int32_t length, int32_t count) {
  const double last = static_cast<double>(count);
  const double first = std::clamp(std::ceil(shift - 0.5), 0.0, last);
  const double end = std::clamp(std::ceil(shift + factor * length - 0.5), first, last);
  return {static_cast<int32_t>(first), static_cast<int32_t>(end), first - shift};
}

template <typename T, int kChannels>
Status ResizeShifted(ConstImageView src, ImageView dst, double xFactor, double yFactor,
                     double xShift, double yShift, int32_t interpolation, ResampleFn resample,
                     BlendFn<T> blend) {
  if (Status s = CheckViews(src, dst); s != kOk) return s;
  if (!ValidFactor(xFactor) || !ValidFactor(yFactor) || !std::isfinite(xShift) ||
      !std::isfinite(yShift)) {
    return kBadResizeFactor;
  }
  if (interpolation != kInterLinear && interpolation != kInterCubic) return kBadInterpolation;
  constexpr int32_t kPixelBytes = kChannels * sizeof(T);
  if (int64_t{src.width} * kPixelBytes > INT32_MAX ||
      int64_t{dst.width} * kPixelBytes > INT32_MAX) {
    return kBadSize;
  }
  const AxisReach across = ReachOf(xShift, xFactor, src.width, dst.width);
  const AxisReach down = ReachOf(yShift, yFactor, src.height, dst.height);
  if (across.first == across.end || down.first == down.end) return kOk;
  const ImageView part = dst.Sub(across.first, down.first, across.end - across.first,
                                 down.end - down.first, kPixelBytes);
  // At a factor of 1 and a whole shift every tap but the first weighs 0: a copy gives the
  // same values.
  if (xFactor == 1.0 && yFactor == 1.0 && across.origin == std::floor(across.origin) &&
      down.origin == std::floor(down.origin)) {
    const auto column = static_cast<int32_t>(across.origin);
    const auto row = static_cast<int32_t>(down.origin);
    const size_t bytes = static_cast<size_t>(part.width) * kPixelBytes;
    for (int32_t y = 0; y < part.height; ++y) {
      std::memcpy(part.Row(y), src.Row(row + y) + static_cast<ptrdiff_t>(column) * kPixelBytes,
                  bytes);
    }
    return kOk;
  }
  return ResizeSeparable<T, kChannels>(src, part, xFactor, yFactor,
                                       interpolation == kInterLinear ? 2 : 4, resample, blend,
                                       {across.origin, down.origin});
}

template <typename T, int kChannels>
void PlainResample(const uint8_t* row, const ResizeTaps& taps, float* out) {
  ResampleRow<T, kChannels>(row, taps, out, 0, taps.count);
}

template <typename T>
void PlainBlend(const float* const* rows, const float* weights, int32_t taps, T* out,
                int32_t count) {
  BlendRows(rows, weights, taps, out, 0, count);
}

}  // namespace

Status ResizeImage8u_C4(ConstImageView src, Rect srcRect, ImageView dst, double xFactor,
                        double yFactor, int32_t interpolation) {
  const bool plain = UseReferenceKernels();
  return Resize<uint8_t, 4>(src, srcRect, dst, xFactor, yFactor, interpolation,
                            plain ? PlainResample<uint8_t, 4> : vector::ResampleRow8u_C4,
                            plain ? PlainBlend<uint8_t> : vector::BlendRows8u);
}

Status ResizeImage32f_C4(ConstImageView src, Rect srcRect, ImageView dst, double xFactor,
                         double yFactor, int32_t interpolation) {
  const bool plain = UseReferenceKernels();
  return Resize<float, 4>(src, srcRect, dst, xFactor, yFactor, interpolation,
                          plain ? PlainResample<float, 4> : vector::ResampleRow32f_C4,
                          plain ? PlainBlend<float> : vector::BlendRows32f);
}

Status ResizeImage8u_C1(ConstImageView src, Rect srcRect, ImageView dst, double xFactor,
                        double yFactor, int32_t interpolation) {
  // One byte per pixel leaves too little per tap to gather; only the blend down is vector.
  const bool plain = UseReferenceKernels();
  return Resize<uint8_t, 1>(src, srcRect, dst, xFactor, yFactor, interpolation,
                            PlainResample<uint8_t, 1>,
                            plain ? PlainBlend<uint8_t> : vector::BlendRows8u);
}

Status ResizeShifted8u_C4(ConstImageView src, ImageView dst, double xFactor, double yFactor,
                          double xShift, double yShift, int32_t interpolation) {
  const bool plain = UseReferenceKernels();
  return ResizeShifted<uint8_t, 4>(src, dst, xFactor, yFactor, xShift, yShift, interpolation,
                                   plain ? PlainResample<uint8_t, 4> : vector::ResampleRow8u_C4,
                                   plain ? PlainBlend<uint8_t> : vector::BlendRows8u);
}

Status ResizeShifted32f_C4(ConstImageView src, ImageView dst, double xFactor, double yFactor,
                           double xShift, double yShift, int32_t interpolation) {
  const bool plain = UseReferenceKernels();
  return ResizeShifted<float, 4>(src, dst, xFactor, yFactor, xShift, yShift, interpolation,
                                 plain ? PlainResample<float, 4> : vector::ResampleRow32f_C4,
                                 plain ? PlainBlend<float> : vector::BlendRows32f);
}

}  // namespace vitrella::kernels
