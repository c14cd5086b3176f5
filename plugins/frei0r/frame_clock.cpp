#include "frame_clock.h"

#include <cmath>

namespace vitrella::frei0r {
namespace {

// Far below the last number an int32_t holds; a clip never gets there.
constexpr int32_t kWrapAt = int32_t{1} << 30;

}  // namespace

int32_t FrameClock::Next(double time) {
  if (!std::isfinite(time)) {
    // No time to go by: the next frame.
    frame_ = started_ ? frame_ + 1 : 0;
    started_ = true;
    return frame_;
  }
  if (!started_) {
    started_ = true;
    last_ = time;
    return frame_;
  }
  const double step = time - last_;
  last_ = time;
  const bool jump = step < 0.0 || (step_ > 0.0 && step > kJumpRatio * step_);
  if (jump) {
    frame_ += kSeekGap;
  } else {
    frame_ += 1;
    if (step > 0.0) step_ = step;
  }
  if (frame_ >= kWrapAt) frame_ = 0;
  return frame_;
}

}  // namespace vitrella::frei0r
