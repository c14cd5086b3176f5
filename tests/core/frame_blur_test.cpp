// The triangular frame blur against a separable blur written out here, in double, with the
// same repeated edges: every size up to 40 and a few far longer, both depths, frames smaller
// than their kernels, and the blur's refusals.
#include "core/frame_blur.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "common/fake_host.h"
#include "common/kernel_variants.h"
#include "common/test_frame.h"
#include "kernels/dispatch.h"

namespace vitrella {
namespace {

using testing::TestFrame;

int32_t ChannelCount(PixelFormat format) {
  return format == PixelFormat8Gray || format == PixelFormat32FGray ? 1 : 4;
}

void FillRandom(TestFrame& frame, uint32_t seed) {
  std::mt19937 random(seed);
  const bool floats = IsFloatFormat(frame.Format());
  for (int32_t y = 0; y < frame.Height(); ++y) {
    for (int32_t x = 0; x < frame.Width(); ++x) {
      for (int32_t c = 0; c < ChannelCount(frame.Format()); ++c) {
        const auto byte = static_cast<float>(random() % 256);
        frame.Set(x, y, c, floats ? byte / 255.0f : byte);
      }
    }
  }
}

struct Blur {
  int32_t sizeX, sizeY;
  bool blurAlpha = true;
  bool reversed = false;  // the source's channels enter in reverse order
};

// The blur as the frame operation describes it: the picture with its outer two rows and
// columns replaced by the third (by the middle ones on frames under five pixels) and its
// edges repeated outwards; a triangle down the columns, the same edges again, a triangle
// along the rows. Bytes round to nearest after each pass.
std::vector<double> ReferenceBlur(TestFrame& src, PixelFormat dstFormat, const Blur& blur) {
  const int32_t w = src.Width();
  const int32_t h = src.Height();
  const int32_t channels = ChannelCount(dstFormat);
  const bool floats = IsFloatFormat(dstFormat);
  const int32_t insetX = std::min(2, (w - 1) / 2);
  const int32_t insetY = std::min(2, (h - 1) / 2);
  const auto cx = [&](int32_t x) { return std::clamp(x, insetX, w - 1 - insetX); };
  const auto cy = [&](int32_t y) { return std::clamp(y, insetY, h - 1 - insetY); };
  const auto source = [&](int32_t x, int32_t y, int32_t c) {
    return static_cast<double>(src.Get(cx(x), cy(y), blur.reversed ? 3 - c : c));
  };
  const auto pass = [&](int32_t n, const auto& at) {
    double sum = 0;
    double weights = 0;
    for (int32_t i = 0; i < n; ++i) {
      const int32_t weight = std::min(i + 1, n - i);
      sum += weight * at(i - n / 2);
      weights += weight;
    }
    return floats ? sum / weights : std::floor((sum + std::floor(weights / 2)) / weights);
  };
  const int32_t alpha = AlphaChannelOf(dstFormat);
  std::vector<double> columns(static_cast<size_t>(w) * h * channels);
  for (int32_t y = 0; y < h; ++y) {
    for (int32_t x = 0; x < w; ++x) {
      for (int32_t c = 0; c < channels; ++c) {
        columns[(static_cast<size_t>(y) * w + x) * channels + c] =
            pass(blur.sizeY, [&](int32_t d) { return source(x, cy(y) + d, c); });
      }
    }
  }
  std::vector<double> out(columns.size());
  for (int32_t y = 0; y < h; ++y) {
    for (int32_t x = 0; x < w; ++x) {
      for (int32_t c = 0; c < channels; ++c) {
        double& v = out[(static_cast<size_t>(y) * w + x) * channels + c];
        if (!blur.blurAlpha && channels == 4 && c == alpha) {
          v = source(x, y, c);
          continue;
        }
        v = pass(blur.sizeX, [&](int32_t d) {
          return columns[(static_cast<size_t>(cy(y)) * w + cx(x + d)) * channels + c];
        });
      }
    }
  }
  return out;
}

::testing::AssertionResult MatchesReference(TestFrame& src, TestFrame& dst, const Blur& blur,
                                            double tolerance) {
  const std::vector<double> expected = ReferenceBlur(src, dst.Format(), blur);
  const int32_t channels = ChannelCount(dst.Format());
  for (int32_t y = 0; y < dst.Height(); ++y) {
    for (int32_t x = 0; x < dst.Width(); ++x) {
      for (int32_t c = 0; c < channels; ++c) {
        const double want = expected[(static_cast<size_t>(y) * dst.Width() + x) * channels + c];
        const double got = dst.Get(x, y, c);
        if (!(std::fabs(got - want) <= tolerance)) {
          return ::testing::AssertionFailure()
                 << "sizes " << blur.sizeX << "x" << blur.sizeY << " on " << dst.Width() << "x"
                 << dst.Height() << " format " << dst.Format() << ": at " << x << "," << y
                 << " channel " << c << " got " << got << " expected " << want;
        }
      }
    }
  }
  if (!dst.OutsideUntouched()) return ::testing::AssertionFailure() << "wrote outside";
  return ::testing::AssertionSuccess();
}

::testing::AssertionResult BlursLikeTheReference(PixelFormat format, int32_t width, int32_t height,
                                                 const Blur& blur, uint32_t seed) {
  // Padded pitches, odd for bytes; float rows stay four-byte aligned, as hosts give them.
  const int32_t padding = IsFloatFormat(format) ? 4 : 5;
  TestFrame src(width, height, format, padding);
  TestFrame dst(width, height, format, 2 * padding);
  FillRandom(src, seed);
  FrameBuffer in;
  FrameBuffer out;
  EXPECT_TRUE(in.AttachHost(src.Host()));
  EXPECT_TRUE(out.AttachHost(dst.Host()));
  if (!FrameBlur(in, out, static_cast<float>(blur.sizeX), static_cast<float>(blur.sizeY), nullptr,
                 blur.blurAlpha)) {
    return ::testing::AssertionFailure() << "FrameBlur failed";
  }
  return MatchesReference(src, dst, blur, IsFloatFormat(format) ? 2e-6 : 0.0);
}

class FrameBlurOnEveryPath : public kernels::OnEveryKernelPath {};

TEST_P(FrameBlurOnEveryPath, BytesMatchTheTriangleBlurExactly) {
  std::mt19937 random(3);
  for (PixelFormat format : {PixelFormat8BGRA, PixelFormat8Gray}) {
    for (int32_t size = 1; size <= 40; ++size) {
      const Blur blur{size, 1 + (size * 17) % 40, size % 3 != 0};
      const int32_t width = 1 + static_cast<int32_t>(random() % 24);
      const int32_t height = 1 + static_cast<int32_t>(random() % 24);
      EXPECT_TRUE(BlursLikeTheReference(format, width, height, blur, size));
    }
  }
  // Long kernels, far beyond a frame that is itself wider than the vector strips.
  EXPECT_TRUE(BlursLikeTheReference(PixelFormat8BGRA, 300, 29, {301, 1000, false}, 1));
  EXPECT_TRUE(BlursLikeTheReference(PixelFormat8Gray, 67, 45, {998, 64}, 2));
}

TEST_P(FrameBlurOnEveryPath, FloatsMatchTheTriangleBlur) {
  std::mt19937 random(4);
  for (PixelFormat format : {PixelFormat32FBGRA, PixelFormat32FGray, PixelFormat32FARGB}) {
    for (int32_t size = 1; size <= 40; size += 3) {
      const Blur blur{1 + (size * 13) % 40, size, size % 2 == 0};
      const int32_t width = 1 + static_cast<int32_t>(random() % 24);
      const int32_t height = 1 + static_cast<int32_t>(random() % 24);
      EXPECT_TRUE(BlursLikeTheReference(format, width, height, blur, size));
    }
  }
  EXPECT_TRUE(BlursLikeTheReference(PixelFormat32FBGRA, 90, 31, {301, 47, false}, 5));
}

TEST_P(FrameBlurOnEveryPath, ArgbSourcesEnterBgraFramesReversed) {
  const std::pair<PixelFormat, PixelFormat> pairs[] = {
      {PixelFormat8ARGB, PixelFormat8BGRA},
      {PixelFormat32FARGB, PixelFormat32FBGRA},
      {PixelFormat8BGRA, PixelFormat8ARGB},  // only these two directions reverse
  };
  for (auto [from, to] : pairs) {
    TestFrame src(13, 11, from, 4);
    TestFrame dst(13, 11, to, 0);
    FillRandom(src, 9);
    FrameBuffer in;
    FrameBuffer out;
    EXPECT_TRUE(in.AttachHost(src.Host()));
    EXPECT_TRUE(out.AttachHost(dst.Host()));
    ASSERT_TRUE(FrameBlur(in, out, 6.0f, 5.0f, nullptr, 0));
    const bool reversed = to != PixelFormat8ARGB;
    EXPECT_TRUE(MatchesReference(src, dst, {6, 5, false, reversed}, IsFloatFormat(to) ? 2e-6 : 0.0))
        << from << " to " << to;
  }
}

INSTANTIATE_ON_EVERY_KERNEL_PATH(FrameBlurOnEveryPath);

TEST(FrameBlur, SizesBelowOneCopyAndOthersAreTruncatedAndCapped) {
  TestFrame src(9, 7, PixelFormat8BGRA, 4);
  FillRandom(src, 1);
  FrameBuffer in;
  EXPECT_TRUE(in.AttachHost(src.Host()));
  const auto blurred = [&](float x, float y) {
    TestFrame dst(9, 7, PixelFormat8BGRA, 0);
    FrameBuffer out;
    EXPECT_TRUE(out.AttachHost(dst.Host()));
    EXPECT_TRUE(FrameBlur(in, out, x, y, nullptr, 1));
    return dst.Pixels();
  };
  EXPECT_EQ(blurred(0.5f, 9.0f), src.Pixels());
  EXPECT_EQ(blurred(9.0f, 0.99f), src.Pixels());
  EXPECT_EQ(blurred(NAN, 3.0f), src.Pixels());
  EXPECT_EQ(blurred(3.9f, 2.2f), blurred(3.0f, 2.0f));
  EXPECT_EQ(blurred(5000.0f, 1e9f), blurred(1000.0f, 1000.0f));
  EXPECT_NE(blurred(3.0f, 2.0f), src.Pixels());
}

TEST(FrameBlur, RefusesUnequalPixelSizesAndMissingFrames) {
  TestFrame bytes(8, 8, PixelFormat8BGRA);
  TestFrame floats(8, 8, PixelFormat32FBGRA);
  FrameBuffer in;
  FrameBuffer out;
  EXPECT_TRUE(in.AttachHost(bytes.Host()));
  EXPECT_TRUE(out.AttachHost(floats.Host()));
  EXPECT_FALSE(FrameBlur(in, out, 3.0f, 3.0f, nullptr, 1));
  FrameBuffer empty;
  EXPECT_FALSE(FrameBlur(empty, empty, 3.0f, 3.0f, nullptr, 1));
  EXPECT_FALSE(FrameBlur(in, empty, 3.0f, 3.0f, nullptr, 1));
  EXPECT_TRUE(floats.OutsideUntouched());
}

TEST(FrameBlur, TakesTwoScratchFramesFromTheAllocatorAndFailsWithout) {
  testing::FakeHost host;
  host.lendAllocator = true;
  TestFrame src(21, 17, PixelFormat8ARGB, 2);
  TestFrame dst(21, 17, PixelFormat8ARGB, 6);
  FillRandom(src, 8);
  FrameBuffer in;
  FrameBuffer out;
  EXPECT_TRUE(in.AttachHost(src.Host()));
  EXPECT_TRUE(out.AttachHost(dst.Host()));
  {
    MemoryAllocator memory(&host);
    ASSERT_TRUE(FrameBlur(in, out, 7.0f, 4.0f, &memory, 1));
  }
  EXPECT_EQ(host.allocator.allocations, 2);
  EXPECT_EQ(host.allocator.frees, 2);
  EXPECT_TRUE(MatchesReference(src, dst, {7, 4}, 0.0));

  host.allocator.failAll = true;
  MemoryAllocator failing(&host);
  EXPECT_FALSE(FrameBlur(in, out, 7.0f, 4.0f, &failing, 1));
}

TEST(FrameBlur, LongKernelsBlurInPlaceThroughOneScratchFrame) {
  testing::FakeHost host;
  host.lendAllocator = true;
  for (const Blur& blur : {Blur{45, 33, false}, Blur{12, 301, true}}) {
    // The same picture twice: one stays as it was, the other is blurred in place.
    TestFrame original(37, 23, PixelFormat8ARGB, 3);
    TestFrame frame(37, 23, PixelFormat8ARGB, 3);
    FillRandom(original, 6);
    FillRandom(frame, 6);
    FrameBuffer buffer;
    EXPECT_TRUE(buffer.AttachHost(frame.Host()));
    const int32_t before = host.allocator.allocations;
    {
      MemoryAllocator memory(&host);
      ASSERT_TRUE(FrameBlur(buffer, buffer, static_cast<float>(blur.sizeX),
                            static_cast<float>(blur.sizeY), &memory, blur.blurAlpha));
    }
    if (!kernels::UseReferenceKernels()) {
      EXPECT_EQ(host.allocator.allocations - before, 1);
    }
    EXPECT_TRUE(MatchesReference(original, frame, blur, 0.0));
  }
}

TEST(FrameBlur, WritesOnlyTheCommonExtent) {
  TestFrame src(12, 9, PixelFormat32FBGRA, 8);
  TestFrame dst(20, 15, PixelFormat32FBGRA, 4);
  FillRandom(src, 2);
  FillRandom(dst, 3);
  const std::vector<uint8_t> before = dst.Pixels();
  FrameBuffer in;
  FrameBuffer out;
  EXPECT_TRUE(in.AttachHost(src.Host()));
  EXPECT_TRUE(out.AttachHost(dst.Host()));
  ASSERT_TRUE(FrameBlur(in, out, 5.0f, 8.0f, nullptr, 1));
  const std::vector<uint8_t> after = dst.Pixels();
  for (int32_t y = 0; y < 15; ++y) {
    for (int32_t x = 0; x < 20; ++x) {
      const size_t at = (static_cast<size_t>(y) * 20 + x) * 16;
      const bool common = x < 12 && y < 9;
      EXPECT_EQ(common,
                !std::equal(after.begin() + at, after.begin() + at + 16, before.begin() + at))
          << x << "," << y;
    }
  }
  EXPECT_TRUE(dst.OutsideUntouched());
}

}  // namespace
}  // namespace vitrella
