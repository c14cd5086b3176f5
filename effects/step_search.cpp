#include "effects/step_search.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <type_traits>
#include <vector>

#include "kernels/colour_run.h"
#include "kernels/lane_match.h"

namespace vitrella {
namespace {

constexpr int32_t kBorder = 2;

// Planes drawn from the lane matches, one bit per position i of a line. Those ending in
// 1 or 2 hold when the running colour is the centre lane's pixel at i - 1 or at i - 2:
// where the walk last moved by one pixel, or jumped past a step along its own line.
enum Derived : int32_t {
  kMatch1,  // the pixel at i matches the running colour
  kMatch2,
  kStep1,  // runs both ahead and behind: a stair-step
  kStep2,
  kUpTwo1,  // the run behind reaches two pixels
  kUpThree1,
  kUpTwo2,
  kUpThree2,
  kDownOne,  // the run ahead reaches one, two, three pixels; it never asks for the
  kDownTwo,  // running colour
  kDownThree,
  kSoften1,  // no test stops the softening of a straight line
  kSoften2,
  kDerivedPlanes
};

template <typename T>
class StepSearch {
 public:
  using Tolerance = std::conditional_t<std::is_same_v<T, uint8_t>, int32_t, float>;

  StepSearch(const StepSource& source, Tolerance tolerance, bool softenLines, bool planes,
             const StepMarks& marks)
      : source_(source),
        at_{source.blue, source.green, source.red},
        tolerance_(tolerance),
        softenLines_(softenLines),
        marks_(marks),
        pitch_(kernels::LaneWords(std::max(source.width, source.height)) + 2) {
    if (planes)
      planes_.assign(static_cast<size_t>(pitch_) * (kernels::kLanePlanes + kDerivedPlanes), 0);
  }

  bool Run() {
    // The running colour starts black once per frame and is never reset: not at a new
    // line, and not between the two passes.
    running_ = kBlack;
    return Walk<false>() && Walk<true>();
  }

 private:
  static constexpr T kBlack[4] = {};

  static Tolerance Distance(T a, T b) {
    if constexpr (std::is_same_v<T, uint8_t>) {
      return std::abs(int32_t{a} - int32_t{b});
    } else {
      return std::fabs(a - b);
    }
  }
  // Within the tolerance in each of the three channels.
  bool Matches(const T* a, const T* b) const {
    for (const int32_t c : {at_.blue, at_.green, at_.red}) {
      if (!(Distance(a[c], b[c]) <= tolerance_)) return false;
    }
    return true;
  }
  // Beyond the tolerance in all three channels at once.
  bool DiffersInAll(const T* a, const T* b) const {
    for (const int32_t c : {at_.blue, at_.green, at_.red}) {
      if (!(Distance(a[c], b[c]) > tolerance_)) return false;
    }
    return true;
  }
  // How many of the count pixels from px match the running colour.
  int32_t RunLength(const T* px, int32_t count) const {
    if constexpr (std::is_same_v<T, uint8_t>) {
      kernels::RunColour8u colour{{}, tolerance_};
      for (const int32_t c : {at_.blue, at_.green, at_.red})
        colour.channels[c] = running_[c];
      return kernels::ColourRunLength8u_C4(px, count, at_, colour);
    } else {
      kernels::RunColour32f colour{{}, tolerance_};
      for (const int32_t c : {at_.blue, at_.green, at_.red})
        colour.channels[c] = running_[c];
      return kernels::ColourRunLength32f_C4(px, count, at_, colour);
    }
  }

  void Mark(int32_t x, int32_t y) const {
    marks_.marks[y * marks_.pitch + x] = 1;
    ++marks_.rowCounts[y];
  }

  // The lane matches of one line, each plane with a clear word on either side, and the
  // planes drawn from them.
  uint64_t* Plane(int32_t k) { return planes_.data() + static_cast<ptrdiff_t>(k) * pitch_ + 1; }
  uint64_t* DerivedPlane(int32_t k) { return Plane(kernels::kLanePlanes + k); }
  bool Bit(int32_t k, int32_t i) const {
    const uint64_t* plane =
        planes_.data() + static_cast<ptrdiff_t>(kernels::kLanePlanes + k) * pitch_ + 1;
    return ((plane[i >> 6] >> (i & 63)) & 1U) != 0;
  }
  bool FillPlanes(const T* const lane[3], int32_t count);

  template <bool kAlongRows>
  bool Walk();

  const StepSource& source_;
  kernels::ColourPositions at_;
  Tolerance tolerance_;
  bool softenLines_;
  StepMarks marks_;
  ptrdiff_t pitch_;
  std::vector<uint64_t> planes_;
  const T* running_ = kBlack;  // a source pixel, or black at the start
};

template <typename T>
bool StepSearch<T>::FillPlanes(const T* const lane[3], int32_t count) {
  kernels::Status status;
  if constexpr (std::is_same_v<T, uint8_t>) {
    status = kernels::LaneMatches8u_C4(lane[0], lane[1], lane[2], count, at_, tolerance_, Plane(0),
                                       pitch_);
  } else {
    status = kernels::LaneMatches32f_C4(lane[0], lane[1], lane[2], count, at_, tolerance_, Plane(0),
                                        pitch_);
  }
  if (status != kernels::kOk) return false;
  const ptrdiff_t words = kernels::LaneWords(count);
  for (int32_t k = 0; k < kernels::kLanePlanes; ++k)
    Plane(k)[words] = 0;  // a longer line of the other pass may have left bits there
  // Bits of positions 64 w + s onwards: the plane's bits at an offset s from i.
  const auto at = [&](int32_t k, ptrdiff_t w, int32_t s) -> uint64_t {
    const uint64_t* p = Plane(k);
    if (s > 0) return (p[w] >> s) | (p[w + 1] << (64 - s));
    if (s < 0) return (p[w] << -s) | (p[w - 1] >> (64 + s));
    return p[w];
  };
  using kernels::kCentreBack1;
  using kernels::kCentreBack2;
  using kernels::kCentreSelf;
  using kernels::SideDiffersPlane;
  using kernels::SideMatchPlane;
  for (ptrdiff_t w = 0; w < words; ++w) {
    uint64_t down[3] = {};
    uint64_t up1[3] = {};
    uint64_t up2[3] = {};
    uint64_t stops1 = 0;
    uint64_t stops2 = 0;
    for (int32_t side = 0; side < 2; ++side) {
      // Counting on while the centre lane matches its reference and the side lane does
      // not: ahead of i against the pixel at i, behind it against the running colour.
      const auto differs = [&](int32_t d, int32_t s) { return ~at(SideMatchPlane(side, d), w, s); };
      const uint64_t a0 = at(kCentreSelf, w, 0) & differs(0, 0);
      const uint64_t a1 = a0 & at(kCentreBack1, w, 1) & differs(1, 0);
      const uint64_t a2 = a1 & at(kCentreBack2, w, 2) & differs(2, 0);
      const uint64_t b0 = at(kCentreSelf, w, -1) & differs(0, -1);  // colour at i - 1
      const uint64_t b1 = b0 & at(kCentreBack1, w, -1) & differs(-1, -1);
      const uint64_t b2 = b1 & at(kCentreBack2, w, -1) & differs(-2, -1);
      const uint64_t c0 = at(kCentreBack1, w, -1) & differs(1, -2);  // colour at i - 2
      const uint64_t c1 = c0 & at(kCentreSelf, w, -2) & differs(0, -2);
      const uint64_t c2 = c1 & at(kCentreBack1, w, -2) & differs(-1, -2);
      const uint64_t runs[3][3] = {{a0, a1, a2}, {b0, b1, b2}, {c0, c1, c2}};
      for (int32_t n = 0; n < 3; ++n) {
        down[n] |= runs[0][n];
        up1[n] |= runs[1][n];
        up2[n] |= runs[2][n];
      }
      // The side pixel at i matches the running colour, or the one before i differs from
      // it in all channels.
      stops1 |= at(SideMatchPlane(side, 1), w, -1) | at(SideDiffersPlane(side, 0), w, -1);
      stops2 |= at(SideMatchPlane(side, 2), w, -2) | at(SideDiffersPlane(side, 1), w, -2);
    }
    DerivedPlane(kMatch1)[w] = at(kCentreBack1, w, 0);
    DerivedPlane(kMatch2)[w] = at(kCentreBack2, w, 0);
    DerivedPlane(kStep1)[w] = up1[0] & down[0];
    DerivedPlane(kStep2)[w] = up2[0] & down[0];
    DerivedPlane(kUpTwo1)[w] = up1[1];
    DerivedPlane(kUpThree1)[w] = up1[2];
    DerivedPlane(kUpTwo2)[w] = up2[1];
    DerivedPlane(kUpThree2)[w] = up2[2];
    DerivedPlane(kDownOne)[w] = down[0];
    DerivedPlane(kDownTwo)[w] = down[1];
    DerivedPlane(kDownThree)[w] = down[2];
    DerivedPlane(kSoften1)[w] = ~stops1;
    DerivedPlane(kSoften2)[w] = ~stops2;
  }
  return true;
}

// One pass. Its lines are the rows of `bordered` along the rows, of `columns` down the
// columns; the pattern's three lanes are the lines outer - 1, outer and outer + 1, and
// run from inner - 3 to inner + 2.
template <typename T>
template <bool kAlongRows>
bool StepSearch<T>::Walk() {
  const int32_t outerExtent = kAlongRows ? source_.height : source_.width;
  const int32_t innerExtent = kAlongRows ? source_.width : source_.height;
  const int32_t end = innerExtent - 3;
  const FrameBuffer& lines = kAlongRows ? *source_.bordered : *source_.columns;
  const auto line = [&](int32_t outer) {
    return lines.Row<const T>(outer + kBorder) + 4 * kBorder;
  };
  const auto pixel = [](const T* lane, int32_t inner) {
    return lane + 4 * static_cast<ptrdiff_t>(inner);
  };
  const auto mark = [&](int32_t outer, int32_t inner) {
    if (kAlongRows) {
      Mark(inner, outer);
    } else {
      Mark(outer, inner);
    }
  };
  for (int32_t outer = 1; outer <= outerExtent - 2; ++outer) {
    const T* const lane[3] = {line(outer - 1), line(outer), line(outer + 1)};
    const bool planes = !planes_.empty() && end > 3;
    if (planes && !FillPlanes(lane, innerExtent)) return false;
    // How far behind the pixel the centre lane holds the running colour: 1 or 2 where the
    // planes know, 0 where it must be compared.
    int32_t behind = 0;
    for (int32_t inner = 3; inner < end;) {
      const T* here = pixel(lane[1], inner);
      // Most pixels match the running colour, which changes only where one does not: a
      // direct comparison settles the first, and a scan of the lane those after it.
      if (behind == 0 ? Matches(here, running_) : Bit(behind == 1 ? kMatch1 : kMatch2, inner)) {
        inner += 1 + RunLength(here + 4, end - inner - 1);
        behind = 0;
        continue;
      }
      int32_t up = 0;
      int32_t down = 0;
      bool soften = false;
      if (behind != 0) {
        if (Bit(behind == 1 ? kStep1 : kStep2, inner)) {
          up = 1 + Bit(behind == 1 ? kUpTwo1 : kUpTwo2, inner) +
               Bit(behind == 1 ? kUpThree1 : kUpThree2, inner);
          down = 1 + Bit(kDownTwo, inner) + Bit(kDownThree, inner);
        } else {
          soften = softenLines_ && Bit(behind == 1 ? kSoften1 : kSoften2, inner);
        }
      } else {
        // A flag is set where a pixel differs from its reference: the running colour for
        // the three cells before `inner`, and this pixel from it on. Flags are asked for
        // only as the runs reach them.
        const auto differs = [&](int32_t l, int32_t i) {
          return !Matches(pixel(lane[l], inner - 3 + i), i < 3 ? running_ : here);
        };
        // Counts from `first` towards `last` while the centre lane matches its reference
        // and the side lane does not.
        const auto run = [&](int32_t side, int32_t first, int32_t last) {
          const int32_t step = first < last ? 1 : -1;
          int32_t count = 0;
          for (int32_t i = first;; i += step) {
            if (differs(1, i) || !differs(side, i)) break;
            ++count;
            if (i == last) break;
          }
          return count;
        };
        up = std::max(run(0, 2, 0), run(2, 2, 0));
        if (up != 0) {
          down = planes ? Bit(kDownOne, inner) + Bit(kDownTwo, inner) + Bit(kDownThree, inner)
                        : std::max(run(0, 3, 5), run(2, 3, 5));
        }
        if (down == 0) {
          up = 0;
          soften = softenLines_ && !Matches(pixel(lane[0], inner), running_) &&
                   !DiffersInAll(pixel(lane[0], inner - 1), running_) &&
                   !Matches(pixel(lane[2], inner), running_) &&
                   !DiffersInAll(pixel(lane[2], inner - 1), running_);
        }
      }
      if (down != 0) {
        for (int32_t i = 1; i <= up; ++i)
          mark(outer, inner - i);
        for (int32_t i = 0; i < down; ++i)
          mark(outer, inner + i);
        // The new running colour lies along the image row in both passes, to the right
        // of the pixel. In the column pass at the last column but one that reaches one
        // column past the frame, where the bordered copy repeats the edge pixel.
        if (kAlongRows) {
          running_ = pixel(lane[1], inner + down - 1);
        } else {
          running_ = pixel(line(outer + down - 1), inner);
        }
        behind = planes && (kAlongRows || down == 1) ? 2 : 0;
        inner += down + 1;
      } else {
        if (soften) {
          // The line runs straight through here: soften the three cells before it.
          for (int32_t l = -1; l <= 1; ++l)
            mark(outer + l, inner - 1);
        }
        running_ = here;
        behind = planes ? 1 : 0;
        ++inner;
      }
    }
  }
  return true;
}

}  // namespace

bool SearchSteps8u(const StepSource& source, int32_t tolerance, bool softenLines, bool planes,
                   const StepMarks& marks) {
  return StepSearch<uint8_t>(source, tolerance, softenLines, planes, marks).Run();
}

bool SearchSteps32f(const StepSource& source, float tolerance, bool softenLines, bool planes,
                    const StepMarks& marks) {
  return StepSearch<float>(source, tolerance, softenLines, planes, marks).Run();
}

}  // namespace vitrella
