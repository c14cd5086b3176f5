// The rotated ramp that gradients and splits are made of: the shift that puts the ramp's
// middle through the centre, for every quadrant and the frame's corners, on each format.
#include "core/strip_rotation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "vitrella/pixel_format.h"

namespace vitrella {
namespace {

// A strip whose rows fall from full at column 0 by full / ramp per column to 0.
void FillRamp(FrameBuffer& strip, int32_t ramp) {
  const bool isFloat = IsFloatFormat(strip.format);
  const int32_t channels =
      strip.format == PixelFormat8Gray || strip.format == PixelFormat32FGray ? 1 : 4;
  for (int32_t y = 0; y < strip.height; ++y) {
    for (int32_t x = 0; x < strip.width; ++x) {
      const double value = ramp < 1 ? 0.0 : std::max(0.0, 1.0 - static_cast<double>(x) / ramp);
      for (int32_t c = 0; c < channels; ++c) {
        if (isFloat) {
          strip.Row<float>(y)[x * channels + c] = static_cast<float>(value);
        } else {
          strip.Row(y)[x * channels + c] = static_cast<uint8_t>(value * 255.0);
        }
      }
    }
  }
}

void FillFull(FrameBuffer& frame) {
  for (int32_t y = 0; y < frame.height; ++y) {
    if (IsFloatFormat(frame.format)) {
      std::fill_n(frame.Row<float>(y), frame.width * frame.pixelBytes / 4, 1.0f);
    } else {
      std::memset(frame.Row(y), 255, static_cast<size_t>(frame.width) * frame.pixelBytes);
    }
  }
}

double ValueAt(const FrameBuffer& frame, int32_t x, int32_t y) {
  return IsFloatFormat(frame.format) ? frame.Row<float>(y)[x * frame.pixelBytes / 4]
                                     : frame.Row(y)[x * frame.pixelBytes] / 255.0;
}

struct Frame {
  int32_t width, height;
};

// Rotates the ramp onto a full frame and checks every pixel against the gradient
// m = clamp(1/2 + d / L) with d = -cos θ (X - Cx) + sin θ (R - Cy), the distance from the
// line through the centre, positive on the side the strip starts from.
void ExpectGradient(PixelFormat format, int32_t interpolation, Frame frame, int32_t cx, int32_t cy,
                    float theta, int32_t ramp) {
  const int32_t bytes = FormatPixelBytes(format);
  const int32_t reach =
      static_cast<int32_t>(std::sqrt(2.0 * std::pow(std::max(frame.width, frame.height), 2.0)));
  FrameBuffer strip;
  FrameBuffer dst;
  ASSERT_TRUE(strip.Allocate(reach + (reach >> 1), 2 * reach, bytes, nullptr, format, false));
  ASSERT_TRUE(dst.Allocate(frame.width, frame.height, bytes, nullptr, format, false));
  FillRamp(strip, ramp);
  FillFull(dst);
  const StripShift shift = StripRotationShift(frame.width, frame.height, cx, cy, theta, ramp);
  ASSERT_EQ(RotateStrip(strip, dst, theta, shift.x, shift.y, interpolation), kernels::kOk);
  // The strip cut to the extent the rotation reads gives the same picture.
  const kernels::Size needed = StripExtentNeeded(frame.width, frame.height, theta, shift);
  FrameBuffer cut;
  FrameBuffer again;
  cut.Attach(strip.data, std::min(needed.width, strip.width), std::min(needed.height, strip.height),
             strip.pitch, bytes, format, false);
  ASSERT_TRUE(again.Allocate(frame.width, frame.height, bytes, nullptr, format, false));
  FillFull(again);
  ASSERT_EQ(RotateStrip(cut, again, theta, shift.x, shift.y, interpolation), kernels::kOk);
  for (int32_t y = 0; y < frame.height; ++y) {
    ASSERT_EQ(std::memcmp(again.Row(y), dst.Row(y), static_cast<size_t>(frame.width) * bytes), 0)
        << "cut strip, theta " << theta << " row " << y;
  }
  const double radians = theta * 3.14159265358979323846 / 180.0;
  // The cubic rounds the ramp's two kinks by up to about a pixel's step, and the 8-bit ramp
  // and result add a step of 255 each.
  const double slack = ramp < 1 ? 1.5 : 1.0 / ramp + 2.0 / 255.0;
  for (int32_t y = 0; y < frame.height; ++y) {
    for (int32_t x = 0; x < frame.width; ++x) {
      const double d = -std::cos(radians) * (x - cx) + std::sin(radians) * (y - cy);
      const double expected = ramp < 1 ? (d > 0 ? 1.0 : 0.0) : std::clamp(0.5 + d / ramp, 0.0, 1.0);
      if (ramp < 1 && std::fabs(d) < 2.0) continue;  // the hard edge's own smoothing
      ASSERT_NEAR(ValueAt(dst, x, y), expected, slack)
          << "format " << format << " theta " << theta << " centre " << cx << "," << cy << " at "
          << x << "," << y;
    }
  }
}

TEST(StripRotation, PutsTheMiddleOfTheRampThroughTheCentreAtEveryAngle) {
  const Frame frames[] = {{64, 48}, {40, 90}};
  const float angles[] = {0.0f, 30.0f, 90.0f, 135.0f, 180.0f, 200.0f, 270.0f, 315.0f, 359.9f};
  for (const Frame& frame : frames) {
    const int32_t centres[][2] = {{frame.width / 2, frame.height / 2},
                                  {0, 0},
                                  {frame.width, frame.height},
                                  {frame.width, 0},
                                  {frame.width / 5, frame.height * 4 / 5}};
    for (const auto& centre : centres) {
      for (float theta : angles) {
        ExpectGradient(PixelFormat8Gray, kStripCubicSmooth, frame, centre[0], centre[1], theta, 24);
      }
    }
  }
}

TEST(StripRotation, WorksOnEveryFormatWithEitherMode) {
  const Frame frame{50, 38};
  for (PixelFormat format : {PixelFormat8Gray, PixelFormat32FGray, PixelFormat8BGRA,
                             PixelFormat8ARGB, PixelFormat32FBGRA, PixelFormat32FARGB}) {
    for (int32_t mode : {kStripCubicSmooth, kStripLinearSmooth}) {
      for (float theta : {45.0f, 160.0f, 290.0f}) {
        ExpectGradient(format, mode, frame, 20, 17, theta, 16);
      }
    }
  }
}

TEST(StripRotation, ARampOfNoLengthGivesAHardEdge) {
  for (float theta : {0.0f, 72.0f, 250.0f}) {
    ExpectGradient(PixelFormat32FGray, kStripCubicSmooth, {48, 32}, 24, 16, theta, 0);
  }
}

TEST(StripRotation, AStripBesideTheFrameIsNoFailureAndWritesNothing) {
  FrameBuffer strip;
  FrameBuffer dst;
  ASSERT_TRUE(strip.Allocate(30, 40, 1, nullptr, PixelFormat8Gray, false));
  ASSERT_TRUE(dst.Allocate(20, 20, 1, nullptr, PixelFormat8Gray, false));
  FillRamp(strip, 10);
  FillFull(dst);
  const kernels::Status status = RotateStrip(strip, dst, 10.0f, 500.0, -300.0, kStripCubicSmooth);
  EXPECT_NE(status, kernels::kOk);
  EXPECT_TRUE(StripRotated(status));
  for (int32_t y = 0; y < 20; ++y) {
    for (int32_t x = 0; x < 20; ++x)
      ASSERT_EQ(dst.Row(y)[x], 255);
  }
}

TEST(StripRotation, RefusesMissingOrMismatchedFrames) {
  FrameBuffer gray;
  FrameBuffer floats;
  FrameBuffer none;
  ASSERT_TRUE(gray.Allocate(8, 8, 1, nullptr, PixelFormat8Gray, false));
  ASSERT_TRUE(floats.Allocate(8, 8, 4, nullptr, PixelFormat32FGray, false));
  EXPECT_FALSE(StripRotated(RotateStrip(none, gray, 0.0f, 0, 0, kStripCubicSmooth)));
  EXPECT_FALSE(StripRotated(RotateStrip(gray, none, 0.0f, 0, 0, kStripCubicSmooth)));
  EXPECT_FALSE(StripRotated(RotateStrip(gray, floats, 0.0f, 0, 0, kStripCubicSmooth)));
  EXPECT_FALSE(StripRotated(RotateStrip(gray, gray, 0.0f, 0, 0, 3)));
}

}  // namespace
}  // namespace vitrella
