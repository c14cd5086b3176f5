#include "kernels/lane_match.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <type_traits>

#include "kernels/dispatch.h"
#include "kernels/lane_match_hwy.h"

namespace vitrella::kernels {
namespace {

// How two pixels compare: bit 0 when they match, bit 1 when they differ in all channels.
template <typename T, typename Tolerance>
uint32_t Compare(const T* a, const T* b, ColourPositions at, Tolerance tolerance) {
  int32_t within = 0;
  int32_t beyond = 0;
  for (const int32_t c : {at.blue, at.green, at.red}) {
    if constexpr (std::is_same_v<T, uint8_t>) {
      const int32_t distance = std::abs(int32_t{a[c]} - int32_t{b[c]});
      within += distance <= tolerance ? 1 : 0;
      beyond += distance > tolerance ? 1 : 0;
    } else {
      const float distance = std::fabs(a[c] - b[c]);
      within += distance <= tolerance ? 1 : 0;
      beyond += distance > tolerance ? 1 : 0;
    }
  }
  return (within == 3 ? 1U : 0U) | (beyond == 3 ? 2U : 0U);
}

template <typename T, typename Tolerance>
void PlainMatches(const T* before, const T* centre, const T* after, int32_t count,
                  ColourPositions at, Tolerance tolerance, uint64_t* planes, ptrdiff_t pitch) {
  const T* sides[2] = {before, after};
  const auto pixel = [](const T* lane, ptrdiff_t p) { return lane + 4 * p; };
  for (int32_t p = 0; p < count; ++p) {
    const T* c = pixel(centre, p);
    const auto set = [&](int32_t plane, bool on) {
      planes[plane * pitch + (p >> 6)] |= static_cast<uint64_t>(on ? 1 : 0) << (p & 63);
    };
    set(kCentreSelf, (Compare(c, c, at, tolerance) & 1U) != 0);
    set(kCentreBack1, (Compare(c, c - 4, at, tolerance) & 1U) != 0);
    set(kCentreBack2, (Compare(c, c - 8, at, tolerance) & 1U) != 0);
    set(kCentreBack3, (Compare(c, c - 12, at, tolerance) & 1U) != 0);
    set(kCentreBack4, (Compare(c, c - 16, at, tolerance) & 1U) != 0);
    for (int32_t side = 0; side < 2; ++side) {
      set(SideMatchBack3Plane(side),
          (Compare(pixel(sides[side], p), c - 12, at, tolerance) & 1U) != 0);
      for (int32_t dp = -2; dp <= 2; ++dp) {
        const uint32_t relation = Compare(pixel(sides[side], p + dp), c, at, tolerance);
        set(SideMatchPlane(side, dp), (relation & 1U) != 0);
        if (dp == 0 || dp == 1) set(SideDiffersPlane(side, dp), (relation & 2U) != 0);
      }
    }
  }
}

template <typename T>
Status CheckArguments(const T* before, const T* centre, const T* after, int32_t count,
                      ColourPositions at, const uint64_t* planes, ptrdiff_t planePitch) {
  if (before == nullptr || centre == nullptr || after == nullptr || planes == nullptr) {
    return kNullPointer;
  }
  if (count < 0) return kBadSize;
  if (planePitch < LaneWords(count)) return kBadPitch;
  return AreThreeChannels(at) ? kOk : kBadChannel;
}

// Clears the planes' words from word `from` on.
void ClearPlanes(uint64_t* planes, ptrdiff_t planePitch, int32_t count,
                 uint32_t which = PlanesCompared(true, true), ptrdiff_t from = 0) {
  const ptrdiff_t words = LaneWords(count);
  for (int32_t k = 0; k < kLanePlanes; ++k) {
    if ((which >> k & 1U) == 0) continue;
    for (ptrdiff_t w = from; w < words; ++w)
      planes[k * planePitch + w] = 0;
  }
}

// The lane before's relations with the centre, from the line before's lane after: S0(p + d)
// against C(p) is that line's S1(q - d) against C(q) at q = p + d. Positions whose q falls
// outside the line are compared here. The match at d = 1 follows only where its difference
// in all is not asked for.
template <typename T, typename Tolerance>
void ShiftSidePlanes(const T* before, const T* centre, int32_t count, ColourPositions at,
                     Tolerance tolerance, uint64_t* planes, ptrdiff_t pitch, bool differences) {
  const ptrdiff_t words = LaneWords(count);
  const uint64_t lastWord = count % 64 == 0 ? ~uint64_t{0} : (uint64_t{1} << (count % 64)) - 1;
  const auto pixel = [](const T* lane, ptrdiff_t p) { return lane + 4 * p; };
  // Words past either end of the plane read as clear; the shift is known when compiled,
  // so that the words between need no test.
  const auto shifted = [&]<int32_t kD>(int32_t from, int32_t to) {
    const uint64_t* source = planes + from * pitch;
    uint64_t* target = planes + to * pitch;
    const auto word = [&](ptrdiff_t w) { return w >= 0 && w < words ? source[w] : 0; };
    const auto bitsOf = [&](ptrdiff_t w, uint64_t previous, uint64_t next) {
      if constexpr (kD > 0) return (source[w] >> kD) | (next << (64 - kD));
      if constexpr (kD < 0) return (source[w] << -kD) | (previous >> (64 + kD));
      return source[w];
    };
    if (words == 0) return;
    target[0] = bitsOf(0, 0, word(1));
    for (ptrdiff_t w = 1; w + 1 < words; ++w)
      target[w] = bitsOf(w, source[w - 1], source[w + 1]);
    if (words > 1) target[words - 1] = bitsOf(words - 1, source[words - 2], 0);
    target[words - 1] &= lastWord;
  };
  const auto shift = [&](int32_t d, int32_t from, int32_t to) {
    switch (d) {
      case -2:
        return shifted.template operator()<-2>(from, to);
      case -1:
        return shifted.template operator()<-1>(from, to);
      case 1:
        return shifted.template operator()<1>(from, to);
      case 2:
        return shifted.template operator()<2>(from, to);
      default:
        return shifted.template operator()<0>(from, to);
    }
  };
  for (int32_t d = -2; d <= 2; ++d) {
    if (d == 1 && differences) continue;  // compared with its differences in all
    shift(d, SideMatchPlane(1, -d), SideMatchPlane(0, d));
    const int32_t first = d > 0 ? std::max(count - d, 0) : 0;
    const int32_t last = d > 0 ? count : std::min(-d, count);
    for (int32_t p = first; p < last; ++p) {
      const uint32_t relation = Compare(pixel(before, p + d), pixel(centre, p), at, tolerance);
      planes[SideMatchPlane(0, d) * pitch + (p >> 6)] |= static_cast<uint64_t>(relation & 1U)
                                                         << (p & 63);
    }
  }
  if (differences) shift(0, SideDiffersPlane(1, 0), SideDiffersPlane(0, 0));
}

// The vector pass over a line, which reports how many positions it covered.
int32_t VectorMatches(const uint8_t* before, const uint8_t* centre, const uint8_t* after,
                      int32_t count, ColourPositions at, int32_t tolerance, uint64_t* planes,
                      ptrdiff_t pitch, uint32_t written) {
  const uint32_t colourBytes =
      (0xFFu << (8 * at.blue)) | (0xFFu << (8 * at.green)) | (0xFFu << (8 * at.red));
  return vector::LaneMatches8u(before, centre, after, count, colourBytes, tolerance, planes, pitch,
                               written);
}
int32_t VectorMatches(const float* before, const float* centre, const float* after, int32_t count,
                      ColourPositions at, float tolerance, uint64_t* planes, ptrdiff_t pitch,
                      uint32_t written) {
  uint32_t colourLanes[4] = {};
  colourLanes[at.blue] = colourLanes[at.green] = colourLanes[at.red] = ~0U;
  return vector::LaneMatches32f(before, centre, after, count, colourLanes, tolerance, planes, pitch,
                                written);
}

// A line's planes, with `follows` from the line before's still in place. Where the vector
// pass cannot cover the line, every plane is compared pixel by pixel.
template <typename T, typename Tolerance>
Status Matches(const T* before, const T* centre, const T* after, int32_t count, ColourPositions at,
               Tolerance tolerance, uint64_t* planes, ptrdiff_t pitch, bool follows,
               bool differences) {
  if (Status s = CheckArguments(before, centre, after, count, at, planes, pitch); s != kOk) {
    return s;
  }
  if constexpr (std::is_same_v<T, uint8_t>) {
    tolerance = tolerance < 0 ? 0 : tolerance > 255 ? 255 : tolerance;
  }
  if (!UseReferenceKernels()) {
    if (follows) ShiftSidePlanes(before, centre, count, at, tolerance, planes, pitch, differences);
    // The vector pass sets whole words, and only ORs the bits of a last partial one.
    const uint32_t written = PlanesCompared(!follows, differences);
    ClearPlanes(planes, pitch, count, written, count / 64);
    if (VectorMatches(before, centre, after, count, at, tolerance, planes, pitch, written) ==
        count) {
      return kOk;
    }
  }
  ClearPlanes(planes, pitch, count);
  PlainMatches(before, centre, after, count, at, tolerance, planes, pitch);
  return kOk;
}

}  // namespace

Status LaneMatches8u_C4(const uint8_t* before, const uint8_t* centre, const uint8_t* after,
                        int32_t count, ColourPositions at, int32_t tolerance, uint64_t* planes,
                        ptrdiff_t planePitch, bool differences) {
  return Matches(before, centre, after, count, at, tolerance, planes, planePitch, false,
                 differences);
}

Status NextLaneMatches8u_C4(const uint8_t* before, const uint8_t* centre, const uint8_t* after,
                            int32_t count, ColourPositions at, int32_t tolerance, uint64_t* planes,
                            ptrdiff_t planePitch, bool differences) {
  return Matches(before, centre, after, count, at, tolerance, planes, planePitch, true,
                 differences);
}

Status LaneMatches32f_C4(const float* before, const float* centre, const float* after,
                         int32_t count, ColourPositions at, float tolerance, uint64_t* planes,
                         ptrdiff_t planePitch, bool differences) {
  return Matches(before, centre, after, count, at, tolerance, planes, planePitch, false,
                 differences);
}

Status NextLaneMatches32f_C4(const float* before, const float* centre, const float* after,
                             int32_t count, ColourPositions at, float tolerance, uint64_t* planes,
                             ptrdiff_t planePitch, bool differences) {
  return Matches(before, centre, after, count, at, tolerance, planes, planePitch, true,
                 differences);
}

}  // namespace vitrella::kernels
