// Picture files in and out: JPEG, PNG and EXR through their own libraries, which report
// damage, every other format through OpenCV's codecs.
#pragma once

#include <string>

#include <opencv2/core.hpp>

namespace vitrella::host {

// An upright BGRA picture from a file in JPEG, PNG, EXR or any format OpenCV reads (TIFF,
// BMP, WebP, ...), told apart by the file's leading bytes, not its name. Gray and colour
// files gain an opaque alpha; channels keep the file's depth: 8-bit, 16-bit or float (EXR
// always float). Rows come as stored: EXIF orientation is not applied. Throws HostError naming the
// file and the reason, also for a damaged or truncated JPEG, PNG or EXR file and for a picture
// beyond the limits in picture_limits.h.
cv::Mat ReadPicture(const std::string& path);

// The depth ReadPicture gives for the file: CV_8U, CV_16U or CV_32F. Cheap for JPEG, PNG
// and EXR, which say so in their first bytes; other formats are decoded whole to find
// out. A damaged file may pass here and fail in ReadPicture. Throws HostError as
// ReadPicture does.
int PictureDepth(const std::string& path);

// A decoded picture of 1, 3 or 4 channels as BGRA, gray and colour gaining an opaque
// alpha. Throws HostError naming `source` for any other count of channels.
cv::Mat ToBgra(const cv::Mat& decoded, const std::string& source);

// Throws HostError when no codec writes files with the path's extension, so that a bad
// output name is refused before any work is done.
void CheckPictureWriter(const std::string& path);

// Writes an upright BGRA picture of 8-bit or float channels. EXR files get 32-bit float
// channels with the values as they are, 8-bit ones scaled to 0..1. For other formats
// float channels are clamped to 0..1 and kept at 16 bits where the format holds them
// (PNG, TIFF), 8 bits elsewhere. Alpha is kept where the format takes it and dropped
// where it does not.
void WritePicture(const std::string& path, const cv::Mat& picture);

}  // namespace vitrella::host
