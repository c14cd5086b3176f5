// PNG files through libpng itself, which tells a damaged file from a good one.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include <opencv2/core.hpp>

namespace vitrella::host {

// Whether `bytes` begin with the PNG signature.
bool LooksLikePng(std::span<const uint8_t> bytes);

// Decodes a PNG file held in memory to BGRA: 16-bit channels (CV_16UC4, native byte
// order) for 16-bit files, 8-bit ones (CV_8UC4) for all others. Gray, palette and
// transparency-key files are expanded, alpha is opaque where the file has none, and no
// gamma correction is applied. The file is read to its end, so a cut or a bad checksum
// anywhere in image data or critical chunks throws HostError naming `source`.
cv::Mat DecodePng(std::span<const uint8_t> bytes, const std::string& source);

// The depth DecodePng gives, CV_8U or CV_16U, from the file's leading 33 bytes: the
// signature and its header chunk. Throws HostError naming `source` when they are not
// those of a PNG file.
int PngDepth(std::span<const uint8_t> leading, const std::string& source);

}  // namespace vitrella::host
