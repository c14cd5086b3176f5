#include "effects/image_mapper_stages.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "core/frame_geometry.h"
#include "core/frame_ops.h"
#include "core/vector_clones.h"
#include "kernels/warp_quad.h"
#include "kernels/warp_strips.h"

namespace vitrella {
namespace {

constexpr int32_t kStripWarp = kernels::kInterLinear | kernels::kSmoothEdges;
constexpr double kPi = 3.14159265358979323846;

// A view of the top left width x height of a frame.
void Corner(const FrameBuffer& frame, int32_t width, int32_t height, FrameBuffer& view) {
  view.Attach(frame.data, width, height, frame.pitch, frame.pixelBytes, frame.format, false);
}

kernels::Status Warp(const FrameBuffer& src, FrameBuffer& dst, const kernels::Quad from,
                     const kernels::Quad to, int32_t width, int32_t height) {
  const kernels::Rect rect{0, 0, width, height};
  const bool bytes = dst.format == PixelFormat8BGRA || dst.format == PixelFormat8ARGB;
  return bytes ? kernels::WarpQuad8u_C4(src.View(), rect, from, dst.View(), rect, to, kStripWarp)
               : kernels::WarpQuad32f_C4(src.View(), rect, from, dst.View(), rect, to, kStripWarp);
}

// Whether the two quadrilaterals are the same corners: the warp is then the identity.
bool SameQuad(const kernels::Quad a, const kernels::Quad b) {
  for (int i = 0; i < 4; ++i) {
    if (a[i][0] != b[i][0] || a[i][1] != b[i][1]) return false;
  }
  return true;
}

int32_t Trunc(float v) {
  constexpr float kLimit = 1073741824.0f;
  return std::isnan(v) ? 0 : static_cast<int32_t>(std::clamp(v, -kLimit, kLimit));
}

// The sine bend of one side: its offset n, its base b (where a positive curve starts)
// and whether it bends at all.
struct Bend {
  bool on;
  double base, depth;
};

// Bends of the rows' ends, strip by strip across the columns: a rectangle of 8 columns
// and the whole height of a, warped into m (both w x h) with the ends following the sine.
void BendRows(const FrameBuffer& a, FrameBuffer& m, int32_t w, int32_t h, Bend top, Bend bottom) {
  const auto k = static_cast<double>(static_cast<float>(kPi) / static_cast<float>(w));
  const auto topAt = [&](int32_t x) {
    return top.on ? top.base - std::sin(k * x) * top.depth : 0.0;
  };
  const auto bottomAt = [&](int32_t x) {
    return bottom.on ? (h - 1) + bottom.base + std::sin(k * x) * bottom.depth : h - 1.0;
  };
  std::vector<kernels::WarpStrip> strips;
  strips.reserve(static_cast<size_t>(w) / kMapperStrip + 1);
  for (int32_t x0 = 0; x0 < w; x0 += kMapperStrip) {
    int32_t x1 = x0 + kMapperStrip;
    if (x1 >= w - 3) x1 = w - 1;
    const auto left = static_cast<double>(x0);
    const auto right = static_cast<double>(x1);
    // A strip of no width at the end is refused and left out.
    strips.push_back(
        {{{left, 0.0}, {right, 0.0}, {right, h - 1.0}, {left, h - 1.0}},
         {{left, topAt(x0)}, {right, topAt(x1)}, {right, bottomAt(x1)}, {left, bottomAt(x0)}}});
  }
  const int32_t count = static_cast<int32_t>(strips.size());
  const bool bytes = m.format == PixelFormat8BGRA || m.format == PixelFormat8ARGB;
  (void)(bytes ? kernels::WarpStrips8u_C4(a.View(), m.View(), strips.data(), count, kStripWarp)
               : kernels::WarpStrips32f_C4(a.View(), m.View(), strips.data(), count, kStripWarp));
}

// The same across the rows, for the columns' ends.
void BendColumns(const FrameBuffer& m, FrameBuffer& b, int32_t w, int32_t h, Bend left,
                 Bend right) {
  const auto s = [&](int32_t y) { return std::sin(kPi * y / h); };
  const auto leftAt = [&](int32_t y) { return left.on ? left.base - s(y) * left.depth : 0.0; };
  const auto rightAt = [&](int32_t y) {
    return right.on ? (w - 1) + right.base + s(y) * right.depth : w - 1.0;
  };
  for (int32_t y0 = 0; y0 < h; y0 += kMapperStrip) {
    int32_t y1 = y0 + kMapperStrip;
    if (y1 >= h - 3) y1 = h - 1;
    const kernels::Quad from = {{0.0, static_cast<double>(y0)},
                                {w - 1.0, static_cast<double>(y0)},
                                {w - 1.0, static_cast<double>(y1)},
                                {0.0, static_cast<double>(y1)}};
    const kernels::Quad to = {{leftAt(y0), static_cast<double>(y0)},
                              {rightAt(y0), static_cast<double>(y0)},
                              {rightAt(y1), static_cast<double>(y1)},
                              {leftAt(y1), static_cast<double>(y1)}};
    (void)Warp(m, b, from, to, w, h);
  }
}

// The side's bend for a curve c across an extent: depth trunc(extent c / 3); a positive
// curve starts from the depth (ends in), a negative one from 0 (middle in). `sign` turns
// the far sides' bases outwards.
Bend BendOf(float c, int32_t extent, int32_t sign) {
  const int32_t n = Trunc(static_cast<float>(extent) * c * 0.333333f);
  return {c != 0.0f, c >= 0.0f ? static_cast<double>(sign * n) : 0.0, static_cast<double>(n)};
}

// The box filter of k x kv over the region of w x h at (m, m) of a plane, reading the
// original values: column sums go down the rows, a running sum along each row.
template <typename T>
void BoxRegion(FrameBuffer& plane, int32_t w, int32_t h, int32_t k, int32_t kv, int32_t m,
               std::vector<T>& out) {
  using Sum = std::conditional_t<sizeof(T) == 1, int64_t, double>;
  const int32_t ay = kv >> 1;
  const int32_t pw = plane.width;
  std::vector<Sum> columns(static_cast<size_t>(pw), Sum{});
  for (int32_t j = 0; j < kv; ++j) {
    const T* row = plane.Row<const T>(m - ay + j);
    for (int32_t x = 0; x < pw; ++x)
      columns[static_cast<size_t>(x)] += row[x];
  }
  const Sum area = static_cast<Sum>(k) * kv;
  // Division by the area through its reciprocal: for bytes the quotient is then set right
  // by one step either way, so it is the integer quotient, rounded to nearest.
  const double reciprocal = 1.0 / static_cast<double>(area);
  const auto divide = [&](Sum sum) -> T {
    if constexpr (sizeof(T) == 1) {
      const Sum n = sum + area / 2;
      auto q = static_cast<Sum>(static_cast<double>(n) * reciprocal);
      if (q * area > n) --q;
      if ((q + 1) * area <= n) ++q;
      return static_cast<T>(q);
    } else {
      return static_cast<T>(sum * reciprocal);
    }
  };
  out.resize(static_cast<size_t>(w) * h);
  for (int32_t y = 0; y < h; ++y) {
    if (y > 0) {
      const T* leaving = plane.Row<const T>(m + y - 1 - ay);
      const T* coming = plane.Row<const T>(m + y - 1 - ay + kv);
      for (int32_t x = 0; x < pw; ++x)
        columns[static_cast<size_t>(x)] += static_cast<Sum>(coming[x]) - leaving[x];
    }
    Sum sum{};
    for (int32_t i = 0; i < k; ++i)
      sum += columns[static_cast<size_t>(i)];
    T* o = out.data() + static_cast<ptrdiff_t>(y) * w;
    for (int32_t x = 0; x < w; ++x) {
      if (x > 0)
        sum += columns[static_cast<size_t>(x) + static_cast<size_t>(k) - 1] -
               columns[static_cast<size_t>(x) - 1];
      o[x] = divide(sum);
    }
  }
  for (int32_t y = 0; y < h; ++y)
    std::copy_n(out.data() + static_cast<ptrdiff_t>(y) * w, w, plane.Row<T>(m + y) + m);
}

// The byte box filter where every window's sum fits in 31 bits, as the general one gives
// it, bit for bit. Column sums in 32 bits; a row's window sums as differences of a
// running total that may wrap, since each window's own sum still fits; the rounded
// quotient from the reciprocal, set right by one step either way. Each loop runs along
// memory without a carried value but the running total, so the compiler vectorises it.
VITRELLA_VECTOR_CLONES
void BoxRegionBytes(FrameBuffer& plane, int32_t w, int32_t h, int32_t k, int32_t kv, int32_t m,
                    std::vector<uint8_t>& out) {
  const int32_t ay = kv >> 1;
  const int32_t pw = plane.width;
  std::vector<uint32_t> columns(static_cast<size_t>(pw), 0u);
  std::vector<uint32_t> running(static_cast<size_t>(pw) + 1, 0u);
  uint32_t* col = columns.data();
  uint32_t* total = running.data();
  for (int32_t j = 0; j < kv; ++j) {
    const uint8_t* row = plane.Row<const uint8_t>(m - ay + j);
    for (int32_t x = 0; x < pw; ++x)
      col[x] += row[x];
  }
  const auto area = static_cast<uint32_t>(k) * static_cast<uint32_t>(kv);
  const uint32_t half = area / 2;
  const double reciprocal = 1.0 / static_cast<double>(area);
  out.resize(static_cast<size_t>(w) * h);
  for (int32_t y = 0; y < h; ++y) {
    if (y > 0) {
      const uint8_t* leaving = plane.Row<const uint8_t>(m + y - 1 - ay);
      const uint8_t* coming = plane.Row<const uint8_t>(m + y - 1 - ay + kv);
      for (int32_t x = 0; x < pw; ++x)
        col[x] = col[x] + coming[x] - leaving[x];
    }
    for (int32_t x = 0; x < w + k - 1; ++x)
      total[x + 1] = total[x] + col[x];
    uint8_t* o = out.data() + static_cast<ptrdiff_t>(y) * w;
    for (int32_t x = 0; x < w; ++x) {
      const uint32_t n = total[x + k] - total[x] + half;
      auto q = static_cast<uint32_t>(static_cast<int32_t>(static_cast<double>(n) * reciprocal));
      q -= q * area > n ? 1u : 0u;
      q += (q + 1) * area <= n ? 1u : 0u;
      o[x] = static_cast<uint8_t>(q);
    }
  }
  for (int32_t y = 0; y < h; ++y)
    std::copy_n(out.data() + static_cast<ptrdiff_t>(y) * w, w, plane.Row<uint8_t>(m + y) + m);
}

// Whether every window of k x kv bytes sums within 31 bits, with half the area added.
bool BoxFitsBytes(int32_t k, int32_t kv) {
  return int64_t{255} * k * kv + int64_t{k} * kv < (int64_t{1} << 31);
}

template <typename T>
bool Blur(FrameBuffer& s, int32_t alpha, int32_t k, int32_t kv, MemoryAllocator* memory) {
  const int32_t w = s.width;
  const int32_t h = s.height;
  const int32_t m = k >> 1;
  FrameBuffer plane;
  const PixelFormat gray = sizeof(T) == 1 ? PixelFormat8Gray : PixelFormat32FGray;
  if (!plane.Allocate(w + k, h + k, sizeof(T), memory, gray, false) || !ClearFrame(plane)) {
    return false;
  }
  for (int32_t y = 0; y < h; ++y) {
    const T* in = s.Row<const T>(y);
    T* out = plane.Row<T>(m + y) + m;
    for (int32_t x = 0; x < w; ++x)
      out[x] = in[4 * x + alpha];
  }
  std::vector<T> scratch;
  const auto box = [&] {
    if constexpr (sizeof(T) == 1) {
      if (BoxFitsBytes(k, kv)) return BoxRegionBytes(plane, w, h, k, kv, m, scratch);
    }
    BoxRegion<T>(plane, w, h, k, kv, m, scratch);
  };
  box();
  const T threshold = sizeof(T) == 1 ? T(253) : static_cast<T>(253.0f / 255.0f);
  // The zero border stays zero: only the box's own region is cut.
  for (int32_t y = 0; y < h; ++y) {
    T* row = plane.Row<T>(m + y) + m;
    for (int32_t x = 0; x < w; ++x) {
      if (row[x] < threshold) row[x] = T{};
    }
  }
  box();
  for (int32_t y = 0; y < h; ++y) {
    const T* in = plane.Row<const T>(m + y) + m;
    T* out = s.Row<T>(y);
    for (int32_t x = 0; x < w; ++x)
      out[4 * x + alpha] = in[x];
  }
  return true;
}

template <typename T>
void PutWhite(FrameBuffer& frame, int32_t x, int32_t y, int32_t w, int32_t h) {
  if (x < 0 || y < 0 || x >= w || y >= h) return;
  T* p = frame.Row<T>(y) + 4 * static_cast<ptrdiff_t>(x);
  std::fill_n(p, 4, sizeof(T) == 1 ? T(255) : T(1));
}

template <typename T>
void Outline(FrameBuffer& frame, const kernels::Quad corners, int32_t w, int32_t h) {
  for (int i = 0; i < 4; ++i) {
    const double* a = corners[i];
    const double* b = corners[(i + 1) % 4];
    const auto whole = [](double v) {
      return std::isfinite(v) ? static_cast<int32_t>(std::clamp(v, -1e9, 1e9)) : 0;
    };
    const int32_t x0 = whole(a[0]);
    const int32_t y0 = whole(a[1]);
    const int32_t x1 = whole(b[0]);
    const int32_t y1 = whole(b[1]);
    // Far corners of a wild shape still draw only what lies in the frame, in steps.
    const int64_t n = std::max(std::llabs(int64_t{x1} - x0), std::llabs(int64_t{y1} - y0));
    if (n > 0 && n < (int64_t{1} << 24)) {
      const double dx = static_cast<double>(x1 - x0) / static_cast<double>(n);
      const double dy = static_cast<double>(y1 - y0) / static_cast<double>(n);
      double x = x0;
      double y = y0;
      for (int64_t step = 1; step < n; ++step) {
        x += dx;
        y += dy;
        // The outline's own rounding: half added, then truncated toward 0.
        PutWhite<T>(frame, static_cast<int32_t>(x + 0.5),  // NOLINT(bugprone-incorrect-roundings)
                    static_cast<int32_t>(y + 0.5), w, h);  // NOLINT(bugprone-incorrect-roundings)
      }
    }
    PutWhite<T>(frame, x1, y1, w, h);
  }
}

}  // namespace

CropMargins CropMarginsOf(int32_t width, int32_t height, float crop, float aspect) {
  const auto w = static_cast<float>(width);
  const auto h = static_cast<float>(height);
  CropMargins c{Trunc(w * crop), Trunc(h * crop)};
  if (aspect > 0.0f) {
    c.cx += Trunc(w * aspect * aspect * aspect * 0.5f);
  } else {
    const float a = -aspect;
    c.cy += Trunc(h * a * a * a * 0.5f);
  }
  c.cx = std::clamp(c.cx, 0, (width >> 1) - 1);
  c.cy = std::clamp(c.cy, 0, (height >> 1) - 1);
  return c;
}

bool CropStage(const FrameBuffer& src, FrameBuffer& dst, CropMargins margins) {
  const int32_t w = std::min(src.width, dst.width);
  const int32_t h = std::min(src.height, dst.height);
  if (w < 2 || h < 2) return false;
  FrameBuffer out;
  Corner(dst, w, h, out);
  // No margin is a resize by 1: the picture itself.
  if (margins.cx == 0 && margins.cy == 0) return CopyFrame(src, out);
  const int32_t rw = w - 2 * margins.cx;
  const int32_t rh = h - 2 * margins.cy;
  return ResizeRect(src, {margins.cx, margins.cy, rw, rh}, out, static_cast<double>(w) / rw,
                    static_cast<double>(h) / rh, kernels::kInterCubic);
}

bool EdgeStage(const FrameBuffer& a, FrameBuffer& b, EdgeCurves curves, MemoryAllocator* memory) {
  if (!IsFourChannel(a) || !IsFourChannel(b) || a.format != b.format) return false;
  const int32_t w = std::min(a.width, b.width);
  const int32_t h = std::min(a.height, b.height);
  if (w < 16 || h < 16) return false;
  FrameBuffer source;
  Corner(a, w, h, source);
  FrameBuffer target;
  Corner(b, w, h, target);

  const Bend top = BendOf(curves.c0, h, 1);
  const Bend bottom = BendOf(curves.c1, h, -1);
  FrameBuffer bent;
  const FrameBuffer* m = &source;
  if (top.on || bottom.on) {
    if (!bent.Allocate(w, h, a.pixelBytes, memory, a.format, false) || !ClearFrame(bent)) {
      return false;
    }
    // Bends of no depth map every strip onto itself: the picture as it was.
    if (top.depth == 0.0 && bottom.depth == 0.0) {
      if (!CopyFrame(source, bent)) return false;
    } else {
      BendRows(source, bent, w, h, top, bottom);
    }
    m = &bent;
  }

  if (!ClearFrame(target)) return false;
  const Bend left = BendOf(curves.left, w, 1);
  const Bend right = BendOf(curves.right, w, -1);
  if ((!left.on && !right.on) || (left.depth == 0.0 && right.depth == 0.0)) {
    return CopyFrame(*m, target);
  }
  BendColumns(*m, target, w, h, left, right);
  return true;
}

bool EdgesStayStraight(EdgeCurves curves, int32_t width, int32_t height) {
  return BendOf(curves.c0, height, 1).depth == 0.0 && BendOf(curves.c1, height, -1).depth == 0.0 &&
         BendOf(curves.left, width, 1).depth == 0.0 && BendOf(curves.right, width, -1).depth == 0.0;
}

bool CornersOfTheFrame(const kernels::Quad corners, int32_t width, int32_t height) {
  const kernels::Quad whole = {
      {0.0, 0.0}, {width - 1.0, 0.0}, {width - 1.0, height - 1.0}, {0.0, height - 1.0}};
  return SameQuad(whole, corners);
}

bool BlurStage(FrameBuffer& s, float blur, bool field, MemoryAllocator* memory) {
  PixelLayout layout{};
  if (!IsFourChannel(s) || !FourChannelLayout(s, &layout)) return false;
  const double product = static_cast<float>(s.width) * blur;
  // Beyond four frames' width the shape is gone anyway; the kernel stays allocatable.
  const double most = 4.0 * std::max(s.width, s.height) + 3.0;
  int32_t k = std::isnan(product) ? 3 : static_cast<int32_t>(std::clamp(product * 0.49, 0.0, most));
  k = std::max(k, 3);
  int32_t kv = k;
  if (field) kv = std::max(k >> 1, 3);
  return layout.isFloat ? Blur<float>(s, layout.alpha, k, kv, memory)
                        : Blur<uint8_t>(s, layout.alpha, k, kv, memory);
}

bool CornerStage(const FrameBuffer& s, FrameBuffer& dst, const kernels::Quad corners) {
  if (!IsFourChannel(s) || !IsFourChannel(dst) || s.format != dst.format) return false;
  if (!ClearFrame(dst)) return false;
  const int32_t w = std::min(s.width, dst.width);
  const int32_t h = std::min(s.height, dst.height);
  const kernels::Quad whole = {
      {0.0, 0.0}, {s.width - 1.0, 0.0}, {s.width - 1.0, s.height - 1.0}, {0.0, s.height - 1.0}};
  // The corners of the picture itself: a copy.
  if (w == s.width && h == s.height && SameQuad(whole, corners)) return CopyFrame(s, dst);
  if (Warp(s, dst, whole, corners, w, h) < 0) {
    FrameBuffer inside;
    Corner(dst, w, h, inside);
    DrawQuadOutline(inside, corners);
  }
  return true;
}

void DrawQuadOutline(FrameBuffer& frame, const kernels::Quad corners) {
  switch (frame.format) {
    case PixelFormat8BGRA:
    case PixelFormat8ARGB:
      Outline<uint8_t>(frame, corners, frame.width, frame.height);
      break;
    case PixelFormat32FBGRA:
    case PixelFormat32FARGB:
      Outline<float>(frame, corners, frame.width, frame.height);
      break;
    default:
      break;
  }
}

}  // namespace vitrella
