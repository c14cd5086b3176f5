#include "effects/diffusion.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "core/frame_buffer.h"
#include "core/frame_ops.h"
#include "core/render_setup.h"
#include "kernels/glow.h"
#include "kernels/linear_filter.h"
#include "vitrella/pixel_format.h"

namespace vitrella {
namespace {

constexpr ParamDef kParams[] = {
    ColorParam("Color", 0xFFFFFF, {0, 0, 48, 30}, "Sets glow color, from white to surreal fuchsia"),
    SliderParam("Blur", 0, 100, 0.485f, {66, 0, 48, 30}, "Adjusts glow softness"),
    SliderParam("Glow", 0, 100, 0.87f, {132, 0, 48, 30}, "Adjusts strength"),
    SliderParam("Ambience", 0, 100, 0.65f, {198, 0, 48, 30},
                "Adjusts how much of scene is impacted by glow"),
    SliderParam("Dim", 0, 100, 0.0f, {264, 0, 48, 30}, "Clamps headlights to retain detail"),
};

constexpr ColorId kColor{0, "Color"};
constexpr SliderId kBlur{1, "Blur"};
constexpr SliderId kGlow{2, "Glow"};
constexpr SliderId kAmbience{3, "Ambience"};
constexpr SliderId kDim{4, "Dim"};
static_assert(NamesMatch(kParams, kColor, kBlur, kGlow, kAmbience, kDim));

// Each row: Color, Blur, Glow, Ambience, Dim. "Rich Sunlight" holds the all-zero row, which
// turns the glow off, and "Reset to None" the orange one: so they were saved, and so they
// stay.
constexpr PresetDef kPresets[] = {
    {"After Life",
     {ColorValue(0x00FFFFFF), SliderValue(0.2501f), SliderValue(1.0001f), SliderValue(1.0f),
      SliderValue(1.0f)}},
    {"Blacklight Night",
     {ColorValue(0x00CA0065), SliderValue(0.4001f), SliderValue(0.9801f), SliderValue(0.9901f),
      SliderValue(0.7501f)}},
    {"Blue Light Special",
     {ColorValue(0x00FF0000), SliderValue(0.5001f), SliderValue(0.7501f), SliderValue(0.1001f),
      SliderValue(0.0101f)}},
    {"Cinedramatic",
     {ColorValue(0x00FFFFFF), SliderValue(0.0101f), SliderValue(0.9801f), SliderValue(0.8001f),
      SliderValue(1.0001f)}},
    {"Crimson Aura",
     {ColorValue(0x003C14DC), SliderValue(0.0901f), SliderValue(0.8501f), SliderValue(0.1001f),
      SliderValue(0.2501f)}},
    {"Cyan Spirit",
     {ColorValue(0x00804000), SliderValue(0.1501f), SliderValue(0.9501f), SliderValue(0.0501f),
      SliderValue(0.0101f)}},
    {"Ectoplasmic Accents",
     {ColorValue(0x00008000), SliderValue(0.0501f), SliderValue(1.0001f), SliderValue(0.12f),
      SliderValue(1.0f)}},
    {"Golden Dream",
     {ColorValue(0x0000F2FF), SliderValue(0.0661f), SliderValue(0.3331f), SliderValue(0.7781f),
      SliderValue(0.2051f)}},
    {"Moody Nature",
     {ColorValue(0x0054A49D), SliderValue(0.0101f), SliderValue(0.5501f), SliderValue(0.2001f),
      SliderValue(0.5001f)}},
    {"Nostalgic Cast",
     {ColorValue(0x006B9A9E), SliderValue(0.1001f), SliderValue(0.4601f), SliderValue(0.5501f),
      SliderValue(0.5501f)}},
    {"Pink Sky",
     {ColorValue(0x00000080), SliderValue(1.0f), SliderValue(0.3101f), SliderValue(0.8601f),
      SliderValue(0.1201f)}},
    {"Rich Sunlight",
     {ColorValue(0x00FFFFFF), SliderValue(0.0f), SliderValue(0.0f), SliderValue(0.0f),
      SliderValue(0.0f)}},
    {"Reset to None",
     {ColorValue(0x000080FF), SliderValue(0.1401f), SliderValue(0.2601f), SliderValue(0.8401f),
      SliderValue(0.1501f)}},
    {"Romantic Dream",
     {ColorValue(0x00FFFFFF), SliderValue(0.1801f), SliderValue(0.2001f), SliderValue(0.5001f),
      SliderValue(0.0701f)}},
    {"Toxic Crush",
     {ColorValue(0x0000BB4A), SliderValue(1.0f), SliderValue(0.4801f), SliderValue(0.7301f),
      SliderValue(0.5001f)}},
};
static_assert(TableIsWellFormed(kParams, kPresets));
static_assert(std::size(kParams) == 5 && std::size(kPresets) == 15);

constexpr EffectTable kTable{"Diffusion", kTraitsPlain, kParams, kPresets};

constexpr ProgramPair kSetupPrograms[] = {{kProgramQuadVertex, kProgramDiffusionExtract}};

float PixelAspectOf(const RenderInfo& info) {
  const bool known = (info.infoFlags & kInfoPixelAspectValid) != 0 && info.pixelAspect > 0.0;
  return known ? static_cast<float>(info.pixelAspect) : 1.0f;
}

// The kernels of each sample type: integer weights with their sum as divisor for bytes,
// the same weights over their sum as floats.
template <typename T>
struct Depth;

template <>
struct Depth<uint8_t> {
  static constexpr PixelFormat kMask = PixelFormat8Gray;
  static bool Dim(const FrameBuffer& src, FrameBuffer& dst, int32_t alpha, float m) {
    return kernels::DimChannels8u_C4(src.View(), dst.View(), alpha,
                                     static_cast<int32_t>(m * 255.0f)) == kernels::kOk;
  }
  static bool Mask(const FrameBuffer& picture, FrameBuffer& mask, int32_t alpha,
                   const DiffusionValues& v) {
    const kernels::ByteThresholds t{static_cast<int32_t>((1.0f - v.ambience) * 320.0f),
                                    static_cast<int32_t>((1.0f - v.glow) * 385.0f + 321.0f)};
    return kernels::BrightMask8u_C4(picture.View(), mask.View(), alpha, t) == kernels::kOk;
  }
  struct Kernel {
    const int32_t* weights;
    int32_t sum;
  };
  static bool Rows(const kernels::ImageView& in, FrameBuffer& out, Kernel k, int32_t n,
                   int32_t anchor) {
    return kernels::RowFilter8u_C1(in, out.View(), k.weights, n, anchor, k.sum) == kernels::kOk;
  }
  static bool Columns(const kernels::ImageView& in, FrameBuffer& out, Kernel k, int32_t n,
                      int32_t anchor) {
    return kernels::ColumnFilter8u_C1(in, out.View(), k.weights, n, anchor, k.sum) == kernels::kOk;
  }
  static bool Add(const FrameBuffer& mask, FrameBuffer& dst, int32_t alpha, float glow,
                  const int32_t gains[4]) {
    return kernels::AddGlow8u_C4(mask.View(), dst.View(), alpha,
                                 static_cast<int32_t>(glow * 255.0f), gains) == kernels::kOk;
  }
};

template <>
struct Depth<float> {
  static constexpr PixelFormat kMask = PixelFormat32FGray;
  static bool Dim(const FrameBuffer& src, FrameBuffer& dst, int32_t alpha, float m) {
    return kernels::DimChannels32f_C4(src.View(), dst.View(), alpha, m) == kernels::kOk;
  }
  static bool Mask(const FrameBuffer& picture, FrameBuffer& mask, int32_t alpha,
                   const DiffusionValues& v) {
    constexpr float kPerLevel = 0.003921569f;
    const kernels::FloatThresholds t{(1.0f - v.ambience) * 320.999f * kPerLevel,
                                     ((1.0f - v.glow) * 385.0f + 321.0f) * kPerLevel};
    return kernels::BrightMask32f_C4(picture.View(), mask.View(), alpha, t) == kernels::kOk;
  }
  struct Kernel {
    const float* weights;
  };
  static bool Rows(const kernels::ImageView& in, FrameBuffer& out, Kernel k, int32_t n,
                   int32_t anchor) {
    return kernels::RowFilter32f_C1(in, out.View(), k.weights, n, anchor) == kernels::kOk;
  }
  static bool Columns(const kernels::ImageView& in, FrameBuffer& out, Kernel k, int32_t n,
                      int32_t anchor) {
    return kernels::ColumnFilter32f_C1(in, out.View(), k.weights, n, anchor) == kernels::kOk;
  }
  static bool Add(const FrameBuffer& mask, FrameBuffer& dst, int32_t alpha, float glow,
                  const int32_t gains[4]) {
    return kernels::AddGlow32f_C4(mask.View(), dst.View(), alpha, glow, gains) == kernels::kOk;
  }
};

// The triangle of size n in the depth's form, from a buffer of integer weights.
struct TriangleKernel {
  int32_t* weights;
  int32_t capacity;
  float* floats;
  int32_t sum = 0;

  bool Fill(int32_t n) {
    sum = FillTriangle(weights, capacity, n);
    if (sum < 0) return false;
    for (int32_t i = 0; i < n; ++i)
      floats[i] = static_cast<float>(weights[i]) / static_cast<float>(sum);
    return true;
  }
  Depth<uint8_t>::Kernel Of(Samples<uint8_t>) const { return {weights, sum}; }
  Depth<float>::Kernel Of(Samples<float>) const { return {floats}; }
};

// The mask blurred along rows by kx and down columns by ky, each pass through a padded
// copy whose margins repeat the mask's edge pixels. A size of 1 or less leaves its
// direction alone.
template <typename T>
bool BlurMask(FrameBuffer& mask, DiffusionKernels k, MemoryAllocator& memory) {
  using D = Depth<T>;
  const int32_t capacity = std::max(k.kx, k.ky) + 4;
  std::vector<int32_t> weights(static_cast<size_t>(capacity));
  std::vector<float> floats(static_cast<size_t>(capacity));
  TriangleKernel kernel{weights.data(), capacity, floats.data()};
  if (!kernel.Fill(k.kx)) return false;
  FrameBuffer padded;
  if (!padded.Allocate(k.kx + mask.width, k.ky + mask.height, sizeof(T), &memory, D::kMask,
                       false)) {
    return false;
  }
  const int32_t ax = k.kx >> 1;
  const int32_t ay = k.ky >> 1;
  const kernels::ImageView inner = padded.View().Sub(ax, ay, mask.width, mask.height, sizeof(T));
  if (k.kx > 1) {
    if (!CopyWithBorder(mask, padded, ax, ay) ||
        !D::Rows(inner, mask, kernel.Of(Samples<T>{}), k.kx, ax)) {
      return false;
    }
  }
  if (k.ky != k.kx && !kernel.Fill(k.ky)) return false;
  if (k.ky > 1) {
    if (!CopyWithBorder(mask, padded, ax, ay) ||
        !D::Columns(inner, mask, kernel.Of(Samples<T>{}), k.ky, ay)) {
      return false;
    }
  }
  return true;
}

template <typename T>
bool RenderFrame(RenderSetup& setup, const DiffusionValues& v) {
  using D = Depth<T>;
  const FrameBuffer& src = setup.src();
  FrameBuffer& dst = setup.dst();
  const int32_t width = setup.width();
  const int32_t height = setup.height();
  // The mask is of the common extent and must cover the whole output.
  if (dst.width != width || dst.height != height) return false;
  const int32_t alpha = setup.srcLayout().alpha;
  // The dimming leaves alpha as the input has it, which is the alpha the result keeps; so a
  // render in place keeps it too.
  if (!D::Dim(src, dst, alpha, 1.0f - v.dim * 0.5f)) return false;
  FrameBuffer mask;
  if (!mask.Allocate(width, height, sizeof(T), &setup.memory(), D::kMask, false) ||
      !D::Mask(dst, mask, alpha, v)) {
    return false;
  }
  const RenderInfo& info = setup.info();
  const DiffusionKernels sizes =
      DiffusionKernelSizes(width, v.blur, PixelAspectOf(info), info.fieldMode);
  if (!BlurMask<T>(mask, sizes, setup.memory())) return false;
  // The colour's top two bits per byte, onto dst's channels.
  const PixelLayout& layout = setup.dstLayout();
  int32_t gains[4] = {0, 0, 0, 0};
  gains[layout.red] = static_cast<int32_t>((v.color & 0xFFu) >> 6);
  gains[layout.green] = static_cast<int32_t>(((v.color >> 8) & 0xFFu) >> 6);
  gains[layout.blue] = static_cast<int32_t>(((v.color >> 16) & 0xFFu) >> 6);
  return D::Add(mask, dst, alpha, v.glow, gains);
}

}  // namespace

DiffusionValues ReadDiffusion(IEffectHost* host) {
  const ParamReader params(host);
  return {params.Read(kColor), params.Read(kBlur), params.Read(kGlow), params.Read(kAmbience),
          params.Read(kDim)};
}

DiffusionKernels DiffusionKernelSizes(int32_t width, float blur, float aspect, uint16_t fieldMode) {
  const int32_t kx = static_cast<int32_t>(static_cast<float>(width) * blur * 0.3f) | 1;
  int32_t ky = static_cast<int32_t>(static_cast<float>(kx) / aspect);
  if (fieldMode != kFieldModeFrame) ky /= 2;
  return {kx, ky};
}

int32_t FillTriangle(int32_t* weights, int32_t capacity, int32_t n) {
  if (n > capacity || weights == nullptr) return -1;
  const int32_t rise = (n + 1) >> 1;
  int32_t sum = 0;
  for (int32_t i = 0; i < n; ++i) {
    weights[i] = i < rise ? i + 1 : n - i;
    sum += weights[i];
  }
  return sum;
}

CDiffusionFilter::CDiffusionFilter() : EffectBase(kTable, kSetupPrograms) {}

bool CDiffusionFilter::Render(IEffectHost* host, const HostFrame* source, uintptr_t /*unused*/,
                              HostFrame* destination, const RenderInfo* info) {
  RenderSetup setup(host, source, destination, info);
  if (!setup) return false;
  const DiffusionValues values = ReadDiffusion(host);
  return BySampleType(setup.srcLayout().isFloat,
                      [&]<typename T>(Samples<T>) { return RenderFrame<T>(setup, values); });
}

}  // namespace vitrella
