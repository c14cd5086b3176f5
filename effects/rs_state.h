// What the rolling-shutter analysis keeps for the life of the module: the latest motion
// results, the switches that a host's frame numbering can flip, and the two frame caches.
#pragma once

#include <atomic>
#include <cstdint>

#include "effects/rs_info.h"
#include "effects/rs_ring.h"

namespace vitrella {

// The latest results, in a ring of 41 of which lookups read the first 40. Renders on
// several threads share it without a lock: a lost or mixed entry can only disturb the flip
// guard of one estimate, so each word is merely atomic.
class RsMotionHistory {
 public:
  static constexpr int32_t kEntries = 41;
  static constexpr int32_t kSearched = 40;

  void Append(const RsMotionResult& result);
  // The entry measured for `frame`, the first one found.
  bool Find(int32_t frame, RsMotionResult* result) const;

 private:
  struct Entry {
    std::atomic<float> motionX{0.0f};
    std::atomic<float> motionY{0.0f};
    std::atomic<int32_t> motionFrame{0};
    std::atomic<int32_t> invalid{1};
  };
  Entry entries_[kEntries];
  std::atomic<int32_t> next_{0};
};

struct RsModuleState {
  // 1 once the host's frame numbers are not to be trusted: frame numbers then come from
  // time and rate, and earlier frames from the caches. Never goes back to 0.
  std::atomic<int32_t> deriveFrameNumbers{0};
  std::atomic<int32_t> negativeFrameSeen{0};
  std::atomic<int32_t> fetchFailures{0};
  RsMotionHistory history;
  RsCache frameCache{kRsSlotCount};        // whole frames and first fields
  RsCache secondFieldCache{kRsSlotCount};  // fieldMode 2

  RsCache& CacheFor(uint16_t fieldMode) { return fieldMode == 2 ? secondFieldCache : frameCache; }
};

// The module's one instance.
RsModuleState& RsState();

}  // namespace vitrella
