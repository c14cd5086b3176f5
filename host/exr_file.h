// OpenEXR files in and out, keeping float pixels as they are.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include <opencv2/core.hpp>

namespace vitrella::host {

// Whether `bytes` begin with OpenEXR's magic number.
bool LooksLikeExr(std::span<const uint8_t> bytes);

// Decodes an EXR file held in memory to float BGRA (CV_32FC4), whatever the channels'
// type. The picture is the file's data window, wherever that lies. R, G and B are read
// (missing ones 0), or else luminance Y as gray, or luminance with chroma; A where the
// file has it, 1 where not. Throws HostError naming `source` for a damaged, truncated or
// too large file and one without colour channels.
cv::Mat DecodeExr(std::span<const uint8_t> bytes, const std::string& source);

// Encodes a BGRA picture as an EXR file of 32-bit float R, G, B and A channels, ZIP
// compressed. Float values are stored exactly, never clamped; 8- and 16-bit channels are
// scaled to 0..1. Throws HostError naming `destination` when OpenEXR fails.
std::vector<uint8_t> EncodeExr(const cv::Mat& bgra, const std::string& destination);

}  // namespace vitrella::host
