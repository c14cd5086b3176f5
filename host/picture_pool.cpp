#include "picture_pool.h"

#include <sys/mman.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace vitrella::host {
namespace {

// Large pictures lie in memory of 2 MB pages where the system offers them: a 1080p frame
// then takes 4 page faults on first touch instead of 2,025, and a clip's first frames,
// which fill the pools, no longer cost more than the frames that follow.
constexpr size_t kLargePage = size_t{2} << 20;
// Below this a picture keeps OpenCV's own memory: rounding it up to a large page would
// waste more than it saves.
constexpr size_t kLargeEnough = 2 * kLargePage;

class LargePageAllocator final : public cv::MatAllocator {
 public:
  cv::UMatData* allocate(int dims, const int* sizes, int type, void* data, size_t* step,
                         cv::AccessFlag flags, cv::UMatUsageFlags usage) const override {
    size_t total = CV_ELEM_SIZE(type);
    for (int i = 0; i < dims; ++i)
      total *= static_cast<size_t>(sizes[i]);
    // Memory the caller brings, or a small picture, is OpenCV's business.
    if (data != nullptr || step == nullptr || total < kLargeEnough) {
      return Standard()->allocate(dims, sizes, type, data, step, flags, usage);
    }
    // Rows packed, as OpenCV lays out a fresh matrix.
    size_t bytes = CV_ELEM_SIZE(type);
    for (int i = dims - 1; i >= 0; --i) {
      step[i] = bytes;
      bytes *= static_cast<size_t>(sizes[i]);
    }
    const size_t rounded = (total + kLargePage - 1) / kLargePage * kLargePage;
    void* memory = std::aligned_alloc(kLargePage, rounded);
    if (memory == nullptr) throw std::bad_alloc();
    // Advice only: where the system has no large pages, the memory works as any other.
    madvise(memory, rounded, MADV_HUGEPAGE);
    auto* record = new cv::UMatData(this);
    record->data = record->origdata = static_cast<uchar*>(memory);
    record->size = total;
    return record;
  }

  bool allocate(cv::UMatData* record, cv::AccessFlag /*flags*/,
                cv::UMatUsageFlags /*usage*/) const override {
    return record != nullptr;
  }

  void deallocate(cv::UMatData* record) const override {
    if (record == nullptr) return;
    std::free(record->origdata);
    delete record;
  }

 private:
  static cv::MatAllocator* Standard() { return cv::Mat::getStdAllocator(); }
};

// Never destroyed: pictures may outlive every other static.
cv::MatAllocator* LargePages() {
  static auto* allocator = new LargePageAllocator();
  return allocator;
}

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
  cv::Mat picture;
  picture.allocator = LargePages();
  picture.create(rows, cols, type);
  if (kept_.size() < most_) kept_.push_back(picture);
  return picture;
}

}  // namespace vitrella::host
