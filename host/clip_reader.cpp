#include "clip_reader.h"

#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <limits>

#include <opencv2/videoio.hpp>

#include "clip_names.h"
#include "host_error.h"
#include "picture_io.h"
#include "quiet_stderr.h"

namespace vitrella::host {
namespace {

// RenderInfo numbers frames with 32 bits.
constexpr int64_t kMaxFrames = std::numeric_limits<int32_t>::max();

std::string SizeText(const cv::Mat& picture) {
  return std::to_string(picture.cols) + "x" + std::to_string(picture.rows);
}

// Refuses a missing file with the system's reason before a codec gives a vaguer one.
void CheckReadable(const std::string& name) {
  std::error_code error;
  if (std::filesystem::is_directory(name, error)) {
    throw HostError("cannot read " + name + ": it is a directory");
  }
  if (!std::filesystem::exists(name, error)) {
    throw HostError("cannot read " + name + ": " + std::strerror(ENOENT));
  }
}

class VideoReader final : public ClipReader {
 public:
  explicit VideoReader(const std::string& name) : name_(name) {
    CheckReadable(name);
    const QuietStderr quiet;
    try {
      // FFmpeg, then OpenCV's own Motion JPEG reader; never every backend in turn, which
      // would probe cameras and capture devices for a file that is no video.
      if (!capture_.open(name, cv::CAP_FFMPEG)) capture_.open(name, cv::CAP_OPENCV_MJPEG);
    } catch (const cv::Exception&) {
      capture_.release();
    }
    if (!capture_.isOpened())
      throw HostError("cannot read " + name + ": not a video we can decode");
    // A container that does not know its length says 0; its end shows when reading fails.
    const double count = capture_.get(cv::CAP_PROP_FRAME_COUNT);
    if (std::isfinite(count) && count >= 1) {
      count_ = std::min(static_cast<int64_t>(std::llround(count)), kMaxFrames);
    }
    const double rate = capture_.get(cv::CAP_PROP_FPS);
    if (std::isfinite(rate) && rate > 0) rate_ = rate;
  }

  const std::string& name() const override { return name_; }
  std::optional<int64_t> FrameCount() const override { return count_; }
  std::optional<double> FrameRate() const override { return rate_; }
  int64_t FirstNumber() const override { return 0; }

  cv::Mat Read(int64_t n) override {
    if (n < 0 || n >= count_.value_or(kMaxFrames)) return cv::Mat();
    cv::Mat decoded;
    bool read = false;
    {
      const QuietStderr quiet;
      try {
        if (n != next_) capture_.set(cv::CAP_PROP_POS_FRAMES, static_cast<double>(n));
        read = capture_.read(decoded) && !decoded.empty();
      } catch (const cv::Exception&) {
        read = false;
      }
    }
    if (!read) {
      next_ = -1;  // where the decoder stands is unknown now: seek next time
      if (!count_) return cv::Mat();
      throw HostError(
          "cannot decode frame " + std::to_string(n) + " of " + name_ + ", which says it holds " +
          std::to_string(*count_) + " frames" +
          (n > 0 ? "; --frames A-" + std::to_string(n - 1) + " renders frames before it" : ""));
    }
    next_ = n + 1;
    return ToBgra(decoded, name_);
  }

 private:
  std::string name_;
  cv::VideoCapture capture_;
  std::optional<int64_t> count_;
  std::optional<double> rate_;
  int64_t next_ = 0;  // the frame that a read without a seek gives
};

class SequenceReader final : public ClipReader {
 public:
  SequenceReader(const std::string& name, FramePattern pattern)
      : name_(name), pattern_(std::move(pattern)) {
    std::error_code error;
    const auto exists = [&](int64_t number) {
      return std::filesystem::exists(pattern_.Name(number), error);
    };
    if (!exists(0)) {
      if (!exists(1)) {
        throw HostError("cannot read " + name + ": neither " + pattern_.Name(0) + " nor " +
                        pattern_.Name(1) + " exists");
      }
      first_ = 1;
    }
    while (count_ < kMaxFrames && exists(first_ + count_))
      ++count_;
  }

  const std::string& name() const override { return name_; }
  std::optional<int64_t> FrameCount() const override { return count_; }
  std::optional<double> FrameRate() const override { return std::nullopt; }
  int64_t FirstNumber() const override { return first_; }

  cv::Mat Read(int64_t n) override {
    if (n < 0 || n >= count_) return cv::Mat();
    const std::string path = pattern_.Name(first_ + n);
    cv::Mat picture = ReadPicture(path);
    if (size_.empty()) {
      size_ = picture.size();
    } else if (picture.size() != size_) {
      throw HostError("the picture " + path + " is " + SizeText(picture) +
                      ", but the clip's frames are " + std::to_string(size_.width) + "x" +
                      std::to_string(size_.height));
    }
    return picture;
  }

 private:
  std::string name_;
  FramePattern pattern_;
  int64_t first_ = 0;
  int64_t count_ = 0;
  cv::Size size_;  // of the first picture read; every other must match
};

}  // namespace

std::unique_ptr<ClipReader> OpenClip(const std::string& name) {
  if (std::optional<FramePattern> pattern = ParseFramePattern(name)) {
    return std::make_unique<SequenceReader>(name, std::move(*pattern));
  }
  return std::make_unique<VideoReader>(name);
}

}  // namespace vitrella::host
