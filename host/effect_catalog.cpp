#include "effect_catalog.h"

#include "host_error.h"
#include "message_text.h"
#include "name_match.h"
#include "param_text.h"

namespace vitrella::host {
namespace {

// Guards against a library that never says "no more"; far above any real table.
constexpr uint32_t kMaxRecords = 4096;

}  // namespace

void ForEachEffect(IEffectLibrary& library,
                   const std::function<void(uint32_t index, IVideoEffect& effect)>& visit) {
  for (uint32_t index = 0; index < kMaxRecords; ++index) {
    ComRef<IVideoEffect> effect(library.CreateEffect(index));
    if (!effect) {
      if (index < kEffectCount) continue;
      return;
    }
    visit(index, *effect);
  }
}

std::string EffectName(IVideoEffect& effect) {
  const char* name = effect.GetEffectName();
  return name != nullptr ? name : "";
}

std::vector<ParamInfo> ReadParams(IVideoEffect& effect) {
  std::vector<ParamInfo> params;
  for (uint32_t index = 0; index < kMaxRecords; ++index) {
    ParamInfo info{};
    if (!effect.GetParamInfo(index, &info)) break;
    params.push_back(info);
  }
  return params;
}

std::vector<std::string> ReadPresetNames(IVideoEffect& effect) {
  std::vector<std::string> names;
  for (uint32_t index = 0; index < kMaxRecords; ++index) {
    const char* name = effect.GetPresetName(index);
    if (name == nullptr) break;
    names.emplace_back(name);
  }
  return names;
}

EffectDescription DescribeEffect(uint32_t index, IVideoEffect& effect) {
  EffectDescription description;
  description.index = index;
  description.name = EffectName(effect);
  description.traits = effect.GetEffectTraits();

  void* gpu = nullptr;
  if (effect.QueryInterface(kIID_IVideoGPUEffect, &gpu) == kOk && gpu != nullptr) {
    description.gpu = true;
    static_cast<IVideoGPUEffect*>(gpu)->Release();
  }

  description.params = ReadParams(effect);

  void* tips = nullptr;
  ComRef<IParamToolTip> tooltips;
  if (effect.QueryInterface(kIID_IParamToolTip, &tips) == kOk && tips != nullptr) {
    tooltips = ComRef<IParamToolTip>(static_cast<IParamToolTip*>(tips));
  }
  for (uint32_t i = 0; i < description.params.size(); ++i) {
    const char* tip = tooltips ? tooltips->GetParamToolTip(i) : nullptr;
    description.tooltips.push_back(tip != nullptr ? std::optional<std::string>(tip) : std::nullopt);
  }

  const std::vector<std::string> names = ReadPresetNames(effect);
  for (uint32_t preset = 0; preset < names.size(); ++preset) {
    PresetDescription row{names[preset], {}};
    for (uint32_t param = 0; param < description.params.size(); ++param) {
      ParamValue value{};
      if (description.params[param].kind != ParamGroup &&
          effect.GetPresetValue(preset, param, &value)) {
        row.values.emplace_back(value);
      } else {
        row.values.emplace_back(std::nullopt);
      }
    }
    description.presets.push_back(std::move(row));
  }
  return description;
}

FoundEffect FindEffect(IEffectLibrary& library, std::string_view key) {
  uint32_t index = 0;
  if (ParseIndex(key, &index)) {
    ComRef<IVideoEffect> effect(library.CreateEffect(index));
    if (!effect)
      throw UsageError("no effect at index " + std::string(key) + "; vitrella list shows them");
    std::string name = EffectName(*effect);
    return {index, std::move(name), std::move(effect)};
  }
  FoundEffect found;
  std::vector<std::string> known;
  ForEachEffect(library, [&](uint32_t i, IVideoEffect& effect) {
    const std::string name = EffectName(effect);
    known.push_back(name);
    if (!found.effect && NamesMatch(name, key)) {
      effect.AddRef();
      found = {i, name, ComRef<IVideoEffect>(&effect)};
    }
  });
  if (!found.effect) {
    const std::vector<std::string> nearest = NearestNames(key, known);
    std::string list;
    for (const std::string& name : known)
      list += (list.empty() ? "" : ", ") + name;
    throw UsageError("unknown effect " + Quoted(key) +
                     (nearest.empty() ? "; the library has " + (list.empty() ? "none" : list)
                                      : Suggestion(nearest)));
  }
  return found;
}

}  // namespace vitrella::host
