#include "core/effect_table.h"

#include <cstring>

namespace vitrella {
namespace {

void CopyText(char* to, size_t bytes, const char* text) {
  std::strncpy(to, text, bytes - 1);
  to[bytes - 1] = '\0';
}

}  // namespace

bool FillParamInfo(const EffectTable& table, uint32_t index, ParamInfo* info) {
  if (info == nullptr) return false;
  std::memset(info, 0, sizeof(ParamInfo));
  if (index >= table.params.size()) return false;
  const ParamDef& def = table.params[index];
  info->defaultValue = def.defaultValue;
  info->kind = def.kind;
  switch (def.kind) {
    case ParamSlider:
      info->minimum = def.minimum;
      info->slider.maximum = def.maximum;
      info->slider.sliderFlag = 1;
      break;
    case ParamChoice: {
      info->choiceCount = static_cast<int32_t>(def.choices.size());
      int slot = 0;
      for (const char* choice : def.choices) {
        CopyText(info->choiceText[slot++], kChoiceTextBytes, choice);
      }
      break;
    }
    case ParamGroup:
      info->groupClose = def.groupClose;
      break;
    default:
      break;
  }
  CopyText(info->name, kParamNameBytes, def.name);
  info->panelX = def.panel.x;
  info->panelY = def.panel.y;
  info->panelWidth = def.panel.width;
  info->panelHeight = def.panel.height;
  info->enabled = 1;
  return true;
}

const char* PresetName(const EffectTable& table, uint32_t preset) {
  return preset < table.presets.size() ? table.presets[preset].name : nullptr;
}

bool PresetValue(const EffectTable& table, uint32_t preset, uint32_t param, ParamValue* value) {
  if (value == nullptr || preset >= table.presets.size() || param >= table.params.size()) {
    return false;
  }
  // A group record holds no value and no place in the row: it answers an empty one.
  if (table.params[param].kind == ParamGroup) {
    *value = ParamValue{};
    return true;
  }
  size_t cell = 0;
  for (uint32_t i = 0; i < param; ++i) {
    if (table.params[i].kind != ParamGroup) ++cell;
  }
  *value = table.presets[preset].values.begin()[cell].value;
  return true;
}

const char* ParamToolTip(const EffectTable& table, uint32_t index) {
  return index < table.params.size() ? table.params[index].tooltip : nullptr;
}

}  // namespace vitrella
