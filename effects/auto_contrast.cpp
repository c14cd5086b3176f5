#include "effects/auto_contrast.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "core/frame_blur.h"
#include "core/frame_buffer.h"
#include "core/frame_convert.h"
#include "core/render_setup.h"
#include "kernels/levels.h"

namespace vitrella {
namespace {

constexpr ParamDef kParams[] = {
    SliderParam("Intensity", 0, 100, 0.0f, {0, 0, 48, 30}, "Relative strength of contrast"),
    SliderParam("Vibrance", -100, 100, 0.5001f, {66, 0, 48, 30},
                "Saturation to boost/decrease natural tones"),
};

constexpr SliderId kIntensity{0, "Intensity"};
constexpr SliderId kVibrance{1, "Vibrance"};
static_assert(NamesMatch(kParams, kIntensity, kVibrance));

// Each row: Intensity, Vibrance.
constexpr PresetDef kPresets[] = {
    {"Big Boost", {SliderValue(1.0f), SliderValue(0.7551f)}},
    {"Bold", {SliderValue(0.5f), SliderValue(1.0f)}},
    {"Flat", {SliderValue(0.5001f), SliderValue(0.0001f)}},
    {"Medium", {SliderValue(0.5001f), SliderValue(0.6251f)}},
    {"Mild", {SliderValue(0.2496f), SliderValue(0.2651f)}},
    {"Reset to None", {SliderValue(0.0f), SliderValue(0.5001f)}},
    {"Stark Gray", {SliderValue(1.0f), SliderValue(0.0f)}},
    {"Subtle", {SliderValue(0.1001f), SliderValue(0.5251f)}},
};
static_assert(TableIsWellFormed(kParams, kPresets));
static_assert(std::size(kParams) == 2 && std::size(kPresets) == 8);

constexpr EffectTable kTable{"Auto Contrast", kTraitsPlain, kParams, kPresets};

using kernels::RgbHistogram;

// Where the tails of the histogram end, in buckets, before Intensity limits them. Each scan
// keeps a running sum per channel and stops at the first bucket where any sum passes the
// threshold. A scan down that finds none leaves the peak where the white level belongs,
// which is how these limits have always been taken.
struct TailBuckets {
  int64_t lo;
  int64_t hi;
};

TailBuckets FindTails(const RgbHistogram& h, float intensity) {
  uint32_t peak = 0;
  for (int32_t k = 0; k < kernels::kLevelBuckets; ++k)
    peak = std::max({peak, h.red[k], h.green[k], h.blue[k]});
  const auto threshold = static_cast<int64_t>(static_cast<float>(peak) * intensity * 0.14f);
  const auto passes = [&](int32_t k, int64_t sums[3]) {
    sums[0] += h.red[k];
    sums[1] += h.green[k];
    sums[2] += h.blue[k];
    return sums[0] > threshold || sums[1] > threshold || sums[2] > threshold;
  };
  TailBuckets tails{kernels::kLevelBuckets - 1, peak};
  int64_t sums[3] = {};
  for (int32_t k = 0; k < kernels::kLevelBuckets; ++k) {
    if (passes(k, sums)) {
      tails.lo = k;
      break;
    }
  }
  std::fill(std::begin(sums), std::end(sums), 0);
  for (int32_t k = kernels::kLevelBuckets - 1; k >= 0; --k) {
    if (passes(k, sums)) {
      tails.hi = k;
      break;
    }
  }
  return tails;
}

}  // namespace

// Intensity caps the black level and floors the white level. The two are not put in order:
// a white level below the black inverts the picture on bytes, and on floats leaves the
// smallest range.
kernels::ByteLevels AutoContrastByteLevels(const RgbHistogram& h, AutoContrastValues v) {
  const TailBuckets tails = FindTails(h, v.intensity);
  const auto lo =
      static_cast<int32_t>(std::min(static_cast<float>(tails.lo), v.intensity * 255.0f));
  const auto hi =
      static_cast<int32_t>(std::max(static_cast<float>(tails.hi), 256.0f - v.intensity * 128.0f));
  const int32_t d = hi != lo ? hi - lo : 1;
  kernels::ByteLevels levels;
  levels.lo = lo;
  levels.gain = 65280 / d;
  levels.strength = static_cast<int32_t>(std::fabs(v.vibrance - 0.5f) * 1024.0f);
  levels.away = v.vibrance > 0.5f;
  return levels;
}

kernels::FloatLevels AutoContrastFloatLevels(const RgbHistogram& h, AutoContrastValues v) {
  const TailBuckets tails = FindTails(h, v.intensity);
  constexpr float kPerLevel = 0.003921569f;
  const float lo = std::min(static_cast<float>(tails.lo), v.intensity * 255.0f) * kPerLevel;
  const float hi = std::max(static_cast<float>(tails.hi) * kPerLevel, 1.0f - v.intensity * 0.5f);
  kernels::FloatLevels levels;
  levels.lo = lo;
  levels.range = std::max(hi - lo, 0.0000001f);
  levels.strength = std::fabs(v.vibrance - 0.5f);
  levels.away = v.vibrance > 0.5f;
  return levels;
}

namespace {

// The kernels and the levels of each sample type.
template <typename T>
struct Depth;

template <>
struct Depth<uint8_t> {
  static constexpr auto kHistogram = kernels::HistogramRgb8u_C4;
  static constexpr auto kStretch = kernels::StretchLevels8u_C4;

  static constexpr auto kLevels = AutoContrastByteLevels;
};

template <>
struct Depth<float> {
  static constexpr auto kHistogram = kernels::HistogramRgb32f_C4;
  static constexpr auto kStretch = kernels::StretchLevels32f_C4;

  static constexpr auto kLevels = AutoContrastFloatLevels;
};

kernels::ColourPositions PositionsOf(const PixelLayout& layout) {
  return {layout.blue, layout.green, layout.red};
}

// Measures the blurred inner 90% of `in` and stretches `in` into `out` over width by
// height. Both frames are of T; each keeps its own channel order.
template <typename T>
bool RenderFrame(const FrameBuffer& in, const PixelLayout& inLayout, FrameBuffer& out,
                 const PixelLayout& outLayout, int32_t width, int32_t height,
                 AutoContrastValues values, MemoryAllocator& memory) {
  using D = Depth<T>;
  FrameBuffer blurred;
  const float blurSize = static_cast<float>(in.width) * 0.1f;
  if (!blurred.Allocate(in.width, in.height, in.pixelBytes, &memory, in.format, in.flipped != 0) ||
      !FrameBlur(in, blurred, blurSize, blurSize, &memory, 1)) {
    return false;
  }
  const float w = static_cast<float>(width);
  const float h = static_cast<float>(height);
  const auto marginX = static_cast<int32_t>(w * 0.05f);
  const auto marginY = static_cast<int32_t>(h * 0.05f);
  const auto innerWidth = static_cast<int32_t>(w - (w * 0.05f) * 2.0f);
  const auto innerHeight = static_cast<int32_t>(h - (h * 0.05f) * 2.0f);
  RgbHistogram histogram;
  const kernels::ImageView inner =
      blurred.View().Sub(marginX, marginY, innerWidth, innerHeight, blurred.pixelBytes);
  if (D::kHistogram(inner, PositionsOf(inLayout), &histogram) != kernels::kOk) return false;
  return D::kStretch(in.View(), PositionsOf(inLayout), out.View(), PositionsOf(outLayout),
                     D::kLevels(histogram, values)) == kernels::kOk;
}

// A copy of `frame` in the other depth, in the same channel order, width by height of it.
bool OtherDepthCopy(const FrameBuffer& frame, int32_t width, int32_t height,
                    MemoryAllocator& memory, FrameBuffer& copy) {
  const PixelFormat format = OtherDepthOf(frame.format);
  return copy.Allocate(width, height, IsFloatFormat(format) ? 16 : 4, &memory, format,
                       frame.flipped != 0);
}

}  // namespace

AutoContrastValues ReadAutoContrast(IEffectHost* host) {
  const ParamReader params(host);
  return {params.Read(kIntensity), params.Read(kVibrance)};
}

CAutoContrast::CAutoContrast() : EffectBase(kTable) {}

bool CAutoContrast::Render(IEffectHost* host, const HostFrame* source, uintptr_t /*unused*/,
                           HostFrame* destination, const RenderInfo* info) {
  RenderSetup setup(host, source, destination, info, FormatMatch::kEach);
  if (!setup) return false;
  const AutoContrastValues values = ReadAutoContrast(host);
  const FrameBuffer& src = setup.src();
  FrameBuffer& dst = setup.dst();
  const int32_t width = setup.width();
  const int32_t height = setup.height();
  MemoryAllocator& memory = setup.memory();
  // Bytes when the source is blue-first bytes or the destination alpha-first bytes, whatever
  // the other frame holds; floats otherwise. A frame of the other depth takes part through a
  // converted copy.
  const bool floats = src.format != PixelFormat8BGRA && dst.format != PixelFormat8ARGB;
  const FrameBuffer* in = &src;
  FrameBuffer inCopy;
  if (setup.srcLayout().isFloat != floats) {
    if (!OtherDepthCopy(src, src.width, src.height, memory, inCopy) || !ConvertFrame(src, inCopy)) {
      return false;
    }
    in = &inCopy;
  }
  FrameBuffer* out = &dst;
  FrameBuffer outCopy;
  if (setup.dstLayout().isFloat != floats) {
    if (!OtherDepthCopy(dst, width, height, memory, outCopy)) return false;
    out = &outCopy;
  }
  const bool rendered = BySampleType(floats, [&]<typename T>(Samples<T>) {
    return RenderFrame<T>(*in, setup.srcLayout(), *out, setup.dstLayout(), width, height, values,
                          memory);
  });
  if (!rendered) return false;
  if (out == &dst) return true;
  FrameBuffer corner;
  corner.Attach(dst.data, width, height, dst.pitch, dst.pixelBytes, dst.format, dst.flipped != 0);
  return ConvertFrame(outCopy, corner);
}

}  // namespace vitrella
