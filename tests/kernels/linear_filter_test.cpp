// The one-dimensional filters against a direct sum written out here, on every code path:
// random kernels, boxes, triangles and trapezoids of every length up to a few hundred taps.
#include "kernels/linear_filter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "common/kernel_variants.h"

namespace vitrella::kernels {
namespace {

constexpr uint8_t kSentinel = 0xA5;

// width x height pixels of `channels` values inside margins of marginX and marginY pixels,
// with a padded pitch; everything starts as the sentinel.
template <typename T>
struct Picture {
  Picture(int32_t w, int32_t h, int32_t c, int32_t mx, int32_t my)
      : width(w), height(h), channels(c), marginX(mx), marginY(my) {
    stride = (w + 2 * mx) * c + 3;
    values.resize(static_cast<size_t>(stride) * (h + 2 * my));
    std::fill(reinterpret_cast<uint8_t*>(values.data()),
              reinterpret_cast<uint8_t*>(values.data() + values.size()), kSentinel);
  }
  T& At(int32_t x, int32_t y, int32_t c) {
    return values[static_cast<size_t>(y + marginY) * stride + (x + marginX) * channels + c];
  }
  ImageView View() {
    return {reinterpret_cast<uint8_t*>(&At(0, 0, 0)), static_cast<ptrdiff_t>(stride * sizeof(T)),
            width, height};
  }
  void Fill(std::mt19937& random) {
    for (T& v : values) {
      if constexpr (std::is_same_v<T, float>) {
        v = std::uniform_real_distribution<float>(-0.25f, 1.25f)(random);
      } else {
        v = static_cast<T>(random());
      }
    }
  }
  bool Inside(size_t index) const {
    const int32_t column = static_cast<int32_t>(index % stride);
    const int32_t y = static_cast<int32_t>(index / stride) - marginY;
    const int32_t x = column / channels - marginX;
    return x >= 0 && x < width && y >= 0 && y < height && column < (width + 2 * marginX) * channels;
  }
  int32_t width, height, channels, marginX, marginY, stride;
  std::vector<T> values;
};

struct Case {
  bool alongRows;
  int32_t channels;
  int32_t width, height;
  std::vector<int32_t> kernel;  // bytes; floats take kernel / divisor
  int32_t anchor;
  int32_t divisor;
  int32_t copiedChannel;
};

std::string Describe(const Case& c) {
  std::string text =
      (c.alongRows ? "rows" : "columns") + std::string(" C") + std::to_string(c.channels) + " " +
      std::to_string(c.width) + "x" + std::to_string(c.height) + " length " +
      std::to_string(c.kernel.size()) + " anchor " + std::to_string(c.anchor) + " divisor " +
      std::to_string(c.divisor) + " copied " + std::to_string(c.copiedChannel) + " kernel";
  for (size_t i = 0; i < std::min<size_t>(c.kernel.size(), 8); ++i) {
    text += " " + std::to_string(c.kernel[i]);
  }
  return text;
}

// Nearest integer, halves up, saturated: floor((sum + divisor / 2) / divisor).
uint8_t ExpectedByte(int64_t sum, int32_t divisor) {
  const int64_t t = sum + divisor / 2;
  const int64_t q = t >= 0 ? t / divisor : -((-t + divisor - 1) / divisor);
  return static_cast<uint8_t>(std::clamp<int64_t>(q, 0, 255));
}

template <typename T, typename W>
double DirectSum(Picture<T>& src, const Case& c, const W* kernel, int32_t x, int32_t y,
                 int32_t channel) {
  double sum = 0;
  for (size_t i = 0; i < c.kernel.size(); ++i) {
    const int32_t offset = static_cast<int32_t>(i) - c.anchor;
    const T value = c.alongRows ? src.At(x + offset, y, channel) : src.At(x, y + offset, channel);
    sum += static_cast<double>(kernel[i]) * static_cast<double>(value);
  }
  return sum;
}

Status Run(const Case& c, ConstImageView src, ImageView dst, const int32_t* kernel) {
  const int32_t n = static_cast<int32_t>(c.kernel.size());
  if (c.channels == 4) {
    return (c.alongRows ? RowFilter8u_C4 : ColumnFilter8u_C4)(src, dst, kernel, n, c.anchor,
                                                              c.divisor, c.copiedChannel);
  }
  return (c.alongRows ? RowFilter8u_C1 : ColumnFilter8u_C1)(src, dst, kernel, n, c.anchor,
                                                            c.divisor);
}

Status Run(const Case& c, ConstImageView src, ImageView dst, const float* kernel) {
  const int32_t n = static_cast<int32_t>(c.kernel.size());
  if (c.channels == 4) {
    return (c.alongRows ? RowFilter32f_C4 : ColumnFilter32f_C4)(src, dst, kernel, n, c.anchor,
                                                                c.copiedChannel);
  }
  return (c.alongRows ? RowFilter32f_C1 : ColumnFilter32f_C1)(src, dst, kernel, n, c.anchor);
}

// Filters a random picture and compares every value with the direct sum; the destination's
// margins and padding must keep their sentinels.
template <typename T>
::testing::AssertionResult Matches(const Case& c, uint32_t seed) {
  std::mt19937 random(seed);
  const int32_t n = static_cast<int32_t>(c.kernel.size());
  Picture<T> src(c.width, c.height, c.channels, c.alongRows ? n : 1, c.alongRows ? 1 : n);
  src.Fill(random);
  Picture<T> dst(c.width, c.height, c.channels, 2, 2);
  constexpr bool kFloat = std::is_same_v<T, float>;
  std::vector<float> normalised;
  double magnitude = 0;  // bounds the rounding of float sums
  for (int32_t w : c.kernel) {
    normalised.push_back(static_cast<float>(w) / c.divisor);
    magnitude += std::fabs(normalised.back()) * 1.25;
  }
  Status status;
  if constexpr (kFloat) {
    status = Run(c, src.View(), dst.View(), normalised.data());
  } else {
    status = Run(c, src.View(), dst.View(), c.kernel.data());
  }
  if (status != kOk) return ::testing::AssertionFailure() << "status " << status;
  for (int32_t y = 0; y < c.height; ++y) {
    for (int32_t x = 0; x < c.width; ++x) {
      for (int32_t ch = 0; ch < c.channels; ++ch) {
        const double got = dst.At(x, y, ch);
        double expected;
        double tolerance = 0;
        if (ch == c.copiedChannel && c.channels == 4) {
          expected = src.At(x, y, ch);
        } else if constexpr (kFloat) {
          expected = DirectSum(src, c, normalised.data(), x, y, ch);
          tolerance = 1e-6 * (1 + magnitude);
        } else {
          expected = ExpectedByte(
              static_cast<int64_t>(DirectSum(src, c, c.kernel.data(), x, y, ch)), c.divisor);
        }
        if (!(std::fabs(got - expected) <= tolerance)) {
          return ::testing::AssertionFailure()
                 << Describe(c) << ": at " << x << "," << y << " channel " << ch << " got " << got
                 << " expected " << expected;
        }
      }
    }
  }
  for (size_t i = 0; i < dst.values.size(); ++i) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(&dst.values[i]);
    if (!dst.Inside(i) && bytes[0] != kSentinel) {
      return ::testing::AssertionFailure() << Describe(c) << ": wrote outside at " << i;
    }
  }
  return ::testing::AssertionSuccess();
}

// A trapezoid: scale * min(i + 1, shortBox, n - i).
std::vector<int32_t> Trapezoid(int32_t n, int32_t shortBox, int32_t scale) {
  std::vector<int32_t> kernel(n);
  for (int32_t i = 0; i < n; ++i)
    kernel[i] = scale * std::min({i + 1, shortBox, n - i});
  return kernel;
}

int32_t Sum(const std::vector<int32_t>& kernel) {
  int32_t sum = 0;
  for (int32_t w : kernel)
    sum += w;
  return sum;
}

class LinearFilterOnEveryPath : public OnEveryKernelPath {};

TEST_P(LinearFilterOnEveryPath, RandomKernelsMatchTheDirectSum) {
  std::mt19937 random(11);
  int32_t seed = 0;
  for (bool alongRows : {true, false}) {
    for (int32_t channels : {4, 1}) {
      for (int32_t width : {1, 7, 33}) {
        for (int trial = 0; trial < 6; ++trial) {
          const int32_t n = 1 + static_cast<int32_t>(random() % 12);
          std::vector<int32_t> kernel(n);
          // Small weights, negative ones, and now and then weights too large for 32-bit sums.
          const int32_t spread = trial == 5 ? 1 << 24 : trial % 2 ? 400 : 60;
          const int32_t low = trial == 1 ? -spread / 3 : 0;
          for (int32_t& w : kernel)
            w = low + static_cast<int32_t>(random() % spread);
          int64_t magnitude = 0;
          for (int32_t w : kernel)
            magnitude += std::abs(w);
          const int32_t divisor = 1 + static_cast<int32_t>(random() % (magnitude + 3));
          const Case c{alongRows, channels,
                       width,     5 + trial,
                       kernel,    static_cast<int32_t>(random() % n),
                       divisor,   trial % 3 == 0 ? kFilterAllChannels : trial % 4};
          EXPECT_TRUE(Matches<uint8_t>(c, ++seed));
          EXPECT_TRUE(Matches<float>(c, ++seed));
        }
      }
    }
  }
}

TEST_P(LinearFilterOnEveryPath, TrapezoidsMatchTheDirectSumExactly) {
  std::mt19937 random(5);
  int32_t seed = 100;
  for (bool alongRows : {true, false}) {
    for (int32_t channels : {4, 1}) {
      for (int32_t n : {8, 10, 11, 16, 31, 64, 301}) {
        for (int32_t shortBox : {1, n / 3, (n + 1) / 2}) {
          if (shortBox < 1) continue;
          // Scaled kernels, divisors other than the sum, and one past 2^14, where the vector
          // division changes method on some targets.
          const int32_t scale = shortBox == 1 && n < 20 ? 3 : 1;
          const std::vector<int32_t> kernel = Trapezoid(n, shortBox, scale);
          const int32_t sum = Sum(kernel);
          for (int32_t divisor : {sum, sum + 7, (1 << 14) + 3}) {
            const int32_t width = alongRows ? 1 + static_cast<int32_t>(random() % 40) : 7;
            const int32_t height = alongRows ? 9 + static_cast<int32_t>(random() % 30)
                                             : 1 + static_cast<int32_t>(random() % 40);
            const Case c{alongRows, channels,
                         width,     height,
                         kernel,    static_cast<int32_t>(random() % n),
                         divisor,   divisor == sum ? kFilterAllChannels : 3};
            EXPECT_TRUE(Matches<uint8_t>(c, ++seed));
            if (divisor == sum) {
              EXPECT_TRUE(Matches<float>(c, ++seed));
            }
          }
        }
      }
    }
  }
}

TEST_P(LinearFilterOnEveryPath, WideFramesAndKernelsLongerThanTheRing) {
  // Strips of the column sums and every tail of the vector loops; a triangle longer than
  // the row sums' ring falls back to the plain running sums.
  for (bool alongRows : {true, false}) {
    const std::vector<int32_t> triangle = Trapezoid(41, 21, 1);
    EXPECT_TRUE(Matches<uint8_t>({alongRows, 4, 601, 3, triangle, 20, Sum(triangle), -1}, 1));
    EXPECT_TRUE(Matches<float>({alongRows, 1, 1031, 2, triangle, 20, Sum(triangle), -1}, 2));
  }
  const std::vector<int32_t> longBox = Trapezoid(1100, 1, 1);
  EXPECT_TRUE(Matches<uint8_t>({true, 4, 5, 9, longBox, 550, 1100, -1}, 3));
  EXPECT_TRUE(Matches<float>({true, 1, 3, 9, longBox, 0, 1100, -1}, 4));
}

TEST_P(LinearFilterOnEveryPath, LargeDivisorsRoundExactlyAtQuotientBoundaries) {
  // Kernel (d, h + e) over the rows (x, 1) sums d (x + 1) + e - 1 with h = d / 2 added: one
  // below, at, and one above a multiple of the divisor, where a float estimate of the
  // quotient is off by one unless corrected.
  for (int32_t divisor : {(1 << 21) + 1, (1 << 20) + 7, 65535, 40001, 16383, 12289, 255}) {
    for (int32_t extra : {0, 1, 2}) {
      const int32_t kernel[2] = {divisor, divisor / 2 + extra};
      uint8_t in[2][256];
      uint8_t out[256];
      for (int32_t x = 0; x < 256; ++x) {
        in[0][x] = static_cast<uint8_t>(x);
        in[1][x] = 1;
      }
      ASSERT_EQ(ColumnFilter8u_C1({in[0], 256, 256, 1}, {out, 256, 256, 1}, kernel, 2, 0, divisor),
                kOk);
      for (int32_t x = 0; x < 256; ++x) {
        const int64_t sum = int64_t{divisor} * x + kernel[1];
        ASSERT_EQ(out[x], ExpectedByte(sum, divisor)) << divisor << " " << extra << " " << x;
      }
    }
  }
}

// The transposed column filter on a table of rows that repeat and skip, as margins do:
// every tile and its remainders, a kept channel, divisors that change the division's
// method. The plain loops decline it, writing nothing; so do kernels it does not take.
TEST_P(LinearFilterOnEveryPath, TransposedColumnsMatchTheDirectSumOnAnyRows) {
  std::mt19937 random(21);
  const bool plain = UseReferenceKernels();
  for (int32_t n : {10, 31, 64}) {
    for (int32_t shortBox : {1, n / 3, (n + 1) / 2}) {
      const std::vector<int32_t> kernel = Trapezoid(n, shortBox, shortBox == 1 ? 3 : 1);
      const int32_t sum = Sum(kernel);
      for (int32_t divisor : {sum, sum + 7, (1 << 14) + 3}) {
        const int32_t width = 1 + static_cast<int32_t>(random() % 40);
        const int32_t height = 1 + static_cast<int32_t>(random() % 40);
        const int32_t anchor = static_cast<int32_t>(random() % n);
        const int32_t kept =
            divisor == sum ? kFilterAllChannels : static_cast<int32_t>(divisor % 4);
        // Source rows of odd length, chosen at random, so rows repeat and their addresses
        // have every alignment.
        const int32_t sourceRows = 7;
        const int32_t rowBytes = 4 * width + 3;
        std::vector<uint8_t> source(static_cast<size_t>(sourceRows) * rowBytes);
        for (uint8_t& v : source)
          v = static_cast<uint8_t>(random());
        std::vector<const uint8_t*> rows(static_cast<size_t>(height + n - 1));
        for (const uint8_t*& row : rows)
          row = source.data() + (random() % sourceRows) * rowBytes + (random() % 4);
        // width rows of height pixels, in a buffer one pixel wider and one row taller.
        const ptrdiff_t pitch = 4 * (height + 1);
        std::vector<uint8_t> out(static_cast<size_t>(pitch) * (width + 1), kSentinel);
        const bool taken = TransposedColumnFilter8u_C4(rows.data(), width, height,
                                                       {out.data(), pitch, height, width},
                                                       kernel.data(), n, anchor, divisor, kept);
        ASSERT_EQ(taken, !plain) << n << " " << shortBox << " " << divisor;
        for (int32_t x = 0; x <= width; ++x) {
          for (int32_t y = 0; y <= height; ++y) {
            for (int32_t c = 0; c < 4; ++c) {
              uint8_t want = kSentinel;
              if (taken && x < width && y < height) {
                int64_t total = 0;
                for (int32_t i = 0; i < n; ++i)
                  total += int64_t{kernel[i]} * rows[y + i][4 * x + c];
                want = c == kept ? rows[y + anchor][4 * x + c] : ExpectedByte(total, divisor);
              }
              ASSERT_EQ(out[x * pitch + 4 * y + c], want)
                  << n << " " << shortBox << " " << divisor << " at " << x << "," << y << "," << c;
            }
          }
        }
      }
    }
  }
}

// The same for four-float pixels: sums within float rounding of the direct one, the kept
// channel copied bit for bit.
TEST_P(LinearFilterOnEveryPath, TransposedFloatColumnsMatchTheDirectSumOnAnyRows) {
  std::mt19937 random(22);
  const bool plain = UseReferenceKernels();
  for (int32_t n : {8, 31, 64}) {
    for (int32_t shortBox : {1, (n + 1) / 2}) {
      const std::vector<int32_t> steps = Trapezoid(n, shortBox, 1);
      std::vector<float> kernel(steps.size());
      for (size_t i = 0; i < steps.size(); ++i)
        kernel[i] = static_cast<float>(steps[i]) / static_cast<float>(Sum(steps));
      for (int32_t kept : {kFilterAllChannels, 3, 0}) {
        const int32_t width = 1 + static_cast<int32_t>(random() % 20);
        const int32_t height = 1 + static_cast<int32_t>(random() % 20);
        const int32_t anchor = static_cast<int32_t>(random() % n);
        const int32_t sourceRows = 5;
        std::vector<float> source(static_cast<size_t>(sourceRows) * 4 * width);
        for (float& v : source)
          v = std::uniform_real_distribution<float>(-0.25f, 1.25f)(random);
        std::vector<const uint8_t*> rows(static_cast<size_t>(height + n - 1));
        for (const uint8_t*& row : rows)
          row =
              reinterpret_cast<const uint8_t*>(source.data() + (random() % sourceRows) * 4 * width);
        const ptrdiff_t pitch = 16 * (height + 1);
        std::vector<float> out(static_cast<size_t>(4 * (height + 1)) * (width + 1), -7.0f);
        const bool taken = TransposedColumnFilter32f_C4(
            rows.data(), width, height,
            {reinterpret_cast<uint8_t*>(out.data()), pitch, height, width}, kernel.data(), n,
            anchor, kept);
        ASSERT_EQ(taken, !plain) << n << " " << shortBox;
        const auto value = [&](int32_t row, int32_t x, int32_t c) {
          return reinterpret_cast<const float*>(rows[row])[4 * x + c];
        };
        for (int32_t x = 0; x <= width; ++x) {
          for (int32_t y = 0; y <= height; ++y) {
            for (int32_t c = 0; c < 4; ++c) {
              const float got = out[static_cast<size_t>(x * (height + 1) + y) * 4 + c];
              if (!taken || x == width || y == height) {
                ASSERT_EQ(got, -7.0f) << "wrote outside at " << x << "," << y;
              } else if (c == kept) {
                ASSERT_EQ(got, value(y + anchor, x, c));
              } else {
                double want = 0.0;
                for (int32_t i = 0; i < n; ++i)
                  want += static_cast<double>(kernel[i]) * value(y + i, x, c);
                ASSERT_NEAR(got, want, 2e-6) << n << " " << shortBox << " at " << x << "," << y;
              }
            }
          }
        }
      }
    }
  }
}

INSTANTIATE_ON_EVERY_KERNEL_PATH(LinearFilterOnEveryPath);

TEST(LinearFilter, TransposedColumnsDeclineWhatTheyDoNotTake) {
  uint8_t pixels[64 * 64] = {};
  std::vector<const uint8_t*> rows(80, pixels);
  const ImageView dst{pixels, 64, 16, 16};
  const std::vector<int32_t> triangle = Trapezoid(31, 16, 1);
  std::vector<int32_t> bumpy = triangle;
  bumpy[7] += 1;
  const int32_t sum = Sum(triangle);
  const std::vector<int32_t> shortTriangle = Trapezoid(9, 5, 1);
  EXPECT_TRUE(TakesTransposedColumnFilter8u(triangle.data(), 31, sum) == !UseReferenceKernels());
  EXPECT_FALSE(TakesTransposedColumnFilter8u(shortTriangle.data(), 9, Sum(shortTriangle)));
  EXPECT_FALSE(TakesTransposedColumnFilter8u(bumpy.data(), 31, sum));
  EXPECT_FALSE(TakesTransposedColumnFilter8u(triangle.data(), 31, 0));
  EXPECT_FALSE(TakesTransposedColumnFilter8u(nullptr, 31, sum));
  const float floats[7] = {1, 2, 3, 4, 3, 2, 1};
  EXPECT_FALSE(TakesTransposedColumnFilter32f(floats, 7));
  EXPECT_FALSE(TransposedColumnFilter32f_C4(rows.data(), 4, 16, dst, floats, 7, 3, -1));
  EXPECT_FALSE(TransposedColumnFilter8u_C4(nullptr, 16, 16, dst, triangle.data(), 31, 15, sum, -1));
  // dst must hold width rows of height pixels.
  EXPECT_FALSE(
      TransposedColumnFilter8u_C4(rows.data(), 17, 16, dst, triangle.data(), 31, 15, sum, -1));
  EXPECT_FALSE(
      TransposedColumnFilter8u_C4(rows.data(), 16, 16, dst, triangle.data(), 31, 31, sum, -1));
  EXPECT_FALSE(
      TransposedColumnFilter8u_C4(rows.data(), 16, 16, dst, triangle.data(), 31, 15, sum, 4));
  EXPECT_FALSE(
      TransposedColumnFilter8u_C4(rows.data(), 0, 16, dst, triangle.data(), 31, 15, sum, -1));
}

TEST(LinearFilter, ReportsBadArguments) {
  uint8_t pixels[256] = {};
  const ImageView good{pixels + 64, 32, 2, 2};
  const int32_t kernel[3] = {1, 2, 1};
  const float weights[3] = {0.25f, 0.5f, 0.25f};
  EXPECT_EQ(RowFilter8u_C4(ConstImageView{nullptr, 32, 2, 2}, good, kernel, 3, 1, 4, -1),
            kNullPointer);
  EXPECT_EQ(RowFilter8u_C4(good, good, nullptr, 3, 1, 4, -1), kNullPointer);
  EXPECT_EQ(ColumnFilter8u_C1(good, ImageView{pixels, 32, 0, 2}, kernel, 3, 1, 4), kBadSize);
  EXPECT_EQ(ColumnFilter32f_C1(good, ImageView{pixels, 0, 2, 2}, weights, 3, 1), kBadPitch);
  EXPECT_EQ(RowFilter8u_C1(good, good, kernel, 0, 0, 4), kBadMaskSize);
  EXPECT_EQ(RowFilter8u_C1(good, good, kernel, 3, 3, 4), kBadMaskSize);
  EXPECT_EQ(ColumnFilter8u_C4(good, good, kernel, 3, -1, 4, -1), kBadMaskSize);
  EXPECT_EQ(ColumnFilter8u_C4(good, good, kernel, 3, 1, 0, -1), kBadMaskSize);
  EXPECT_EQ(RowFilter32f_C4(good, good, weights, 3, 1, 4), kBadChannel);
  EXPECT_EQ(ColumnFilter32f_C4(good, good, weights, 3, 1, -2), kBadChannel);
}

}  // namespace
}  // namespace vitrella::kernels
