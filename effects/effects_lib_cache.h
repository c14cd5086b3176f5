// Slots of frames and their analysis records, kept between renders: CEffectsLibCache is
// one effect instance's set, CEffectsLibCacheMT a locked table of sets, one per instance
// key, that forgets a set after ten seconds without use.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <new>

#include "core/frame_buffer.h"
#include "core/frame_ops.h"
#include "platform/clock.h"
#include "vitrella/effect.h"

namespace vitrella {

template <typename Info>
class CEffectsLibCache {
 public:
  explicit CEffectsLibCache(int32_t slotCount)
      : frames_(new (std::nothrow) FrameBuffer[slotCount > 0 ? slotCount : 1]),
        infos_(new (std::nothrow) Info[slotCount > 0 ? slotCount : 1]),
        slotCount_(frames_ && infos_ ? slotCount : 0) {}
  virtual ~CEffectsLibCache() = default;
  CEffectsLibCache(const CEffectsLibCache&) = delete;
  CEffectsLibCache& operator=(const CEffectsLibCache&) = delete;

  bool IsValid() const { return slotCount_ > 0; }
  int32_t SlotCount() const { return slotCount_; }

  // A slot outside the set, or any slot of a set that is not valid, reads as empty.
  const FrameBuffer& Frame(int32_t slot) const {
    static const FrameBuffer kEmpty;
    return InRange(slot) ? frames_[slot] : kEmpty;
  }
  Info GetInfo(int32_t slot) const { return InRange(slot) ? infos_[slot] : Info{}; }

  // A frame with no pixels empties the slot. Otherwise the slot's image is kept when its
  // geometry and format match and replaced when not; the pixels are copied, and `info`,
  // when given, becomes the slot's record. Slot images come from the kernels' memory,
  // never from a host's allocator: a set outlives the render, and the effect, that made it.
  void Store(const FrameBuffer& frame, int32_t slot, const Info* info) {
    if (!InRange(slot)) return;
    FrameBuffer& target = frames_[slot];
    if (frame.data == nullptr) {
      target.Clear();
      infos_[slot] = Info{};
      return;
    }
    const bool fits = target.data != nullptr && target.width == frame.width &&
                      target.height == frame.height && target.pixelBytes == frame.pixelBytes &&
                      target.format == frame.format && target.flipped == frame.flipped;
    if (!fits) {
      target.Clear();
      if (!target.Allocate(frame.width, frame.height, frame.pixelBytes, nullptr, frame.format,
                           frame.flipped != 0)) {
        return;
      }
    }
    if (!CopyFrame(frame, target)) return;
    if (info != nullptr) infos_[slot] = *info;
  }

 private:
  bool InRange(int32_t slot) const { return slot >= 0 && slot < slotCount_; }

  std::unique_ptr<FrameBuffer[]> frames_;
  std::unique_ptr<Info[]> infos_;
  int32_t slotCount_;
};

template <typename Info>
class CEffectsLibCacheMT {
 public:
  static constexpr uint32_t kIdleMilliseconds = 10000;

  explicit CEffectsLibCacheMT(int32_t slotCount, platform::TickSource clock = platform::TickCount)
      : slotCount_(slotCount), clock_(clock) {}
  virtual ~CEffectsLibCacheMT() { Clear(); }
  CEffectsLibCacheMT(const CEffectsLibCacheMT&) = delete;
  CEffectsLibCacheMT& operator=(const CEffectsLibCacheMT&) = delete;

  // Holds the table for one caller until Unlock; the key of the host's instance (0 for
  // no host) picks the set that the operations in between use.
  void Lock(IEffectHost* host) {
    lock_.lock();
    currentKey_ = 0;
    if (host != nullptr) {
      HostInfo info{};
      currentKey_ = host->GetHostInfo(&info) != nullptr ? info.instanceKey : 0;
    }
  }
  void Unlock() { lock_.unlock(); }
  uint32_t CurrentKey() const { return currentKey_; }

  Info GetInfo(int32_t slot) {
    CEffectsLibCache<Info>* set = CurrentSet();
    return set != nullptr ? set->GetInfo(slot) : Info{};
  }

  // Copies the slot's image into target, which must have pixels of the slot's size.
  bool GetSlotFrame(int32_t slot, FrameBuffer& target) {
    if (target.data == nullptr) return false;
    CEffectsLibCache<Info>* set = CurrentSet();
    if (set == nullptr) return false;
    const FrameBuffer& image = set->Frame(slot);
    if (image.data == nullptr || image.width != target.width || image.height != target.height) {
      return false;
    }
    return CopyFrame(image, target);
  }

  void Store(const FrameBuffer& frame, int32_t slot, const Info* info) {
    CEffectsLibCache<Info>* set = CurrentSet();
    if (set != nullptr) set->Store(frame, slot, info);
  }

  // Destroys every set; new sets then have no slots.
  void Clear() {
    entries_.clear();
    slotCount_ = 0;
  }

 private:
  struct Entry {
    std::unique_ptr<CEffectsLibCache<Info>> set;
    uint32_t key;
    uint32_t lastUse;
  };

  // Forgets idle sets, then finds or makes the set of the current key.
  CEffectsLibCache<Info>* CurrentSet() {
    const uint32_t now = clock_();
    for (size_t i = entries_.size(); i-- > 0;) {
      if (now - entries_[i].lastUse > kIdleMilliseconds) {
        entries_.erase(entries_.begin() + static_cast<ptrdiff_t>(i));
      }
    }
    for (Entry& entry : entries_) {
      if (entry.key == currentKey_) {
        entry.lastUse = now;
        return entry.set.get();
      }
    }
    std::unique_ptr<CEffectsLibCache<Info>> set(new (std::nothrow)
                                                    CEffectsLibCache<Info>(slotCount_));
    if (!set) return nullptr;
    CEffectsLibCache<Info>* made = set.get();
    entries_.push_back({std::move(set), currentKey_, now});
    return made;
  }

  uint32_t currentKey_ = 0;
  int32_t slotCount_;
  platform::TickSource clock_;
  std::mutex lock_;
  std::deque<Entry> entries_;
};

}  // namespace vitrella
