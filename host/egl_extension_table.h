// The 1264-byte extension table that the host's context hands to an effect: entry
// points 8 bytes apart from offset 0, one byte per extension from offset 1201.
#pragma once

#include <array>
#include <cstdint>

#include "vitrella/gpu.h"

namespace vitrella::host {

using ExtensionTable = std::array<uint8_t, kExtensionTableBytes>;

// Fills the table for the context current on this thread; true when the context offers
// everything an effect needs.
bool FillExtensionTable(ExtensionTable& table);

}  // namespace vitrella::host
