// What an output file cannot hold of a render's result: alpha in a format without alpha,
// deep channels in bytes, float values beyond 0..1 in integers. The render goes ahead;
// the user is told once, in one line per kind of loss.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "clip_codecs.h"

namespace vitrella::host {

// How a file keeps a picture, by its name: alpha or not, and the bits per channel (8, 16,
// or 32 for float).
struct StoredForm {
  bool alpha = false;
  int bits = 8;
};
// A pattern's pictures as a picture of its extension; a video as its codec writes it
// (8-bit without alpha when none is given).
StoredForm StoredFormOf(const std::string& output, std::optional<ClipCodec> codec = std::nullopt);

class OutputLoss {
 public:
  // sourceDepth: the input's channel depth (CV_8U, CV_16U or CV_32F).
  // floatFrames: the render hands the effect float frames; codec: a video's.
  OutputLoss(std::string output, int sourceDepth, bool floatFrames,
             std::optional<ClipCodec> codec = std::nullopt);

  // Warnings for the losses seen in this rendered picture (upright BGRA, 8-bit or float),
  // each kind told once per render.
  std::vector<std::string> Check(const cv::Mat& picture);

 private:
  std::string output_;
  StoredForm form_;
  int sourceDepth_;
  bool floatFrames_;
  bool alphaTold_ = false;
  bool depthTold_ = false;
  bool rangeTold_ = false;
};

}  // namespace vitrella::host
