// Picture files in and out, through OpenCV's codecs.
#pragma once

#include <string>

#include <opencv2/core.hpp>

namespace vitrella::host {

// An upright BGRA picture from a file in any format OpenCV reads (PNG, JPEG, TIFF, ...).
// Gray and colour files gain an opaque alpha; channels keep the file's depth: 8-bit,
// 16-bit or float. Throws HostError naming the file and the reason.
cv::Mat ReadPicture(const std::string& path);

// A decoded picture of 1, 3 or 4 channels as BGRA, gray and colour gaining an opaque
// alpha. Throws HostError naming `source` for any other count of channels.
cv::Mat ToBgra(const cv::Mat& decoded, const std::string& source);

// Throws HostError when no codec writes files with the path's extension, so that a bad
// output name is refused before any work is done.
void CheckPictureWriter(const std::string& path);

// Writes an upright BGRA picture of 8-bit or float channels. Float channels are clamped
// to 0..1 and kept at 16 bits where the file format holds them (PNG, TIFF), 8 bits
// elsewhere. Alpha is kept where the format takes it and dropped where it does not.
void WritePicture(const std::string& path, const cv::Mat& picture);

}  // namespace vitrella::host
