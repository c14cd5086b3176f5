// Auto Contrast's GPU path on a real EGL context: it takes the GPU only where a histogram
// can be counted, and each way applies the levels of the whole, unblurred picture by its
// own rules. VITRELLA_GL_HIDE makes one context look like one without either way.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "common/fake_host.h"
#include "common/hidden_ways.h"
#include "effects/auto_contrast.h"
#include "host/egl_services.h"
#include "host/gpu_render.h"
#include "host/host_frames.h"
#include "vitrella/pixel_format.h"

namespace vitrella {
namespace {

using host::RowOrder;

using testing::ServicesHiding;

struct EffectRef {
  CAutoContrast* effect = new CAutoContrast();
  ~EffectRef() { effect->Release(); }
};

TEST(AutoContrastGpu, TakesTheGpuOnlyWhereAHistogramCanBeCounted) {
  EffectRef ref;
  const struct {
    const char* hidden;
    bool accepted;
  } cases[] = {{"", true},     {"scatter", true}, {"query", true}, {"scatter, query", false},
               {"all", false}, {"nonsense", true}};
  for (const auto& c : cases) {
    auto services = ServicesHiding(c.hidden);
    ASSERT_NE(services, nullptr);
    GPUSetupInfo setup{};
    EXPECT_EQ(services->QueryEffectGPU(ref.effect, &setup), c.accepted) << c.hidden;
    // The programs themselves compile either way: the refusal is the histogram's.
    EXPECT_EQ(setup.gpuUsable, 1u) << c.hidden;
  }
}

// The photograph, small: the query way draws it 768 times on llvmpipe.
cv::Mat Photograph() {
  const cv::Mat bgr = cv::imread(std::string(VITRELLA_TESTDATA_DIR) + "/fruits.jpg");
  cv::Mat small;
  cv::Mat bgra;
  if (bgr.empty()) return bgra;
  cv::resize(bgr, small, cv::Size(96, 72), 0, 0, cv::INTER_AREA);
  cv::cvtColor(small, bgra, cv::COLOR_BGR2BGRA);
  return bgra;
}

using Counts = std::array<std::array<int64_t, 3>, 256>;

Counts CountOf(const cv::Mat& bgra) {
  Counts counts{};
  for (int y = 0; y < bgra.rows; ++y) {
    for (int x = 0; x < bgra.cols; ++x) {
      const cv::Vec4b& p = bgra.at<cv::Vec4b>(y, x);
      ++counts[p[2]][0];
      ++counts[p[1]][1];
      ++counts[p[0]][2];
    }
  }
  return counts;
}

struct Values {
  float intensity, vibrance;
};

// The analysis of the whole picture: the strongest bucket, and the first buckets from
// below and from above where a plane's running sum passes the threshold (-1 for none).
// The scatter way takes the threshold in floats, on the card, the query way in doubles.
struct Found {
  int64_t peak = 0;
  int up = -1, down = -1;
};
Found Analyse(const cv::Mat& bgra, Values v, bool onTheCard) {
  const Counts counts = CountOf(bgra);
  Found found;
  for (const auto& bucket : counts)
    found.peak = std::max({found.peak, bucket[0], bucket[1], bucket[2]});
  const auto threshold =
      onTheCard ? static_cast<int64_t>(static_cast<float>(found.peak) * (v.intensity * 0.14f))
                : static_cast<int64_t>(static_cast<double>(found.peak) * 0.14 * v.intensity);
  auto scan = [&](int first, int step) {
    std::array<int64_t, 3> sums{};
    for (int i = first; i >= 0 && i < 256; i += step) {
      for (size_t c = 0; c < 3; ++c) {
        sums[c] += counts[static_cast<size_t>(i)][c];
        if (sums[c] > threshold) return i;
      }
    }
    return -1;
  };
  found.up = scan(0, 1);
  found.down = scan(255, -1);
  return found;
}

// The scatter way's levels on 8 bits: the CPU's 8-bit analysis.
std::pair<int, int> EightBitLevels(const cv::Mat& bgra, Values v) {
  const Found f = Analyse(bgra, v, true);
  const auto lo = static_cast<int>(std::min<float>(f.up < 0 ? 255 : f.up, v.intensity * 255.0f));
  const auto hi = static_cast<int>(std::max<float>(static_cast<float>(f.down < 0 ? f.peak : f.down),
                                                   256.0f - v.intensity * 128.0f));
  return {lo, hi};
}

// The scatter way on an 8-bit picture: the CPU's integer apply, which the GPU must meet
// exactly.
cv::Mat ScatterExpected(const cv::Mat& bgra, Values v) {
  const auto [lo, hi] = EightBitLevels(bgra, v);
  const int d = hi == lo ? 1 : hi - lo;
  const int gain = 65280 / d;
  const auto q = static_cast<int>(std::fabs(v.vibrance - 0.5f) * 1024.0f);
  cv::Mat out = bgra.clone();
  for (int y = 0; y < out.rows; ++y) {
    for (int x = 0; x < out.cols; ++x) {
      cv::Vec4b& p = out.at<cv::Vec4b>(y, x);
      int c[3];
      for (int k = 0; k < 3; ++k)
        c[k] = ((p[k] - lo) * gain) >> 8;
      const int mean = (c[0] + c[1] + c[2]) / 3;
      for (int k = 0; k < 3; ++k) {
        const int delta = ((c[k] - mean) * q) >> 10;
        p[k] = static_cast<uint8_t>(
            std::clamp(v.vibrance > 0.5f ? c[k] + delta : c[k] - delta, 0, 255));
      }
    }
  }
  return out;
}

// The CPU's float apply, with levels as fractions of the full scale; the range is at
// least 0.0000001. Rounded to bytes.
cv::Mat FloatApply(const cv::Mat& bgra, double lo, double range, Values v) {
  const double vib = std::fabs(v.vibrance - 0.5f);
  const double sign = v.vibrance <= 0.5f ? -1.0 : 1.0;
  cv::Mat out = bgra.clone();
  for (int y = 0; y < out.rows; ++y) {
    for (int x = 0; x < out.cols; ++x) {
      cv::Vec4b& p = out.at<cv::Vec4b>(y, x);
      double c[3];
      for (int k = 0; k < 3; ++k)
        c[k] = (p[k] / 255.0 - lo) / range;
      const double mean = (c[0] + c[1] + c[2]) * 0.33333;
      for (int k = 0; k < 3; ++k) {
        const double moved = std::clamp(c[k] + sign * (c[k] - mean) * vib, 0.0, 1.0);
        p[k] = cv::saturate_cast<uint8_t>(moved * 255.0);
      }
    }
  }
  return out;
}

// The scatter way on a float picture: the CPU's float levels from the same buckets.
cv::Mat ScatterFloatExpected(const cv::Mat& bgra, Values v) {
  const Found f = Analyse(bgra, v, true);
  const double lo = std::min<double>(f.up < 0 ? 255 : f.up, v.intensity * 255.0) / 255.0;
  const double hi = std::max<double>(f.down / 255.0, 1.0 - v.intensity * 0.5);
  return FloatApply(bgra, lo, std::max(hi - lo, 0.0000001), v);
}

// The query way: levels at the middles of the buckets, in 256ths; none found gives 0.
cv::Mat QueryExpected(const cv::Mat& bgra, Values v) {
  const Found f = Analyse(bgra, v, false);
  const double lo = f.up < 0 ? 0.0 : std::min(f.up + 0.5, v.intensity * 256.0);
  const double hi =
      f.down < 0 ? 0.0 : std::max(f.down + 0.5, std::trunc((1.0 - v.intensity * 0.5) * 256.0));
  return FloatApply(bgra, lo / 256.0, (hi - lo) / 256.0, v);
}

class AutoContrastWays : public ::testing::Test {
 protected:
  cv::Mat Render(host::EglServices& services, const cv::Mat& picture, Values v, PixelFormat format,
                 RowOrder order) {
    std::vector<ParamValue> values = testing::EffectValues(ref_.effect);
    values[0].slider = v.intensity;
    values[1].slider = v.vibrance;
    testing::FakeHost params(values);
    host::OwnedFrame source = host::PictureToFrame(picture, format, order);
    host::OwnedFrame destination = host::FrameLike(source.record());
    host::RenderOnGpu(services, *ref_.effect, params, source.record(), destination.record(),
                      testing::WholeFrameInfo(), "Auto Contrast");
    cv::Mat out = host::FrameToPicture(destination.record());
    if (IsFloatFormat(format)) out.convertTo(out, CV_8UC4, 255.0);
    return out;
  }

  EffectRef ref_;
  // Intensity and vibrance of the presets Big Boost, Bold, Mild, Reset to None, Stark Gray.
  static constexpr Values kSettings[] = {
      {1.0f, 0.7551f}, {0.5f, 1.0f}, {0.2496f, 0.2651f}, {0.0f, 0.5001f}, {1.0f, 0.0f}};
};

TEST_F(AutoContrastWays, ScatterWayMatchesTheEightBitRulesExactly) {
  const cv::Mat picture = Photograph();
  ASSERT_FALSE(picture.empty());
  auto services = ServicesHiding("query");
  ASSERT_NE(services, nullptr);
  for (const Values v : kSettings) {
    const cv::Mat expected = ScatterExpected(picture, v);
    // The swapped format shows that the histogram counts blue, not alpha.
    for (PixelFormat format : {PixelFormat8BGRA, PixelFormat8ARGB}) {
      for (RowOrder order : {RowOrder::kTopFirst, RowOrder::kBottomFirst}) {
        const cv::Mat gpu = Render(*services, picture, v, format, order);
        EXPECT_EQ(cv::norm(gpu, expected, cv::NORM_INF), 0.0)
            << "I " << v.intensity << " V " << v.vibrance << " format " << format;
      }
    }
    // Floats take the float rules; rounding into bytes against floats on the card.
    const cv::Mat gpu = Render(*services, picture, v, PixelFormat32FARGB, RowOrder::kTopFirst);
    EXPECT_LE(cv::norm(gpu, ScatterFloatExpected(picture, v), cv::NORM_INF), 1.0)
        << "I " << v.intensity << " V " << v.vibrance << ", float";
    // At I = 0 the float levels are 0 and 1: the picture stays as it was, white included.
    if (v.intensity == 0.0f) {
      EXPECT_EQ(cv::norm(gpu, picture, cv::NORM_INF), 0.0);
    }
  }
}

TEST_F(AutoContrastWays, QueryWayAppliesItsOwnLevels) {
  const cv::Mat picture = Photograph();
  ASSERT_FALSE(picture.empty());
  auto services = ServicesHiding("scatter");
  ASSERT_NE(services, nullptr);
  for (const Values v : kSettings) {
    const cv::Mat expected = QueryExpected(picture, v);
    for (PixelFormat format : {PixelFormat8BGRA, PixelFormat8ARGB, PixelFormat32FBGRA}) {
      const cv::Mat gpu = Render(*services, picture, v, format, RowOrder::kTopFirst);
      // Rounding into the target against truncation here, and floats against doubles.
      EXPECT_LE(cv::norm(gpu, expected, cv::NORM_INF), 1.0)
          << "I " << v.intensity << " V " << v.vibrance << " format " << format;
    }
  }
}

}  // namespace
}  // namespace vitrella
