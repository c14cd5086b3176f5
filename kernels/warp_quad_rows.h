// The rows of one quadrilateral warp, for the warps of warp_quad.h and warp_strips.h:
// which pixels of a destination row the quadrilateral covers, the inverse map along the
// row, and the writing of one row with its smoothed edges.
#pragma once

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdint>

#include "kernels/dispatch.h"
#include "kernels/image.h"
#include "kernels/projective.h"
#include "kernels/rect.h"
#include "kernels/warp_quad_pixel.h"

namespace vitrella::kernels {

// Pixel centres this near an edge count as on it, so that a quadrilateral through pixel
// centres covers them whatever the rounding of its edge lines.
constexpr double kOnEdge = 1e-9;

// One edge of the destination quadrilateral as a line: a x + b y + c is the signed
// distance of (x, y) from it, positive inside. Smoothing passes over an edge that runs
// along a pixel row or column: it has no staircase to soften, and pictures cut into
// strips along such lines (as warps of a picture in pieces are) then join without seams.
struct EdgeLine {
  double a, b, c;
  bool smoothed;
};

inline void EdgeLines(const Quad quad, int32_t winding, EdgeLine lines[4]) {
  for (int i = 0; i < 4; ++i) {
    const double* p = quad[i];
    const double* q = quad[(i + 1) % 4];
    const double ex = q[0] - p[0];
    const double ey = q[1] - p[1];
    const double scale = winding / std::hypot(ex, ey);
    // The inside lies on the side that the corners turn to.
    const double a = -ey * scale;
    const double b = ex * scale;
    const bool alongAxis = std::fabs(a) < 1e-12 || std::fabs(b) < 1e-12;
    lines[i] = {a, b, -(a * p[0] + b * p[1]), !alongAxis};
  }
}

// Columns first to last of a row; empty when first > last.
struct Span {
  int32_t first;
  int32_t last;
};

inline bool operator==(Span a, Span b) {
  return a.first == b.first && a.last == b.last;
}

// The pixels of a row, among left..right, whose centres lie inside every edge, and at least
// `inset` inside every smoothed one: each edge bounds x from one side, or the whole row when
// it runs along the row. The bounds of edges that run down a column are the same on every
// row, and are worked out once.
class RowSpans {
 public:
  RowSpans() = default;
  RowSpans(const EdgeLine lines[4], double inset) {
    for (int i = 0; i < 4; ++i) {
      const EdgeLine& line = lines[i];
      if (line.b == 0.0 && std::fabs(line.a) >= 1e-12) {
        const double need = Need(line, 0.0, inset);
        if (line.a > 0.0) {
          low_ = std::fmax(low_, need / line.a);
        } else {
          high_ = std::fmin(high_, need / line.a);
        }
      } else {
        rowLines_[rowCount_++] = line;
      }
    }
  }

  Span At(double y, double inset, int32_t left, int32_t right) const {
    double low = std::fmax(left, low_);
    double high = std::fmin(right, high_);
    for (int i = 0; i < rowCount_; ++i) {
      const EdgeLine& line = rowLines_[i];
      const double need = Need(line, y, inset);  // a x >= need
      if (std::fabs(line.a) < 1e-12) {
        if (need > 0.0) return {left, left - 1};
      } else if (line.a > 0.0) {
        low = std::fmax(low, need / line.a);
      } else {
        high = std::fmin(high, need / line.a);
      }
    }
    if (!(low <= high)) return {left, left - 1};
    return {static_cast<int32_t>(std::ceil(low)), static_cast<int32_t>(std::floor(high))};
  }

 private:
  static double Need(const EdgeLine& line, double y, double inset) {
    const double margin = line.smoothed ? inset : 0.0;
    return margin - kOnEdge - (line.b * y + line.c);
  }

  double low_ = -HUGE_VAL;
  double high_ = HUGE_VAL;
  EdgeLine rowLines_[4] = {};
  int rowCount_ = 0;
};

// Coverage of the pixel at (x, y) for edge smoothing: per smoothed edge, 1/2 plus the
// distance inside, clamped to 0..1, multiplied over the edges.
inline float Coverage(const EdgeLine lines[4], double x, double y) {
  double coverage = 1.0;
  for (int i = 0; i < 4; ++i) {
    if (!lines[i].smoothed) continue;
    const double share = 0.5 + lines[i].a * x + lines[i].b * y + lines[i].c;
    coverage *= share < 0.0 ? 0.0 : share > 1.0 ? 1.0 : share;
  }
  return static_cast<float>(coverage);
}

inline float ToFloat(double value) {
  return static_cast<float>(value < -FLT_MAX ? -FLT_MAX : value > FLT_MAX ? FLT_MAX : value);
}

// The inverse map along row y from its pixel `base`, relative to the source rectangle.
// Taken at the row's first covered pixel, the floats stay as exact as the row allows.
inline WarpRowMap RowMap(const ProjectiveMap& map, int32_t base, int32_t y, const Rect& srcRect) {
  const double* m = map.m;
  const double e = m[6] * base + m[7] * y + m[8];
  const double f = m[6];
  const double a = m[0] * base + m[1] * y + m[2] - srcRect.x * e;
  const double b = m[0] - srcRect.x * f;
  const double c = m[3] * base + m[4] * y + m[5] - srcRect.y * e;
  const double d = m[3] - srcRect.y * f;
  return {ToFloat(a), ToFloat(b), ToFloat(c), ToFloat(d), ToFloat(e), ToFloat(f)};
}

using WarpRowFn = void (*)(const WarpSource& source, const WarpRowMap& map, int32_t first,
                           int32_t end, uint8_t* base, int32_t mode);

// One warp of srcQuad onto dstQuad, checked on construction and then written a row at a
// time. Rows are independent: any order of rows writes the same bytes.
template <typename T, int kChannels>
class QuadRows {
 public:
  static constexpr int32_t kPixelBytes = kChannels * sizeof(T);

  QuadRows(ConstImageView src, Rect srcRect, const Quad srcQuad, ImageView dst, Rect dstRect,
           const Quad dstQuad, int32_t interpolation, WarpRowFn vectorRow)
      : srcRect_(srcRect), dst_(dst), dstRect_(dstRect) {
    status_ = Check(src, dst, srcQuad, dstQuad, interpolation);
    if (status_ != kOk) return;
    smooth_ = (interpolation & kSmoothEdges) != 0;
    mode_ = interpolation & ~kSmoothEdges;
    map_ = QuadToQuad(dstQuad, srcQuad);
    EdgeLines(dstQuad, QuadWinding(dstQuad), lines_);
    source_ = {src.Sub(srcRect.x, srcRect.y, 1, 1, kPixelBytes).data, src.pitch, srcRect.width,
               srcRect.height};
    // Vector rows gather with 32-bit byte offsets into the source rectangle.
    vectorOffsetsFit_ = (static_cast<double>(srcRect.height) - 1) * src.pitch +
                            static_cast<double>(srcRect.width) * kPixelBytes <=
                        INT32_MAX;
    row_ = UseReferenceKernels() || !vectorOffsetsFit_ ? WarpRow<T, kChannels> : vectorRow;

    double top = dstQuad[0][1], bottom = dstQuad[0][1];
    double left = dstQuad[0][0], right = dstQuad[0][0];
    for (int i = 1; i < 4; ++i) {
      top = std::fmin(top, dstQuad[i][1]);
      bottom = std::fmax(bottom, dstQuad[i][1]);
      left = std::fmin(left, dstQuad[i][0]);
      right = std::fmax(right, dstQuad[i][0]);
    }
    if (right < dstRect.x - kOnEdge || left > dstRect.x + dstRect.width - 1.0 + kOnEdge ||
        bottom < dstRect.y - kOnEdge || top > dstRect.y + dstRect.height - 1.0 + kOnEdge) {
      status_ = kNoOverlap;
      return;
    }
    // Clamped to the rectangle before conversion: corners may lie far outside it.
    const double firstRow = dstRect.y;
    const double lastRow = dstRect.y + dstRect.height - 1.0;
    firstY_ =
        static_cast<int32_t>(std::fmin(std::fmax(firstRow, std::ceil(top - kOnEdge)), lastRow + 1));
    lastY_ = static_cast<int32_t>(
        std::fmax(std::fmin(lastRow, std::floor(bottom + kOnEdge)), firstRow - 1));
    covered_ = RowSpans(lines_, 0.0);
    inside_ = RowSpans(lines_, 0.5);
  }

  // kOk when rows may be written; otherwise what the warp reports, having written nothing.
  Status status() const { return status_; }
  int32_t FirstRow() const { return firstY_; }
  int32_t LastRow() const { return lastY_; }
  int32_t mode() const { return mode_; }
  bool VectorOffsetsFit() const { return vectorOffsetsFit_; }
  const WarpSource& Source() const { return source_; }

  // The pixels of row y that the quadrilateral covers.
  Span Covered(int32_t y) const {
    return covered_.At(y, 0.0, dstRect_.x, dstRect_.x + dstRect_.width - 1);
  }
  // Those of `span` that take the sample as it is, not blended by coverage.
  Span Inner(int32_t y, Span span) const {
    return smooth_ ? inside_.At(y, 0.5, span.first, span.last) : span;
  }
  WarpRowMap MapAt(int32_t base, int32_t y) const { return RowMap(map_, base, y, srcRect_); }

  // Writes row y; false when the quadrilateral covers none of it.
  bool Row(int32_t y) const {
    const Span span = Covered(y);
    if (span.first > span.last) return false;
    // Every position of the row counts from its first pixel, in both passes below, so that
    // a pixel samples the same with smoothing as without.
    const WarpRowMap rowMap = MapAt(span.first, y);
    uint8_t* base = dst_.Row(y) + static_cast<ptrdiff_t>(span.first) * kPixelBytes;
    const Span inner = Inner(y, span);
    const bool hasInner = inner.first <= inner.last;
    if (hasInner) {
      row_(source_, rowMap, inner.first - span.first, inner.last + 1 - span.first, base, mode_);
    }
    if (!smooth_) return true;
    // The pixels less than half a pixel inside an edge, on either side of the inner run.
    const auto blendEdge = [&](int32_t from, int32_t to) {
      for (int32_t x = from; x < to; ++x) {
        const int32_t i = x - span.first;
        float value[4];
        SampleAt<T, kChannels>(source_, MapAlongRow(rowMap, i), mode_, value);
        BlendSample<kChannels>(value, Coverage(lines_, x, y),
                               base + static_cast<ptrdiff_t>(i) * kPixelBytes, T{});
      }
    };
    blendEdge(span.first, hasInner ? inner.first : span.last + 1);
    if (hasInner) blendEdge(inner.last + 1, span.last + 1);
    return true;
  }

 private:
  static bool ValidMode(int32_t mode) {
    return mode == kInterNearest || mode == kInterLinear || mode == kInterCubic;
  }

  Status Check(ConstImageView src, ImageView dst, const Quad srcQuad, const Quad dstQuad,
               int32_t interpolation) const {
    // A source of pitch 0 holds its one row for all its rows: checked as if it had a pitch.
    ConstImageView checked = src;
    if (checked.pitch == 0) checked.pitch = 1;
    if (Status s = CheckViews(checked, dst); s != kOk) return s;
    if (srcQuad == nullptr || dstQuad == nullptr) return kNullPointer;
    if (!RectInside(srcRect_, src.Extent()) || !RectInside(dstRect_, dst.Extent())) {
      return kBadSize;
    }
    if (!ValidMode(interpolation & ~kSmoothEdges)) return kBadInterpolation;
    if (QuadWinding(dstQuad) == 0 || QuadWinding(srcQuad) == 0) return kBadQuadrilateral;
    return kOk;
  }

  Rect srcRect_;
  ImageView dst_;
  Rect dstRect_;
  Status status_ = kOk;
  bool smooth_ = false;
  int32_t mode_ = 0;
  ProjectiveMap map_{};
  EdgeLine lines_[4] = {};
  WarpSource source_;
  bool vectorOffsetsFit_ = false;
  WarpRowFn row_ = nullptr;
  int32_t firstY_ = 0;
  int32_t lastY_ = -1;
  RowSpans covered_;
  RowSpans inside_;
};

}  // namespace vitrella::kernels
