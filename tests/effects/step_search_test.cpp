// The step search reads the same marks from rows of bits as from colours compared pixel by
// pixel: on pictures where every relation between neighbours occurs, at every tolerance
// that matters, in both channel orders, portrait and landscape, with NaNs and infinities
// among the floats, and on every kernel path.
#include "effects/step_search.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "common/kernel_variants.h"
#include "kernels/copy.h"

namespace vitrella {
namespace {

constexpr int32_t kBorder = 2;

struct Layout {
  int32_t red, green, blue;
};

// The two copies the search reads, made from a picture of few levels so that matches,
// near misses and differences in all channels all occur; blocks give it steps.
template <typename T>
struct Frames {
  FrameBuffer bordered;

  Frames(int32_t width, int32_t height, uint32_t seed, bool oddValues) {
    const int32_t pixelBytes = 4 * static_cast<int32_t>(sizeof(T));
    EXPECT_TRUE(bordered.Allocate(width + 2 * kBorder, height + 2 * kBorder, pixelBytes, nullptr,
                                  PixelFormat8BGRA, false));
    std::mt19937 random(seed);
    for (int32_t y = 0; y < height; ++y) {
      T* row = bordered.Row<T>(y + kBorder) + 4 * kBorder;
      for (int32_t x = 0; x < width * 4; ++x) {
        const int32_t block = ((x / 4) / 5 + y / 3 + x % 4) % 3;
        const int32_t level = static_cast<int32_t>(random() % 3) * 30 + block * 70;
        if constexpr (std::is_same_v<T, uint8_t>) {
          row[x] = static_cast<T>(level);
        } else {
          row[x] = static_cast<float>(level) / 255.0f;
          if (oddValues && random() % 97 == 0) {
            row[x] = random() % 2 == 0 ? std::numeric_limits<float>::quiet_NaN()
                                       : std::numeric_limits<float>::infinity();
          }
        }
      }
    }
    EXPECT_EQ(
        kernels::ReplicateBorder(bordered.View(), pixelBytes, kBorder, kBorder, kBorder, kBorder),
        kernels::kOk);
  }
};

struct Marks {
  std::vector<uint64_t> rows;
  std::vector<uint64_t> columns;
};

// Searches with a strip of stripRows columns, or as many as the search advises.
template <typename T, typename Tolerance>
Marks Search(const Frames<T>& frames, int32_t width, int32_t height, Layout at, Tolerance tolerance,
             bool soften, bool planes, int32_t stripRows = 0) {
  const ptrdiff_t rowWords = StepMarkWords(width);
  const ptrdiff_t columnWords = StepMarkWords(height);
  Marks marks{std::vector<uint64_t>(static_cast<size_t>(rowWords * height)),
              std::vector<uint64_t>(static_cast<size_t>(columnWords * width))};
  const auto pixelBytes = static_cast<int32_t>(4 * sizeof(T));
  FrameBuffer strip;
  EXPECT_TRUE(strip.Allocate(height + 2 * kBorder,
                             stripRows > 0 ? stripRows : StepStripRows(height, pixelBytes),
                             pixelBytes, nullptr, PixelFormat8BGRA, false));
  const StepSource source{&frames.bordered, &strip, width, height, at.red, at.green, at.blue};
  const StepMarks out{marks.rows.data(), rowWords, marks.columns.data(), columnWords};
  bool ok = false;
  if constexpr (std::is_same_v<T, uint8_t>) {
    ok = SearchSteps8u(source, tolerance, soften, planes, out);
  } else {
    ok = SearchSteps32f(source, tolerance, soften, planes, out);
  }
  EXPECT_TRUE(ok);
  return marks;
}

class StepSearchPaths : public kernels::OnEveryKernelPath {};

TEST_P(StepSearchPaths, PlanesGiveTheMarksOfThePlainComparisons) {
  struct Size {
    int32_t width, height;
  };
  int64_t marked = 0;
  for (const Size size : {Size{70, 41}, Size{41, 70}, Size{131, 9}, Size{9, 131}, Size{7, 7}}) {
    for (const Layout at : {Layout{2, 1, 0}, Layout{1, 2, 3}}) {
      for (const int32_t tolerance : {0, 29, 30, 69, 255}) {
        for (const bool soften : {false, true}) {
          const auto seed = static_cast<uint32_t>(size.width * 7 + tolerance + (soften ? 1 : 0));
          const Frames<uint8_t> bytes(size.width, size.height, seed, false);
          const Marks plain = Search(bytes, size.width, size.height, at, tolerance, soften, false);
          const Marks fast = Search(bytes, size.width, size.height, at, tolerance, soften, true);
          ASSERT_EQ(fast.rows, plain.rows) << size.width << "x" << size.height << " tolerance "
                                           << tolerance << " soften " << soften;
          ASSERT_EQ(fast.columns, plain.columns);
          // Strips of the fewest rows and of a few carry the running colour across refills.
          for (const int32_t rows : {4, 7}) {
            const Marks narrow =
                Search(bytes, size.width, size.height, at, tolerance, soften, rows == 7, rows);
            ASSERT_EQ(narrow.rows, plain.rows) << "strip of " << rows;
            ASSERT_EQ(narrow.columns, plain.columns) << "strip of " << rows;
          }
          for (const uint64_t bits : plain.rows)
            marked += std::popcount(bits);
          for (const bool odd : {false, true}) {
            const Frames<float> floats(size.width, size.height, seed, odd);
            const float limit = static_cast<float>(tolerance) * 0.003921569f;
            const Marks plainF = Search(floats, size.width, size.height, at, limit, soften, false);
            const Marks fastF =
                Search(floats, size.width, size.height, at, limit, soften, true, odd ? 5 : 0);
            ASSERT_EQ(fastF.rows, plainF.rows) << "floats " << size.width << "x" << size.height
                                               << " tolerance " << tolerance << " odd " << odd;
            ASSERT_EQ(fastF.columns, plainF.columns);
          }
        }
      }
    }
  }
  EXPECT_GT(marked, 500) << "the pictures must have steps to find";
}

INSTANTIATE_ON_EVERY_KERNEL_PATH(StepSearchPaths);

}  // namespace
}  // namespace vitrella
