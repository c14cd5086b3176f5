// The picture that `render` uses when no input is given.
#pragma once

#include <opencv2/core.hpp>

namespace vitrella::host {

inline constexpr int kBuiltinWidth = 1280;
inline constexpr int kBuiltinHeight = 720;

// An upright, opaque 8-bit BGRA test card, drawn in code, with something for every
// effect to act on: colour bars, soft gradients, skin tones, a bright highlight, fine
// aliased diagonals and blocky lettering with stair-stepped strokes. Channels keep to
// video levels (16 to 235), so that level and contrast effects have room to work.
cv::Mat BuiltinPicture();

}  // namespace vitrella::host
