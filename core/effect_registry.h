// The library's effects, in index order.
#pragma once

#include <cstdint>

#include "vitrella/effect.h"

namespace vitrella {

// A new instance of the effect at `index` with one reference for the caller; null for
// an index past the table, an effect not yet in this build, or exhausted memory.
IVideoEffect* CreateEffectByIndex(uint32_t index);

}  // namespace vitrella
