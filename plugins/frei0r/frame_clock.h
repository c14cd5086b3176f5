// Frame numbers for a host that passes only a time. ffmpeg passes milliseconds (or, for
// frames without a timestamp, one meaningless time for all of them) and melt seconds, so
// the time's unit and value are never used: successive updates count up by one, and a
// jump (backwards, or forwards by well over the usual step: a seek) leaves a gap that no
// effect mistakes for the neighbouring frame.
#pragma once

#include <cstdint>

namespace vitrella::frei0r {

class FrameClock {
 public:
  // Frames numbered this far apart are unrelated to an effect that looks back.
  static constexpr int32_t kSeekGap = 64;
  // A step this many times the last one is a jump, not the next frame.
  static constexpr double kJumpRatio = 2.5;

  int32_t Next(double time);

 private:
  bool started_ = false;
  double last_ = 0.0;
  double step_ = 0.0;  // the last ordinary step, 0 until one is seen
  int32_t frame_ = 0;
};

}  // namespace vitrella::frei0r
