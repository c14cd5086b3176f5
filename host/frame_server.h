// Decoded frames of one clip, for the render's own decoding and for effects that ask the
// host for other frames.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

#include <opencv2/core.hpp>

#include "clip_reader.h"
#include "host_frames.h"

namespace vitrella::host {

// Keeps a bounded window of the latest frames decoded, so that the earlier frames an
// effect asks for while the clip renders are at hand, and lets the reader seek for
// anything outside it; the clip is never decoded whole into memory. Safe to call from
// several threads: one decodes at a time, and frames in the window are served meanwhile.
class FrameServer {
 public:
  // window: the most frames kept, at least 1. Frames go out laid out as `format` and
  // `order` say, like every source frame of the render.
  FrameServer(std::unique_ptr<ClipReader> reader, size_t window, PixelFormat format,
              RowOrder order);

  const ClipReader& reader() const { return *reader_; }
  // What the reader says of the clip and of frame n's time, taken while it does not decode.
  ClipFacts Facts();
  std::optional<FrameTime> TimeOf(int64_t n);

  // Frame n as decoded, or null when the clip has no frame n (negative, past the end).
  // Throws HostError when frame n exists but cannot be decoded.
  std::shared_ptr<const cv::Mat> Picture(int64_t n);

  // Frame n as a frame of the render, or null when the clip has no frame n or it cannot
  // be decoded: what GetFrame hands an effect. Throws nothing.
  std::unique_ptr<OwnedFrame> Frame(int64_t n) noexcept;

  struct Counts {
    int64_t decoded = 0;  // frames the reader decoded
    int64_t seeks = 0;    // reads that did not follow the frame read before
  };
  Counts counts() const;

 private:
  std::shared_ptr<const cv::Mat> Find(int64_t n);
  void Keep(int64_t n, std::shared_ptr<const cv::Mat> picture);

  const size_t window_;
  const PixelFormat format_;
  const RowOrder order_;

  std::mutex readerMutex_;  // held while decoding; taken before windowMutex_
  std::unique_ptr<ClipReader> reader_;
  std::optional<int64_t> end_;  // the first frame past the clip's end, once known
  int64_t lastRead_ = -1;

  mutable std::mutex windowMutex_;
  std::map<int64_t, std::shared_ptr<const cv::Mat>> frames_;
  Counts counts_;
};

}  // namespace vitrella::host
