#include "yuv_matrix.h"

namespace vitrella::host {

std::optional<YuvMatrix> YuvMatrixOf(int colorSpace) {
  switch (colorSpace) {
    case 1:  // BT.709
      return YuvMatrix{0.2126, 0.0722};
    case 2:  // unspecified: swscale's default
    case 5:  // BT.470 BG
    case 6:  // SMPTE 170M
      return YuvMatrix{0.299, 0.114};
    case 9:  // BT.2020, constant luminance or not: the same weights
    case 10:
      return YuvMatrix{0.2627, 0.0593};
    default:
      return std::nullopt;
  }
}

}  // namespace vitrella::host
