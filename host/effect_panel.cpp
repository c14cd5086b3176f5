#include "effect_panel.h"

#include <algorithm>
#include <iomanip>

#include "param_names.h"
#include "param_text.h"

namespace vitrella::host {
namespace {

// The value as the panel shows it and --set takes it.
std::string PanelValue(const ParamInfo& info, const ParamValue& value) {
  return info.kind == ParamSlider ? FormatSliderShown(info, value.slider)
                                  : FormatValue(info, value);
}

std::string RangeText(const ParamInfo& info) {
  switch (info.kind) {
    case ParamSlider:
      return FormatSliderShown(info, 0.0f) + ".." + FormatSliderShown(info, 1.0f);
    case ParamPoint:
      return "x,y in 0..1, y from the top";
    case ParamChoice: {
      std::string entries;
      for (const std::string& text : ChoiceTexts(info))
        entries += (entries.empty() ? "" : " | ") + text;
      return entries;
    }
    case ParamCheck:
      return "on | off";
    case ParamColor:
      return "#RRGGBB";
    default:
      return "";
  }
}

size_t LabelWidth(const EffectDescription& effect) {
  size_t width = 0;
  for (const ParamInfo& info : effect.params) {
    if (info.kind != ParamGroup) width = std::max(width, ParamLabel(info).size());
  }
  return width + 2;
}

// Calls row(index, indent) for every parameter, after a heading line for each group it
// opens; a group's records themselves are not rows.
template <typename Row>
void ForEachRow(const EffectDescription& effect, const std::string& indent, std::ostream& out,
                const Row& row) {
  const std::vector<std::string> groups = ParamGroups(effect.params);
  for (uint32_t i = 0; i < effect.params.size(); ++i) {
    const ParamInfo& info = effect.params[i];
    if (info.kind != ParamGroup) {
      row(i, indent + (groups[i].empty() ? "" : "  "));
    } else if (info.groupClose == 0) {
      out << indent << ParamLabel(info) << "\n";
    }
  }
}

std::string Padded(const std::string& text, size_t width) {
  return text.size() >= width ? text + " " : text + std::string(width - text.size(), ' ');
}

}  // namespace

void WriteEffectPanel(const EffectDescription& effect, std::ostream& out) {
  out << "[" << effect.index << "] " << effect.name
      << "  (GPU path: " << (effect.gpu ? "yes" : "no") << ")\n\n";
  const size_t width = LabelWidth(effect);
  ForEachRow(effect, "", out, [&](uint32_t i, const std::string& indent) {
    const ParamInfo& info = effect.params[i];
    out << indent << Padded(ParamLabel(info), width) << Padded(std::string(KindName(info.kind)), 8)
        << Padded(PanelValue(info, info.defaultValue), 12) << RangeText(info) << "\n";
    if (effect.tooltips[i] && !effect.tooltips[i]->empty()) {
      out << indent << "  " << *effect.tooltips[i] << "\n";
    }
  });
  out << "\nSet one with --set, as in --set \"";
  for (uint32_t i = 0; i < effect.params.size(); ++i) {
    if (effect.params[i].kind == ParamGroup) continue;
    out << QualifiedName(effect.params, i) << "="
        << PanelValue(effect.params[i], effect.params[i].defaultValue);
    break;
  }
  out << "\"; vitrella list '" << effect.name << "' --presets shows the presets.\n";
}

void WriteEffectPresets(const EffectDescription& effect, std::ostream& out) {
  out << "[" << effect.index << "] " << effect.name << ": " << effect.presets.size()
      << (effect.presets.size() == 1 ? " preset\n" : " presets\n");
  const size_t width = LabelWidth(effect);
  for (const PresetDescription& preset : effect.presets) {
    out << "\n" << preset.name << "\n";
    ForEachRow(effect, "  ", out, [&](uint32_t i, const std::string& indent) {
      out << indent << Padded(ParamLabel(effect.params[i]), width);
      if (preset.values[i]) {
        out << PanelValue(effect.params[i], *preset.values[i]);
      } else {
        out << "(not set)";
      }
      out << "\n";
    });
  }
}

}  // namespace vitrella::host
