// JPEG files through libjpeg itself, which tells a damaged file from a good one.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include <opencv2/core.hpp>

namespace vitrella::host {

// Whether `bytes` begin as every JPEG file does.
bool LooksLikeJpeg(std::span<const uint8_t> bytes);

// Decodes a JPEG file held in memory to 8-bit BGRA with opaque alpha, its pixels as
// stored: EXIF orientation is not applied. Gray, YCbCr, RGB, CMYK and YCCK files are
// read. Throws HostError naming `source` with libjpeg's reason for a file that is
// damaged, truncated or too large, including one that libjpeg would only warn about
// and decode with smeared rows.
cv::Mat DecodeJpeg(std::span<const uint8_t> bytes, const std::string& source);

}  // namespace vitrella::host
