#include "kernels/warp_strips.h"

#include <algorithm>
#include <vector>

#include "kernels/warp_quad_hwy.h"
#include "kernels/warp_quad_rows.h"

namespace vitrella::kernels {
namespace {

using StripRowFn = void (*)(const WarpSource& source, const StripRowMaps& maps, int32_t first,
                            int32_t end, uint8_t* row, int32_t mode);

// Room past the last column and strip for vector reads: the widest vector's floats.
constexpr int32_t kPad = 64;

// A strip of the row-at-a-time path: its warp, its destination columns and the rows it
// covers whole and unblended.
template <typename T>
struct ColumnStrip {
  const QuadRows<T, 4>* rows;
  int32_t x0, x1;
  int32_t fullFirst, fullLast;
};

// The destination columns x0 < x1 of a strip whose sides run down them.
bool ColumnsOf(const Quad to, int32_t width, int32_t& x0, int32_t& x1) {
  const double left = to[0][0];
  const double right = to[1][0];
  if (to[3][0] != left || to[2][0] != right || !(left >= 0.0) || !(right <= width - 1.0) ||
      !(left < right) || left != std::floor(left) || right != std::floor(right)) {
    return false;
  }
  x0 = static_cast<int32_t>(left);
  x1 = static_cast<int32_t>(right);
  return true;
}

// The rows where the strip covers all its columns, none blended: a run of rows, since each
// edge covers more of a row the further the row lies on the edge's inner side. Empty
// when the middle row of the strip is not one of them.
template <typename T>
void FindFullRows(ColumnStrip<T>& strip) {
  const Span whole{strip.x0, strip.x1};
  const auto full = [&](int32_t y) {
    return strip.rows->Covered(y) == whole && strip.rows->Inner(y, whole) == whole;
  };
  const int32_t first = strip.rows->FirstRow();
  const int32_t last = strip.rows->LastRow();
  const int32_t middle = first + (last - first) / 2;
  strip.fullFirst = 1;
  strip.fullLast = 0;
  if (last < first || !full(middle)) return;
  int32_t low = first, high = middle;  // the first full row lies in low..high
  while (low < high) {
    const int32_t mid = low + (high - low) / 2;
    if (full(mid)) {
      high = mid;
    } else {
      low = mid + 1;
    }
  }
  strip.fullFirst = low;
  low = middle;
  high = last;  // the last full row lies in low..high
  while (low < high) {
    const int32_t mid = low + (high - low + 1) / 2;
    if (full(mid)) {
      low = mid;
    } else {
      high = mid - 1;
    }
  }
  strip.fullLast = low;
}

// The strips as columns in order across the picture, or empty when they are not.
template <typename T>
std::vector<ColumnStrip<T>> ColumnStrips(const std::vector<QuadRows<T, 4>>& rows,
                                         const WarpStrip* strips, int32_t width) {
  std::vector<ColumnStrip<T>> columns;
  if (rows.empty() || UseReferenceKernels() || !rows.front().VectorOffsetsFit()) return columns;
  if (rows.front().mode() == kInterCubic) return columns;
  for (size_t k = 0; k < rows.size(); ++k) {
    if (rows[k].status() != kOk) continue;
    ColumnStrip<T> strip{&rows[k], 0, 0, 1, 0};
    if (!ColumnsOf(strips[k].to, width, strip.x0, strip.x1)) return {};
    if (!columns.empty() && (strip.x0 <= columns.back().x0 || strip.x0 > columns.back().x1 + 1)) {
      return {};
    }
    FindFullRows(strip);
    columns.push_back(strip);
  }
  return columns;
}

template <typename T>
class StripRows {
 public:
  StripRows(const std::vector<ColumnStrip<T>>& strips, int32_t width)
      : strips_(strips),
        maps_(6 * (strips.size() + kPad)),
        owner_(width + kPad),
        place_(width + kPad) {
    // Each column takes the last strip that starts at or before it.
    size_t k = 0;
    for (int32_t x = 0; x < width + kPad; ++x) {
      while (k + 1 < strips.size() && strips[k + 1].x0 <= x)
        ++k;
      owner_[x] = static_cast<int32_t>(k);
      place_[x] = static_cast<float>(x - strips[k].x0);
    }
    const size_t stride = strips.size() + kPad;
    float* m = maps_.data();
    view_ = {m,
             m + stride,
             m + 2 * stride,
             m + 3 * stride,
             m + 4 * stride,
             m + 5 * stride,
             owner_.data(),
             place_.data()};
  }

  void Row(int32_t y, uint8_t* row, StripRowFn stripRow) {
    const size_t n = strips_.size();
    size_t runStart = n;  // none
    for (size_t k = 0; k <= n; ++k) {
      if (k < n && y >= strips_[k].fullFirst && y <= strips_[k].fullLast) {
        if (runStart == n) runStart = k;
        const WarpRowMap m = strips_[k].rows->MapAt(strips_[k].x0, y);
        float* at = maps_.data() + k;
        const size_t stride = n + kPad;
        at[0] = m.a;
        at[stride] = m.b;
        at[2 * stride] = m.c;
        at[3 * stride] = m.d;
        at[4 * stride] = m.e;
        at[5 * stride] = m.f;
        continue;
      }
      if (runStart != n) {
        Run(runStart, k - 1, y, row, stripRow);
        runStart = n;
      }
      if (k < n && y >= strips_[k].rows->FirstRow() && y <= strips_[k].rows->LastRow()) {
        strips_[k].rows->Row(y);
      }
    }
  }

 private:
  // Strips first..last, all whole on row y, in one pass; the columns that a later strip
  // also starts on belong to the last strip here, which writes them on its own.
  void Run(size_t first, size_t last, int32_t y, uint8_t* row, StripRowFn stripRow) {
    const ColumnStrip<T>& end = strips_[last];
    const int32_t stop =
        last + 1 < strips_.size() ? std::min(end.x1 + 1, strips_[last + 1].x0) : end.x1 + 1;
    stripRow(end.rows->Source(), view_, strips_[first].x0, stop, row, end.rows->mode());
    if (stop <= end.x1) end.rows->Row(y);
  }

  const std::vector<ColumnStrip<T>>& strips_;
  std::vector<float> maps_;
  std::vector<int32_t> owner_;
  std::vector<float> place_;
  StripRowMaps view_{};
};

template <typename T>
Status Warp(ConstImageView src, ImageView dst, const WarpStrip* strips, int32_t count,
            int32_t interpolation, WarpRowFn vectorRow, StripRowFn stripRow) {
  ConstImageView checked = src;
  if (checked.pitch == 0) checked.pitch = 1;
  if (Status s = CheckViews(checked, dst); s != kOk) return s;
  if (count < 0) return kBadSize;
  if (count > 0 && strips == nullptr) return kNullPointer;
  const int32_t mode = interpolation & ~kSmoothEdges;
  if (mode != kInterNearest && mode != kInterLinear && mode != kInterCubic) {
    return kBadInterpolation;
  }
  const Rect srcRect{0, 0, src.width, src.height};
  const Rect dstRect{0, 0, dst.width, dst.height};
  std::vector<QuadRows<T, 4>> rows;
  rows.reserve(static_cast<size_t>(count));
  for (int32_t k = 0; k < count; ++k) {
    rows.emplace_back(src, srcRect, strips[k].from, dst, dstRect, strips[k].to, interpolation,
                      vectorRow);
  }
  const std::vector<ColumnStrip<T>> columns = ColumnStrips(rows, strips, dst.width);
  if (columns.empty()) {
    for (const QuadRows<T, 4>& strip : rows) {
      if (strip.status() != kOk) continue;
      for (int32_t y = strip.FirstRow(); y <= strip.LastRow(); ++y)
        strip.Row(y);
    }
    return kOk;
  }
  int32_t firstY = columns.front().rows->FirstRow();
  int32_t lastY = columns.front().rows->LastRow();
  for (const ColumnStrip<T>& strip : columns) {
    firstY = std::min(firstY, strip.rows->FirstRow());
    lastY = std::max(lastY, strip.rows->LastRow());
  }
  StripRows<T> across(columns, dst.width);
  for (int32_t y = firstY; y <= lastY; ++y)
    across.Row(y, dst.Row(y), stripRow);
  return kOk;
}

}  // namespace

Status WarpStrips8u_C4(ConstImageView src, ImageView dst, const WarpStrip* strips, int32_t count,
                       int32_t interpolation) {
  return Warp<uint8_t>(src, dst, strips, count, interpolation, vector::WarpRow8u_C4,
                       vector::WarpStripRow8u_C4);
}

Status WarpStrips32f_C4(ConstImageView src, ImageView dst, const WarpStrip* strips, int32_t count,
                        int32_t interpolation) {
  return Warp<float>(src, dst, strips, count, interpolation, vector::WarpRow32f_C4,
                     vector::WarpStripRow32f_C4);
}

}  // namespace vitrella::kernels
