#include "effects/edge_smoother.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <type_traits>

#include "core/frame_buffer.h"
#include "core/render_setup.h"
#include "kernels/colour_run.h"
#include "kernels/copy.h"
#include "kernels/filter_gauss.h"
#include "kernels/neighbour_match.h"

namespace vitrella {
namespace {

constexpr ParamDef kParams[] = {
    SliderParam("Strength", 0, 100, 0.605f, {0, 0, 48, 30}, "Adjusts how much of edge is smoothed"),
    CheckParam("Show changed pixels", false, {66, 0, 130, 10}, "Highlights area impacted"),
    CheckParam("Soften straight lines", false, {66, 30, 130, 10}, "Use if lines appears uneven"),
};

constexpr PresetDef kPresets[] = {
    {"Font Smoothing - Medium", {SliderValue(0.5001f), kOff, kOn}},
    {"Font Smoothing - Strong", {SliderValue(1.0f), kOff, kOn}},
    {"Font Smoothing - Weak", {SliderValue(0.2501f), kOff, kOn}},
    {"Reset to None", {SliderValue(0.0f), kOff, kOff}},
    {"Smooth SD to HD Upres", {SliderValue(0.975f), kOff, kOff}},
};

constexpr SliderId kStrength{0, "Strength"};
constexpr CheckId kShowChanged{1, "Show changed pixels"};
constexpr CheckId kSoftenLines{2, "Soften straight lines"};

static_assert(NamesMatch(kParams, kStrength, kShowChanged, kSoftenLines));
static_assert(TableIsWellFormed(kParams, kPresets));

constexpr EffectTable kTable{"Edge Smoother", kTraitsPlain, kParams, kPresets};

// The bordered copy of the source keeps image pixel (x, y) at (x + 2, y + 2).
constexpr int32_t kBorder = 2;

// The search for stair-steps. It reads the source through the bordered copy, so that no
// decision depends on a pixel already changed, even when the host renders in place, and
// writes the colour channels of the destination only.
template <typename T>
class StepSearch {
 public:
  using Tolerance = std::conditional_t<std::is_same_v<T, uint8_t>, int32_t, float>;

  // columns: the picture transposed, column x as row x. masks: each pixel's matches with
  // its neighbours (kernels/neighbour_match.h), width by height of them, maskPitch apart;
  // null to compare colours instead.
  StepSearch(const FrameBuffer& bordered, const FrameBuffer& columns, const FrameBuffer& dst,
             int32_t width, int32_t height, const PixelLayout& layout, Tolerance tolerance,
             bool showChanged, bool softenLines, const uint16_t* masks, ptrdiff_t maskPitch)
      : bordered_(bordered),
        columns_(columns),
        dst_(dst),
        width_(width),
        height_(height),
        channel_{layout.red, layout.green, layout.blue},
        tolerance_(tolerance),
        showChanged_(showChanged),
        softenLines_(softenLines),
        masks_(masks),
        maskPitch_(maskPitch) {}

  void Run() {
    // The running colour starts black once per frame and is never reset: not at a new
    // line, and not between the two passes.
    running_ = {};
    runningKnown_ = false;
    // Down the columns: outer is x, inner is y.
    Walk(
        width_, height_,
        [](int32_t outer, int32_t inner) {
          return Point{outer, inner};
        },
        [&](int32_t outer) { return columns_.Row<const T>(outer); });
    // Along the rows: outer is y, inner is x.
    Walk(
        height_, width_,
        [](int32_t outer, int32_t inner) {
          return Point{inner, outer};
        },
        [&](int32_t outer) { return bordered_.Row<const T>(outer + kBorder) + 4 * kBorder; });
  }

 private:
  struct Point {
    int32_t x, y;
  };
  struct Rgb {
    T c[3];
  };

  const T* Pixel(const FrameBuffer& frame, int32_t x, int32_t y) const {
    return frame.Row<const T>(y) + static_cast<ptrdiff_t>(x) * 4;
  }
  Rgb Source(Point p) const {
    const T* px = Pixel(bordered_, p.x + kBorder, p.y + kBorder);
    return {{px[channel_[0]], px[channel_[1]], px[channel_[2]]}};
  }
  static Tolerance Distance(T a, T b) {
    if constexpr (std::is_same_v<T, uint8_t>) {
      return std::abs(int32_t{a} - int32_t{b});
    } else {
      return std::fabs(a - b);
    }
  }
  // Within the tolerance in each of the three channels.
  bool Matches(const Rgb& a, const Rgb& b) const {
    for (int i = 0; i < 3; ++i) {
      if (!(Distance(a.c[i], b.c[i]) <= tolerance_)) return false;
    }
    return true;
  }
  // Beyond the tolerance in all three channels at once.
  bool DiffersInAll(const Rgb& a, const Rgb& b) const {
    for (int i = 0; i < 3; ++i) {
      if (!(Distance(a.c[i], b.c[i]) > tolerance_)) return false;
    }
    return true;
  }

  bool Inside(Point p) const { return p.x >= 0 && p.y >= 0 && p.x < width_ && p.y < height_; }
  uint32_t MaskAt(Point p) const { return masks_[p.y * maskPitch_ + p.x]; }

  // Whether two source pixels match: a bit of one of them where the two are close
  // neighbours inside the picture, else their colours.
  bool Match(Point a, Point b) const {
    if (masks_ == nullptr) return Matches(Source(a), Source(b));
    if (const int32_t bit = kernels::NeighbourBit(b.x - a.x, b.y - a.y); bit >= 0 && Inside(a)) {
      return (MaskAt(a) >> bit & 1) != 0;
    }
    if (const int32_t bit = kernels::NeighbourBit(a.x - b.x, a.y - b.y); bit >= 0 && Inside(b)) {
      return (MaskAt(b) >> bit & 1) != 0;
    }
    return Matches(Source(a), Source(b));
  }
  // The same against the running colour, which is a source pixel or, at the start, black:
  // by a bit where it is a close neighbour, else by the colour it keeps.
  bool MatchesRunning(Point a) const {
    if (runningKnown_ && masks_ != nullptr) {
      const int32_t dx = runningAt_.x - a.x;
      const int32_t dy = runningAt_.y - a.y;
      if (const int32_t bit = kernels::NeighbourBit(dx, dy); bit >= 0 && Inside(a)) {
        return (MaskAt(a) >> bit & 1) != 0;
      }
      if (const int32_t bit = kernels::NeighbourBit(-dx, -dy); bit >= 0 && Inside(runningAt_)) {
        return (MaskAt(runningAt_) >> bit & 1) != 0;
      }
    }
    return Matches(Source(a), running_);
  }
  bool DiffersInAllFromRunning(Point a) const {
    if (runningKnown_ && masks_ != nullptr) {
      const int32_t dx = runningAt_.x - a.x;
      const int32_t dy = runningAt_.y - a.y;
      const auto bit = [&](Point p, int32_t rightOrBelow) {
        return Inside(p) && (rightOrBelow == 1 ? (MaskAt(p) >> kernels::kDiffersRightBit & 1)
                                               : (MaskAt(p) >> kernels::kDiffersBelowBit & 1));
      };
      if ((dx == 1 && dy == 0) || (dx == 0 && dy == 1)) {
        if (Inside(a)) return bit(a, dx);
      } else if ((dx == -1 && dy == 0) || (dx == 0 && dy == -1)) {
        if (Inside(runningAt_)) return bit(runningAt_, -dx);
      }
    }
    return DiffersInAll(Source(a), running_);
  }
  void Run(Point p) {
    running_ = Source(p);
    runningAt_ = p;
    runningKnown_ = true;
  }
  // How many of the count pixels from px along the centre lane match the running colour.
  int32_t RunLength(const T* px, int32_t count) const {
    const kernels::ColourPositions at{channel_[2], channel_[1], channel_[0]};
    if constexpr (std::is_same_v<T, uint8_t>) {
      kernels::RunColour8u colour{{}, tolerance_};
      for (int i = 0; i < 3; ++i)
        colour.channels[channel_[i]] = running_.c[i];
      return kernels::ColourRunLength8u_C4(px, count, at, colour);
    } else {
      kernels::RunColour32f colour{{}, tolerance_};
      for (int i = 0; i < 3; ++i)
        colour.channels[channel_[i]] = running_.c[i];
      return kernels::ColourRunLength32f_C4(px, count, at, colour);
    }
  }

  // Magenta when changes are shown, else the blurred colour of the source.
  void Mark(Point p) const {
    T* out = dst_.Row<T>(p.y) + static_cast<ptrdiff_t>(p.x) * 4;
    constexpr T kFull = std::is_same_v<T, uint8_t> ? T(255) : T(1);
    if (showChanged_) {
      out[channel_[0]] = kFull;
      out[channel_[1]] = T(0);
      out[channel_[2]] = kFull;
      return;
    }
    const T* above = Pixel(bordered_, p.x + kBorder, p.y + kBorder - 1);
    const T* centre = Pixel(bordered_, p.x + kBorder, p.y + kBorder);
    const T* below = Pixel(bordered_, p.x + kBorder, p.y + kBorder + 1);
    for (int i = 0; i < 3; ++i) {
      const int32_t c = channel_[i];
      out[c] = kernels::Gauss3x3Tap(above + c, centre + c, below + c);
    }
  }

  // One pass. `at` maps (outer, inner) to the image; the pattern's three lanes lie at
  // outer - 1, outer and outer + 1, and run from inner - 3 to inner + 2. `line` gives the
  // centre lane's pixels side by side in memory, from inner 0.
  template <typename Map, typename Line>
  void Walk(int32_t outerExtent, int32_t innerExtent, Map at, Line line) {
    const int32_t end = innerExtent - 3;
    for (int32_t outer = 1; outer <= outerExtent - 2; ++outer) {
      const T* centre = line(outer);
      for (int32_t inner = 3; inner < end;) {
        const Point here = at(outer, inner);
        // Most pixels match the running colour, which changes only where one does not: a
        // direct comparison settles the first, and a scan of the lane those after it.
        const T* px = centre + 4 * static_cast<ptrdiff_t>(inner);
        if (Matches({{px[channel_[0]], px[channel_[1]], px[channel_[2]]}}, running_)) {
          inner += 1 + RunLength(px + 4, end - inner - 1);
          continue;
        }
        // A flag is set where a pixel differs from its reference: the running colour for
        // the three cells before `inner`, and this pixel from it on. Flags are asked for
        // only as the runs reach them.
        const auto differs = [&](int32_t lane, int32_t i) {
          const Point p = at(outer + lane - 1, inner - 3 + i);
          return i < 3 ? !MatchesRunning(p) : !Match(p, here);
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
        int32_t up = std::max(run(0, 2, 0), run(2, 2, 0));
        int32_t down = up == 0 ? 0 : std::max(run(0, 3, 5), run(2, 3, 5));
        if (up != 0 && down != 0) {
          for (int32_t i = 1; i <= up; ++i)
            Mark(at(outer, inner - i));
          for (int32_t i = 0; i < down; ++i)
            Mark(at(outer, inner + i));
        } else {
          up = down = 0;
          if (softenLines_ && !MatchesRunning(at(outer - 1, inner)) &&
              !DiffersInAllFromRunning(at(outer - 1, inner - 1)) &&
              !MatchesRunning(at(outer + 1, inner)) &&
              !DiffersInAllFromRunning(at(outer + 1, inner - 1))) {
            // The line runs straight through here: soften the three cells before it.
            for (int lane = -1; lane <= 1; ++lane)
              Mark(at(outer + lane, inner - 1));
          }
        }
        if (down == 0) {
          Run(here);
          ++inner;
        } else {
          // The new running colour lies along the image row in both passes, to the right
          // of the pixel. In the column pass at the last column but one that reaches one
          // column past the frame, where the bordered copy repeats the edge pixel.
          Run({here.x + down - 1, here.y});
          inner += down + 1;
        }
      }
    }
  }

  const FrameBuffer& bordered_;
  const FrameBuffer& columns_;
  const FrameBuffer& dst_;
  int32_t width_;
  int32_t height_;
  int32_t channel_[3];  // red, green, blue
  Tolerance tolerance_;
  bool showChanged_;
  bool softenLines_;
  const uint16_t* masks_;
  ptrdiff_t maskPitch_;
  Rgb running_{};
  Point runningAt_{};
  bool runningKnown_ = false;
};

// The threshold below which two colours count as one: a high strength catches faint
// edges, and strength 1 makes any difference an edge.
int32_t Threshold(float strength) {
  if (!(strength >= 0.0f)) strength = 0.0f;  // also catches NaN
  strength = std::min(strength, 1.0f);
  return static_cast<int32_t>((1.0f - strength) * 255.0f);
}

// Whether more than one pixel in eight differs from the one below it, on every sixteenth
// row: the search then meets a pattern at most pixels, and reads the neighbours' matches
// as bits rather than comparing colours.
template <typename T, typename Tolerance>
bool ManyEdges(const FrameBuffer& bordered, int32_t width, int32_t height, const PixelLayout& l,
               Tolerance tolerance) {
  int64_t differing = 0;
  int64_t seen = 0;
  const int32_t channels[3] = {l.red, l.green, l.blue};
  for (int32_t y = 0; y + 1 < height; y += 16) {
    const T* row = bordered.Row<const T>(y + kBorder) + 4 * kBorder;
    const T* below = bordered.Row<const T>(y + kBorder + 1) + 4 * kBorder;
    for (int32_t x = 0; x < width; ++x) {
      bool same = true;
      for (const int32_t c : channels) {
        const T a = row[4 * x + c];
        const T b = below[4 * x + c];
        same = same && (a > b ? a - b : b - a) <= tolerance;
      }
      differing += same ? 0 : 1;
    }
    seen += width;
  }
  return differing * 8 > seen;
}

template <typename T>
bool Smooth(RenderSetup& setup, int32_t threshold, bool showChanged, bool softenLines) {
  const FrameBuffer& src = setup.src();
  FrameBuffer& dst = setup.dst();
  const int32_t width = setup.width();
  const int32_t height = setup.height();
  FrameBuffer bordered;
  if (!bordered.Allocate(width + 2 * kBorder, height + 2 * kBorder, src.pixelBytes, &setup.memory(),
                         src.format, src.flipped != 0)) {
    return false;
  }
  // The destination starts as the source, alpha included; the search changes colours only.
  // Both copies take each source row while it is in the cache, so the source is read once.
  const int32_t pixelBytes = src.pixelBytes;
  const kernels::ConstImageView picture = src.View().Sub(0, 0, width, height, pixelBytes);
  const kernels::ImageView inside =
      bordered.View().Sub(kBorder, kBorder, width, height, pixelBytes);
  const kernels::ImageView out = dst.View();
  for (int32_t y = 0; y < height; ++y) {
    const kernels::ConstImageView row = picture.Sub(0, y, width, 1, pixelBytes);
    if (kernels::CopyPixels(row, inside.Sub(0, y, width, 1, pixelBytes), pixelBytes) !=
            kernels::kOk ||
        kernels::CopyPixels(row, out.Sub(0, y, width, 1, pixelBytes), pixelBytes) != kernels::kOk) {
      return false;
    }
  }
  if (kernels::ReplicateBorder(bordered.View(), pixelBytes, kBorder, kBorder, kBorder, kBorder) !=
      kernels::kOk) {
    return false;
  }
  const kernels::ConstImageView inner = inside;
  // The column pass reads its centre lane along memory from a transposed copy.
  FrameBuffer columns;
  if (!columns.Allocate(height, width, src.pixelBytes, &setup.memory(), src.format, false) ||
      kernels::TransposePixels(inner, columns.View(), src.pixelBytes) != kernels::kOk) {
    return false;
  }
  // Floats compare on their own scale: the byte threshold over 255.
  typename StepSearch<T>::Tolerance tolerance = threshold;
  if constexpr (std::is_same_v<T, float>) tolerance = static_cast<float>(threshold) * 0.003921569f;
  // Each pixel's matches with its close neighbours, which the search reads as bits where
  // it meets many edges: a quick look at every sixteenth row says whether it will.
  const PixelLayout& layout = setup.srcLayout();
  FrameBuffer masks;
  uint16_t* maskBits = nullptr;
  ptrdiff_t maskPitch = 0;
  if (ManyEdges<T>(bordered, width, height, layout, tolerance)) {
    const kernels::ColourPositions at{layout.blue, layout.green, layout.red};
    if (!masks.Allocate(width, height, 2, &setup.memory(), src.format, false)) return false;
    // Rows of 16-bit masks need an even pitch, which a host's allocator need not give.
    if (masks.pitch % 2 != 0 && !masks.Allocate(width, height, 2, nullptr, src.format, false)) {
      return false;
    }
    maskBits = reinterpret_cast<uint16_t*>(masks.data);
    maskPitch = masks.pitch / 2;
    const kernels::Status matched =
        std::is_same_v<T, float>
            ? kernels::NeighbourMatches32f_C4(inner, at, static_cast<float>(tolerance), maskBits,
                                              maskPitch)
            : kernels::NeighbourMatches8u_C4(inner, at, static_cast<int32_t>(tolerance), maskBits,
                                             maskPitch);
    if (matched != kernels::kOk) return false;
  }
  StepSearch<T>(bordered, columns, dst, width, height, layout, tolerance, showChanged, softenLines,
                maskBits, maskPitch)
      .Run();
  return true;
}

}  // namespace

CEdgeSmoother::CEdgeSmoother() : EffectBase(kTable) {}

bool CEdgeSmoother::Render(IEffectHost* host, const HostFrame* source, uintptr_t /*unused*/,
                           HostFrame* destination, const RenderInfo* info) {
  RenderSetup setup(host, source, destination, info);
  if (!setup) return false;
  const ParamReader params(host);
  const bool showChanged = params.Read(kShowChanged);
  const int32_t threshold = Threshold(params.Read(kStrength));
  const bool softenLines = params.Read(kSoftenLines);
  return BySampleType(setup.srcLayout().isFloat, [&]<typename T>(Samples<T>) {
    return Smooth<T>(setup, threshold, showChanged, softenLines);
  });
}

}  // namespace vitrella
