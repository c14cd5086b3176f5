// The constant description of an effect: its parameter table, built-in presets and
// tooltips, written as data at the top of each effect's source file.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <span>

#include "vitrella/records.h"

namespace vitrella {

struct PanelRect {
  int32_t x = 0;
  int32_t y = 0;
  int32_t width = 0;
  int32_t height = 0;
};

struct ParamDef {
  ParamKind kind = ParamSlider;
  const char* name = "";
  ParamValue defaultValue{};
  float minimum = 0.0f;  // sliders: the range shown
  float maximum = 0.0f;
  std::span<const char* const> choices{};  // choices: the entry texts, an array of the effect's
  uint8_t groupClose = 0;                  // groups: 0 opens, 1 closes
  PanelRect panel{};
  const char* tooltip = nullptr;  // null: no tooltip
};

struct PresetDef {
  const char* name;
  std::initializer_list<ParamValue> values;  // one per parameter, group records included
};

struct EffectTable {
  const char* name;
  uint32_t traits;
  std::span<const ParamDef> params;
  std::span<const PresetDef> presets;
};

// Values, for defaults and preset rows.
constexpr ParamValue SliderValue(float fraction) {
  ParamValue v{};
  v.slider = fraction;
  return v;
}
constexpr ParamValue CheckValue(bool on) {
  ParamValue v{};
  v.check = on ? 1 : 0;
  return v;
}
constexpr ParamValue ChoiceValue(int32_t index) {
  ParamValue v{};
  v.choice = index;
  return v;
}
constexpr ParamValue PointValue(float x, float y) {
  ParamValue v{};
  v.point[0] = x;
  v.point[1] = y;
  return v;
}
// A colour word, 0x00BBGGRR.
constexpr ParamValue ColorValue(uint32_t word) {
  ParamValue v{};
  v.color = word;
  return v;
}
// The place that a group record holds in a preset row.
constexpr ParamValue NoValue() {
  return ParamValue{};
}

inline constexpr ParamValue kOn = CheckValue(true);
inline constexpr ParamValue kOff = CheckValue(false);

// Parameter records. A slider's default is the fraction of its shown range.
constexpr ParamDef SliderParam(const char* name, float minimum, float maximum, float fraction,
                               PanelRect panel, const char* tooltip) {
  return {ParamSlider, name, SliderValue(fraction), minimum, maximum, {}, 0, panel, tooltip};
}
constexpr ParamDef CheckParam(const char* name, bool on, PanelRect panel, const char* tooltip) {
  return {ParamCheck, name, CheckValue(on), 0, 0, {}, 0, panel, tooltip};
}
// The entry texts live in a named constant array: a braced list here would end with the
// call that builds the table.
constexpr ParamDef ChoiceParam(const char* name, std::span<const char* const> choices,
                               int32_t index, PanelRect panel, const char* tooltip) {
  return {ParamChoice, name, ChoiceValue(index), 0, 0, choices, 0, panel, tooltip};
}
constexpr ParamDef PointParam(const char* name, float x, float y, PanelRect panel,
                              const char* tooltip) {
  return {ParamPoint, name, PointValue(x, y), 0, 0, {}, 0, panel, tooltip};
}
constexpr ParamDef ColorParam(const char* name, uint32_t word, PanelRect panel,
                              const char* tooltip) {
  return {ParamColor, name, ColorValue(word), 0, 0, {}, 0, panel, tooltip};
}
// A group opens with its label at (x, y), width -18 and height 30, and closes with the
// same label, position 0, 0 and the size of its box.
constexpr ParamDef GroupOpen(const char* name, int32_t x, int32_t y,
                             const char* tooltip = nullptr) {
  return {ParamGroup, name, NoValue(), 0, 0, {}, 0, {x, y, -18, 30}, tooltip};
}
constexpr ParamDef GroupClose(const char* name, int32_t width, int32_t height,
                              const char* tooltip = nullptr) {
  return {ParamGroup, name, NoValue(), 0, 0, {}, 1, {0, 0, width, height}, tooltip};
}

// Whether every preset row holds one value per parameter, and every record fits the
// fixed text fields; effects check their tables with it at compile time.
consteval bool TableIsWellFormed(std::span<const ParamDef> params,
                                 std::span<const PresetDef> presets) {
  auto fits = [](const char* text, int bytes) {
    int n = 0;
    while (text[n] != '\0')
      ++n;
    return n < bytes;
  };
  for (const ParamDef& p : params) {
    if (!fits(p.name, kParamNameBytes)) return false;
    if (p.choices.size() > static_cast<size_t>(kChoiceSlots)) return false;
    for (const char* c : p.choices) {
      if (!fits(c, kChoiceTextBytes)) return false;
    }
  }
  for (const PresetDef& preset : presets) {
    if (preset.values.size() != params.size()) return false;
  }
  return true;
}

// The slots of IVideoEffect and IParamToolTip that read the tables.
bool FillParamInfo(const EffectTable& table, uint32_t index, ParamInfo* info);
const char* PresetName(const EffectTable& table, uint32_t preset);
bool PresetValue(const EffectTable& table, uint32_t preset, uint32_t param, ParamValue* value);
const char* ParamToolTip(const EffectTable& table, uint32_t index);

}  // namespace vitrella
