// The YUV colour matrices that the host converts with itself, both ways.
#pragma once

#include <optional>

namespace vitrella::host {

// A colour matrix by its red and blue weights.
struct YuvMatrix {
  double kr = 0.299;
  double kb = 0.114;
};

// The matrix of an FFmpeg colour space number (AVColorSpace): BT.601, BT.709 or BT.2020,
// and BT.601 where the clip does not say, as swscale takes it. nullopt for the others,
// which are left to swscale.
std::optional<YuvMatrix> YuvMatrixOf(int colorSpace);

}  // namespace vitrella::host
