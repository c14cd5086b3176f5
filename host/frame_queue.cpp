#include "frame_queue.h"

namespace vitrella::host {

FrameQueue::FrameQueue(size_t capacity) : capacity_(capacity < 1 ? 1 : capacity) {}

bool FrameQueue::PushDecoded(Job job) {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] { return error_ || order_.size() < capacity_; });
  if (error_) return false;
  order_.emplace_back(job.n, job.time);
  decoded_.push_back(std::move(job));
  changed_.notify_all();
  return true;
}

void FrameQueue::CloseInput() {
  const std::lock_guard lock(mutex_);
  closed_ = true;
  changed_.notify_all();
}

std::optional<FrameQueue::Job> FrameQueue::PopDecoded() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] { return error_ || !decoded_.empty() || closed_; });
  if (error_ || decoded_.empty()) return std::nullopt;
  Job job = std::move(decoded_.front());
  decoded_.pop_front();
  return job;
}

void FrameQueue::PushRendered(int64_t n, cv::Mat picture) {
  const std::lock_guard lock(mutex_);
  rendered_[n] = std::move(picture);
  changed_.notify_all();
}

std::optional<FrameQueue::Rendered> FrameQueue::PopInOrder() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] {
    return error_ || (order_.empty() && closed_) ||
           (!order_.empty() && rendered_.contains(order_.front().first));
  });
  if (error_ || order_.empty()) return std::nullopt;
  const auto [n, time] = order_.front();
  order_.pop_front();
  const auto found = rendered_.find(n);
  Rendered next{n, std::move(found->second), time};
  rendered_.erase(found);
  // One more frame may be decoded now.
  changed_.notify_all();
  return next;
}

void FrameQueue::Fail(std::exception_ptr error) {
  const std::lock_guard lock(mutex_);
  if (!error_) error_ = std::move(error);
  changed_.notify_all();
}

std::exception_ptr FrameQueue::error() const {
  const std::lock_guard lock(mutex_);
  return error_;
}

}  // namespace vitrella::host
