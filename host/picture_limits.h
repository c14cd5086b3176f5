// The largest pictures the host decodes, checked against a file's header before any
// pixel memory is taken, so that a damaged or hostile header cannot exhaust memory.
#pragma once

#include <cstdint>
#include <string>

namespace vitrella::host {

// A side of 65535 covers every JPEG (at most 65500) and any real photograph; 1 << 28
// pixels is 1 GiB of 8-bit BGRA and 4 GiB of float, a quarter of what OpenCV's own codecs
// allow.
constexpr int64_t kMaxPictureSide = 65535;
constexpr int64_t kMaxPicturePixels = int64_t{1} << 28;

// Throws HostError naming `source` when a picture of width x height has no pixels or is
// larger than the limits above.
void CheckPictureSize(int64_t width, int64_t height, const std::string& source);

}  // namespace vitrella::host
