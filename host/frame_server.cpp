#include "frame_server.h"

#include <algorithm>

namespace vitrella::host {

FrameServer::FrameServer(std::unique_ptr<ClipReader> reader, size_t window, PixelFormat format,
                         RowOrder order)
    : window_(std::max<size_t>(window, 1)),
      format_(format),
      order_(order),
      reader_(std::move(reader)),
      end_(reader_->FrameCount()) {}

std::shared_ptr<const cv::Mat> FrameServer::Picture(int64_t n) {
  if (n < 0) return nullptr;
  if (std::shared_ptr<const cv::Mat> kept = Find(n)) return kept;

  const std::lock_guard lock(readerMutex_);
  // Another thread may have decoded it while this one waited.
  if (std::shared_ptr<const cv::Mat> kept = Find(n)) return kept;
  if (end_ && n >= *end_) return nullptr;
  const bool seek = n != lastRead_ + 1;
  lastRead_ = -2;  // after a failure the reader seeks, wherever it is asked to go
  cv::Mat decoded = reader_->Read(n);
  if (!decoded.empty()) lastRead_ = n;
  {
    const std::lock_guard count(windowMutex_);
    counts_.seeks += seek ? 1 : 0;
    counts_.decoded += decoded.empty() ? 0 : 1;
  }
  if (decoded.empty()) {
    // Only a clip of unknown length ends without saying so beforehand.
    end_ = std::min(n, end_.value_or(n));
    return nullptr;
  }
  auto picture = std::make_shared<const cv::Mat>(std::move(decoded));
  Keep(n, picture);
  return picture;
}

std::unique_ptr<OwnedFrame> FrameServer::Frame(int64_t n) noexcept {
  try {
    const std::shared_ptr<const cv::Mat> picture = Picture(n);
    if (!picture) return nullptr;
    return std::make_unique<OwnedFrame>(PictureToFrame(*picture, format_, order_));
  } catch (...) {
    // An effect cannot be told why; to it the frame is simply not there.
    return nullptr;
  }
}

ClipFacts FrameServer::Facts() {
  const std::lock_guard lock(readerMutex_);
  return reader_->Facts();
}

std::optional<FrameTime> FrameServer::TimeOf(int64_t n) {
  const std::lock_guard lock(readerMutex_);
  return reader_->TimeOf(n);
}

FrameServer::Counts FrameServer::counts() const {
  const std::lock_guard lock(windowMutex_);
  return counts_;
}

std::shared_ptr<const cv::Mat> FrameServer::Find(int64_t n) {
  const std::lock_guard lock(windowMutex_);
  const auto found = frames_.find(n);
  return found != frames_.end() ? found->second : nullptr;
}

void FrameServer::Keep(int64_t n, std::shared_ptr<const cv::Mat> picture) {
  const std::lock_guard lock(windowMutex_);
  frames_[n] = std::move(picture);
  // A clip renders forward, so the frame furthest back is the one least likely to be
  // asked for again; the frame just decoded stays, whatever its number. A picture still
  // in use elsewhere lives on through its shared pointer.
  while (frames_.size() > window_) {
    auto oldest = frames_.begin();
    if (oldest->first == n) ++oldest;
    frames_.erase(oldest);
  }
}

}  // namespace vitrella::host
