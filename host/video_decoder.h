// The video stream of a file decoded through FFmpeg's libraries, which report damaged data
// that a decoder told to carry on would conceal.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <opencv2/core.hpp>

#include "clip_reader.h"
#include "picture_pool.h"

struct AVFrame;

namespace vitrella::host {

// One frame as decoded, in display order.
struct VideoFrame {
  // Counted from the first frame of the stream by timestamp at the stream's rate, so a frame
  // that the file drops leaves a gap; the count of frames decoded where timestamps are
  // missing. -1 when unknown: no timestamp right after a seek.
  int64_t number = -1;
  bool key = false;                  // decodes without the frames before it
  std::optional<int64_t> timestamp;  // in the stream's time base, when the frame has one
  // Why the frame cannot be shown, to follow "cannot decode frame N of NAME: "; empty when
  // it decoded whole.
  std::string damage;
  bool cut = false;                        // the file ends inside the frame's data
  std::shared_ptr<const AVFrame> decoded;  // null when damaged
};

// Not safe for concurrent calls.
class VideoDecoder {
 public:
  // Decoded pictures reused once their holders have let them go; a render holds a few
  // dozen at most.
  static constexpr size_t kPicturesKept = 32;

  // Throws HostError naming `name` when the file holds no video stream that FFmpeg
  // decodes, or frames larger than the host takes.
  explicit VideoDecoder(const std::string& name);
  VideoDecoder(const VideoDecoder&) = delete;
  VideoDecoder& operator=(const VideoDecoder&) = delete;
  ~VideoDecoder();

  // The container's count of frames, else its duration at the frame rate; nullopt when it
  // says neither.
  std::optional<int64_t> FrameCount() const { return count_; }
  // The count comes from the duration, which can end up to a frame past the last one.
  bool CountIsEstimate() const { return estimated_; }
  // The stream's average rate, else its base rate; nullopt when it declares neither.
  std::optional<double> FrameRate() const { return rate_; }
  // The stream's time base, rate, shape, field order and colours; its start once a frame
  // has been decoded.
  ClipFacts Facts() const;

  // The next frame in display order, or nullopt at the end of the stream. A damaged frame
  // ends the stream until the next Seek or Rewind: what the decoder makes of the data after
  // it is never shown.
  std::optional<VideoFrame> Next();

  // Moves to the key frame at or before frame n, found by timestamp. False when the stream
  // gives no timestamps to find it by or refuses to seek: Rewind then.
  bool Seek(int64_t n);
  // Back to the first frame. Throws HostError when the file cannot be opened again.
  void Rewind();

  // The frame as an upright BGRA picture: 16-bit for video deeper than 8 bits, scaled to
  // the full range, else 8-bit. Alpha is opaque unless the video carries it. Throws
  // HostError naming frame n, as the caller counts it, when it cannot be converted.
  cv::Mat Picture(const VideoFrame& frame, int64_t n);

 private:
  struct Session;
  struct Scaler;

  VideoFrame Received();
  void Feed();
  void Fail(int64_t number, std::string damage, bool cut);
  int64_t NumberAt(int64_t timestamp) const;
  int64_t Following(int64_t number) const;
  void Restart(std::optional<int64_t> last);
  cv::Mat OwnConversion(const AVFrame& decoded, bool deep);

  std::string name_;
  PicturePool pictures_{kPicturesKept};
  std::unique_ptr<Session> session_;
  std::unique_ptr<Scaler> scaler_;
  std::optional<int64_t> count_;
  bool estimated_ = false;
  std::optional<double> rate_;

  std::optional<int64_t> origin_;     // the first frame's timestamp, once decoded
  std::optional<int64_t> last_ = -1;  // the number of the frame decoded last; -1 at the start
  bool fresh_ = true;                 // nothing read since the file was opened
  bool draining_ = false;             // the decoder is giving out the frames it holds
  bool ended_ = false;
  std::optional<VideoFrame> failure_;  // damage met while reading ahead
};

}  // namespace vitrella::host
