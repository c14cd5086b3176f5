// What both render paths of Gradient Tint read from the parameters, and the tables.
#pragma once

#include <cstdint>

#include "core/effect_table.h"
#include "vitrella/effect.h"

namespace vitrella::gradient_tint {

inline constexpr const char* kBlendModes[] = {"Normal",   "Pop",    "Screen",      "Multiply",
                                              "Lighten",  "Darken", "Color Dodge", "Color Burn",
                                              "Negation", "Hue"};

// The opening record of the second group is 120 high where the others are 30, and the
// closing records carry tooltips though they name no control: both as the panels were
// laid out.
inline constexpr ParamDef kParams[] = {
    GroupOpen("Gradient", 11, 15, "Sets position and transition between two tints"),
    PointParam("Center", 0.5f, 0.5f, {11, 18, 198, 30}, "Sets the position of the gradient"),
    SliderParam("Angle", 0, 360, 0.0f, {209, 18, 198, 30}, "Rotates the gradient"),
    SliderParam("Crossfade", 0, 100, 0.24f, {275, 18, 198, 30}, "Adjusts transition softness"),
    GroupClose("Gradient", {0, 0, 333, 108}),
    GroupOpen("First Tint", 11, 135, "Sets color, tint and mask for tint one"),
    ColorParam("Color", 0x00C95E2B, {11, 131, 66, 30}, "Sets tint color"),
    SliderParam("Blend", 0, 100, 0.5001f, {77, 131, 66, 30}, "Adjusts mix of tint"),
    SliderParam("Mask", 0, 100, 0.5001f, {143, 131, 66, 30}, "Selects what colors to apply tint"),
    GroupClose("First Tint", {0, 113, 210, 108}, "Sets color, tint and mask for tint one"),
    ParamDef{ParamGroup,
             "Second Tint",
             ParamValue{},
             0,
             0,
             {},
             0,
             {11, 240, -18, 120},
             "Sets color, tint and mask for tint two"},
    ColorParam("Color", 0x0000FF00, {11, 244, 66, 30}, "Sets tint color"),
    SliderParam("Blend", 0, 100, 0.5001f, {77, 244, 66, 30}, "Adjusts mix of tint"),
    SliderParam("Mask", 0, 100, 0.5001f, {143, 244, 66, 30}, "Selects what colors to apply tint"),
    GroupClose("Second Tint", {0, 226, 210, 108}, "Sets color, tint and mask for tint two"),
    ChoiceParam("Blend Mode", kBlendModes, 0, {227, 118, 100, 20},
                "Selects how tint impacts source image"),
};

inline constexpr PointId kCenter{1, "Center"};
inline constexpr SliderId kAngle{2, "Angle"};
inline constexpr SliderId kCrossfade{3, "Crossfade"};
inline constexpr ColorId kFirstColor{6, "Color"};
inline constexpr SliderId kFirstBlend{7, "Blend"};
inline constexpr SliderId kFirstMask{8, "Mask"};
inline constexpr ColorId kSecondColor{11, "Color"};
inline constexpr SliderId kSecondBlend{12, "Blend"};
inline constexpr SliderId kSecondMask{13, "Mask"};
inline constexpr ChoiceId kBlendMode{15, "Blend Mode"};
static_assert(NamesMatch(kParams, kCenter, kAngle, kCrossfade, kFirstColor, kFirstBlend, kFirstMask,
                         kSecondColor, kSecondBlend, kSecondMask, kBlendMode));

// Each row: Center, Angle, Crossfade, then colour, blend and mask of the first tint and of
// the second, and the blend mode.
// clang-format off
inline constexpr PresetDef kPresets[] = {
    {"Bluer Skies",
     {PointValue(0.5233f, 0.6512f), SliderValue(0.0f), SliderValue(0.1201f),
      ColorValue(0x00FF8000), SliderValue(1.0001f), SliderValue(0.8001f),
      ColorValue(0x00FFFFFF), SliderValue(0.0f), SliderValue(0.0f), ChoiceValue(0)}},
    {"Bring out the Best",
     {PointValue(0.5001f, 0.6251f), SliderValue(0.0f), SliderValue(0.9501f),
      ColorValue(0x00000000), SliderValue(0.7501f), SliderValue(0.0001f),
      ColorValue(0x00FFFFFF), SliderValue(0.5501f), SliderValue(0.0001f), ChoiceValue(1)}},
    {"Change the Blue",
     {PointValue(0.5001f, 1.0f), SliderValue(0.0f), SliderValue(0.0f),
      ColorValue(0x00FF0000), SliderValue(0.6501f), SliderValue(0.0501f),
      ColorValue(0x00FFFFFF), SliderValue(0.0001f), SliderValue(0.0f), ChoiceValue(1)}},
    {"Dark and Light",
     {PointValue(0.5f, 0.4884f), SliderValue(0.0f), SliderValue(0.2501f),
      ColorValue(0x00000000), SliderValue(1.0f), SliderValue(0.0f),
      ColorValue(0x00FFFFFF), SliderValue(1.0f), SliderValue(0.0f), ChoiceValue(1)}},
    {"Dark Corner",
     {PointValue(0.51f, 0.6301f), SliderValue(0.3751f), SliderValue(0.2501f),
      ColorValue(0x00000000), SliderValue(1.0001f), SliderValue(0.0f),
      ColorValue(0x00FFFFFF), SliderValue(0.0f), SliderValue(0.0f), ChoiceValue(1)}},
    {"Dark Evil",
     {PointValue(0.5001f, 0.6751f), SliderValue(0.9973f), SliderValue(0.2501f),
      ColorValue(0x00404080), SliderValue(0.9001f), SliderValue(0.0f),
      ColorValue(0x00000000), SliderValue(1.0f), SliderValue(0.0f), ChoiceValue(5)}},
    {"Desert Victory",
     {PointValue(0.5001f, 0.3499f), SliderValue(0.0f), SliderValue(0.3301f),
      ColorValue(0x000000FF), SliderValue(1.0001f), SliderValue(0.0501f),
      ColorValue(0x0000DFFF), SliderValue(1.0001f), SliderValue(0.2501f), ChoiceValue(9)}},
    {"Emerald Touch",
     {PointValue(0.5001f, 0.4999f), SliderValue(0.0001f), SliderValue(0.4001f),
      ColorValue(0x00408000), SliderValue(0.9001f), SliderValue(0.0001f),
      ColorValue(0x0000FF00), SliderValue(0.9001f), SliderValue(0.0f), ChoiceValue(9)}},
    {"Fading Film 1",
     {PointValue(0.36f, 0.2549f), SliderValue(0.0695f), SliderValue(0.5001f),
      ColorValue(0x00000000), SliderValue(1.0f), SliderValue(0.4201f),
      ColorValue(0x004646FF), SliderValue(0.7501f), SliderValue(0.0201f), ChoiceValue(2)}},
    {"Fading Film 2",
     {PointValue(0.52f, 0.42f), SliderValue(0.4723f), SliderValue(0.5501f),
      ColorValue(0x00FF0000), SliderValue(0.5001f), SliderValue(0.0f),
      ColorValue(0x00004000), SliderValue(0.8201f), SliderValue(0.0f), ChoiceValue(4)}},
    {"Fading Film 3",
     {PointValue(0.385f, 0.58f), SliderValue(0.5834f), SliderValue(0.5301f),
      ColorValue(0x00004080), SliderValue(0.3401f), SliderValue(0.0001f),
      ColorValue(0x00404080), SliderValue(0.9201f), SliderValue(0.0f), ChoiceValue(6)}},
    {"Faint Flesh Tones",
     {PointValue(0.5001f, 0.0499f), SliderValue(0.0001f), SliderValue(0.3701f),
      ColorValue(0x00FFFFFF), SliderValue(0.3501f), SliderValue(0.0001f),
      ColorValue(0x00C3D0FF), SliderValue(0.7101f), SliderValue(0.0f), ChoiceValue(4)}},
    {"Faux 3D Glasses",
     {PointValue(0.5001f, 0.4999f), SliderValue(0.2501f), SliderValue(0.5601f),
      ColorValue(0x000000FF), SliderValue(0.7501f), SliderValue(0.0001f),
      ColorValue(0x00FF0000), SliderValue(0.7501f), SliderValue(0.0f), ChoiceValue(1)}},
    {"Fluro",
     {PointValue(0.5f, 0.5f), SliderValue(0.0f), SliderValue(0.2501f),
      ColorValue(0x0000FFFF), SliderValue(0.8501f), SliderValue(0.0001f),
      ColorValue(0x0000FF80), SliderValue(0.8501f), SliderValue(0.0f), ChoiceValue(2)}},
    {"Gentle Majesty",
     {PointValue(0.65f, 0.5501f), SliderValue(0.0695f), SliderValue(1.0f),
      ColorValue(0x00FF0080), SliderValue(0.5001f), SliderValue(0.0001f),
      ColorValue(0x00C080FF), SliderValue(0.5001f), SliderValue(0.0001f), ChoiceValue(1)}},
    {"Green Yellow Red Show",
     {PointValue(0.5f, 0.5f), SliderValue(0.2779f), SliderValue(0.3501f),
      ColorValue(0x0000FF00), SliderValue(0.9501f), SliderValue(0.0001f),
      ColorValue(0x000000FF), SliderValue(0.9501f), SliderValue(0.0f), ChoiceValue(1)}},
    {"Greener Grass",
     {PointValue(0.5001f, 0.4999f), SliderValue(0.0001f), SliderValue(0.1001f),
      ColorValue(0x00EDB012), SliderValue(0.0f), SliderValue(0.0f),
      ColorValue(0x00008000), SliderValue(1.0f), SliderValue(0.5001f), ChoiceValue(1)}},
    {"Heated Vission",
     {PointValue(0.5f, 0.5f), SliderValue(0.0f), SliderValue(0.4801f),
      ColorValue(0x00FFFF00), SliderValue(1.0001f), SliderValue(0.0f),
      ColorValue(0x00FF0080), SliderValue(1.0f), SliderValue(0.0f), ChoiceValue(8)}},
    {"Hippie Haze",
     {PointValue(0.5f, 0.4999f), SliderValue(0.0001f), SliderValue(0.4001f),
      ColorValue(0x000080FF), SliderValue(1.0001f), SliderValue(0.0f),
      ColorValue(0x0000FFFF), SliderValue(0.9001f), SliderValue(0.0f), ChoiceValue(2)}},
    {"Life on Mars",
     {PointValue(0.5001f, 1.0f), SliderValue(0.0f), SliderValue(0.0f),
      ColorValue(0x000000DF), SliderValue(0.9101f), SliderValue(0.05f),
      ColorValue(0x00FFFFFF), SliderValue(0.0f), SliderValue(0.225f), ChoiceValue(3)}},
    {"Light Above",
     {PointValue(0.5001f, 0.1249f), SliderValue(0.0001f), SliderValue(0.1201f),
      ColorValue(0x00FFFFFF), SliderValue(1.0f), SliderValue(0.0f),
      ColorValue(0x00FFFFFF), SliderValue(0.0f), SliderValue(0.0f), ChoiceValue(4)}},
    {"Light from Beneath",
     {PointValue(0.5001f, 0.6251f), SliderValue(0.0001f), SliderValue(0.3501f),
      ColorValue(0x00000000), SliderValue(0.9701f), SliderValue(0.3301f),
      ColorValue(0x00FFFFFF), SliderValue(0.3701f), SliderValue(0.0f), ChoiceValue(1)}},
    {"Olive",
     {PointValue(0.5f, 0.5f), SliderValue(0.0f), SliderValue(0.2301f),
      ColorValue(0x00008080), SliderValue(0.3851f), SliderValue(0.0f),
      ColorValue(0x00408080), SliderValue(0.7601f), SliderValue(0.0f), ChoiceValue(7)}},
    {"Orange Horizon",
     {PointValue(0.5001f, 0.5501f), SliderValue(0.0001f), SliderValue(0.2001f),
      ColorValue(0x000080FF), SliderValue(0.8001f), SliderValue(0.0f),
      ColorValue(0x00FFFFFF), SliderValue(0.0f), SliderValue(0.0f), ChoiceValue(3)}},
    {"Pink Haze",
     {PointValue(0.6047f, 0.6744f), SliderValue(0.0f), SliderValue(0.4301f),
      ColorValue(0x00CA95FF), SliderValue(0.7501f), SliderValue(0.0901f),
      ColorValue(0x00FFFFFF), SliderValue(0.0f), SliderValue(0.0001f), ChoiceValue(0)}},
    {"Pseudo Thermo",
     {PointValue(0.7f, 0.1f), SliderValue(0.0695f), SliderValue(0.3501f),
      ColorValue(0x00FFFFFF), SliderValue(1.0001f), SliderValue(0.0f),
      ColorValue(0x00808080), SliderValue(1.0f), SliderValue(0.0f), ChoiceValue(8)}},
    {"Purple Majesty",
     {PointValue(0.5f, 0.45f), SliderValue(0.0f), SliderValue(0.2501f),
      ColorValue(0x00400080), SliderValue(0.2501f), SliderValue(0.0001f),
      ColorValue(0x00800080), SliderValue(0.7501f), SliderValue(0.0001f), ChoiceValue(7)}},
    {"Reset to None",
     {PointValue(0.5f, 0.5f), SliderValue(0.0f), SliderValue(0.24f),
      ColorValue(0x00C95E2B), SliderValue(0.0f), SliderValue(0.5001f),
      ColorValue(0x0000FF00), SliderValue(0.0f), SliderValue(0.5001f), ChoiceValue(0)}},
    {"Storm Coming",
     {PointValue(0.5001f, 0.42f), SliderValue(0.0001f), SliderValue(0.3601f),
      ColorValue(0x00400000), SliderValue(0.9601f), SliderValue(0.0001f),
      ColorValue(0x00C0C0C0), SliderValue(0.2601f), SliderValue(0.0f), ChoiceValue(3)}},
    {"Technicolor Divide",
     {PointValue(0.5116f, 0.4884f), SliderValue(0.0f), SliderValue(0.0501f),
      ColorValue(0x008000FF), SliderValue(0.9501f), SliderValue(0.2501f),
      ColorValue(0x0000FF00), SliderValue(0.9501f), SliderValue(0.2501f), ChoiceValue(8)}},
    {"Twilight",
     {PointValue(0.5001f, 0.4999f), SliderValue(0.0001f), SliderValue(0.2001f),
      ColorValue(0x00A00000), SliderValue(0.8301f), SliderValue(0.0101f),
      ColorValue(0x00400000), SliderValue(1.0001f), SliderValue(0.2001f), ChoiceValue(3)}},
    {"Upper Right Light",
     {PointValue(0.425f, 0.395f), SliderValue(0.1251f), SliderValue(0.5001f),
      ColorValue(0x00FFFFFF), SliderValue(0.9501f), SliderValue(0.0501f),
      ColorValue(0x00000000), SliderValue(0.6501f), SliderValue(0.0501f), ChoiceValue(1)}},
    {"Very Blue Water",
     {PointValue(0.5f, 0.3499f), SliderValue(0.0f), SliderValue(0.2601f),
      ColorValue(0x00FFFFFF), SliderValue(0.0001f), SliderValue(0.0f),
      ColorValue(0x008E180F), SliderValue(0.6501f), SliderValue(0.0f), ChoiceValue(1)}},
    {"Warm Spectrum",
     {PointValue(0.3499f, 0.65f), SliderValue(0.1251f), SliderValue(0.5f),
      ColorValue(0x000000FF), SliderValue(1.0f), SliderValue(0.0101f),
      ColorValue(0x0000FFFF), SliderValue(1.0f), SliderValue(0.0101f), ChoiceValue(7)}},
    {"Yellow Silhouette",
     {PointValue(0.5f, 0.5f), SliderValue(0.0001f), SliderValue(0.0801f),
      ColorValue(0x0000FFFF), SliderValue(0.9001f), SliderValue(0.0001f),
      ColorValue(0x0080FFFF), SliderValue(0.9001f), SliderValue(0.0001f), ChoiceValue(2)}},
};
// clang-format on

static_assert(TableIsWellFormed(kParams, kPresets));
static_assert(std::size(kParams) == 16 && std::size(kPresets) == 35);

inline constexpr EffectTable kTable{"Gradient Tint", kTraitsPlain, kParams, kPresets};

// One tint's parameters.
struct Tint {
  uint32_t color;
  float blend, mask;
};

// The parameters as both paths read them, in the order they read them.
struct Values {
  float angle;  // fraction of a turn
  float x, y;   // Center, y from the top
  float crossfade;
  Tint first, second;
  int32_t mode;
};

Values ReadValues(IEffectHost* host);

// The tint's colour channel from its byte: faded to white as Blend falls to 0.
inline float TintChannel(uint32_t color, int32_t shift, float blend) {
  return static_cast<float>((color >> shift) & 0xFF) * 0.003921569f * blend + (1.0f - blend);
}

}  // namespace vitrella::gradient_tint
