// Frame numbers from the times frei0r hosts pass, whatever their unit.
#include "frame_clock.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace vitrella::frei0r {
namespace {

std::vector<int32_t> Numbers(const std::vector<double>& times) {
  FrameClock clock;
  std::vector<int32_t> numbers;
  numbers.reserve(times.size());
  for (const double time : times)
    numbers.push_back(clock.Next(time));
  return numbers;
}

TEST(FrameClockTest, CountsUpdatesInAnyUnit) {
  const std::vector<int32_t> expected{0, 1, 2, 3};
  EXPECT_EQ(Numbers({12.0, 12.04, 12.08, 12.12}), expected);           // melt: seconds
  EXPECT_EQ(Numbers({12000.0, 12040.0, 12080.0, 12120.0}), expected);  // ffmpeg: milliseconds
  // ffmpeg's frames without a timestamp all come with one meaningless time.
  const double none = -3.6893488147419103e+20;
  EXPECT_EQ(Numbers({none, none, none, none}), expected);
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(Numbers({nan, nan, nan, nan}), expected);
}

TEST(FrameClockTest, SeeksLeaveAGap) {
  constexpr int32_t gap = FrameClock::kSeekGap;
  // Back to the start, then forward past several frames, then on as usual.
  EXPECT_EQ(Numbers({1.0, 1.04, 1.08, 0.0, 0.04, 2.0, 2.04}),
            (std::vector<int32_t>{0, 1, 2, 2 + gap, 3 + gap, 3 + 2 * gap, 4 + 2 * gap}));
  // A slightly uneven step is no seek.
  EXPECT_EQ(Numbers({0.0, 40.0, 81.0, 120.0, 200.0}), (std::vector<int32_t>{0, 1, 2, 3, 4}));
}

}  // namespace
}  // namespace vitrella::frei0r
