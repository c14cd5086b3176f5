// What a frei0r host learns about one effect: its name, its parameters as frei0r
// parameters, and its built-in presets. Read once from the effect through the public
// interfaces and constant afterwards, so that instances on any thread share it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "vitrella/effect.h"

namespace vitrella::frei0r {

// frei0r parameter 0 is the preset by name; the effect's records follow from 1.
inline constexpr int kPresetParam = 0;
inline constexpr const char* kPresetParamName = "preset";

// One effect record that a frei0r host sees. Groups have none.
struct MappedParam {
  uint32_t record = 0;  // index of the effect's record
  ParamKind kind = ParamSlider;
  int32_t choiceCount = 0;
  std::string name;         // the label, under its group as "Group/Label"
  std::string explanation;  // the tooltip, with how the value maps
};

struct EffectDescription {
  uint32_t effectIndex = 0;
  std::string name;  // "Vitrella Spotlight"
  std::string explanation;
  std::string author;
  // The effect may leave pixels of the destination alone (Rolling Shutter's "Source"
  // border), which a frei0r host hands over holding anything: they start transparent
  // black, as in the reference host.
  bool clearsDestination = false;
  std::vector<ParamValue> defaults;  // one per record, groups included
  std::vector<MappedParam> params;
  std::vector<std::string> presetNames;
  std::vector<std::vector<ParamValue>> presets;  // per preset, one per record

  int ParamCount() const { return static_cast<int>(params.size()) + 1; }
  // The preset whose name folds like `wanted` (case, spaces and punctuation aside), or -1.
  int FindPreset(std::string_view wanted) const;
};

// Reads everything once; null when the effect answers nothing sensible.
std::unique_ptr<EffectDescription> DescribeEffect(IVideoEffect& effect, uint32_t effectIndex,
                                                  const char* libraryName);

// The description of the effect at `effectIndex`, read through a library loaded for it on
// the first call and kept for the life of the process; null when no library loads.
const EffectDescription* DescriptionOf(uint32_t effectIndex);

}  // namespace vitrella::frei0r
