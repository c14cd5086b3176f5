// How the library object makes its effects. The table of factories lives with the
// effects (effects/effect_registry.cpp), the one place that knows them all, so that the
// library's core needs none of their headers.
#pragma once

#include <cstdint>

#include "vitrella/effect.h"

namespace vitrella {

// A new instance of the effect at `index` with one reference for the caller; null for
// an index past the table, an effect not yet in this build, or exhausted memory.
IVideoEffect* CreateEffectByIndex(uint32_t index);

}  // namespace vitrella
