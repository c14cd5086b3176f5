// The frame-level row and column filters: which pixels they write, how they treat alpha in
// each format, and which frames and kernels they refuse. The arithmetic itself is tested
// with the kernels.
#include "core/linear_filter_ops.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "core/frame_ops.h"

namespace vitrella {
namespace {

void FillRandom(FrameBuffer& frame, uint32_t seed) {
  std::mt19937 random(seed);
  for (int32_t y = 0; y < frame.height; ++y) {
    for (int32_t i = 0; i < frame.width * frame.pixelBytes; ++i) {
      frame.Row(y)[i] = static_cast<uint8_t>(random());
    }
  }
  if (!IsFloatFormat(frame.format)) return;
  for (int32_t y = 0; y < frame.height; ++y) {
    float* row = frame.Row<float>(y);
    for (int32_t i = 0; i < frame.width * frame.pixelBytes / 4; ++i)
      row[i] = (random() % 256) / 255.0f;
  }
}

bool SamePixel(const FrameBuffer& a, const FrameBuffer& b, int32_t x, int32_t y) {
  return std::memcmp(a.Row(y) + x * a.pixelBytes, b.Row(y) + x * b.pixelBytes, a.pixelBytes) == 0;
}

struct Frames {
  Frames(int32_t w, int32_t h, PixelFormat format) {
    const int32_t bytes = FormatPixelBytes(format);
    EXPECT_TRUE(src.Allocate(w, h, bytes, nullptr, format, false));
    EXPECT_TRUE(dst.Allocate(w, h, bytes, nullptr, format, false));
    EXPECT_TRUE(before.Allocate(w, h, bytes, nullptr, format, false));
    FillRandom(src, 1);
    FillRandom(dst, 2);
    EXPECT_TRUE(CopyFrame(dst, before));
  }
  // Byte channel c of pixel (x, y) of the 8-bit source as the direct sum along the
  // filter's direction would give it.
  int32_t Expected(bool alongRows, int32_t x, int32_t y, int32_t c,
                   const std::vector<int32_t>& kernel, int32_t anchor, int32_t divisor,
                   int32_t firstTap = 0, int32_t lastTap = -1) {
    if (lastTap < 0) lastTap = static_cast<int32_t>(kernel.size()) - 1;
    int64_t sum = 0;
    for (int32_t i = firstTap; i <= lastTap; ++i) {
      const int32_t sx = alongRows ? x - anchor + i : x;
      const int32_t sy = alongRows ? y : y - anchor + i;
      sum += int64_t{kernel[i]} * src.Row(sy)[sx * src.pixelBytes + c];
    }
    return static_cast<int32_t>(std::clamp<int64_t>((sum + divisor / 2) / divisor, 0, 255));
  }
  FrameBuffer src, dst, before;
};

TEST(LinearFilterOps, FiltersTheExtentLessHalfTheKernel) {
  struct Case {
    std::vector<int32_t> kernel;
    int32_t anchor;
    int32_t first, end;  // along the filter's direction, of 11
  };
  const Case cases[] = {
      {{1, 2, 3, 2, 1}, 2, 2, 9}, {{1, 3, 3, 1}, 2, 2, 9}, {{1, 3, 3, 1}, 1, 2, 9},
      {{4, 1, 1, 1, 1}, 0, 2, 7},  // an off-centre anchor stops where the kernel would leave
      {{1, 1, 1, 1, 4}, 4, 4, 9}, {{1}, 0, 0, 11},
  };
  for (bool alongRows : {true, false}) {
    for (const Case& c : cases) {
      const int32_t w = alongRows ? 11 : 6;
      const int32_t h = alongRows ? 6 : 11;
      Frames f(w, h, PixelFormat8BGRA);
      const int32_t n = static_cast<int32_t>(c.kernel.size());
      const bool ok = alongRows ? RowFilter(f.src, f.dst, c.kernel.data(), n, c.anchor, 9, 1)
                                : ColumnFilter(f.src, f.dst, c.kernel.data(), n, c.anchor, 9, 1);
      ASSERT_TRUE(ok);
      for (int32_t y = 0; y < h; ++y) {
        for (int32_t x = 0; x < w; ++x) {
          const int32_t along = alongRows ? x : y;
          if (along < c.first || along >= c.end) {
            EXPECT_TRUE(SamePixel(f.dst, f.before, x, y)) << n << " at " << x << "," << y;
            continue;
          }
          for (int32_t ch = 0; ch < 4; ++ch) {
            EXPECT_EQ(f.dst.Row(y)[x * 4 + ch],
                      f.Expected(alongRows, x, y, ch, c.kernel, c.anchor, 9))
                << n << " at " << x << "," << y;
          }
        }
      }
    }
  }
}

TEST(LinearFilterOps, AKernelLongerThanTheFrameFiltersOnlyItsMiddlePixel) {
  // Width 5, nine taps anchored at 4: pixel 2 takes taps 2 to 6, which cover the frame.
  const std::vector<int32_t> kernel = {9, 9, 1, 2, 3, 4, 5, 9, 9};
  for (bool alongRows : {true, false}) {
    Frames f(alongRows ? 5 : 3, alongRows ? 3 : 5, PixelFormat8Gray);
    const bool ok = alongRows ? RowFilter(f.src, f.dst, kernel.data(), 9, 4, 15, 1)
                              : ColumnFilter(f.src, f.dst, kernel.data(), 9, 4, 15, 1);
    ASSERT_TRUE(ok);
    for (int32_t y = 0; y < f.dst.height; ++y) {
      for (int32_t x = 0; x < f.dst.width; ++x) {
        if ((alongRows ? x : y) != 2) {
          EXPECT_TRUE(SamePixel(f.dst, f.before, x, y));
        } else {
          EXPECT_EQ(f.dst.Row(y)[x], f.Expected(alongRows, x, y, 0, kernel, 4, 15, 2, 6));
        }
      }
    }
  }
}

TEST(LinearFilterOps, KeepAlphaZeroCopiesTheSourceAlphaOfEachFormat) {
  const std::pair<PixelFormat, int32_t> formats[] = {{PixelFormat8BGRA, 3},
                                                     {PixelFormat8ARGB, 0},
                                                     {PixelFormat32FBGRA, 3},
                                                     {PixelFormat32FARGB, 0}};
  const int32_t ints[3] = {1, 2, 1};
  const float floats[3] = {0.25f, 0.5f, 0.25f};
  for (auto [format, alpha] : formats) {
    for (uint8_t keepAlpha : {0, 1}) {
      Frames f(7, 5, format);
      const bool isFloat = IsFloatFormat(format);
      ASSERT_TRUE(isFloat ? ColumnFilter(f.src, f.dst, floats, 3, 1, keepAlpha)
                          : ColumnFilter(f.src, f.dst, ints, 3, 1, 4, keepAlpha));
      const int32_t channelBytes = isFloat ? 4 : 1;
      // A copied alpha equals the source's everywhere; a filtered one differs somewhere.
      bool anyDiffers = false;
      for (int32_t y = 1; y < 4; ++y) {
        for (int32_t x = 0; x < 7; ++x) {
          const int32_t at = x * f.src.pixelBytes + alpha * channelBytes;
          anyDiffers |= std::memcmp(f.dst.Row(y) + at, f.src.Row(y) + at, channelBytes) != 0;
        }
      }
      EXPECT_EQ(anyDiffers, keepAlpha != 0) << format;
    }
  }
}

TEST(LinearFilterOps, RefusesMismatchedFramesAndBadKernels) {
  const int32_t ints[3] = {1, 2, 1};
  const float floats[3] = {0.25f, 0.5f, 0.25f};
  Frames bytes(6, 6, PixelFormat8BGRA);
  Frames real(6, 6, PixelFormat32FBGRA);
  Frames gray(6, 6, PixelFormat8Gray);
  EXPECT_FALSE(RowFilter(bytes.src, bytes.dst, floats, 3, 1, 1));
  EXPECT_FALSE(RowFilter(real.src, real.dst, ints, 3, 1, 4, 1));
  EXPECT_FALSE(ColumnFilter(bytes.src, gray.dst, ints, 3, 1, 4, 1));
  EXPECT_FALSE(ColumnFilter(bytes.src, bytes.src, ints, 3, 1, 4, 1));
  EXPECT_FALSE(RowFilter(bytes.src, bytes.dst, nullptr, 3, 1, 4, 1));
  EXPECT_FALSE(RowFilter(bytes.src, bytes.dst, ints, 3, 3, 4, 1));
  EXPECT_FALSE(RowFilter(bytes.src, bytes.dst, ints, 0, 0, 4, 1));
  EXPECT_FALSE(ColumnFilter(bytes.src, bytes.dst, ints, 3, 1, 0, 1));
  FrameBuffer empty;
  EXPECT_FALSE(ColumnFilter(empty, real.dst, floats, 3, 1, 1));
  // Gray frames of both depths are served.
  Frames grayFloat(6, 6, PixelFormat32FGray);
  EXPECT_TRUE(RowFilter(gray.src, gray.dst, ints, 3, 1, 4, 0));
  EXPECT_TRUE(ColumnFilter(grayFloat.src, grayFloat.dst, floats, 3, 1, 0));
}

}  // namespace
}  // namespace vitrella
