// What the library's effects say about themselves: names, traits, parameter records,
// tooltips and built-in presets, read through the effect interfaces only.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "com_ref.h"
#include "vitrella/library.h"

namespace vitrella::host {

struct PresetDescription {
  std::string name;
  // One entry per parameter record; empty for a group or where the effect gave nothing.
  std::vector<std::optional<ParamValue>> values;
};

struct EffectDescription {
  uint32_t index = 0;
  std::string name;
  uint32_t traits = 0;
  bool gpu = false;  // answers IVideoGPUEffect
  std::vector<ParamInfo> params;
  std::vector<std::optional<std::string>> tooltips;  // one per parameter record
  std::vector<PresetDescription> presets;
};

// Calls `visit` for every effect the library makes, in index order. An index below the
// published effect count that answers null is an effect missing from this build and is
// skipped; past that count the first null ends the walk.
void ForEachEffect(IEffectLibrary& library,
                   const std::function<void(uint32_t index, IVideoEffect& effect)>& visit);

std::string EffectName(IVideoEffect& effect);

// GetParamInfo from index 0 up to the first false.
std::vector<ParamInfo> ReadParams(IVideoEffect& effect);

// GetPresetName from index 0 up to the first null.
std::vector<std::string> ReadPresetNames(IVideoEffect& effect);

EffectDescription DescribeEffect(uint32_t index, IVideoEffect& effect);

struct FoundEffect {
  uint32_t index = 0;
  std::string name;
  ComRef<IVideoEffect> effect;
};

// An effect by its index or by its name (case-insensitive). Throws UsageError.
FoundEffect FindEffect(IEffectLibrary& library, std::string_view key);

}  // namespace vitrella::host
