// What the resource module exports, by name, for the library that loads it.
#pragma once

#include <cstdint>

namespace vitrella::resources {

// The logo of the options dialog.
inline constexpr int32_t kLogoBitmap = 237;

// VitrellaResourceBitmap(id, width, height): the bitmap's pixels, 0x00RRGGBB, rows top to
// bottom, owned by the module; null, with both sizes 0, for a number it does not hold.
inline constexpr const char* kBitmapExport = "VitrellaResourceBitmap";
using BitmapExport = const uint32_t* (*)(int32_t id, int32_t* width, int32_t* height);

}  // namespace vitrella::resources
