#include "output_loss.h"

#include <bit>
#include <cstdint>
#include <cstring>
#include <filesystem>

#include "clip_names.h"
#include "param_text.h"

namespace vitrella::host {
namespace {

struct Extension {
  const char* name;
  StoredForm form;
};
// What the picture writer keeps per format; any other format keeps 8 bits without alpha.
constexpr Extension kKeeping[] = {
    {".png", {true, 16}}, {".tif", {true, 16}}, {".tiff", {true, 16}},
    {".webp", {true, 8}}, {".exr", {true, 32}},
};

// Whole rows without an early exit, so that the compiler vectorises them: this runs on
// every frame of a clip.
bool AnyTranslucent(const cv::Mat& picture) {
  for (int y = 0; y < picture.rows; ++y) {
    if (picture.depth() == CV_8U) {
      const auto* row = picture.ptr<uint8_t>(y);
      uint32_t all = 0xFFFFFFFFu;
      for (int x = 0; x < picture.cols; ++x) {
        uint32_t pixel;
        std::memcpy(&pixel, row + 4 * x, 4);
        all &= pixel;
      }
      // Alpha is the fourth byte: the top one of a little-endian word.
      static_assert(std::endian::native == std::endian::little);
      if ((all >> 24) != 0xFFu) return true;
    } else {
      const auto* row = picture.ptr<cv::Vec4f>(y);
      int opaque = 1;
      for (int x = 0; x < picture.cols; ++x) {
        opaque &= static_cast<int>(row[x][3] >= 1.0f);
      }
      if (opaque == 0) return true;
    }
  }
  return false;
}

// Values outside 0..1, NaN included, in a float picture.
bool AnyOutOfRange(const cv::Mat& picture) {
  if (picture.depth() != CV_32F) return false;
  for (int y = 0; y < picture.rows; ++y) {
    const auto* row = picture.ptr<float>(y);
    int inside = 1;
    for (int x = 0; x < picture.cols * 4; ++x) {
      inside &= static_cast<int>(row[x] >= 0.0f) & static_cast<int>(row[x] <= 1.0f);
    }
    if (inside == 0) return true;
  }
  return false;
}

std::string DepthText(int depth) {
  return depth == CV_32F ? "float" : depth == CV_16U ? "16-bit" : "8-bit";
}

}  // namespace

StoredForm StoredFormOf(const std::string& output, std::optional<ClipCodec> codec) {
  std::string name = output;
  if (const std::optional<FramePattern> pattern = ParseFramePattern(output)) {
    name = pattern->Name(0);
  } else if (IsVideoName(output)) {
    if (!codec) return {};
    const ClipCodecInfo& info = CodecInfo(*codec);
    return {info.alpha, info.deepBits};
  }
  const std::string extension = std::filesystem::path(name).extension().string();
  for (const Extension& keeping : kKeeping) {
    if (EqualsIgnoreCase(extension, keeping.name)) return keeping.form;
  }
  return {};
}

OutputLoss::OutputLoss(std::string output, int sourceDepth, bool floatFrames,
                       std::optional<ClipCodec> codec)
    : output_(std::move(output)),
      form_(StoredFormOf(output_, codec)),
      sourceDepth_(sourceDepth),
      floatFrames_(floatFrames) {}

std::vector<std::string> OutputLoss::Check(const cv::Mat& picture) {
  const std::string kind = IsVideoName(output_) ? "the video's codec" : output_;
  std::vector<std::string> warnings;
  if (!depthTold_ && sourceDepth_ != CV_8U) {
    depthTold_ = true;
    if (!floatFrames_) {
      warnings.push_back("the input has " + DepthText(sourceDepth_) +
                         " channels, but --format renders it in 8 bits per channel; leave "
                         "--format out or give bgra32f to keep them");
    } else if (form_.bits == 8) {
      warnings.push_back("the input has " + DepthText(sourceDepth_) + " channels, but " + kind +
                         " keeps 8 bits per channel; " +
                         (IsVideoName(output_) ? "--codec ffv1 or prores4444 keeps them"
                                               : "write .png, .tif or .exr to keep them"));
    }
  }
  if (!alphaTold_ && !form_.alpha && AnyTranslucent(picture)) {
    alphaTold_ = true;
    warnings.push_back("the result is partly transparent, but " + kind +
                       " keeps no alpha, so what the effect did in alpha is lost; " +
                       (IsVideoName(output_)
                            ? "--codec prores4444 or ffv1, or numbered pictures such as "
                              "out/%04d.png, keep it"
                            : "write .png, .tif, .webp or .exr to keep it"));
  }
  if (!rangeTold_ && form_.bits != 32 && AnyOutOfRange(picture)) {
    rangeTold_ = true;
    warnings.push_back("the result has values outside 0..1, which " + kind +
                       " clips; write .exr to keep them");
  }
  return warnings;
}

}  // namespace vitrella::host
