#include "picture_pool.h"

#include <atomic>

namespace vitrella::host {
namespace {

// Only the pool's own copy holds it. Other threads drop their copies with an atomic
// decrement; acquiring here orders their last reads before our next writes.
bool Unshared(cv::Mat& picture) {
  return picture.u != nullptr &&
         std::atomic_ref<int>(picture.u->refcount).load(std::memory_order_acquire) == 1;
}

}  // namespace

cv::Mat PicturePool::Take(int rows, int cols, int type) {
  const std::lock_guard<std::mutex> lock(mutex_);
  for (size_t i = 0; i < kept_.size();) {
    cv::Mat& picture = kept_[i];
    if (picture.rows != rows || picture.cols != cols || picture.type() != type) {
      kept_.erase(kept_.begin() + static_cast<ptrdiff_t>(i));
      continue;
    }
    if (Unshared(picture)) return picture;
    ++i;
  }
  cv::Mat picture(rows, cols, type);
  if (kept_.size() < most_) kept_.push_back(picture);
  return picture;
}

}  // namespace vitrella::host
