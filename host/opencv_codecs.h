// OpenCV's picture codecs (TIFF, BMP, WebP and the rest beside our own JPEG, PNG and EXR),
// loaded on first use. Linked at start, their library and the dozens it pulls in (GDAL,
// DICOM, PDF) cost over a tenth of a second of every run, a clip's included, which never
// touches them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <opencv2/core.hpp>

namespace vitrella::host {

// cv::imencode into bytes; false when the codec refuses, throws or cannot be loaded.
bool EncodeWithOpenCvCodec(const std::string& extension, const cv::Mat& picture,
                           std::vector<uint8_t>* bytes);

// cv::haveImageWriter: whether a codec writes files of the path's extension.
bool OpenCvCodecWrites(const std::string& path);

// cv::imdecode with IMREAD_UNCHANGED; empty when nothing decodes or the codecs cannot be
// loaded.
cv::Mat DecodeWithOpenCvCodec(const std::vector<uint8_t>& bytes);

// Whether the codecs' library loaded and has the functions above.
bool OpenCvCodecsLoad();

}  // namespace vitrella::host
