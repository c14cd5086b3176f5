#include "effects/dual_booster.h"

#include <algorithm>
#include <iterator>

#include "core/colour_adjust.h"
#include "core/frame_buffer.h"
#include "core/frame_ops.h"
#include "core/render_setup.h"
#include "kernels/band_mix.h"
#include "kernels/composite.h"
#include "kernels/luma_mask.h"
#include "vitrella/pixel_format.h"

namespace vitrella {
namespace {

constexpr const char* kBalanceTip = "Defines where luminance is split between Dark and Light bands";
constexpr const char* kColorTip = "Adjusts amount of color";
constexpr const char* kBrightnessTip = "Adjusts level of brightness ";  // the blank is kept

// The close of "Balance" repeats its open's tooltip; the band groups have none.
constexpr ParamDef kParams[] = {
    GroupOpen("Balance", 0, 0, kBalanceTip),
    SliderParam("Center", -100, 100, 0.5f, {11, 19, 48, 30},
                "Low values for light, high values for dark"),
    SliderParam("Blend", 0, 100, 0.5f, {11, 119, 48, 30},
                "Sets gradation of the crossover between light and dark"),
    CheckParam("Test", false, {11, 208, 114, 10}, "Test"),
    GroupClose("Balance", {0, 0, 70, 240}, kBalanceTip),
    GroupOpen("Dark", 200, 150),
    SliderParam("Color", -100, 100, 0.5f, {91, 19, 48, 30}, kColorTip),
    SliderParam("Brightness", -100, 100, 0.5f, {91, 119, 48, 30}, kBrightnessTip),
    GroupClose("Dark", {80, 0, 70, 240}),
    GroupOpen("Light", 200, 240),
    SliderParam("Color", -100, 100, 0.5f, {171, 19, 48, 30}, kColorTip),
    SliderParam("Brightness", -100, 100, 0.5f, {171, 119, 48, 30}, kBrightnessTip),
    GroupClose("Light", {160, 0, 70, 240}),
};

constexpr SliderId kCenter{1, "Center"};
constexpr SliderId kBlend{2, "Blend"};
constexpr CheckId kTest{3, "Test"};
constexpr SliderId kDarkColor{6, "Color"};
constexpr SliderId kDarkBrightness{7, "Brightness"};
constexpr SliderId kLightColor{10, "Color"};
constexpr SliderId kLightBrightness{11, "Brightness"};
static_assert(NamesMatch(kParams, kCenter, kBlend, kTest, kDarkColor, kDarkBrightness, kLightColor,
                         kLightBrightness));

// Each row: Center, Blend, Test, Dark Color, Dark Brightness, Light Color, Light Brightness.
// The cells of 1.0001 are kept as they were saved.
constexpr PresetDef kPresets[] = {
    {"Add Pop",
     {SliderValue(0.6101f), SliderValue(0.4501f), kOff, SliderValue(0.8501f), SliderValue(0.4251f),
      SliderValue(0.4001f), SliderValue(0.6751f)}},
    {"Dark Shadows",
     {SliderValue(0.8751f), SliderValue(0.8001f), kOff, SliderValue(1.0001f), SliderValue(0.0f),
      SliderValue(0.7001f), SliderValue(1.0f)}},
    {"Faux Snow",
     {SliderValue(0.0f), SliderValue(0.4051f), kOff, SliderValue(0.6050f), SliderValue(1.0f),
      SliderValue(0.5850f), SliderValue(0.2501f)}},
    {"Horrify",
     {SliderValue(0.0f), SliderValue(0.9001f), kOff, SliderValue(1.0f), SliderValue(1.0f),
      SliderValue(1.0f), SliderValue(0.0f)}},
    {"Mask of Pain",
     {SliderValue(0.1251f), SliderValue(0.5001f), kOff, SliderValue(1.0f), SliderValue(1.0001f),
      SliderValue(1.0f), SliderValue(0.0001f)}},
    {"Monochrome Madness",
     {SliderValue(0.4001f), SliderValue(1.0f), kOff, SliderValue(0.0f), SliderValue(0.9951f),
      SliderValue(0.0001f), SliderValue(0.1001f)}},
    {"Negatron",
     {SliderValue(0.0f), SliderValue(0.7501f), kOff, SliderValue(0.6251f), SliderValue(0.8751f),
      SliderValue(1.0f), SliderValue(0.0501f)}},
    {"Reset to None",
     {SliderValue(0.5f), SliderValue(0.5f), kOff, SliderValue(0.5f), SliderValue(0.5f),
      SliderValue(0.5f), SliderValue(0.5f)}},
    {"Silver Extreme",
     {SliderValue(0.6251f), SliderValue(0.7501f), kOff, SliderValue(0.0001f), SliderValue(1.0f),
      SliderValue(0.0f), SliderValue(0.0f)}},
    {"Somewhat Artistic",
     {SliderValue(0.2501f), SliderValue(0.7501f), kOff, SliderValue(0.0001f), SliderValue(0.4751f),
      SliderValue(0.6751f), SliderValue(0.5251f)}},
    {"Unique Contrast",
     {SliderValue(0.5001f), SliderValue(1.0f), kOff, SliderValue(0.7501f), SliderValue(0.2501f),
      SliderValue(0.2501f), SliderValue(0.7501f)}},
    {"Weirdish",
     {SliderValue(0.1251f), SliderValue(0.7501f), kOff, SliderValue(1.0001f), SliderValue(1.0f),
      SliderValue(1.0f), SliderValue(0.2501f)}},
    {"White Out",
     {SliderValue(0.6501f), SliderValue(0.0501f), kOff, SliderValue(0.0001f), SliderValue(1.0f),
      SliderValue(1.0f), SliderValue(0.2501f)}},
    {"Zest",
     {SliderValue(0.4251f), SliderValue(0.2501f), kOff, SliderValue(1.0f), SliderValue(0.2501f),
      SliderValue(1.0f), SliderValue(0.8001f)}},
};
static_assert(TableIsWellFormed(kParams, kPresets));
static_assert(std::size(kParams) == 13 && std::size(kPresets) == 14);

constexpr EffectTable kTable{"Dual Booster", kTraitsPlain, kParams, kPresets};

constexpr ProgramPair kSetupPrograms[] = {{kProgramQuadVertex, kProgramDualBooster}};

// Rows per band: the mask and the light picture of a band stay in the cache between the
// steps that write and read them.
constexpr int32_t kBandRows = 16;

kernels::ColourPositions PositionsOf(const PixelLayout& layout) {
  return {layout.blue, layout.green, layout.red};
}

// A view of rows [y, y + rows) of `frame`.
void ViewRows(const FrameBuffer& frame, int32_t y, int32_t width, int32_t rows, FrameBuffer& view) {
  view.Attach(frame.Row(y), width, rows, frame.pitch, frame.pixelBytes, frame.format, false);
}

template <typename T>
bool Mask(const FrameBuffer& src, const PixelLayout& layout, FrameBuffer& mask,
          const DualBoosterValues& v) {
  if constexpr (sizeof(T) == 1) {
    const auto centre = static_cast<int32_t>(v.center * 256.0f);
    const auto steepness = static_cast<int32_t>(v.steepness * 256.0f);
    return kernels::LumaMask8u_C4(src.View(), mask.View(), PositionsOf(layout), centre,
                                  steepness) == kernels::kOk;
  } else {
    return kernels::LumaMask32f_C4(src.View(), mask.View(), PositionsOf(layout), v.center,
                                   v.steepness) == kernels::kOk;
  }
}

// One band of rows: the mask from the source as it came; then either the mask in grey, or
// the light picture into `light`, the dark one into dst and the light one over it through
// the mask, the dark picture weighed by its own alpha (the source's), so that the dark band
// darkens where the picture is translucent. Floats do the same in one pass. dst may be src.
template <typename T>
bool RenderBand(const FrameBuffer& src, const PixelLayout& layout, FrameBuffer& dst,
                FrameBuffer& mask, FrameBuffer& light, const DualBoosterValues& v) {
  if (v.test) {
    if (!Mask<T>(src, layout, mask, v)) return false;
    for (int32_t c : {layout.red, layout.green, layout.blue}) {
      if (!CopyChannel(mask, dst, 0, c)) return false;
    }
    return CopyChannel(src, dst, layout.alpha, layout.alpha);
  }
  if constexpr (sizeof(T) == 4) {
    const ColourMatrix lightMatrix = ColourAdjustMatrix(v.lightBrightness, v.lightColour, false);
    const ColourMatrix darkMatrix = ColourAdjustMatrix(v.darkBrightness, v.darkColour, false);
    const kernels::BandMix mix{v.center, v.steepness, lightMatrix.m, darkMatrix.m};
    return kernels::MixBands32f_C4(src.View(), dst.View(), PositionsOf(layout),
                                   layout.alpha == 0 ? 1 : 0, mix) == kernels::kOk;
  } else {
    if (!Mask<T>(src, layout, mask, v) ||
        !ColourAdjustFrame(src, light, v.lightBrightness, v.lightColour) ||
        !ColourAdjustFrame(src, dst, v.darkBrightness, v.darkColour)) {
      return false;
    }
    return kernels::CompositeThroughMask8u_C4(light.View(), dst.View(), mask.View(),
                                              layout.alpha) == kernels::kOk;
  }
}

template <typename T>
bool RenderFrame(RenderSetup& setup, const DualBoosterValues& v) {
  const FrameBuffer& src = setup.src();
  FrameBuffer& dst = setup.dst();
  const int32_t width = setup.width();
  const int32_t height = setup.height();
  const int32_t bandRows = std::min(kBandRows, height);
  FrameBuffer mask;
  FrameBuffer light;
  const PixelFormat maskFormat = sizeof(T) == 1 ? PixelFormat8Gray : PixelFormat32FGray;
  if (!mask.Allocate(width, bandRows, sizeof(T), &setup.memory(), maskFormat, false) ||
      // Floats mix their bands in one pass, without a light picture.
      (sizeof(T) == 1 &&
       !light.Allocate(width, bandRows, src.pixelBytes, &setup.memory(), src.format, false))) {
    return false;
  }
  for (int32_t y = 0; y < height; y += bandRows) {
    const int32_t rows = std::min(bandRows, height - y);
    FrameBuffer in;
    FrameBuffer out;
    FrameBuffer maskRows;
    FrameBuffer lightRows;
    ViewRows(src, y, width, rows, in);
    ViewRows(dst, y, width, rows, out);
    ViewRows(mask, 0, width, rows, maskRows);
    ViewRows(light, 0, width, rows, lightRows);
    if (!RenderBand<T>(in, setup.srcLayout(), out, maskRows, lightRows, v)) return false;
  }
  return true;
}

}  // namespace

float DualBoosterCurve(float v) {
  if (v > 0.5f) {
    const float d = (v - 0.5f) * 2.0f;
    return 0.5f + 0.5f * (d * d);
  }
  const float d = (0.5f - v) * 2.0f;
  return 0.5f - 0.5f * (d * d);
}

float DualBoosterSteepness(float blend) {
  const float t = (1.0f - blend * 0.3f) + 0.5f;
  return t * t * t;
}

DualBoosterValues ReadDualBooster(IEffectHost* host) {
  const ParamReader params(host);
  DualBoosterValues v{};
  v.center = params.Read(kCenter);
  v.steepness = DualBoosterSteepness(params.Read(kBlend));
  v.darkColour = DualBoosterCurve(params.Read(kDarkColor));
  v.darkBrightness = DualBoosterCurve(params.Read(kDarkBrightness));
  v.lightColour = DualBoosterCurve(params.Read(kLightColor));
  v.lightBrightness = DualBoosterCurve(params.Read(kLightBrightness));
  v.test = params.Read(kTest);
  return v;
}

CDualBooster::CDualBooster() : EffectBase(kTable, kSetupPrograms) {}

bool CDualBooster::Render(IEffectHost* host, const HostFrame* source, uintptr_t /*unused*/,
                          HostFrame* destination, const RenderInfo* info) {
  RenderSetup setup(host, source, destination, info);
  if (!setup) return false;
  const DualBoosterValues values = ReadDualBooster(host);
  return BySampleType(setup.srcLayout().isFloat,
                      [&]<typename T>(Samples<T>) { return RenderFrame<T>(setup, values); });
}

}  // namespace vitrella
