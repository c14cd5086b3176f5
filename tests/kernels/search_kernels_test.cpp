// The kernels of a search that marks pixels in rows of bits and then changes them: the
// lane matches against the comparisons written out, at every count across the words of a
// plane; the packing and turning over of bit planes, the pairing of jumps and the marked
// copy against plain loops; on every code path, in both channel orders.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "common/kernel_variants.h"
#include "kernels/bit_planes.h"
#include "kernels/lane_match.h"
#include "kernels/marked_copy.h"

namespace vitrella::kernels {
namespace {

class LaneKernels : public OnEveryKernelPath {};

// Relations between two pixels: bit 0 a match, bit 1 different in all channels.
template <typename T, typename Tolerance>
uint32_t Relation(const T* a, const T* b, ColourPositions at, Tolerance tolerance) {
  int within = 0;
  int beyond = 0;
  for (const int32_t c : {at.blue, at.green, at.red}) {
    const auto distance = a[c] > b[c] ? a[c] - b[c] : b[c] - a[c];
    within += distance <= tolerance ? 1 : 0;
    beyond += distance > tolerance ? 1 : 0;
  }
  return (within == 3 ? 1U : 0U) | (beyond == 3 ? 2U : 0U);
}

template <typename T, typename Tolerance>
void ExpectPlanes(const std::vector<T>& lanes, int32_t count, ColourPositions at,
                  Tolerance tolerance) {
  const size_t laneLength = 4 * (static_cast<size_t>(count) + 4);
  const T* lane[3] = {lanes.data() + 8, lanes.data() + laneLength + 8,
                      lanes.data() + 2 * laneLength + 8};
  const ptrdiff_t pitch = LaneWords(count) + 1;
  std::vector<uint64_t> planes(static_cast<size_t>(pitch) * kLanePlanes, ~uint64_t{0});
  Status status;
  if constexpr (std::is_same_v<T, uint8_t>) {
    status = LaneMatches8u_C4(lane[0], lane[1], lane[2], count, at, tolerance, planes.data(), pitch,
                              true);
  } else {
    status = LaneMatches32f_C4(lane[0], lane[1], lane[2], count, at, tolerance, planes.data(),
                               pitch, true);
  }
  ASSERT_EQ(status, kOk);
  const auto bit = [&](int32_t plane, int32_t p) {
    return (planes[static_cast<size_t>(plane * pitch + p / 64)] >> (p % 64) & 1U) != 0;
  };
  const auto pixel = [&](int32_t l, int32_t p) { return lane[l] + 4 * p; };
  for (int32_t p = count; p < 64 * LaneWords(count); ++p) {
    for (int32_t k = 0; k < kLanePlanes; ++k)
      ASSERT_FALSE(bit(k, p)) << "plane " << k << " past the count at " << p;
  }
  for (int32_t p = 0; p < count; ++p) {
    const T* c = pixel(1, p);
    const auto matches = [&](const T* other) {
      return (Relation(other, c, at, tolerance) & 1U) != 0;
    };
    ASSERT_EQ(bit(kCentreSelf, p), matches(c)) << p;
    ASSERT_EQ(bit(kCentreBack1, p), matches(pixel(1, p - 1))) << p;
    ASSERT_EQ(bit(kCentreBack2, p), matches(pixel(1, p - 2))) << p;
    ASSERT_EQ(bit(kCentreBack3, p), matches(pixel(1, p - 3))) << p;
    ASSERT_EQ(bit(kCentreBack4, p), matches(pixel(1, p - 4))) << p;
    for (int32_t side = 0; side < 2; ++side) {
      ASSERT_EQ(bit(SideMatchBack3Plane(side), p),
                (Relation(pixel(2 * side, p), pixel(1, p - 3), at, tolerance) & 1U) != 0)
          << "count " << count << " side " << side << " at " << p;
      for (int32_t d = -2; d <= 2; ++d) {
        const uint32_t relation = Relation(pixel(2 * side, p + d), c, at, tolerance);
        ASSERT_EQ(bit(SideMatchPlane(side, d), p), (relation & 1U) != 0)
            << "count " << count << " side " << side << " offset " << d << " at " << p;
        if (d == 0 || d == 1) {
          ASSERT_EQ(bit(SideDiffersPlane(side, d), p), (relation & 2U) != 0)
              << "count " << count << " side " << side << " offset " << d << " at " << p;
        }
      }
    }
  }
}

// Lanes of count pixels with two pixels of margin on either side, as bytes and as the same
// values in floats with some NaNs (and infinities); few values, so that all three
// relations occur.
struct RandomLaneValues {
  std::vector<uint8_t> bytes;
  std::vector<float> floats;
};
RandomLaneValues RandomLanes(size_t lanes, int32_t count, std::mt19937& random, bool infinities) {
  std::vector<uint8_t> bytes(lanes * 4 * (static_cast<size_t>(count) + 4));
  for (uint8_t& b : bytes)
    b = static_cast<uint8_t>(random() % 4 * 60);
  std::vector<float> floats(bytes.begin(), bytes.end());
  for (float& f : floats) {
    f /= 255.0f;
    if (random() % 50 == 0) f = std::numeric_limits<float>::quiet_NaN();
    if (infinities && random() % 50 == 0) f = std::numeric_limits<float>::infinity();
  }
  return {bytes, floats};
}

TEST_P(LaneKernels, LaneMatchesAreTheComparisonsOfEachPair) {
  std::mt19937 random(5);
  for (const ColourPositions at : {ColourPositions{0, 1, 2}, ColourPositions{3, 2, 1}}) {
    for (const int32_t count : {0, 1, 3, 4, 17, 63, 64, 65, 130}) {
      const auto [bytes, floats] = RandomLanes(3, count, random, true);
      for (const int32_t tolerance : {0, 59, 60, 255}) {
        ExpectPlanes(bytes, count, at, tolerance);
        ExpectPlanes(floats, count, at, static_cast<float>(tolerance) / 255.0f);
      }
    }
  }
}

// Four lanes: the planes of the last three, made from those of the first three still in
// place, and made afresh; with or without the differences in all, whose planes are then
// not compared.
template <typename T, typename Tolerance>
void ExpectNextPlanes(const std::vector<T>& lanes, int32_t count, ColourPositions at,
                      Tolerance tolerance, bool differences) {
  const size_t laneLength = 4 * (static_cast<size_t>(count) + 4);
  const auto lane = [&](size_t l) { return lanes.data() + l * laneLength + 8; };
  const ptrdiff_t pitch = LaneWords(count) + 1;
  std::vector<uint64_t> next(static_cast<size_t>(pitch) * kLanePlanes, ~uint64_t{0});
  std::vector<uint64_t> fresh = next;
  const auto [matches, following] = [] {
    if constexpr (std::is_same_v<T, uint8_t>) {
      return std::pair{&LaneMatches8u_C4, &NextLaneMatches8u_C4};
    } else {
      return std::pair{&LaneMatches32f_C4, &NextLaneMatches32f_C4};
    }
  }();
  ASSERT_EQ(
      matches(lane(0), lane(1), lane(2), count, at, tolerance, next.data(), pitch, differences),
      kOk);
  ASSERT_EQ(
      following(lane(1), lane(2), lane(3), count, at, tolerance, next.data(), pitch, differences),
      kOk);
  ASSERT_EQ(matches(lane(1), lane(2), lane(3), count, at, tolerance, fresh.data(), pitch, true),
            kOk);
  for (int32_t k = 0; k < kLanePlanes; ++k) {
    if (!differences && k >= kSideDiffers) continue;
    for (ptrdiff_t w = 0; w < LaneWords(count); ++w) {
      ASSERT_EQ(next[static_cast<size_t>(k * pitch + w)], fresh[static_cast<size_t>(k * pitch + w)])
          << "plane " << k << " word " << w << " count " << count << " differences " << differences;
    }
  }
}

TEST_P(LaneKernels, NextLaneMatchesAreThoseMadeAfresh) {
  std::mt19937 random(9);
  for (const ColourPositions at : {ColourPositions{0, 1, 2}, ColourPositions{3, 2, 1}}) {
    for (const int32_t count : {0, 1, 2, 3, 4, 17, 63, 64, 65, 130}) {
      const auto [bytes, floats] = RandomLanes(4, count, random, false);
      for (const int32_t tolerance : {0, 60, 255}) {
        for (const bool differences : {true, false}) {
          ExpectNextPlanes(bytes, count, at, tolerance, differences);
          ExpectNextPlanes(floats, count, at, static_cast<float>(tolerance) / 255.0f, differences);
        }
      }
    }
  }
}

TEST_P(LaneKernels, LaneMatchesRefuseWhatTheyCannotRead) {
  std::vector<uint8_t> pixels(64, 0);
  std::vector<uint64_t> planes(kLanePlanes, 0);
  const uint8_t* p = pixels.data() + 8;
  EXPECT_EQ(LaneMatches8u_C4(nullptr, p, p, 1, {}, 0, planes.data(), 1, true), kNullPointer);
  EXPECT_EQ(LaneMatches8u_C4(p, p, p, 1, {}, 0, nullptr, 1, true), kNullPointer);
  EXPECT_EQ(LaneMatches8u_C4(p, p, p, -1, {}, 0, planes.data(), 1, true), kBadSize);
  EXPECT_EQ(LaneMatches8u_C4(p, p, p, 65, {}, 0, planes.data(), 1, true), kBadPitch);
  EXPECT_EQ(LaneMatches8u_C4(p, p, p, 1, {0, 0, 2}, 0, planes.data(), 1, true), kBadChannel);
  EXPECT_EQ(NextLaneMatches8u_C4(p, nullptr, p, 1, {}, 0, planes.data(), 1, true), kNullPointer);
  EXPECT_EQ(NextLaneMatches8u_C4(p, p, p, 65, {}, 0, planes.data(), 1, true), kBadPitch);
}

// Only the colour channels of marked pixels change, whichever vector lane they fall in.
TEST_P(LaneKernels, MarkedCopyTakesTheColourOfMarkedPixelsOnly) {
  std::mt19937 random(8);
  for (const ColourPositions at : {ColourPositions{0, 1, 2}, ColourPositions{3, 2, 1}}) {
    const int32_t alpha = 6 - at.blue - at.green - at.red;
    for (const int32_t count : {1, 5, 16, 37, 150}) {
      std::vector<uint64_t> marks(static_cast<size_t>(count + 63) / 64);
      for (uint64_t& m : marks)
        m = (uint64_t{random()} << 32) | random();
      const auto marked = [&](int32_t x) { return (marks[x / 64] >> (x % 64) & 1U) != 0; };
      std::vector<uint8_t> from(4 * static_cast<size_t>(count));
      std::vector<uint8_t> to(from.size());
      for (size_t i = 0; i < from.size(); ++i) {
        from[i] = static_cast<uint8_t>(random());
        to[i] = static_cast<uint8_t>(random());
      }
      std::vector<float> fromF(from.begin(), from.end());
      std::vector<float> toF(to.begin(), to.end());
      std::vector<uint8_t> want = to;
      for (int32_t x = 0; x < count; ++x) {
        for (const int32_t c : {at.blue, at.green, at.red}) {
          if (marked(x)) want[4 * x + c] = from[4 * x + c];
        }
      }
      ASSERT_EQ(CopyMarked8u_C4(marks.data(), from.data(), to.data(), count, at), kOk);
      ASSERT_EQ(CopyMarked32f_C4(marks.data(), fromF.data(), toF.data(), count, at), kOk);
      EXPECT_EQ(to, want) << "count " << count;
      EXPECT_EQ(std::vector<float>(want.begin(), want.end()), toF) << "count " << count;
      for (int32_t x = 0; x < count; ++x)
        ASSERT_EQ(to[4 * x + alpha], want[4 * x + alpha]);
    }
  }
  uint8_t pixel[4] = {};
  const uint64_t mark = 1;
  EXPECT_EQ(CopyMarked8u_C4(nullptr, pixel, pixel, 1, {}), kNullPointer);
  EXPECT_EQ(CopyMarked8u_C4(&mark, pixel, pixel, 1, {1, 1, 2}), kBadChannel);
}

// Ten planes of kWords random words each, and where each starts.
constexpr ptrdiff_t kWords = 3;
struct RandomPlanes {
  explicit RandomPlanes(std::mt19937_64& random) {
    for (uint64_t& word : words)
      word = random();
    for (size_t k = 0; k < rows.size(); ++k)
      rows[k] = words.data() + k * kWords;
  }
  std::array<uint64_t, 10 * kWords> words{};
  std::array<const uint64_t*, 10> rows{};
};

// Each position's four looked-up bytes sit side by side, each from its own table and
// nibble; top bits set in them come back as the four ways' rows of bits.
TEST_P(LaneKernels, NibbleLookupsSitSideBySideAndTheirTopBitsComeBack) {
  std::mt19937_64 random(8);
  const RandomPlanes planes(random);
  const uint64_t* const* own = planes.rows.data();
  const uint64_t* const* shared = own + 8;
  uint8_t tables[4][16];
  for (auto& table : tables) {
    for (uint8_t& entry : table)
      entry = static_cast<uint8_t>(random() & 0x7F);
  }
  std::vector<uint8_t> bytes(256 * kWords);
  ASSERT_EQ(LookupBitNibbles(own, shared, tables, kWords, bytes.data()), kOk);
  const auto bit = [](const uint64_t* plane, int32_t p) {
    return static_cast<uint32_t>(plane[p / 64] >> (p % 64) & 1U);
  };
  for (int32_t p = 0; p < 64 * kWords; ++p) {
    for (int32_t s = 0; s < 4; ++s) {
      const uint32_t nibble = bit(own[s], p) | bit(own[4 + s], p) << 1 | bit(shared[0], p) << 2 |
                              bit(shared[1], p) << 3;
      ASSERT_EQ(bytes[static_cast<size_t>(4 * p + s)], tables[s][nibble])
          << "way " << s << ", position " << p;
    }
  }

  std::vector<uint64_t> want(4 * kWords, 0);
  for (size_t i = 0; i < bytes.size(); ++i) {
    if (random() % 3 != 0) continue;
    bytes[i] |= 0x80;
    want[(i % 4) * kWords + i / 256] |= uint64_t{1} << (i / 4 % 64);
  }
  std::vector<uint64_t> got(4 * kWords, 0x5A5A);
  uint64_t* gathered[4] = {got.data(), got.data() + kWords, nullptr, got.data() + 3 * kWords};
  ASSERT_EQ(GatherHighBits4(bytes.data(), kWords, gathered), kOk);
  for (int32_t s = 0; s < 4; ++s) {
    for (ptrdiff_t w = 0; w < kWords; ++w) {
      EXPECT_EQ(got[static_cast<size_t>(s * kWords + w)],
                s == 2 ? 0x5A5A : want[static_cast<size_t>(s * kWords + w)])
          << "way " << s << ", word " << w;
    }
  }
  EXPECT_EQ(LookupBitNibbles(own, nullptr, tables, kWords, bytes.data()), kNullPointer);
  EXPECT_EQ(GatherHighBits4(nullptr, kWords, gathered), kNullPointer);
}

// A pair is a jump and the one it lands on, and a stop stays a stop, whatever the vector
// width; counts that end inside a vector take the same rule.
TEST_P(LaneKernels, JumpPairsAddTheJumpTheyLandOn) {
  std::mt19937_64 random(9);
  constexpr ptrdiff_t kCount = 300;
  std::vector<uint8_t> jumps(kCount + 64);
  for (uint8_t& jump : jumps) {
    const uint64_t r = random();
    jump = static_cast<uint8_t>(r % 5 == 0 ? 0x40 | (r >> 8 & 0x3F) : 1 + (r >> 8) % 32);
  }
  for (const ptrdiff_t count : {kCount, ptrdiff_t{45}, ptrdiff_t{0}}) {
    std::vector<uint8_t> pairs(kCount, 0xEE);
    ASSERT_EQ(PairJumps(jumps.data(), count, pairs.data()), kOk);
    for (ptrdiff_t n = 0; n < kCount; ++n) {
      const uint8_t jump = jumps[static_cast<size_t>(n)];
      const uint8_t want = n >= count ? 0xEE
                           : jump >= 0x40
                               ? jump
                               : static_cast<uint8_t>(jump + jumps[static_cast<size_t>(n + jump)]);
      ASSERT_EQ(pairs[static_cast<size_t>(n)], want) << "count " << count << ", byte " << n;
    }
  }
  EXPECT_EQ(PairJumps(nullptr, 1, jumps.data()), kNullPointer);
  EXPECT_EQ(PairJumps(jumps.data(), -1, jumps.data()), kBadSize);
}

// Every set bit lands turned over, on matrices that end inside a block or fill it, and
// what dst held already stays.
TEST(BitMatrix, OrTransposedBitsTurnsEveryBitOver) {
  std::mt19937_64 random(6);
  struct Size {
    int32_t rows, columns;
  };
  for (const Size size : {Size{1, 1}, Size{64, 64}, Size{70, 130}, Size{130, 3}, Size{5, 200}}) {
    const ptrdiff_t srcPitch = (size.columns + 63) / 64 + 1;
    const ptrdiff_t dstPitch = (size.rows + 63) / 64;
    const auto sparse = [&](int32_t ones) {
      uint64_t word = ~uint64_t{0};
      for (int32_t i = 0; i < ones; ++i)
        word &= random();
      return word;
    };
    // Every second band of 64 rows is empty: whole blocks with nothing to turn over.
    std::vector<uint64_t> src(static_cast<size_t>(srcPitch * size.rows));
    for (int32_t r = 0; r < size.rows; ++r) {
      for (ptrdiff_t w = 0; w < srcPitch; ++w)
        src[static_cast<size_t>(r * srcPitch + w)] = (r / 64) % 2 == 1 ? 0 : sparse(2);
    }
    std::vector<uint64_t> dst(static_cast<size_t>(dstPitch * size.columns));
    for (uint64_t& word : dst)
      word = sparse(3);
    const std::vector<uint64_t> before = dst;
    ASSERT_EQ(OrTransposedBits(src.data(), srcPitch, size.rows, size.columns, dst.data(), dstPitch),
              kOk);
    const auto bit = [](const std::vector<uint64_t>& m, ptrdiff_t pitch, int32_t r, int32_t c) {
      return (m[static_cast<size_t>(r * pitch + c / 64)] >> (c % 64) & 1U) != 0;
    };
    for (int32_t c = 0; c < size.columns; ++c) {
      for (int32_t r = 0; r < 64 * dstPitch; ++r) {
        const bool want =
            bit(before, dstPitch, c, r) || (r < size.rows && bit(src, srcPitch, r, c));
        ASSERT_EQ(bit(dst, dstPitch, c, r), want)
            << size.rows << "x" << size.columns << " at " << r << "," << c;
      }
    }
  }
  uint64_t word = 0;
  EXPECT_EQ(OrTransposedBits(nullptr, 1, 1, 1, &word, 1), kNullPointer);
  EXPECT_EQ(OrTransposedBits(&word, 1, 1, 65, &word, 1), kBadPitch);
}

INSTANTIATE_ON_EVERY_KERNEL_PATH(LaneKernels);

}  // namespace
}  // namespace vitrella::kernels
