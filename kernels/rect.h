// A rectangle of pixels inside a view: the part of a picture that a resize or a warp
// reads, or that a warp may write.
#pragma once

#include <cstdint>

#include "kernels/image.h"

namespace vitrella::kernels {

struct Rect {
  int32_t x = 0;
  int32_t y = 0;
  int32_t width = 0;
  int32_t height = 0;
};

// Whether the rectangle holds at least one pixel and lies wholly inside a view of the
// given extent. Written so that no sum can overflow.
inline bool RectInside(const Rect& rect, Size extent) {
  return rect.width >= 1 && rect.height >= 1 && rect.x >= 0 && rect.y >= 0 &&
         rect.x <= extent.width - rect.width && rect.y <= extent.height - rect.height;
}

}  // namespace vitrella::kernels
