#include "effects/auto_contrast.h"

#include <iterator>

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

}  // namespace

AutoContrastValues ReadAutoContrast(IEffectHost* host) {
  const ParamReader params(host);
  return {params.Read(kIntensity), params.Read(kVibrance)};
}

CAutoContrast::CAutoContrast() : EffectBase(kTable) {}

bool CAutoContrast::Render(IEffectHost* /*host*/, const HostFrame* /*source*/, uintptr_t /*unused*/,
                           HostFrame* /*destination*/, const RenderInfo* /*info*/) {
  return false;
}

}  // namespace vitrella
