// Auto Contrast on the GPU: the histogram is counted on the card, by scatter where the
// context has pixel and vertex buffers, else by occlusion queries, chosen afresh for each
// frame. The analysis looks at the whole picture, unblurred: its levels differ a little
// from the CPU's, which measures a blurred copy of the inner 90%.
#include <algorithm>
#include <cmath>
#include <cstdint>

#include "effects/auto_contrast.h"
#include "gpu/gpu_frame_objects.h"
#include "gpu/gpu_histogram.h"
#include "vitrella/pixel_format.h"

namespace vitrella {
namespace {

constexpr ProgramPair kUnswizzleProgram{kProgramQuadVertex, kProgramAutoContrastUnswizzle};
constexpr ProgramPair kLimitsProgram{kProgramQuadVertex, kProgramAutoContrastLimits};
constexpr ProgramPair kApplyLevelsProgram{kProgramQuadVertex, kProgramAutoContrastApplyLevels};
constexpr ProgramPair kApplyProgram{kProgramQuadVertex, kProgramAutoContrastApply};

// The capability test stands for the last pass of the scatter way.
constexpr ProgramPair kSetupPrograms[] = {kApplyLevelsProgram};

constexpr int kBuckets = GPUHistogramHelper::kBuckets;

struct Frame {
  GPUHelper& gpu;
  GpuFrameObjects& objects;
  GPUHistogramHelper& histogram;
  const GPUTextureRef& source;
  GPUTextureRef& result;
  float intensity;
  float vibrance;  // |V - 0.5|
  float sign;      // 1 away from grey, -1 toward it
};

// The picture as the histogram should see it: a channel-swapped source holds alpha where
// blue belongs, so it is drawn into the result target in plain order first. Else the
// source itself.
const GPUTextureRef* HistogramSource(Frame& f, ProgramBundle& unswizzle) {
  if (SwapFlag(f.source.format) == 0) return &f.source;
  f.gpu.SetRenderTarget(&f.result, false);
  f.gpu.BeginPass(unswizzle);
  unswizzle.SetInt("SwapChannelsSrc", 1);
  f.gpu.DrawQuad(&f.source, false, nullptr);
  return &f.result;
}

// The counts and both levels stay on the card: H1 holds the histogram, H2 the levels.
bool ScatterWay(Frame& f) {
  GPUTextureRef& counts = f.objects.Target(kBuckets, 1, PixelFormat32FBGRA);
  GPUTextureRef& levels = f.objects.Target(kBuckets, 1, PixelFormat32FBGRA);
  ProgramBundle& unswizzle = f.objects.Program(kUnswizzleProgram);
  ProgramBundle& limits = f.objects.Program(kLimitsProgram);
  ProgramBundle& apply = f.objects.Program(kApplyLevelsProgram);
  if (!f.objects.made()) return false;

  f.gpu.SetupView(10.0, 10.0);
  if (!f.histogram.ScatterHistogram(HistogramSource(f, unswizzle), &counts)) return false;

  // The white level's floor differs by depth as on the CPU: 256 - I × 128 levels on 8 bits,
  // which keeps a level of 255 from quite reaching 255, and (1 - I / 2) of the full scale
  // in float, which leaves a float picture at I = 0 as it was.
  const bool eightBit = !IsFloatFormat(f.source.format);
  f.gpu.SetRenderTarget(&levels, false);
  f.gpu.BeginPass(limits);
  limits.SetInt("bEightBit", eightBit ? 1 : 0);
  limits.SetFloat("fScaleMax", f.intensity * 0.14f);
  limits.SetFloat("fAValue", f.intensity * 255.0f);
  limits.SetFloat("fBValue",
                  eightBit ? 256.0f - f.intensity * 128.0f : (1.0f - f.intensity * 0.5f) * 255.0f);
  f.gpu.DrawQuad(&counts, false, nullptr);

  f.gpu.SetRenderTarget(&f.result, false);
  f.gpu.BeginPass(apply);
  apply.SetInt("SwapChannelsSrc0", SwapFlag(f.source.format));
  apply.SetInt("bEightBit", eightBit ? 1 : 0);
  apply.SetFloat("fVibVal", f.vibrance);
  apply.SetFloat("fSign", f.sign);
  f.gpu.DrawQuad2(&f.source, &levels);
  return true;
}

struct QueryLevels {
  double low;   // 0..256
  double high;  // 0..256
};

// The levels from counts that came to the CPU: the middles of the first buckets from
// below and from above where a plane's running sum passes the threshold, the black level
// at most I × 256 and the white at least 256 × (1 - I / 2). A scan that finds nothing
// gives 0.
QueryLevels LevelsOf(const QueryCounts& counts, double intensity) {
  int64_t peak = -1;
  for (const HistogramBucket& bucket : counts) {
    for (int plane = 0; plane < 3; ++plane)
      peak = std::max<int64_t>(peak, bucket.plane[plane]);
  }
  const auto threshold = static_cast<int64_t>(static_cast<double>(peak) * 0.14 * intensity);
  auto scan = [&](int first, int step) -> int {
    int64_t sums[3] = {};
    for (int i = first; i >= 0 && i < kBuckets; i += step) {
      for (int plane = 0; plane < 3; ++plane) {
        sums[plane] += counts[static_cast<size_t>(i)].plane[plane];
        if (sums[plane] > threshold) return i;
      }
    }
    return -1;
  };
  const int low = scan(0, 1);
  const int high = scan(kBuckets - 1, -1);
  QueryLevels levels{0.0, 0.0};
  if (low >= 0) levels.low = std::min(low + 0.5, intensity * 256.0);
  if (high >= 0) {
    levels.high = std::max(high + 0.5, std::trunc((1.0 - intensity * 0.5) * 256.0));
  }
  return levels;
}

// The counts come to the CPU, which finds the levels; one pass applies them.
bool QueryWay(Frame& f) {
  const bool swapped = SwapFlag(f.source.format) == 1;
  ProgramBundle* unswizzle = swapped ? &f.objects.Program(kUnswizzleProgram) : nullptr;
  ProgramBundle& apply = f.objects.Program(kApplyProgram);
  if (!f.objects.made()) return false;

  f.gpu.SetupView(10.0, 10.0);
  QueryCounts counts{};
  const GPUTextureRef* counted = swapped ? HistogramSource(f, *unswizzle) : &f.source;
  if (!f.histogram.QueryHistogram(counted, &counts)) return false;
  const QueryLevels levels = LevelsOf(counts, f.intensity);
  const double low = levels.low * 0.00390625;
  double range = levels.high * 0.00390625 - low;
  // Equal levels (a scan that found nothing) would divide by zero.
  if (range == 0.0) range = 0.0000001;

  f.gpu.SetRenderTarget(&f.result, false);
  f.gpu.BeginPass(apply);
  apply.SetInt("SwapChannelsSrc", SwapFlag(f.source.format));
  apply.SetFloat("fMin", static_cast<float>(low));
  apply.SetFloat("fNewRange", static_cast<float>(1.0 / range));
  apply.SetFloat("fVibVal", f.vibrance);
  apply.SetFloat("fSign", f.sign);
  f.gpu.DrawQuad(&f.source, false, nullptr);
  return true;
}

}  // namespace

bool CAutoContrast::SetupGPUFrame(IEffectHost* host, GPUSetupInfo* info, uintptr_t /*word*/) {
  IGPUServices* services = QueryGPUServices(host);
  if (services == nullptr) return false;
  const bool usable = TestPrograms(services, kSetupPrograms);
  if (info != nullptr) *info = GPUSetupInfo{0, usable ? 1U : 0U, 0};
  services->Release();
  // Without a histogram there is no GPU path, whatever the programs say.
  GPUHistogramHelper histogram(*this);
  return histogram.HasScatterHistogram() || histogram.HasQueryHistogram();
}

// False when a target, a program or the histogram cannot be made; the destination is
// then left as it was. A context with neither way draws no pass and hands the empty
// result on: the host was told so by SetupGPUFrame and should have kept to the CPU.
bool CAutoContrast::RenderGPUFrame(IEffectHost* host, const GPUTextureRef* source,
                                   const GPUTextureRef* /*secondSource*/,
                                   GPUTextureRef* destination, const RenderInfo* /*info*/) {
  if (source == nullptr || destination == nullptr) return false;
  const AutoContrastValues values = ReadAutoContrast(host);

  GpuFrameObjects objects(*this);
  GPUTextureRef& result = objects.Target(source->width, source->height, source->format);
  if (!objects.made()) return false;
  GPUHistogramHelper histogram(*this);
  Frame frame{*this,
              objects,
              histogram,
              *source,
              result,
              values.intensity,
              std::fabs(values.vibrance - 0.5f),
              values.vibrance <= 0.5f ? -1.0f : 1.0f};
  bool drawn = true;
  if (histogram.HasScatterHistogram()) {
    drawn = ScatterWay(frame);
  } else if (histogram.HasQueryHistogram()) {
    drawn = QueryWay(frame);
  }
  if (!drawn) return false;
  // What the output step answers is not looked at: the frame was drawn.
  FinishFrame(&result, source, destination);
  return true;
}

}  // namespace vitrella
