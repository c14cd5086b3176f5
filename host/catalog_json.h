// The effect catalogue as one JSON document, for scripts and tests.
//
//   {"library": name,
//    "effects": [{"index", "name", "traits", "gpu",
//                 "params": [{"index", "kind", "name", "group", "default", "min", "max", "choices",
//                             "groupClose", "panel": {"x", "y", "width", "height"},
//                             "tooltip"}],
//                 "presets": [{"name", "values": [one per parameter record]}]}]}
//
// "kind" is point, choice, slider, color, check or group. Values by kind: slider the
// fraction as a number, point [x, y], color "#RRGGBB", check true or false, choice the
// entry's index, group null. "group" is the label of the group a parameter lies in (null
// outside groups and for a group's own records). "min" and "max" are a slider's shown range,
// "choices" a choice's entry texts, "groupClose" whether a group record closes its group; each is
// null where it does not apply, as is a missing tooltip.
#pragma once

#include <ostream>
#include <string_view>
#include <vector>

#include "effect_catalog.h"

namespace vitrella::host {

void WriteCatalogJson(std::string_view libraryName, const std::vector<EffectDescription>& effects,
                      std::ostream& out);

}  // namespace vitrella::host
