// Rolling Shutter: the motion estimate on a photograph shifted by a known amount, the
// correction on both analysis paths, the pictures that must pass unchanged, and renders of
// two clips at once.
#include "effects/rolling_shutter.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <opencv2/imgcodecs.hpp>
#include <thread>

#include "common/clip_host.h"
#include "common/effect_checks.h"
#include "common/fake_host.h"
#include "common/test_frame.h"
#include "core/frame_ops.h"
#include "effects/rs_correction.h"
#include "effects/rs_motion.h"
#include "kernels/warp_quad.h"

namespace vitrella {
namespace {

using testing::TestFrame;

constexpr int32_t kWidth = 640;  // the analysis width: motion is in source pixels
constexpr int32_t kHeight = 360;
constexpr int32_t kPan = 4;  // pixels per frame, leftwards across the photograph

const cv::Mat& Photograph() {
  static const cv::Mat photo = cv::imread(VITRELLA_TESTDATA_DIR "/graf1.png", cv::IMREAD_COLOR);
  return photo;
}

// The window of the photograph at (x, y), as a frame of the given format, its rows in
// memory in the photograph's order.
std::unique_ptr<TestFrame> Window(int32_t x, int32_t y, PixelFormat format = PixelFormat8BGRA) {
  auto frame = std::make_unique<TestFrame>(kWidth, kHeight, format);
  const cv::Mat& photo = Photograph();
  for (int32_t r = 0; r < kHeight; ++r) {
    const auto* row = photo.ptr<cv::Vec3b>(y + r);
    for (int32_t c = 0; c < kWidth; ++c) {
      const cv::Vec3b p = row[x + c];
      frame->SetRgba(c, r, p[2], p[1], p[0], 255);
    }
  }
  return frame;
}

using testing::ClipHost;

std::vector<ParamValue> Settings(float correction, int32_t fill, int32_t direction = 0) {
  CRollingShutterFixer effect;
  std::vector<ParamValue> values = testing::EffectValues(&effect);
  auto at = [&](const char* label) -> ParamValue& {
    return values[static_cast<size_t>(testing::ParamIndex(&effect, label))];
  };
  at("Correction").slider = correction;
  at("Quality").slider = 0.55f;
  at("Scanning Direction").choice = direction;
  at("Border Fill").choice = fill;
  return values;
}

RenderInfo FrameInfo(int32_t n, uint16_t fieldMode = kFieldModeFrame) {
  RenderInfo info = testing::WholeFrameInfo();
  info.frameNumber = n;
  info.time = n / info.frameRate;
  info.fieldMode = fieldMode;
  return info;
}

// Renders frame n of the host's clip into a copy of it (so "Source" shows the frame).
std::unique_ptr<TestFrame> RenderFrame(ClipHost& host, int32_t n,
                                       uint16_t fieldMode = kFieldModeFrame) {
  CRollingShutterFixer effect;
  TestFrame& src = *host.clip[static_cast<size_t>(n)];
  auto dst = std::make_unique<TestFrame>(src.Width(), src.Height(), src.Format());
  std::memcpy(dst->Host()->data, src.Host()->data,
              static_cast<size_t>(src.Height()) * src.Width() * src.Host()->pixelBytes);
  const RenderInfo info = FrameInfo(n, fieldMode);
  EXPECT_TRUE(effect.Render(&host, src.Host(), 0, dst->Host(), &info)) << "frame " << n;
  return dst;
}

// The picture the correction must give for a motion of (dx, dy) per frame.
std::vector<uint8_t> Corrected(TestFrame& src, float dx, float dy, float correction,
                               RsBorderFill fill) {
  TestFrame out(src.Width(), src.Height(), src.Format());
  std::memcpy(out.Host()->data, src.Host()->data,
              static_cast<size_t>(src.Height()) * src.Width() * src.Host()->pixelBytes);
  FrameBuffer in;
  FrameBuffer to;
  EXPECT_TRUE(in.AttachHost(src.Host()));
  EXPECT_TRUE(to.AttachHost(out.Host()));
  const RsShear shear = RsShearOf(dx, dy, kWidth, kHeight, correction, kFieldModeFrame);
  EXPECT_TRUE(ApplyRsCorrection(in, to, kWidth, kHeight, shear, fill));
  return out.Pixels();
}

class RollingShutterTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_FALSE(Photograph().empty()) << "run scripts/setup for the test pictures";
    ASSERT_GE(Photograph().cols, kWidth + 8 * kPan);
  }
  // A clip panning across the photograph at kPan pixels per frame.
  static void FillClip(ClipHost& host, int32_t frames, PixelFormat format = PixelFormat8BGRA) {
    for (int32_t n = 0; n < frames; ++n)
      host.clip.push_back(Window(n * kPan, 40, format));
  }
};

TEST_F(RollingShutterTest, MeasuresAShiftedPhotographWithinHalfAPixel) {
  RsMotionHistory history;
  const struct { int32_t dx, dy; } shifts[] = {{5, 0}, {-3, 2}, {0, -6}};
  for (const auto& shift : shifts) {
    auto earlier = Window(40, 40);
    auto current = Window(40 - shift.dx, 40 - shift.dy);  // content moves by (dx, dy)
    FrameBuffer a;
    FrameBuffer c;
    EXPECT_TRUE(a.AttachHost(earlier->Host()));
    EXPECT_TRUE(c.AttachHost(current->Host()));
    FrameBuffer b;
    ASSERT_TRUE(MakeRsAnalysisImage(c, b, nullptr));
    ASSERT_EQ(b.width, kRsAnalysisWidth);
    const RsMotionResult m = EstimateRsMotion(a, b, nullptr, 0.55f, 1, history);
    EXPECT_EQ(m.invalid, 0);
    EXPECT_NEAR(m.motionX, shift.dx, 0.5) << shift.dx << "," << shift.dy;
    EXPECT_NEAR(m.motionY, shift.dy, 0.5) << shift.dx << "," << shift.dy;
  }
}

TEST_F(RollingShutterTest, FlatFramesGiveNoMotionAndNoFailure) {
  RsMotionHistory history;
  TestFrame grey(kWidth, kHeight, PixelFormat8BGRA);
  for (int32_t y = 0; y < kHeight; ++y) {
    for (int32_t x = 0; x < kWidth; ++x)
      grey.SetRgba(x, y, 128, 128, 128, 255);
  }
  FrameBuffer a;
  EXPECT_TRUE(a.AttachHost(grey.Host()));
  FrameBuffer b;
  ASSERT_TRUE(MakeRsAnalysisImage(a, b, nullptr));
  const RsMotionResult m = EstimateRsMotion(a, b, nullptr, 0.55f, 3, history);
  EXPECT_EQ(m.motionX, 0.0f);
  EXPECT_EQ(m.motionY, 0.0f);

  ClipHost host(Settings(1.0f, 2), false);
  for (int n = 0; n < 3; ++n) {
    host.clip.push_back(std::make_unique<TestFrame>(kWidth, kHeight, PixelFormat8BGRA));
    std::memcpy(host.clip.back()->Host()->data, grey.Host()->data,
                static_cast<size_t>(kWidth) * kHeight * 4);
  }
  for (int32_t n = 0; n < 3; ++n)
    EXPECT_EQ(RenderFrame(host, n)->Pixels(), grey.Pixels());
}

TEST_F(RollingShutterTest, NoCorrectionLeavesEveryFrameUnchanged) {
  for (int32_t fill = 0; fill < 3; ++fill) {
    for (bool fetches : {false, true}) {
      ClipHost host(Settings(0.0f, fill), fetches);
      FillClip(host, 3);
      for (int32_t n = 0; n < 3; ++n) {
        EXPECT_EQ(RenderFrame(host, n)->Pixels(), host.clip[static_cast<size_t>(n)]->Pixels())
            << "fill " << fill << ", frame " << n << (fetches ? ", fetching" : ", cached");
      }
      EXPECT_EQ(host.held, 0) << "every fetched frame is released";
    }
  }
}

// The correction chosen so that the shear of a pan of 4 pixels lies half-way between two
// whole numbers: 25.5 columns, so a measurement error of up to 0.07 pixels gives the same
// picture.
constexpr float kHalfWayCorrection = 25.5f / 25.6f;

TEST_F(RollingShutterTest, CorrectsAPanOnTheCachedPath) {
  for (RsBorderFill fill : {RsBorderFill::kSource, RsBorderFill::kStretch, RsBorderFill::kZoom}) {
    ClipHost host(Settings(kHalfWayCorrection, static_cast<int32_t>(fill)), false);
    FillClip(host, 4);
    EXPECT_EQ(RenderFrame(host, 0)->Pixels(), host.clip[0]->Pixels()) << "no earlier frame";
    for (int32_t n = 1; n < 4; ++n) {
      EXPECT_EQ(RenderFrame(host, n)->Pixels(),
                Corrected(*host.clip[static_cast<size_t>(n)], -kPan, 0, kHalfWayCorrection, fill))
          << "fill " << static_cast<int>(fill) << ", frame " << n;
    }
    // A second render of a frame reads its record and gives the same picture.
    EXPECT_EQ(RenderFrame(host, 2)->Pixels(),
              Corrected(*host.clip[2], -kPan, 0, kHalfWayCorrection, fill));
    EXPECT_EQ(host.asked, 0) << "the cached path never asks the host for frames";
  }
}

TEST_F(RollingShutterTest, CorrectsAPanOnTheFetchingPath) {
  ClipHost host(Settings(kHalfWayCorrection, 0), true);
  FillClip(host, 3);
  EXPECT_EQ(RenderFrame(host, 0)->Pixels(), host.clip[0]->Pixels());
  EXPECT_EQ(host.asked, 0) << "frame 0 at time 0 has nothing before it";
  EXPECT_EQ(RenderFrame(host, 2)->Pixels(),
            Corrected(*host.clip[2], -kPan, 0, kHalfWayCorrection, RsBorderFill::kSource));
  EXPECT_EQ(host.asked, 1) << "frame 1 moved enough";
  EXPECT_EQ(host.held, 0);
}

TEST_F(RollingShutterTest, ReversedScanningAndAFlippedSourceCancel) {
  // The same memory, once with `flipped` set: its rows run the other way in the picture.
  ClipHost down(Settings(kHalfWayCorrection, 0, 0), true);
  ClipHost upFlipped(Settings(kHalfWayCorrection, 0, 1), true);
  ClipHost downFlipped(Settings(kHalfWayCorrection, 0, 0), true);
  FillClip(down, 2);
  FillClip(upFlipped, 2);
  FillClip(downFlipped, 2);
  for (int32_t n = 0; n < 2; ++n) {
    upFlipped.clip[static_cast<size_t>(n)]->Host()->flipped = 1;
    downFlipped.clip[static_cast<size_t>(n)]->Host()->flipped = 1;
  }
  const std::vector<uint8_t> reference = RenderFrame(down, 1)->Pixels();
  EXPECT_EQ(RenderFrame(upFlipped, 1)->Pixels(), reference);
  EXPECT_NE(RenderFrame(downFlipped, 1)->Pixels(), reference);
}

TEST_F(RollingShutterTest, FloatFramesAreCorrectedInEightBits) {
  ClipHost bytes(Settings(kHalfWayCorrection, 2), true);
  ClipHost floats(Settings(kHalfWayCorrection, 2), true);
  FillClip(bytes, 2);
  FillClip(floats, 2, PixelFormat32FARGB);
  auto byteOut = RenderFrame(bytes, 1);
  auto floatOut = RenderFrame(floats, 1);
  const ChannelPlaces bgra = ChannelPlacesOf(PixelFormat8BGRA);
  const ChannelPlaces argb = ChannelPlacesOf(PixelFormat32FARGB);
  for (int32_t y : {0, 100, kHeight - 1}) {
    for (int32_t x : {0, 17, 320, kWidth - 1}) {
      EXPECT_NEAR(floatOut->Get(x, y, argb.green) * 255.0f, byteOut->Get(x, y, bgra.green), 1e-3)
          << x << "," << y;
    }
  }
}

TEST_F(RollingShutterTest, RefusesBadCallsAndAnnouncesTheFramesItWillRead) {
  CRollingShutterFixer effect;
  void* gpu = nullptr;
  EXPECT_EQ(effect.QueryInterface(kIID_IVideoGPUEffect, &gpu), kNoInterface);
  EXPECT_EQ(effect.GetEffectTraits(), 993u);

  ClipHost host(Settings(0.5f, 2), true);
  FillClip(host, 3);
  const RenderInfo info = FrameInfo(2);
  EXPECT_TRUE(effect.Render(&host, nullptr, 0, nullptr, &info));
  EXPECT_EQ(host.asked, 4) << "frames 2, 1, 0 and -1";
  EXPECT_EQ(host.held, 0);
  EXPECT_TRUE(effect.Render(nullptr, nullptr, 0, nullptr, nullptr));

  // Frames of two formats; the refusals of every effect are the suite's.
  TestFrame floats(8, 8, PixelFormat32FBGRA);
  EXPECT_FALSE(effect.Render(&host, host.clip[0]->Host(), 0, floats.Host(), &info));
}

TEST_F(RollingShutterTest, TwoClipsAtOnceRenderAsAlone) {
  // Fields 1 and 2 use the two caches, so the two clips also run side by side.
  const auto renderClip = [](uint16_t fieldMode) {
    ClipHost host(Settings(kHalfWayCorrection, 2), false);
    FillClip(host, 4);
    std::vector<std::vector<uint8_t>> frames;
    for (int32_t n = 0; n < 4; ++n)
      frames.push_back(RenderFrame(host, n, fieldMode)->Pixels());
    return frames;
  };
  const auto aloneFirst = renderClip(1);
  const auto aloneSecond = renderClip(2);
  std::vector<std::vector<uint8_t>> first;
  std::vector<std::vector<uint8_t>> second;
  std::vector<std::vector<uint8_t>> third;
  std::thread a([&] { first = renderClip(1); });
  std::thread b([&] { second = renderClip(2); });
  std::thread c([&] { third = renderClip(1); });
  a.join();
  b.join();
  c.join();
  EXPECT_TRUE(first == aloneFirst);
  EXPECT_TRUE(second == aloneSecond);
  EXPECT_TRUE(third == aloneFirst);
}

}  // namespace
}  // namespace vitrella
