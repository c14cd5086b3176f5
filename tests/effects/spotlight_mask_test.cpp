// Spotlight's mask row by row, with the spans that skip the certain pixels, against the
// formula pixel by pixel: round, stretched, tilted, thin and hard-edged ellipses, fields
// and pixel aspects, centres inside the picture and far outside it.
#include "effects/spotlight_mask.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

namespace vitrella {
namespace {

TEST(SpotlightMask, RowsWithTheirSpansAreThePixelsOfTheFormula) {
  constexpr int32_t kW = 211;
  constexpr int32_t kH = 97;
  std::mt19937 random(3);
  std::uniform_real_distribution<float> unit(0.0f, 1.0f);
  std::vector<uint8_t> bytes(kW);
  std::vector<float> values(kW);
  int32_t skipped = 0;
  for (int i = 0; i < 60; ++i) {
    const bool field = i % 4 == 1;
    const Ellipse e{unit(random) * 1.6f - 0.3f,
                    unit(random) * 1.6f - 0.3f,
                    unit(random) * (i % 6 == 0 ? 2.5f : 0.6f),
                    unit(random) * 0.8f,
                    unit(random) * 7.0f,
                    i % 5 == 0 ? 0.0f : unit(random) * unit(random) * 150.0f,
                    field,
                    field && i % 8 == 1,
                    i % 3 == 0 ? 0.4f + unit(random) * 2.0f : 1.0f};
    const SoftEllipse mask(e, kW, kH);
    for (int32_t y = 0; y < kH; ++y) {
      const MaskSpans spans = mask.Spans(y);
      skipped += kW - (spans.outerEnd - spans.outerBegin) + (spans.fullEnd - spans.fullBegin);
      ASSERT_TRUE(mask.Row(y, spans, bytes.data()));
      ASSERT_TRUE(mask.Row(y, spans, values.data()));
      for (int32_t x = 0; x < kW; ++x) {
        ASSERT_EQ(bytes[static_cast<size_t>(x)], mask.Byte(x, y))
            << "ellipse " << i << " at " << x << "," << y;
        const float want = mask.Value(x, y);
        ASSERT_EQ(std::memcmp(&values[static_cast<size_t>(x)], &want, sizeof want), 0)
            << "ellipse " << i << " at " << x << "," << y;
      }
    }
  }
  // The spans do spare work: most pixels of these pictures are certain.
  EXPECT_GT(skipped, 60 * kW * kH / 2);
}

}  // namespace
}  // namespace vitrella
