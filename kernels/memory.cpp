#include "kernels/memory.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <limits>
#include <mutex>
#include <vector>

namespace vitrella::kernels {
namespace {

uint32_t SteadyMilliseconds() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

// Every image carries its capacity in a header one alignment unit long, before its first
// row, so that freeing needs no size and the rows stay aligned.
struct Header {
  size_t capacity;  // bytes after the header
};
static_assert(sizeof(Header) <= kRowAlignment);

uint8_t* BaseOf(void* image) {
  return static_cast<uint8_t*>(image) - kRowAlignment;
}
size_t CapacityOf(void* image) {
  return reinterpret_cast<const Header*>(BaseOf(image))->capacity;
}

// An image of `bytes` straight from the system, with its header.
uint8_t* SystemImage(size_t bytes) {
  if (bytes > std::numeric_limits<size_t>::max() - kRowAlignment) return nullptr;
  void* base = std::aligned_alloc(kRowAlignment, bytes + kRowAlignment);
  if (base == nullptr) return nullptr;
  reinterpret_cast<Header*>(base)->capacity = bytes;
  return static_cast<uint8_t*>(base) + kRowAlignment;
}

class ImagePool {
 public:
  // An image of at least `bytes`, from the pool or the system; null when the system
  // has none.
  uint8_t* Take(size_t bytes) {
    std::vector<uint8_t*> expired;
    uint8_t* image = nullptr;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      CollectIdle(Now(), expired);
      // The smallest waiting image that fits and wastes at most an eighth.
      auto best = waiting_.end();
      for (auto it = waiting_.begin(); it != waiting_.end(); ++it) {
        const size_t capacity = CapacityOf(it->image);
        if (capacity >= bytes && capacity - bytes <= bytes / 8 &&
            (best == waiting_.end() || capacity < CapacityOf(best->image))) {
          best = it;
        }
      }
      if (best != waiting_.end()) {
        image = best->image;
        pooledBytes_ -= CapacityOf(image);
        waiting_.erase(best);
        Lend(CapacityOf(image));
      }
    }
    Release(expired);
    if (image != nullptr) return image;

    image = SystemImage(bytes);
    if (image == nullptr) return nullptr;
    const std::lock_guard<std::mutex> lock(mutex_);
    ++systemAllocations_;
    Lend(bytes);
    return image;
  }

  void Give(uint8_t* image) {
    std::vector<uint8_t*> released;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      const size_t capacity = CapacityOf(image);
      liveBytes_ -= std::min(liveBytes_, capacity);
      const uint32_t now = Now();
      CollectIdle(now, released);
      const size_t limit = std::min(kImagePoolRenders * mostLiveBytes_, kImagePoolMostBytes);
      // Room is made by letting the longest waiting images go first.
      while (!waiting_.empty() && pooledBytes_ + capacity > limit) {
        pooledBytes_ -= CapacityOf(waiting_.front().image);
        released.push_back(waiting_.front().image);
        waiting_.erase(waiting_.begin());
      }
      if (pooledBytes_ + capacity <= limit) {
        waiting_.push_back({image, now});
        pooledBytes_ += capacity;
      } else {
        released.push_back(image);
      }
    }
    Release(released);
  }

  void Empty() {
    std::vector<uint8_t*> released;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      for (const Waiting& w : waiting_)
        released.push_back(w.image);
      waiting_.clear();
      pooledBytes_ = 0;
      mostLiveBytes_ = liveBytes_;
    }
    Release(released);
  }

  void SetClock(ImagePoolClock clock) {
    const std::lock_guard<std::mutex> lock(mutex_);
    clock_ = clock != nullptr ? clock : &SteadyMilliseconds;
  }

  ImagePoolState State() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return {pooledBytes_, waiting_.size(), liveBytes_, mostLiveBytes_, systemAllocations_};
  }

 private:
  struct Waiting {
    uint8_t* image;
    uint32_t since;  // when it was given back
  };

  uint32_t Now() const { return clock_(); }

  void Lend(size_t capacity) {
    liveBytes_ += capacity;
    mostLiveBytes_ = std::max(mostLiveBytes_, liveBytes_);
  }

  // Moves the images that have waited too long into `out`.
  void CollectIdle(uint32_t now, std::vector<uint8_t*>& out) {
    for (auto it = waiting_.begin(); it != waiting_.end();) {
      if (now - it->since >= kImagePoolIdleMilliseconds) {
        pooledBytes_ -= CapacityOf(it->image);
        out.push_back(it->image);
        it = waiting_.erase(it);
      } else {
        ++it;
      }
    }
  }

  // Outside the lock: the system's free of a large image unmaps it.
  static void Release(const std::vector<uint8_t*>& images) {
    for (uint8_t* image : images)
      std::free(BaseOf(image));
  }

  std::mutex mutex_;
  std::vector<Waiting> waiting_;  // oldest first
  ImagePoolClock clock_ = &SteadyMilliseconds;
  size_t pooledBytes_ = 0;
  size_t liveBytes_ = 0;
  size_t mostLiveBytes_ = 0;
  uint64_t systemAllocations_ = 0;
};

// Set once the pool is gone, at exit or when the module that holds it is unloaded. A
// trivial atomic needs no destructor, so it stays readable for objects of static
// lifetime that are destroyed after the pool and still free images.
std::atomic<bool> poolClosed{false};

// The pool lives as long as the module: at the end it frees what waits in it, and
// images given back after that go straight to the system.
struct ClosingPool {
  ImagePool pool;
  ClosingPool() = default;
  ClosingPool(const ClosingPool&) = delete;
  ClosingPool& operator=(const ClosingPool&) = delete;
  ~ClosingPool() {
    poolClosed.store(true);
    pool.Empty();
  }
};

// Null once the pool is closed.
ImagePool* Pool() {
  if (poolClosed.load()) return nullptr;
  static ClosingPool closing;
  return &closing.pool;
}

}  // namespace

uint8_t* AllocImage(int32_t width, int32_t height, int32_t pixelBytes, int32_t* pitch) {
  if (pitch == nullptr) return nullptr;
  *pitch = 0;
  const bool sizeKnown =
      pixelBytes == 1 || pixelBytes == 2 || pixelBytes == 3 || pixelBytes == 4 || pixelBytes == 16;
  if (!sizeKnown || width < 1 || height < 1) return nullptr;
  const int64_t rowBytes = int64_t{width} * pixelBytes;
  const int64_t rounded = (rowBytes + kRowAlignment - 1) / kRowAlignment * kRowAlignment;
  if (rounded > std::numeric_limits<int32_t>::max()) return nullptr;
  // One spare row of alignment lets a vector kernel read a little past the last pixel.
  const auto bytes = static_cast<size_t>(rounded) * static_cast<size_t>(height) + kRowAlignment;
  ImagePool* pool = Pool();
  uint8_t* image = pool != nullptr ? pool->Take(bytes) : SystemImage(bytes);
  if (image == nullptr) return nullptr;
  *pitch = static_cast<int32_t>(rounded);
  return image;
}

void FreeImage(void* image) {
  if (image == nullptr) return;
  if (ImagePool* pool = Pool(); pool != nullptr) {
    pool->Give(static_cast<uint8_t*>(image));
  } else {
    std::free(BaseOf(image));
  }
}

void SetImagePoolClock(ImagePoolClock clock) {
  if (ImagePool* pool = Pool(); pool != nullptr) pool->SetClock(clock);
}

ImagePoolState ImagePoolNow() {
  ImagePool* pool = Pool();
  return pool != nullptr ? pool->State() : ImagePoolState{};
}

void EmptyImagePool() {
  if (ImagePool* pool = Pool(); pool != nullptr) pool->Empty();
}

}  // namespace vitrella::kernels
