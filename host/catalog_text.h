// The effect catalogue for a person to read: one block per effect.
#pragma once

#include <ostream>
#include <string_view>
#include <vector>

#include "effect_catalog.h"

namespace vitrella::host {

void WriteCatalogText(std::string_view libraryName, const std::vector<EffectDescription>& effects,
                      std::ostream& out);

}  // namespace vitrella::host
