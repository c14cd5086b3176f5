#include "catalog_text.h"

#include <cstdio>

#include "param_text.h"

namespace vitrella::host {
namespace {

std::string Quoted(std::string_view text) {
  return "\"" + std::string(text) + "\"";
}

std::string Hex(uint32_t value) {
  char text[16];
  std::snprintf(text, sizeof(text), "0x%X", value);
  return text;
}

// A value for a person, in forms --set takes: a slider as its panel shows it, with the
// fraction and the range beside it.
std::string ValueText(const ParamInfo& info, const ParamValue& value) {
  std::string text = FormatValue(info, value);
  if (info.kind == ParamSlider) {
    text = FormatSliderShown(info, value.slider) + " (fraction " + text + ", " +
           FormatSliderShown(info, 0.0f) + ".." + FormatSliderShown(info, 1.0f) + ")";
  } else if (info.kind == ParamChoice) {
    text = std::to_string(value.choice) + " " + Quoted(text);
  }
  return text;
}

void WriteParamText(uint32_t index, const ParamInfo& info, const std::optional<std::string>& tip,
                    std::ostream& out) {
  out << "    " << index << "  " << KindName(info.kind) << "  " << Quoted(ParamLabel(info));
  if (info.kind == ParamGroup) out << (info.groupClose != 0 ? "  closes" : "  opens");
  out << "\n";
  if (info.kind != ParamGroup) {
    out << "         default " << ValueText(info, info.defaultValue) << "\n";
  }
  if (info.kind == ParamChoice) {
    const std::vector<std::string> texts = ChoiceTexts(info);
    out << "         choices";
    for (size_t i = 0; i < texts.size(); ++i) {
      out << (i == 0 ? " " : ", ") << i << " " << Quoted(texts[i]);
    }
    out << "\n";
  }
  out << "         panel x " << info.panelX << ", y " << info.panelY << ", width "
      << info.panelWidth << ", height " << info.panelHeight << "\n";
  if (tip) out << "         tooltip " << Quoted(*tip) << "\n";
}

}  // namespace

void WriteCatalogText(std::string_view libraryName, const std::vector<EffectDescription>& effects,
                      std::ostream& out) {
  out << "Library " << Quoted(libraryName) << ": " << effects.size()
      << (effects.size() == 1 ? " effect\n" : " effects\n");
  for (const EffectDescription& effect : effects) {
    out << "\n[" << effect.index << "] " << effect.name << "\n";
    out << "  traits " << effect.traits << " (" << Hex(effect.traits) << "), GPU "
        << (effect.gpu ? "yes" : "no") << "\n";
    out << "  parameters:" << (effect.params.empty() ? " none" : "") << "\n";
    for (uint32_t i = 0; i < effect.params.size(); ++i) {
      WriteParamText(i, effect.params[i], effect.tooltips[i], out);
    }
    out << "  presets:" << (effect.presets.empty() ? " none" : "") << "\n";
    for (uint32_t p = 0; p < effect.presets.size(); ++p) {
      const PresetDescription& preset = effect.presets[p];
      out << "    " << p << "  " << Quoted(preset.name) << "\n";
      for (uint32_t i = 0; i < preset.values.size(); ++i) {
        if (!preset.values[i]) continue;
        out << "         " << ParamLabel(effect.params[i]) << " = "
            << ValueText(effect.params[i], *preset.values[i]) << "\n";
      }
    }
  }
}

}  // namespace vitrella::host
