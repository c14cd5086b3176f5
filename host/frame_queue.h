// The hand-over of a clip's frames between its render stages: one decoder, several
// renderers and one writer that takes the results in order.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include <opencv2/core.hpp>

#include "clip_reader.h"

namespace vitrella::host {

// At most `capacity` frames are between decoding and writing at any time, whatever the
// speeds of the stages, so memory stays bounded on a clip of any length. The first failure
// of any stage stops them all; the others see it as the end of their work.
class FrameQueue {
 public:
  explicit FrameQueue(size_t capacity);
  FrameQueue(const FrameQueue&) = delete;
  FrameQueue& operator=(const FrameQueue&) = delete;

  struct Job {
    int64_t n = 0;  // the frame's number in the clip
    std::shared_ptr<const cv::Mat> picture;
    std::optional<FrameTime> time;  // when the clip's file shows it
  };

  struct Rendered {
    int64_t n = 0;
    cv::Mat picture;
    std::optional<FrameTime> time;
  };

  // Decoder, frames in order: waits for room. False when the work has stopped.
  bool PushDecoded(Job job);
  // Decoder: no more frames follow.
  void CloseInput();

  // Renderers: the next decoded frame, or nullopt when all are taken or the work stopped.
  std::optional<Job> PopDecoded();
  void PushRendered(int64_t n, cv::Mat picture);

  // Writer: the next frame in the decoder's order once it is rendered, or nullopt when all
  // are written or the work stopped.
  std::optional<Rendered> PopInOrder();

  // Keeps the first error and stops every stage.
  void Fail(std::exception_ptr error);
  std::exception_ptr error() const;

 private:
  const size_t capacity_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Job> decoded_;
  // Numbers and times of the frames pushed and not yet written.
  std::deque<std::pair<int64_t, std::optional<FrameTime>>> order_;
  std::map<int64_t, cv::Mat> rendered_;
  bool closed_ = false;
  std::exception_ptr error_;
};

}  // namespace vitrella::host
