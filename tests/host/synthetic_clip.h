// Small clips made in the tests, so that every frame's content is known: numbered pictures
// on disk, and a reader that serves the same frames from memory.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "host/clip_reader.h"
#include "host/host_error.h"

namespace vitrella::testing {

inline constexpr int kClipWidth = 64;
inline constexpr int kClipHeight = 48;

// Frame k of a synthetic clip, BGRA: a diagonal line with stair-steps that moves with k
// on a background whose blue channel is 10 * k, so that FrameCode tells the frame (k up
// to 25).
cv::Mat SyntheticFrame(int k);

// The number of the synthetic frame that a picture shows, read from its top-right pixel.
int FrameCode(const cv::Mat& picture);

// Writes `count` synthetic frames as PNG files named by `pattern` (one %04d), numbered
// from `firstNumber`, and returns them.
std::vector<cv::Mat> WriteSyntheticClip(const std::string& pattern, int count, int firstNumber = 0);

// A clip in memory that counts its reads, and fails to decode the frames listed in
// `broken`. Without a told length, its end shows only on reading, like some videos.
class MemoryClip final : public host::ClipReader {
 public:
  explicit MemoryClip(int count, bool tellsLength = true) : tellsLength_(tellsLength) {
    for (int k = 0; k < count; ++k)
      frames_.push_back(SyntheticFrame(k));
  }

  const std::string& name() const override { return name_; }
  std::optional<int64_t> FrameCount() const override {
    return tellsLength_ ? std::optional<int64_t>(static_cast<int64_t>(frames_.size()))
                        : std::nullopt;
  }
  std::optional<double> FrameRate() const override { return 30.0; }
  int64_t FirstNumber() const override { return 0; }

  cv::Mat Read(int64_t n) override {
    ++reads;
    if (n < 0 || n >= static_cast<int64_t>(frames_.size())) return cv::Mat();
    for (int64_t bad : broken) {
      if (bad == n) throw host::HostError("damaged frame " + std::to_string(n));
    }
    return frames_[static_cast<size_t>(n)].clone();
  }

  std::vector<int64_t> broken;
  int reads = 0;

 private:
  std::string name_ = "memory clip";
  bool tellsLength_;
  std::vector<cv::Mat> frames_;
};

}  // namespace vitrella::testing
