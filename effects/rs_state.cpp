#include "effects/rs_state.h"

namespace vitrella {

void RsMotionHistory::Append(const RsMotionResult& result) {
  int32_t at = next_.load(std::memory_order_relaxed);
  if (at < 0 || at >= kEntries) at = 0;
  Entry& entry = entries_[at];
  entry.motionX.store(result.motionX, std::memory_order_relaxed);
  entry.motionY.store(result.motionY, std::memory_order_relaxed);
  entry.motionFrame.store(result.motionFrame, std::memory_order_relaxed);
  entry.invalid.store(result.invalid, std::memory_order_relaxed);
  next_.store(at + 1 >= kEntries ? 0 : at + 1, std::memory_order_relaxed);
}

bool RsMotionHistory::Find(int32_t frame, RsMotionResult* result) const {
  for (int32_t i = 0; i < kSearched; ++i) {
    const Entry& entry = entries_[i];
    if (entry.motionFrame.load(std::memory_order_relaxed) != frame) continue;
    result->motionX = entry.motionX.load(std::memory_order_relaxed);
    result->motionY = entry.motionY.load(std::memory_order_relaxed);
    result->motionFrame = frame;
    result->invalid = entry.invalid.load(std::memory_order_relaxed);
    return true;
  }
  return false;
}

RsModuleState& RsState() {
  static RsModuleState state;
  return state;
}

}  // namespace vitrella
