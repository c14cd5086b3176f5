#include "picture_limits.h"

#include "host_error.h"

namespace vitrella::host {

void CheckPictureSize(int64_t width, int64_t height, const std::string& source) {
  const std::string size = std::to_string(width) + "x" + std::to_string(height);
  if (width <= 0 || height <= 0) {
    throw HostError("cannot read " + source + ": the picture is " + size + ", without pixels");
  }
  if (width > kMaxPictureSide || height > kMaxPictureSide || width * height > kMaxPicturePixels) {
    throw HostError("cannot read " + source + ": the picture is " + size + ", larger than the " +
                    std::to_string(kMaxPictureSide) + " pixels a side and " +
                    std::to_string(kMaxPicturePixels) + " pixels in all that pictures may have");
  }
}

}  // namespace vitrella::host
