#include "clip_reader.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <limits>
#include <map>

#include "clip_names.h"
#include "host_error.h"
#include "picture_io.h"
#include "video_decoder.h"

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

const std::string& Readable(const std::string& name) {
  CheckReadable(name);
  return name;
}

// Frame n is the latest frame whose timestamp falls at or before n's time, so a frame that
// the file drops repeats the one before, as a player shows it.
class VideoReader final : public ClipReader {
 public:
  explicit VideoReader(const std::string& name) : name_(name), decoder_(Readable(name)) {}

  const std::string& name() const override { return name_; }
  std::optional<int64_t> FrameCount() const override { return decoder_.FrameCount(); }
  std::optional<double> FrameRate() const override { return decoder_.FrameRate(); }
  int64_t FirstNumber() const override { return 0; }
  ClipFacts Facts() const override { return decoder_.Facts(); }

  std::optional<FrameTime> TimeOf(int64_t n) const override {
    const auto found = times_.find(n);
    if (found == times_.end()) return std::nullopt;
    return found->second;
  }

  cv::Mat Read(int64_t n) override {
    if (n < 0 || n >= FrameCount().value_or(kMaxFrames)) return cv::Mat();
    try {
      cv::Mat picture = Find(n);
      next_ = picture.empty() ? -1 : n + 1;
      return picture;
    } catch (...) {
      next_ = -1;  // where the decoder stands is unknown now: seek next time
      throw;
    }
  }

 private:
  cv::Mat Find(int64_t n) {
    // After a seek, frames before the first key frame may refer to frames before the seek
    // point; they are passed over, and if the seek overshot, decoding starts from the top.
    bool awaitingKey = false;
    if (n != next_) {
      held_.reset();
      previous_.reset();
      ended_ = false;
      awaitingKey = decoder_.Seek(n);
      if (!awaitingKey) decoder_.Rewind();
    }
    while (!ended_ && (!held_ || held_->number < n)) {
      if (held_ && !held_->damage.empty()) throw Damaged(*held_);
      std::optional<VideoFrame> frame = decoder_.Next();
      if (awaitingKey) {
        if (!frame || frame->number < 0 || frame->number > n) {
          decoder_.Rewind();
          awaitingKey = false;
          continue;
        }
        if (!frame->key) continue;
        awaitingKey = false;
      }
      if (!frame) {
        ended_ = true;
        break;
      }
      if (!frame->damage.empty() && frame->number <= n) throw Damaged(*frame);
      previous_ = std::move(held_);
      held_ = std::move(frame);
    }

    // A count from the duration can reach a frame past the last one, which then lasts.
    const bool lasts =
        held_ && n == held_->number + 1 && n + 1 == FrameCount() && decoder_.CountIsEstimate();
    const VideoFrame* shown = nullptr;
    if (held_ && held_->number > n) {
      shown = previous_ ? &*previous_ : &*held_;
    } else if (held_ && (held_->number == n || lasts)) {
      shown = &*held_;
    } else {
      return Ended(n);
    }
    if (!shown->damage.empty()) throw Damaged(*shown);
    cv::Mat picture = decoder_.Picture(*shown, n);
    KeepTime(n, *shown);
    if (size_.empty()) {
      size_ = picture.size();
    } else if (picture.size() != size_) {
      throw HostError("cannot decode frame " + std::to_string(n) + " of " + name_ + ": it is " +
                      SizeText(picture) + ", but the clip's frames are " +
                      std::to_string(size_.width) + "x" + std::to_string(size_.height));
    }
    return picture;
  }

  // Far more frames than a render holds between decoding and writing.
  static constexpr size_t kTimesKept = 4096;

  void KeepTime(int64_t n, const VideoFrame& frame) {
    const ClipFacts facts = decoder_.Facts();
    if (!frame.timestamp || !facts.startTimestamp || facts.timeBaseDen == 0) return;
    FrameTime& time = times_[n];
    time.timestamp = *frame.timestamp;
    time.seconds = static_cast<double>(*frame.timestamp - *facts.startTimestamp) *
                   facts.timeBaseNum / facts.timeBaseDen;
    // The frames furthest back are the least likely to be asked about again.
    if (times_.size() > kTimesKept) times_.erase(times_.begin());
  }

  // The stream ended before frame n: the end of a clip that does not tell its length.
  cv::Mat Ended(int64_t n) const {
    const std::optional<int64_t> count = FrameCount();
    if (!count) return cv::Mat();
    const int64_t end = held_ ? held_->number + 1 : 0;
    throw HostError("cannot decode frame " + std::to_string(n) + " of " + name_ +
                    ": the file ends " + (end == n ? "there" : "at frame " + std::to_string(end)) +
                    Short(end));
  }

  HostError Damaged(const VideoFrame& frame) const {
    return HostError("cannot decode frame " + std::to_string(frame.number) + " of " + name_ + ": " +
                     frame.damage + (frame.cut ? Short(frame.number) : ""));
  }

  // How a clip cut short before frame `end` compares with what it says.
  std::string Short(int64_t end) const {
    std::string text;
    if (const std::optional<int64_t> count = FrameCount()) {
      text = ", though it says it holds " + std::to_string(*count) + " frames";
    }
    if (end > 0) text += "; --frames A-" + std::to_string(end - 1) + " renders frames before it";
    return text;
  }

  std::string name_;
  VideoDecoder decoder_;
  std::optional<VideoFrame> held_;      // the frame decoded last
  std::optional<VideoFrame> previous_;  // the one decoded before it
  bool ended_ = false;                  // the stream has no frames after held_
  cv::Size size_;                       // of the first frame read; every other must match
  int64_t next_ = 0;                    // the frame that a read without a seek gives
  std::map<int64_t, FrameTime> times_;  // of the frames read lately, by number
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
