// The GPU histogram's two ways against a plain count on the CPU, bucket for bucket, on a
// real EGL context (llvmpipe in CI). A byte texel of value v belongs to bucket v; a float
// texel to round(clamp(value, 0, 1) × 255): the scatter way reads bytes back, which is
// that rounding, and the query way's bucket edges lie half a level either side.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include <opencv2/imgcodecs.hpp>

#include "gpu/gpu_histogram.h"
#include "host/egl_services.h"
#include "vitrella/pixel_format.h"

namespace vitrella {
namespace {

// Counts of red, green and blue per bucket.
using Counts = std::array<std::array<int64_t, 3>, 256>;

// A picture as red, green, blue samples, bytes or floats.
template <typename Sample>
struct Picture {
  int32_t width = 0;
  int32_t height = 0;
  std::vector<std::array<Sample, 3>> pixels;
};

int Bucket(uint8_t v) {
  return v;
}
int Bucket(float v) {
  return static_cast<int>(std::lround(std::fmin(std::fmax(v, 0.0f), 1.0f) * 255.0f));
}

template <typename Sample>
Counts CountOnCpu(const Picture<Sample>& picture) {
  Counts counts{};
  for (const auto& pixel : picture.pixels) {
    for (size_t c = 0; c < 3; ++c)
      ++counts[static_cast<size_t>(Bucket(pixel[c]))][c];
  }
  return counts;
}

// Where two histograms first differ, for the message; empty when they agree.
std::string FirstDifference(const Counts& gpu, const Counts& cpu) {
  for (size_t i = 0; i < 256; ++i) {
    for (size_t c = 0; c < 3; ++c) {
      if (gpu[i][c] != cpu[i][c]) {
        return "bucket " + std::to_string(i) + " plane " + std::to_string(c) + ": GPU " +
               std::to_string(gpu[i][c]) + ", CPU " + std::to_string(cpu[i][c]);
      }
    }
  }
  return {};
}

class HistogramCount : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string reason;
    services_ = host::CreateEglServices(&reason);
    ASSERT_NE(services_, nullptr) << "no OpenGL context: " << reason;
    helper_.EnterGPU(services_.get(), services_->context());
    helper_.SetupView(10.0, 10.0);
    ASSERT_TRUE(histogram_.HasScatterHistogram());
    ASSERT_TRUE(histogram_.HasQueryHistogram());
  }
  void TearDown() override {
    if (services_ == nullptr) return;
    EXPECT_EQ(helper_.liveTextures(), 0);
    EXPECT_EQ(helper_.livePrograms(), 0);
    EXPECT_EQ(helper_.liveBuffers(), 0);
    helper_.LeaveGPU();
  }

  // The picture as a texture of format 0 or 3, laid out as the host lays them: blue,
  // green, red, alpha in memory, so that the texture's planes 0, 1, 2 are red, green, blue.
  template <typename Sample>
  GPUTextureRef Upload(const Picture<Sample>& picture) {
    constexpr bool kFloat = std::is_same_v<Sample, float>;
    std::vector<Sample> memory;
    memory.reserve(picture.pixels.size() * 4);
    for (const auto& p : picture.pixels)
      memory.insert(memory.end(), {p[2], p[1], p[0], kFloat ? Sample(1) : Sample(255)});
    GPUTextureRef texture{};
    EXPECT_TRUE(services_->CreateTexture(
        services_->context(), &texture, nullptr, picture.width, picture.height,
        kFloat ? PixelFormat32FBGRA : PixelFormat8BGRA, memory.data(),
        picture.width * 4 * static_cast<int32_t>(sizeof(Sample)), 0));
    return texture;
  }

  template <typename Sample>
  Counts Scatter(const Picture<Sample>& picture) {
    GPUTextureRef source = Upload(picture);
    GPUTextureRef target{};
    EXPECT_TRUE(services_->CreateTexture(services_->context(), &target, nullptr, 256, 1,
                                         PixelFormat32FBGRA, nullptr, 0, 0));
    EXPECT_TRUE(histogram_.ScatterHistogram(&source, &target));
    // Read back as blue, green, red, alpha.
    std::vector<float> texels(256 * 4, -1.0f);
    HostFrame frame{
        reinterpret_cast<uint8_t*>(texels.data()), 256, 1, 256 * 16, 16, {}, PixelFormat32FBGRA, 0};
    EXPECT_TRUE(services_->Download(target, frame));
    Counts counts{};
    for (size_t i = 0; i < 256; ++i) {
      for (size_t c = 0; c < 3; ++c) {
        const float n = texels[i * 4 + 2 - c];
        EXPECT_EQ(n, std::floor(n)) << "bucket " << i;
        counts[i][c] = static_cast<int64_t>(n);
      }
      EXPECT_EQ(texels[i * 4 + 3], 0.0f) << "alpha counts nothing, bucket " << i;
    }
    services_->ReleaseTexture(&source);
    services_->ReleaseTexture(&target);
    return counts;
  }

  template <typename Sample>
  Counts Query(const Picture<Sample>& picture) {
    GPUTextureRef source = Upload(picture);
    QueryCounts raw{};
    for (HistogramBucket& b : raw)
      b.plane[3] = -7;
    EXPECT_TRUE(histogram_.QueryHistogram(&source, &raw));
    Counts counts{};
    for (size_t i = 0; i < 256; ++i) {
      for (size_t c = 0; c < 3; ++c)
        counts[i][c] = raw[i].plane[c];
      EXPECT_EQ(raw[i].plane[3], -7) << "the fourth plane is left alone";
    }
    services_->ReleaseTexture(&source);
    return counts;
  }

  std::unique_ptr<host::EglServices> services_;
  GPUHelper helper_;
  GPUHistogramHelper histogram_{helper_};
};

Picture<uint8_t> PhotographCrop(int32_t x, int32_t y, int32_t width, int32_t height) {
  const cv::Mat bgr = cv::imread(std::string(VITRELLA_TESTDATA_DIR) + "/fruits.jpg");
  Picture<uint8_t> picture{width, height, {}};
  if (bgr.cols < x + width || bgr.rows < y + height) return picture;
  for (int32_t row = 0; row < height; ++row) {
    for (int32_t col = 0; col < width; ++col) {
      const cv::Vec3b& p = bgr.at<cv::Vec3b>(y + row, x + col);
      picture.pixels.push_back({p[2], p[1], p[0]});
    }
  }
  return picture;
}

// Every pixel different in its three planes, the planes unlike each other; the last pixel
// alone has its values, so that a point lost or counted twice at a batch's edge shows.
Picture<uint8_t> Pattern(int32_t width, int32_t height) {
  Picture<uint8_t> picture{width, height, {}};
  const int64_t n = static_cast<int64_t>(width) * height;
  for (int64_t k = 0; k < n; ++k) {
    picture.pixels.push_back({static_cast<uint8_t>(k % 250), static_cast<uint8_t>(k / 250 % 250),
                              static_cast<uint8_t>((k * 37 + 11) % 250)});
  }
  picture.pixels.back() = {251, 252, 253};
  return picture;
}

TEST_F(HistogramCount, BothWaysCountAPhotographAsTheCpuDoes) {
  const Picture<uint8_t> large = PhotographCrop(100, 80, 320, 240);
  ASSERT_EQ(large.pixels.size(), 320u * 240u) << "fruits.jpg is missing or too small";
  EXPECT_EQ(FirstDifference(Scatter(large), CountOnCpu(large)), "");
  // The query way draws the picture 768 times, so its crop is small.
  const Picture<uint8_t> small = PhotographCrop(200, 150, 72, 48);
  EXPECT_EQ(FirstDifference(Query(small), CountOnCpu(small)), "");
  EXPECT_EQ(FirstDifference(Scatter(small), CountOnCpu(small)), "");
}

TEST_F(HistogramCount, ScatterCountsEveryPointAcrossItsBatches) {
  // Exactly one batch, one point more, two batches and one more, and a single pixel.
  for (const auto& [w, h] : {std::pair{400, 250}, {9091, 11}, {1000, 200}, {13, 15385}, {1, 1}}) {
    const Picture<uint8_t> picture = Pattern(w, h);
    EXPECT_EQ(FirstDifference(Scatter(picture), CountOnCpu(picture)), "") << w << "x" << h;
  }
  const Picture<uint8_t> odd = Pattern(37, 23);
  EXPECT_EQ(FirstDifference(Query(odd), CountOnCpu(odd)), "");
}

TEST_F(HistogramCount, ValuesAtTheEndsFallInTheEndBuckets) {
  // Black, white and each plane alone at full, in an odd-sized picture.
  Picture<uint8_t> bytes{13, 7, {}};
  for (int k = 0; k < 13 * 7; ++k) {
    const uint8_t a = k % 2 == 0 ? 0 : 255;
    const uint8_t b = k % 3 == 0 ? 255 : 0;
    bytes.pixels.push_back({a, b, static_cast<uint8_t>(255 - a)});
  }
  EXPECT_EQ(FirstDifference(Scatter(bytes), CountOnCpu(bytes)), "");
  EXPECT_EQ(FirstDifference(Query(bytes), CountOnCpu(bytes)), "");

  // Floats: on levels, between them (never on a half), and beyond 0..1.
  Picture<float> floats{11, 9, {}};
  const float values[] = {0.0f,
                          1.0f,
                          -0.25f,
                          1.75f,
                          0.4f / 255.0f,
                          254.6f / 255.0f,
                          128.0f / 255.0f,
                          77.3f / 255.0f,
                          200.7f / 255.0f};
  for (int k = 0; k < 11 * 9; ++k) {
    floats.pixels.push_back({values[k % 9], values[(k / 9) % 9], values[(k * 5 + 2) % 9]});
  }
  const Counts cpu = CountOnCpu(floats);
  EXPECT_EQ(FirstDifference(Scatter(floats), cpu), "");
  EXPECT_EQ(FirstDifference(Query(floats), cpu), "");
}

}  // namespace
}  // namespace vitrella
