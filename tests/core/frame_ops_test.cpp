// Whole-frame operations: border copies, channel moves, and the refusal of frames whose
// formats and pixel sizes do not fit the operation.
#include "core/frame_ops.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace vitrella {
namespace {

// An owned frame filled with a pattern that names each byte's position.
void Fill(FrameBuffer& frame, uint32_t seed) {
  std::mt19937 random(seed);
  for (int32_t y = 0; y < frame.height; ++y) {
    uint8_t* row = frame.Row(y);
    for (int32_t i = 0; i < frame.width * frame.pixelBytes; ++i) {
      row[i] = static_cast<uint8_t>(random());
    }
  }
}

const uint8_t* PixelAt(const FrameBuffer& frame, int32_t x, int32_t y) {
  return frame.Row(y) + static_cast<ptrdiff_t>(x) * frame.pixelBytes;
}

TEST(CopyWithBorder, RepeatsTheNearestEdgePixelIntoEveryMargin) {
  for (PixelFormat format : {PixelFormat8Gray, PixelFormat8BGRA, PixelFormat32FARGB}) {
    const int32_t bytes = FormatPixelBytes(format);
    for (int32_t width : {1, 7, 33}) {
      FrameBuffer src;
      FrameBuffer dst;
      ASSERT_TRUE(src.Allocate(width, 5, bytes, nullptr, format, false));
      ASSERT_TRUE(dst.Allocate(width + 5, 5 + 4, bytes, nullptr, format, false));
      Fill(src, 7);
      ASSERT_TRUE(CopyWithBorder(src, dst, 2, 3));
      for (int32_t y = 0; y < dst.height; ++y) {
        for (int32_t x = 0; x < dst.width; ++x) {
          const int32_t sx = std::clamp(x - 2, 0, width - 1);
          const int32_t sy = std::clamp(y - 3, 0, 4);
          ASSERT_EQ(std::memcmp(PixelAt(dst, x, y), PixelAt(src, sx, sy), bytes), 0)
              << "format " << format << " width " << width << " at " << x << "," << y;
        }
      }
    }
  }
}

TEST(CopyWithBorder, OneFrameUsesItsInnerRectangleAsTheSource) {
  FrameBuffer frame;
  ASSERT_TRUE(frame.Allocate(9, 8, 4, nullptr, PixelFormat8BGRA, false));
  Fill(frame, 3);
  std::vector<uint8_t> before(frame.data, frame.data + frame.pitch * frame.height);
  ASSERT_TRUE(CopyWithBorder(frame, frame, 3, 2));
  const auto old = [&](int32_t x, int32_t y) { return before.data() + y * frame.pitch + x * 4; };
  for (int32_t y = 0; y < 8; ++y) {
    for (int32_t x = 0; x < 9; ++x) {
      const int32_t sx = std::clamp(x, 3, 9 - 3 - 1);
      const int32_t sy = std::clamp(y, 2, 8 - 2 - 1);
      ASSERT_EQ(std::memcmp(PixelAt(frame, x, y), old(sx, sy), 4), 0) << x << "," << y;
    }
  }
}

TEST(CopyWithBorder, RefusesMismatchedPixelSizesAndMarginsWithNoRoom) {
  FrameBuffer src;
  FrameBuffer dst;
  ASSERT_TRUE(src.Allocate(4, 4, 4, nullptr, PixelFormat8BGRA, false));
  ASSERT_TRUE(dst.Allocate(8, 8, 16, nullptr, PixelFormat32FBGRA, false));
  EXPECT_FALSE(CopyWithBorder(src, dst, 2, 2));
  ASSERT_TRUE(dst.Allocate(8, 8, 4, nullptr, PixelFormat8BGRA, false));
  EXPECT_FALSE(CopyWithBorder(src, dst, 8, 0));
  EXPECT_FALSE(CopyWithBorder(src, dst, -1, 0));
  FrameBuffer empty;
  EXPECT_FALSE(CopyWithBorder(empty, dst, 0, 0));
}

TEST(SetChannel, WritesOneChannelAndScalesForFloats) {
  FrameBuffer bytes;
  ASSERT_TRUE(bytes.Allocate(3, 2, 4, nullptr, PixelFormat8ARGB, false));
  Fill(bytes, 1);
  std::vector<uint8_t> before(bytes.data, bytes.data + bytes.pitch * 2);
  ASSERT_TRUE(SetChannel(bytes, 0, 200));
  for (int32_t y = 0; y < 2; ++y) {
    for (int32_t x = 0; x < 3; ++x) {
      const uint8_t* p = PixelAt(bytes, x, y);
      EXPECT_EQ(p[0], 200);
      EXPECT_EQ(std::memcmp(p + 1, before.data() + y * bytes.pitch + x * 4 + 1, 3), 0);
    }
  }

  FrameBuffer floats;
  ASSERT_TRUE(floats.Allocate(2, 2, 16, nullptr, PixelFormat32FBGRA, false));
  ASSERT_TRUE(SetChannel(floats, 3, 255));
  EXPECT_FLOAT_EQ(floats.Row<float>(1)[4 + 3], 255 * 0.003921569f);

  EXPECT_FALSE(SetChannel(bytes, 4, 0)) << "a channel outside 0 to 3";
  FrameBuffer gray;
  ASSERT_TRUE(gray.Allocate(2, 2, 1, nullptr, PixelFormat8Gray, false));
  EXPECT_FALSE(SetChannel(gray, 0, 0));
}

TEST(CopyChannel, MovesOneChannelInAllEightCases) {
  struct Case {
    PixelFormat from, to;
    int32_t fromChannel, toChannel;
  };
  const Case cases[] = {
      {PixelFormat8BGRA, PixelFormat8BGRA, 2, 0},
      {PixelFormat8BGRA, PixelFormat8Gray, 3, 0},
      {PixelFormat8Gray, PixelFormat8ARGB, 0, 1},
      {PixelFormat8Gray, PixelFormat8Gray, 0, 0},
      {PixelFormat32FBGRA, PixelFormat32FARGB, 1, 3},
      {PixelFormat32FARGB, PixelFormat32FGray, 0, 0},
      {PixelFormat32FGray, PixelFormat32FBGRA, 0, 2},
      {PixelFormat32FGray, PixelFormat32FGray, 0, 0},
  };
  for (const Case& c : cases) {
    FrameBuffer src;
    FrameBuffer dst;
    ASSERT_TRUE(src.Allocate(5, 3, FormatPixelBytes(c.from), nullptr, c.from, false));
    ASSERT_TRUE(dst.Allocate(4, 4, FormatPixelBytes(c.to), nullptr, c.to, false));
    Fill(src, 11);
    Fill(dst, 12);
    std::vector<uint8_t> before(dst.data, dst.data + dst.pitch * dst.height);
    ASSERT_TRUE(CopyChannel(src, dst, c.fromChannel, c.toChannel));
    const int32_t sample = IsFloatFormat(c.from) ? 4 : 1;
    for (int32_t y = 0; y < 4; ++y) {
      for (int32_t x = 0; x < 4; ++x) {
        const uint8_t* out = PixelAt(dst, x, y);
        const uint8_t* was = before.data() + y * dst.pitch + x * dst.pixelBytes;
        const int32_t channels = dst.pixelBytes / sample;
        for (int32_t ch = 0; ch < channels; ++ch) {
          const uint8_t* expected = was + ch * sample;
          if (y < 3 && ch == c.toChannel) expected = PixelAt(src, x, y) + c.fromChannel * sample;
          ASSERT_EQ(std::memcmp(out + ch * sample, expected, sample), 0)
              << c.from << "->" << c.to << " at " << x << "," << y << " channel " << ch;
        }
      }
    }
  }
}

TEST(CopyChannel, RefusesMixedDepthsAndBadChannels) {
  FrameBuffer bytes;
  FrameBuffer floats;
  ASSERT_TRUE(bytes.Allocate(2, 2, 4, nullptr, PixelFormat8BGRA, false));
  ASSERT_TRUE(floats.Allocate(2, 2, 16, nullptr, PixelFormat32FBGRA, false));
  EXPECT_FALSE(CopyChannel(bytes, floats, 0, 0));
  EXPECT_FALSE(CopyChannel(bytes, bytes, 0, 4));
  EXPECT_FALSE(CopyChannel(bytes, bytes, -1, 0));
}

TEST(CopyFrame, CopiesTheCommonPartFromTheTopLeft) {
  FrameBuffer src;
  FrameBuffer dst;
  ASSERT_TRUE(src.Allocate(6, 6, 16, nullptr, PixelFormat32FBGRA, false));
  ASSERT_TRUE(dst.Allocate(3, 2, 16, nullptr, PixelFormat32FBGRA, false));
  Fill(src, 5);
  ASSERT_TRUE(CopyFrame(src, dst));
  for (int32_t y = 0; y < 2; ++y) {
    EXPECT_EQ(std::memcmp(dst.Row(y), src.Row(y), 3 * 16), 0);
  }
  FrameBuffer narrow;
  ASSERT_TRUE(narrow.Allocate(6, 6, 4, nullptr, PixelFormat8BGRA, false));
  EXPECT_FALSE(CopyFrame(src, narrow)) << "a float frame does not fit four-byte pixels";
}

TEST(FramesShareMemory, TellsOverlappingRowsFromNeighbours) {
  std::vector<uint8_t> memory(10 * 16);
  FrameBuffer top;
  FrameBuffer bottom;
  FrameBuffer middle;
  top.Attach(memory.data(), 4, 5, 16, 4, PixelFormat8BGRA, false);
  bottom.Attach(memory.data() + 5 * 16, 4, 5, 16, 4, PixelFormat8BGRA, false);
  middle.Attach(memory.data() + 4 * 16, 4, 2, 16, 4, PixelFormat8BGRA, false);
  EXPECT_FALSE(FramesShareMemory(top, bottom));
  EXPECT_TRUE(FramesShareMemory(top, middle));
  EXPECT_TRUE(FramesShareMemory(middle, bottom));
  EXPECT_TRUE(FramesShareMemory(top, top));
}

}  // namespace
}  // namespace vitrella
