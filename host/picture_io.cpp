#include "picture_io.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include <opencv2/imgproc.hpp>

#include "exr_file.h"
#include "host_error.h"
#include "jpeg_file.h"
#include "opencv_codecs.h"
#include "param_text.h"
#include "picture_limits.h"
#include "png_file.h"
#include "replacing_file.h"

namespace vitrella::host {
namespace {

std::string Extension(const std::string& path) {
  return std::filesystem::path(path).extension().string();
}

bool IsExr(const std::string& extension) {
  return EqualsIgnoreCase(extension, ".exr");
}

bool HoldsSixteenBits(const std::string& extension) {
  for (const char* wide : {".png", ".tif", ".tiff"}) {
    if (EqualsIgnoreCase(extension, wide)) return true;
  }
  return false;
}

std::ifstream OpenToRead(const std::string& path) {
  std::error_code error;
  if (std::filesystem::is_directory(path, error)) {
    throw HostError("cannot read " + path + ": it is a directory");
  }
  std::ifstream file(path, std::ios::binary);
  if (!file) throw HostError("cannot read " + path + ": " + std::strerror(errno));
  return file;
}

std::vector<uint8_t> ReadBytes(const std::string& path) {
  std::ifstream file = OpenToRead(path);
  std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(file)),
                             std::istreambuf_iterator<char>());
  if (file.bad()) throw HostError("cannot read " + path + ": " + std::strerror(errno));
  return bytes;
}

// At most `count` bytes from the start of the file; fewer where it is shorter.
std::vector<uint8_t> ReadLeadingBytes(const std::string& path, size_t count) {
  std::ifstream file = OpenToRead(path);
  std::vector<uint8_t> bytes(count);
  file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(count));
  if (file.bad()) throw HostError("cannot read " + path + ": " + std::strerror(errno));
  bytes.resize(static_cast<size_t>(file.gcount()));
  return bytes;
}

// 16-bit float and double channels have no place in the frames; signed ones have no
// agreed scale.
cv::Mat ToUsableDepth(const cv::Mat& decoded) {
  switch (decoded.depth()) {
    case CV_8U:
    case CV_16U:
    case CV_32F:
      return decoded;
    case CV_16F:
    case CV_64F: {
      cv::Mat converted;
      decoded.convertTo(converted, CV_32F);
      return converted;
    }
    default:
      return cv::Mat();
  }
}

// Float channels at 16 bits where the format holds them, 8 elsewhere; alpha dropped where
// the format has none.
std::vector<uint8_t> EncodeWithOpenCv(const std::string& path, const cv::Mat& picture) {
  const std::string extension = Extension(path);
  cv::Mat stored = picture;
  if (picture.depth() == CV_32F) {
    // convertTo rounds and saturates, which is the clamp to 0..1.
    const bool wide = HoldsSixteenBits(extension);
    picture.convertTo(stored, wide ? CV_16U : CV_8U, wide ? 65535.0 : 255.0);
  }

  std::vector<uint8_t> bytes;
  if (!EncodeWithOpenCvCodec(extension, stored, &bytes)) {
    // Some formats take three channels only.
    cv::Mat bgr;
    cv::cvtColor(stored, bgr, cv::COLOR_BGRA2BGR);
    if (!EncodeWithOpenCvCodec(extension, bgr, &bytes)) {
      throw HostError("cannot write " + path + ": the " + extension + " codec refused the picture");
    }
  }
  return bytes;
}

}  // namespace

cv::Mat ReadPicture(const std::string& path) {
  const std::vector<uint8_t> bytes = ReadBytes(path);
  // By content, not name, so that a misnamed file still decodes. OpenCV's JPEG and PNG
  // codecs hand back damaged files as if whole, and its EXR codec is off in Debian.
  if (LooksLikeJpeg(bytes)) return DecodeJpeg(bytes, path);
  if (LooksLikePng(bytes)) return DecodePng(bytes, path);
  if (LooksLikeExr(bytes)) return DecodeExr(bytes, path);

  cv::Mat decoded = DecodeWithOpenCvCodec(bytes);
  if (decoded.empty())
    throw HostError("cannot read " + path + ": not a picture file we can decode");
  decoded = ToUsableDepth(decoded);
  if (decoded.empty()) throw HostError("cannot read " + path + ": unsupported channel depth");
  CheckPictureSize(decoded.cols, decoded.rows, path);

  return ToBgra(decoded, path);
}

int PictureDepth(const std::string& path) {
  // Enough for PNG's signature and header chunk.
  const std::vector<uint8_t> leading = ReadLeadingBytes(path, 33);
  if (LooksLikeJpeg(leading)) return CV_8U;
  if (LooksLikePng(leading)) return PngDepth(leading, path);
  if (LooksLikeExr(leading)) return CV_32F;
  return ReadPicture(path).depth();
}

cv::Mat ToBgra(const cv::Mat& decoded, const std::string& source) {
  cv::Mat bgra;
  switch (decoded.channels()) {
    case 1:
      cv::cvtColor(decoded, bgra, cv::COLOR_GRAY2BGRA);
      break;
    case 3:
      cv::cvtColor(decoded, bgra, cv::COLOR_BGR2BGRA);
      break;
    case 4:
      bgra = decoded;
      break;
    default:
      throw HostError("cannot read " + source + ": " + std::to_string(decoded.channels()) +
                      " channels per pixel are not supported");
  }
  return bgra;
}

void CheckPictureWriter(const std::string& path) {
  if (Extension(path).empty()) {
    throw HostError("cannot write " + path + ": the name needs an extension such as .png");
  }
  // EXR is written through OpenEXR, whatever OpenCV says of it.
  const bool known = IsExr(Extension(path)) || OpenCvCodecWrites(path);
  if (!known) throw HostError("cannot write " + path + ": no codec for " + Extension(path));
  const std::filesystem::path folder = std::filesystem::path(path).parent_path();
  std::error_code error;
  if (!folder.empty() && !std::filesystem::is_directory(folder, error)) {
    throw HostError("cannot write " + path + ": the folder " + folder.string() + " does not exist");
  }
}

void WritePicture(const std::string& path, const cv::Mat& picture) {
  CheckPictureWriter(path);
  const std::vector<uint8_t> bytes =
      IsExr(Extension(path)) ? EncodeExr(picture, path) : EncodeWithOpenCv(path, picture);
  ReplacingFile file(path);
  file.Write(bytes.data(), bytes.size());
  file.Commit();
}

}  // namespace vitrella::host
