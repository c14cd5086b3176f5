// The edge and the line of Split Screen across the split, as tables of n = feather + line
// width entries, index 0 on the picture's side. The CPU lays them along its strips, and
// the GPU reads them as a texture; both take them from here.
#pragma once

#include <cstdint>
#include <vector>

namespace vitrella {

// Entries in bytes (0..255) or in floats (0..1).
template <typename T>
struct SplitProfiles {
  std::vector<T> falloff;  // G: f entries of a Gaussian, full at 0
  std::vector<T> line;     // P: the line's opacity across the strip
  std::vector<T> ramp;     // R: the edge, falling from full to 0
  std::vector<T> colour;   // U: the weight of the line's colour over the picture
  std::vector<T> alpha;    // V: what stays of the picture, with the line's bump
};

// f and l are the feather and the line width in pixels (at least 0), o the line's opacity
// in 0..1; 0 means no line, and the line tables are then 0.
SplitProfiles<uint8_t> MakeByteSplitProfiles(int32_t f, int32_t l, float o);
SplitProfiles<float> MakeFloatSplitProfiles(int32_t f, int32_t l, float o);

template <typename T>
SplitProfiles<T> MakeSplitProfiles(int32_t f, int32_t l, float o) {
  if constexpr (sizeof(T) == 1) {
    return MakeByteSplitProfiles(f, l, o);
  } else {
    return MakeFloatSplitProfiles(f, l, o);
  }
}

}  // namespace vitrella
