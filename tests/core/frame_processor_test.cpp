// The frame processor as a host calls it: through IFrameProcessor, on host records.
#include "core/frame_processor.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>

#include "common/test_frame.h"
#include "core/effects_library.h"

namespace vitrella {
namespace {

using testing::TestFrame;

struct Released {
  void operator()(IUnknown* object) const { object->Release(); }
};
using ProcessorRef = std::unique_ptr<IFrameProcessor, Released>;

ProcessorRef MakeProcessor() {
  auto* library = new CVitrellaEffects3();
  ProcessorRef processor(library->CreateFrameProcessor());
  library->Release();
  return processor;
}

class FrameProcessorTest : public ::testing::Test {
 protected:
  ProcessorRef fp = MakeProcessor();
};

TEST_F(FrameProcessorTest, AnswersItsInterfacesAndRefusesANullOutPointer) {
  ASSERT_NE(fp, nullptr);
  void* out = nullptr;
  EXPECT_EQ(fp->QueryInterface(kIID_IFrameProcessor, &out), kOk);
  EXPECT_EQ(out, fp.get());
  EXPECT_EQ(fp->QueryInterface(kIID_IUnknown, &out), kOk);
  EXPECT_EQ(fp->Release(), 2u);
  EXPECT_EQ(fp->Release(), 1u);
  EXPECT_EQ(fp->QueryInterface(kIID_IEffectLibrary, &out), kNoInterface);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(fp->QueryInterface(kIID_IFrameProcessor, nullptr), kPointerError);
}

TEST_F(FrameProcessorTest, RefusesNullRecordsAndNullPixels) {
  TestFrame frame(4, 4, PixelFormat8BGRA);
  HostFrame empty = *frame.Host();
  empty.data = nullptr;
  EXPECT_FALSE(fp->CopyFrame(nullptr, frame.Host()));
  EXPECT_FALSE(fp->CopyFrame(frame.Host(), &empty));
  EXPECT_FALSE(fp->ReverseChannels(&empty, frame.Host()));
  EXPECT_FALSE(fp->SetChannel(nullptr, 0, 1));
  EXPECT_FALSE(fp->CompositeFrames(frame.Host(), nullptr, frame.Host(), 0));
  EXPECT_FALSE(fp->SwapChannelsInPlace(frame.Host(), nullptr));
  EXPECT_FALSE(fp->PremultiplyAlpha(&empty));
  EXPECT_FALSE(fp->FlipFrameInPlace(nullptr));
  EXPECT_FALSE(fp->ClampFrameBelow(frame.Host(), nullptr));
  EXPECT_FALSE(fp->CropResizeFrame(frame.Host(), nullptr, frame.Host(), 0));

  HostFrame odd = *frame.Host();
  odd.width = 0;
  EXPECT_FALSE(fp->SetChannel(&odd, 0, 1)) << "a bad size";
  odd = *frame.Host();
  odd.pitch = 3;
  EXPECT_FALSE(fp->InvertChannel(&odd, 0)) << "a pitch shorter than a row";
  odd = *frame.Host();
  odd.pixelBytes = 16;
  EXPECT_FALSE(fp->ReverseChannels(&odd, &odd)) << "a pixel size against the format";
}

TEST_F(FrameProcessorTest, CopyTreatsEveryPixelAsFourBytes) {
  TestFrame src(5, 3, PixelFormat32FBGRA);
  src.FillRandom(1);
  TestFrame dst(5, 3, PixelFormat32FBGRA);
  const std::vector<uint8_t> before = dst.Pixels();
  ASSERT_TRUE(fp->CopyFrame(src.Host(), dst.Host()));
  const std::vector<uint8_t> in = src.Pixels();
  const std::vector<uint8_t> out = dst.Pixels();
  for (size_t row = 0; row < 3; ++row) {
    const size_t start = row * 5 * 16;
    EXPECT_TRUE(std::equal(out.begin() + start, out.begin() + start + 20, in.begin() + start));
    EXPECT_TRUE(std::equal(out.begin() + start + 20, out.begin() + start + 80,
                           before.begin() + start + 20));
  }
}

TEST_F(FrameProcessorTest, Yuy2BothWaysWithOddWidths) {
  for (int32_t width : {2, 5, 16}) {
    TestFrame bgra(width, 2, PixelFormat8BGRA, 4);
    bgra.FillRandom(width);
    std::vector<uint8_t> packed(static_cast<size_t>(width) * 2 * 2 + 8);
    HostFrame yuy2{packed.data(), width, 2, width * 2, 2, {0, 0}, PixelFormat8Gray, 0};
    ASSERT_TRUE(fp->ConvertBGRAToYUY2(bgra.Host(), &yuy2));
    TestFrame back(width, 2, PixelFormat8BGRA);
    ASSERT_TRUE(fp->ConvertYUY2ToBGRA(&yuy2, back.Host(), 77));
    for (int32_t x = 0; x < width; ++x)
      EXPECT_EQ(back.Get(x, 1, 3), 77);
  }
  TestFrame one(1, 1, PixelFormat8BGRA);
  HostFrame narrow{one.Host()->data, 1, 1, 2, 2, {0, 0}, PixelFormat8Gray, 0};
  EXPECT_FALSE(fp->ConvertYUY2ToBGRA(&narrow, one.Host(), 0)) << "a width of 1";
}

TEST_F(FrameProcessorTest, FloatYCbCrRoundTripsAndKeepsItsAsymmetry) {
  TestFrame rgb(6, 4, PixelFormat32FARGB);
  rgb.FillRandom(3);
  TestFrame ycc(6, 4, PixelFormat32FARGB);
  for (int y = 0; y < 4; ++y) {
    for (int x = 0; x < 6; ++x)
      ycc.Set(x, y, 0, 0.125f);  // alpha that must survive
  }
  ASSERT_TRUE(fp->ConvertRGBToYUV(rgb.Host(), ycc.Host()));
  TestFrame back(6, 4, PixelFormat32FARGB);
  ASSERT_TRUE(fp->ConvertYUVToRGB(ycc.Host(), back.Host()));
  for (int y = 0; y < 4; ++y) {
    for (int x = 0; x < 6; ++x) {
      EXPECT_EQ(ycc.Get(x, y, 0), 0.125f) << "alpha is not touched";
      for (int c = 1; c < 4; ++c)
        EXPECT_NEAR(back.Get(x, y, c), rgb.Get(x, y, c), 2e-3);
    }
  }
  // Black keeps luma 0 (no 16/255 offset on luma) while chroma sits at 128/255.
  TestFrame black(1, 1, PixelFormat32FARGB);
  black.SetRgba(0, 0, 0, 0, 0, 255);
  ASSERT_TRUE(fp->ConvertRGBToYUV(black.Host(), black.Host()));
  EXPECT_FLOAT_EQ(black.Get(0, 0, 1), 0.0f);
  EXPECT_NEAR(black.Get(0, 0, 2), 0.5f * 0.8784314f + 0.0627451f, 1e-6);
  EXPECT_FALSE(fp->ConvertRGBToYUV(rgb.Host(), TestFrame(6, 4, PixelFormat32FBGRA).Host()));
}

TEST_F(FrameProcessorTest, SquareRootOfNegativesFailsWithQuietNaNs) {
  TestFrame frame(2, 1, PixelFormat32FBGRA);
  const float values[8] = {4, 0, -9, 1, 16, 25, 0.25f, -0.0f};
  std::memcpy(frame.HostRow(0), values, sizeof(values));
  EXPECT_FALSE(fp->SquareRootFrame(frame.Host()));
  EXPECT_EQ(frame.Get(0, 0, 0), 2.0f);
  EXPECT_EQ(frame.Get(0, 0, 1), 0.0f);
  EXPECT_TRUE(std::isnan(frame.Get(0, 0, 2)));
  EXPECT_EQ(frame.Get(1, 0, 2), 0.5f);
  ASSERT_TRUE(fp->SquareFrame(frame.Host()));
  EXPECT_EQ(frame.Get(0, 0, 0), 4.0f);
  const float bounds[4] = {5, 5, 5, 5};
  ASSERT_TRUE(fp->ClampFrameBelow(frame.Host(), bounds));
  EXPECT_EQ(frame.Get(0, 0, 0), 5.0f);
  EXPECT_EQ(frame.Get(1, 0, 1), 25.0f);
  TestFrame bytes(2, 1, PixelFormat8BGRA);
  EXPECT_FALSE(fp->SquareFrame(bytes.Host())) << "float frames only";
}

TEST_F(FrameProcessorTest, FlipsRowsInPlaceAndIntoAnotherFrame) {
  TestFrame frame(3, 5, PixelFormat8ARGB, 4);
  frame.FillRandom(9);
  TestFrame original(3, 5, PixelFormat8ARGB, 4);
  ASSERT_TRUE(fp->CopyFrame(frame.Host(), original.Host()));
  ASSERT_TRUE(fp->FlipFrameInPlace(frame.Host()));
  for (int y = 0; y < 5; ++y) {
    for (int c = 0; c < 4; ++c)
      EXPECT_EQ(frame.Get(1, y, c), original.Get(1, 4 - y, c));
  }
  TestFrame line(7, 1, PixelFormat32FBGRA);
  line.FillRandom(2);
  const std::vector<uint8_t> before = line.Pixels();
  EXPECT_TRUE(fp->FlipFrameInPlace(line.Host()));
  EXPECT_EQ(line.Pixels(), before) << "one row stays as it is";

  TestFrame tall(3, 7, PixelFormat8ARGB);
  ASSERT_TRUE(fp->FlipFrame(original.Host(), tall.Host()));
  for (int y = 0; y < 5; ++y)
    EXPECT_EQ(tall.Get(2, 4 - y, 1), original.Get(2, y, 1));
  EXPECT_TRUE(tall.OutsideUntouched());
}

TEST_F(FrameProcessorTest, ChannelOperations) {
  TestFrame gray(3, 2, PixelFormat32FGray);
  for (int y = 0; y < 2; ++y) {
    for (int x = 0; x < 3; ++x)
      gray.Set(x, y, 0, 0.25f);
  }
  ASSERT_TRUE(fp->InvertChannel(gray.Host(), 3));  // whatever the channel
  EXPECT_EQ(gray.Get(2, 1, 0), 0.75f);

  TestFrame frame(2, 2, PixelFormat8BGRA);
  frame.FillRandom(4);
  const int32_t badOrder[4] = {0, 1, 2, 4};
  EXPECT_FALSE(fp->SwapChannelsInPlace(frame.Host(), badOrder));
  const int32_t order[4] = {2, 1, 0, 3};
  const float blue = frame.Get(1, 1, 0);
  ASSERT_TRUE(fp->SwapChannelsInPlace(frame.Host(), order));
  EXPECT_EQ(frame.Get(1, 1, 2), blue);

  TestFrame floats(2, 2, PixelFormat32FARGB);
  ASSERT_TRUE(fp->SetChannel(floats.Host(), 0, 255));
  EXPECT_FLOAT_EQ(floats.Get(0, 1, 0), 255 * 0.003921569f);

  TestFrame alphaFirst(1, 1, PixelFormat8ARGB);
  alphaFirst.SetRgba(0, 0, 200, 100, 51, 128);
  ASSERT_TRUE(fp->PremultiplyAlpha(alphaFirst.Host()));
  EXPECT_EQ(alphaFirst.Get(0, 0, 1), 200 * 128 / 255);  // truncated
  EXPECT_EQ(alphaFirst.Get(0, 0, 0), 128);

  ASSERT_TRUE(fp->ReverseChannels(alphaFirst.Host(), alphaFirst.Host()));
  EXPECT_EQ(alphaFirst.Get(0, 0, 3), 128) << "in place";

  TestFrame mask(2, 2, PixelFormat8Gray);
  ASSERT_TRUE(fp->CopyChannel(frame.Host(), mask.Host(), 1, 0));
  EXPECT_EQ(mask.Get(1, 0, 0), frame.Get(1, 0, 1));
}

TEST_F(FrameProcessorTest, CompositesInBothModes) {
  TestFrame fg(2, 1, PixelFormat8BGRA);
  TestFrame bg(2, 1, PixelFormat8BGRA);
  TestFrame out(2, 1, PixelFormat8BGRA);
  fg.SetRgba(0, 0, 200, 100, 0, 128);
  bg.SetRgba(0, 0, 0, 50, 250, 255);
  ASSERT_TRUE(fp->CompositeFrames(fg.Host(), bg.Host(), out.Host(), 0));
  const int t = std::min(255, 255 * 127 / 255);
  EXPECT_EQ(out.Get(0, 0, 2), std::min(255, (200 * 128 + 0 * t) / 255));
  EXPECT_EQ(out.Get(0, 0, 3), std::min(255, 128 + t));
  ASSERT_TRUE(fp->CompositeFrames(fg.Host(), bg.Host(), out.Host(), 1));
  EXPECT_EQ(out.Get(0, 0, 0), std::min(255, 250 * 127 / 255 + 0));
  TestFrame floats(2, 1, PixelFormat32FBGRA);
  EXPECT_FALSE(fp->CompositeFrames(fg.Host(), floats.Host(), out.Host(), 0)) << "mixed depths";
}

TEST_F(FrameProcessorTest, ResizeModesAndCrops) {
  TestFrame src(40, 30, PixelFormat8BGRA);
  src.FillRandom(21);
  TestFrame bilinear(25, 17, PixelFormat8BGRA);
  TestFrame other(25, 17, PixelFormat8BGRA);
  ASSERT_TRUE(fp->ResizeFrame(src.Host(), bilinear.Host(), 1));
  ASSERT_TRUE(fp->ResizeFrame(src.Host(), other.Host(), 5));
  EXPECT_EQ(other.Pixels(), bilinear.Pixels()) << "an unknown mode is bilinear";
  ASSERT_TRUE(fp->ResizeFrame(src.Host(), other.Host(), 0));
  EXPECT_NE(other.Pixels(), bilinear.Pixels());
  // Nearest neighbour at factor 25/40 takes pixel floor(x * 40 / 25).
  EXPECT_EQ(other.Get(3, 5, 1), src.Get(3 * 40 / 25, 5 * 30 / 17, 1));

  // A crop wider than the destination is clipped, so the scale stays 1: a plain copy.
  TestFrame wide(2000, 4, PixelFormat8ARGB);
  wide.FillRandom(22);
  TestFrame hd(1920, 2, PixelFormat8ARGB);
  const int32_t rect[4] = {10, 1, 2009, 4};
  ASSERT_TRUE(fp->CropResizeFrame(wide.Host(), rect, hd.Host(), 2));
  for (int x : {0, 977, 1919}) {
    for (int c = 0; c < 4; ++c)
      EXPECT_EQ(hd.Get(x, 1, c), wide.Get(x + 10, 2, c));
  }

  // Float frames start the crop four times as far along the row as the pixel size says.
  TestFrame floats(32, 3, PixelFormat32FBGRA);
  floats.FillRandom(23);
  TestFrame crop(4, 2, PixelFormat32FBGRA);
  const int32_t small[4] = {3, 1, 6, 2};
  ASSERT_TRUE(fp->CropResizeFrame(floats.Host(), small, crop.Host(), 0));
  EXPECT_EQ(crop.Get(0, 0, 2), floats.Get(12, 1, 2));
  EXPECT_EQ(crop.Get(3, 1, 0), floats.Get(15, 2, 0));

  TestFrame gray(4, 2, PixelFormat8Gray);
  EXPECT_TRUE(fp->CropResizeFrame(gray.Host(), small, gray.Host(), 0)) << "nothing to do";
  const int32_t outside[4] = {-1, 0, 2, 1};
  EXPECT_FALSE(fp->CropResizeFrame(src.Host(), outside, bilinear.Host(), 0));
}

}  // namespace
}  // namespace vitrella
