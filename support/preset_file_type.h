// The file type of an effect's presets: its extension, made from the collection and the
// effect, and the filter that the file dialogs show for it.
#pragma once

#include <cstdint>

#include "vitrella/base.h"

namespace vitrella {

inline constexpr int kPresetExtensionCapacity = 20;
inline constexpr int kPresetFilterCapacity = 260;

// "prs" without a library name; else "fxp", the collection's code ("unk" for a name
// the family does not know) and the letter 'a' + effectIndex.
void PresetExtension(const char* libraryName, uint32_t effectIndex,
                     WideChar (&extension)[kPresetExtensionCapacity]);

// Two texts and the empty one that closes the list: label, " (*.", extension and ")",
// then "*." and extension. A label too long for the buffer is cut.
void PresetFilter(const WideChar* label, const WideChar* extension,
                  WideChar (&filter)[kPresetFilterCapacity]);

}  // namespace vitrella
