// The constant description of an effect: its parameter table, built-in presets and
// tooltips, written as data at the top of each effect's source file, and the names by
// which the effect's code reads its parameters.
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

// A value with the kind of parameter it is for, so that tables can be checked. It passes
// for a plain ParamValue wherever one is wanted.
struct KindedValue {
  ParamKind kind;
  ParamValue value;
  constexpr operator ParamValue() const { return value; }  // NOLINT(google-explicit-constructor)
};

constexpr KindedValue SliderValue(float fraction) {
  ParamValue v{};
  v.slider = fraction;
  return {ParamSlider, v};
}
constexpr KindedValue CheckValue(bool on) {
  ParamValue v{};
  v.check = on ? 1 : 0;
  return {ParamCheck, v};
}
constexpr KindedValue ChoiceValue(int32_t index) {
  ParamValue v{};
  v.choice = index;
  return {ParamChoice, v};
}
constexpr KindedValue PointValue(float x, float y) {
  ParamValue v{};
  v.point[0] = x;
  v.point[1] = y;
  return {ParamPoint, v};
}
// A colour word, 0x00BBGGRR.
constexpr KindedValue ColorValue(uint32_t word) {
  ParamValue v{};
  v.color = word;
  return {ParamColor, v};
}

inline constexpr KindedValue kOn = CheckValue(true);
inline constexpr KindedValue kOff = CheckValue(false);

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

// A built-in preset: one value for each parameter that holds one, in index order; group
// records hold none and have no place in the row.
struct PresetDef {
  const char* name;
  std::initializer_list<KindedValue> values;
};

struct EffectTable {
  const char* name;
  uint32_t traits;
  std::span<const ParamDef> params;
  std::span<const PresetDef> presets;
};

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
// same label and the size of its box, most often at position 0, 0.
constexpr ParamDef GroupOpen(const char* name, int32_t x, int32_t y,
                             const char* tooltip = nullptr) {
  return {ParamGroup, name, ParamValue{}, 0, 0, {}, 0, {x, y, -18, 30}, tooltip};
}
constexpr ParamDef GroupClose(const char* name, PanelRect panel, const char* tooltip = nullptr) {
  return {ParamGroup, name, ParamValue{}, 0, 0, {}, 1, panel, tooltip};
}

// The name by which an effect's code reads one parameter: its index, and its kind and
// label as the table gives them, which NamesMatch checks at compile time.
template <ParamKind Kind>
struct ParamId {
  uint32_t index;
  const char* label;
};
using PointId = ParamId<ParamPoint>;
using ChoiceId = ParamId<ParamChoice>;
using SliderId = ParamId<ParamSlider>;
using ColorId = ParamId<ParamColor>;
using CheckId = ParamId<ParamCheck>;

namespace table_rules {

consteval bool SameText(const char* a, const char* b) {
  int i = 0;
  for (; a[i] != '\0' && b[i] != '\0'; ++i) {
    if (a[i] != b[i]) return false;
  }
  return a[i] == b[i];
}

consteval bool Fits(const char* text, int bytes) {
  int n = 0;
  while (text[n] != '\0')
    ++n;
  return n < bytes;
}

// Slider fractions stay within 0..1, except for the 1.0001 that some saved presets hold
// and that is kept as it was saved.
consteval bool ValueFits(const ParamDef& p, const ParamValue& v) {
  switch (p.kind) {
    case ParamSlider:
      return (v.slider >= 0.0f && v.slider <= 1.0f) || v.slider == 1.0001f;
    case ParamChoice:
      return v.choice >= 0 && static_cast<size_t>(v.choice) < p.choices.size();
    case ParamCheck:
      return v.check <= 1;
    case ParamPoint:
    case ParamColor:
    case ParamGroup:
      return true;
  }
  return false;
}

}  // namespace table_rules

// Whether every record fits the fixed text fields, every default and every preset value
// has its parameter's kind and range, and every preset row holds one value for each
// parameter that is not a group record. Effects check their tables with it at compile
// time.
consteval bool TableIsWellFormed(std::span<const ParamDef> params,
                                 std::span<const PresetDef> presets) {
  size_t valued = 0;
  for (const ParamDef& p : params) {
    if (!table_rules::Fits(p.name, kParamNameBytes)) return false;
    if (p.choices.size() > static_cast<size_t>(kChoiceSlots)) return false;
    for (const char* c : p.choices) {
      if (!table_rules::Fits(c, kChoiceTextBytes)) return false;
    }
    if (p.kind != ParamGroup) {
      if (!table_rules::ValueFits(p, p.defaultValue)) return false;
      ++valued;
    }
  }
  for (const PresetDef& preset : presets) {
    if (preset.values.size() != valued) return false;
    const KindedValue* cell = preset.values.begin();
    for (const ParamDef& p : params) {
      if (p.kind == ParamGroup) continue;
      if (cell->kind != p.kind || !table_rules::ValueFits(p, cell->value)) return false;
      ++cell;
    }
  }
  return true;
}

// Whether each name's index holds a record of the name's kind and label.
template <ParamKind... Kinds>
consteval bool NamesMatch(std::span<const ParamDef> params, ParamId<Kinds>... ids) {
  return ((ids.index < params.size() && params[ids.index].kind == Kinds &&
           table_rules::SameText(params[ids.index].name, ids.label)) &&
          ...);
}

// The slots of IVideoEffect and IParamToolTip that read the tables.
bool FillParamInfo(const EffectTable& table, uint32_t index, ParamInfo* info);
const char* PresetName(const EffectTable& table, uint32_t preset);
bool PresetValue(const EffectTable& table, uint32_t preset, uint32_t param, ParamValue* value);
const char* ParamToolTip(const EffectTable& table, uint32_t index);

}  // namespace vitrella
