// One effect as its panel shows it: parameters under their groups with their defaults and
// ranges, or its presets with their values by name.
#pragma once

#include <ostream>

#include "effect_catalog.h"

namespace vitrella::host {

// Values are written in the forms --set takes, sliders as the panel shows them.
void WriteEffectPanel(const EffectDescription& effect, std::ostream& out);
void WriteEffectPresets(const EffectDescription& effect, std::ostream& out);

}  // namespace vitrella::host
