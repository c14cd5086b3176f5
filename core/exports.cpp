// The library's exported functions. Nothing else is visible outside the module, and no
// exception leaves it.
#include <new>

#include "core/effects_library.h"
#include "vitrella/library.h"

VITRELLA_EXPORT vitrella::IEffectLibrary* GetEffectsLibrary() {
  try {
    return new (std::nothrow) vitrella::CVitrellaEffects3();
  } catch (...) {
    return nullptr;
  }
}

// The library keeps no count of live objects: a host may unload it after its last
// Release, and objects still alive then are the host's error.
VITRELLA_EXPORT bool CanUnloadDLLNow() {
  return true;
}
