// The output step on a real context: it copies the picture that a result texture holds,
// wherever in its texture that picture lies, into the destination in the destination's
// channel order, turned over when their row orders differ.
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "gpu/gpu_helper.h"
#include "host/egl_services.h"

namespace vitrella {
namespace {

constexpr int kTextureWidth = 16;
constexpr int kTextureHeight = 12;

// The texel at (x, y) of the test texture, as its true blue, green, red and alpha.
std::array<uint8_t, 4> Texel(int x, int y) {
  return {static_cast<uint8_t>(x * 10), static_cast<uint8_t>(y * 20),
          static_cast<uint8_t>(100 + x + 3 * y), static_cast<uint8_t>(255 - x - y)};
}

struct Case {
  const char* what;
  int left, top, width, height;
  int32_t destinationFormat;
  uint8_t resultFlipped, destinationFlipped;
};

class OutputStep : public ::testing::TestWithParam<Case> {};

TEST_P(OutputStep, CopiesThePictureWithinItsTexture) {
  const Case& c = GetParam();
  std::string reason;
  const auto services = host::CreateEglServices(&reason);
  ASSERT_NE(services, nullptr) << "no OpenGL context: " << reason;
  IGLContext* context = services->context();

  std::vector<uint8_t> pixels;
  for (int y = 0; y < kTextureHeight; ++y) {
    for (int x = 0; x < kTextureWidth; ++x) {
      const std::array<uint8_t, 4> t = Texel(x, y);
      pixels.insert(pixels.end(), t.begin(), t.end());
    }
  }
  GPUTextureRef result{};
  ASSERT_TRUE(services->CreateTexture(context, &result, nullptr, kTextureWidth, kTextureHeight,
                                      PixelFormat8BGRA, pixels.data(), kTextureWidth * 4, 0));
  GPUTextureRef destination{};
  ASSERT_TRUE(services->CreateTexture(context, &destination, nullptr, c.width, c.height,
                                      c.destinationFormat, nullptr, 0, 0));
  result.left = c.left;
  result.top = c.top;
  result.width = c.width;
  result.height = c.height;
  result.flipped = c.resultFlipped;
  destination.flipped = c.destinationFlipped;

  GPUHelper helper;
  helper.EnterGPU(services.get(), context);
  helper.SetupView(10.0, 10.0);
  EXPECT_TRUE(helper.OutputStep(&result, &destination));
  helper.LeaveGPU();
  EXPECT_EQ(helper.livePrograms(), 0);

  std::vector<uint8_t> out(static_cast<size_t>(c.width) * c.height * 4);
  HostFrame frame{out.data(), c.width, c.height, c.width * 4, 4, {0, 0}, PixelFormat8BGRA, 0};
  ASSERT_TRUE(services->Download(destination, frame));
  // Read back as stored: a swapped destination holds alpha, red, green, blue in memory.
  const bool swapped = c.destinationFormat != PixelFormat8BGRA;
  const bool turned = c.resultFlipped != c.destinationFlipped;
  for (int y = 0; y < c.height; ++y) {
    for (int x = 0; x < c.width; ++x) {
      const std::array<uint8_t, 4> t = Texel(c.left + x, c.top + (turned ? c.height - 1 - y : y));
      const std::array<uint8_t, 4> want =
          swapped ? std::array<uint8_t, 4>{t[3], t[2], t[1], t[0]} : t;
      const uint8_t* got = &out[(static_cast<size_t>(y) * c.width + x) * 4];
      for (int k = 0; k < 4; ++k)
        ASSERT_EQ(got[k], want[static_cast<size_t>(k)]) << c.what << " at " << x << "," << y;
    }
  }
  services->ReleaseTexture(&result);
  services->ReleaseTexture(&destination);
}

INSTANTIATE_TEST_SUITE_P(
    RealContext, OutputStep,
    ::testing::Values(Case{"the whole texture", 0, 0, 16, 12, PixelFormat8BGRA, 0, 0},
                      Case{"a picture inside it", 3, 2, 10, 7, PixelFormat8BGRA, 0, 0},
                      Case{"a picture smaller than it", 0, 0, 9, 5, PixelFormat8BGRA, 1, 1},
                      Case{"a format-9 destination", 3, 2, 10, 7, kGPUFormatSwapped, 0, 0},
                      Case{"an alpha-first destination", 0, 0, 16, 12, PixelFormat8ARGB, 0, 0},
                      Case{"rows the other way", 5, 4, 8, 6, PixelFormat8BGRA, 1, 0}),
    [](const ::testing::TestParamInfo<Case>& param) { return std::to_string(param.index); });

}  // namespace
}  // namespace vitrella
