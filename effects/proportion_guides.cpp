#include "effects/proportion_guides.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "core/frame_ops.h"
#include "core/strip_rotation.h"

namespace vitrella {
namespace {

// Keeps the darker of the pixel and the value; outside the mask nothing happens.
void Darken(FrameBuffer& mask, int32_t x, int32_t y, int32_t value) {
  if (x < 0 || y < 0 || x >= mask.width || y >= mask.height) return;
  uint8_t& p = mask.Row<uint8_t>(y)[x];
  p = static_cast<uint8_t>(std::min<int32_t>(p, std::clamp(value, 0, 255)));
}

struct Point {
  int32_t x, y;
};

// Copies a work picture into the box at (x, y) through a mirror, keeping the darker value.
void PlaceMirrored(const FrameBuffer& work, FrameBuffer& box, int32_t x, int32_t y,
                   bool reverseRows, bool reverseColumns) {
  for (int32_t j = 0; j < work.height; ++j) {
    const int32_t ty = y + (reverseRows ? work.height - 1 - j : j);
    if (ty < 0 || ty >= box.height) continue;
    const uint8_t* in = work.Row<const uint8_t>(j);
    uint8_t* out = box.Row<uint8_t>(ty);
    for (int32_t i = 0; i < work.width; ++i) {
      const int32_t tx = x + (reverseColumns ? work.width - 1 - i : i);
      if (tx >= 0 && tx < box.width) out[tx] = std::min(out[tx], in[i]);
    }
  }
}

void Fill(FrameBuffer& mask, uint8_t value) {
  for (int32_t y = 0; y < mask.height; ++y)
    std::fill_n(mask.Row<uint8_t>(y), mask.width, value);
}

// A bar of `thickness` turned onto the box so that its middle line runs along a to b.
bool DrawBar(FrameBuffer& box, Point a, Point b, int32_t thickness, MemoryAllocator* memory) {
  const double dx = b.x - a.x;
  const double dy = b.y - a.y;
  const auto length =
      static_cast<int32_t>(1.5 * std::sqrt(static_cast<double>(box.width) * box.width +
                                           static_cast<double>(box.height) * box.height)) +
      2;
  FrameBuffer bar;
  if (!bar.Allocate(thickness, length, 1, memory, PixelFormat8Gray, false)) return false;
  Fill(bar, 0);
  // The bar's long axis runs along (sin θ, cos θ) of the rotation.
  const auto theta = static_cast<float>(std::atan2(dx, dy) * (180.0 / 3.14159265358979323846));
  const double rad = theta * (3.14159265358979323846 / 180.0);
  const double s = std::sin(rad);
  const double c = std::cos(rad);
  const double mx = (a.x + b.x) * 0.5;
  const double my = (a.y + b.y) * 0.5;
  const double u = (thickness - 1) * 0.5;
  const double v = (length - 1) * 0.5;
  return StripRotated(
      RotateStrip(bar, box, theta, mx - u * c - v * s, my + u * s - v * c, kStripLinearSmooth));
}

// Straight guides: one-pixel lines in the thin mode, bars otherwise.
bool DrawStraight(FrameBuffer& box, Point a, Point b, int32_t thickness, MemoryAllocator* memory) {
  if (thickness < 2) {
    DrawThinLine(box, a.x, a.y, b.x, b.y);
    return true;
  }
  return DrawBar(box, a, b, thickness, memory);
}

int32_t Golden(int32_t extent) {
  return static_cast<int32_t>(static_cast<float>(extent) * kGoldenRatio);
}
int32_t GoldenRest(int32_t extent) {
  const auto e = static_cast<float>(extent);
  return static_cast<int32_t>(e - e * kGoldenRatio);
}

// The seven quarter arcs of the golden spiral, each in its own work picture.
bool DrawSpiral(FrameBuffer& box, MemoryAllocator* memory) {
  const int32_t bw = box.width;
  const int32_t bh = box.height;
  const GoldenSteps g = GoldenStepsOf(bw, bh);
  struct Arc {
    int32_t w, h, x, y;
    bool rows, columns;
  };
  const Arc arcs[] = {
      {g.x1, bh, 0, 0, true, false},
      {bw - g.x1, g.y1, g.x1, 0, true, true},
      {bw - g.x2, bh - g.y1, g.x2, g.y1, false, true},
      {g.x2 - g.x1, bh - g.y2, g.x1, g.y2, false, false},
      {g.x3 - g.x1, g.y2 - g.y1, g.x1, g.y1, true, false},
      {g.x2 - g.x3, g.y3 - g.y1, g.x3, g.y1, true, true},
      {g.x2 - g.x3, g.y2 - g.y3, g.x3, g.y3, false, true},
  };
  for (const Arc& arc : arcs) {
    if (arc.w < 1 || arc.h < 1) continue;
    FrameBuffer work;
    if (!work.Allocate(arc.w, arc.h, 1, memory, PixelFormat8Gray, false)) return false;
    Fill(work, 255);
    const int32_t r = std::min(arc.w, arc.h);
    DrawQuarterArc(work, r, 0, r, arc.w, arc.h, true);
    PlaceMirrored(work, box, arc.x, arc.y, arc.rows, arc.columns);
  }
  return true;
}

// Stamps the disc brush on every pixel of the guide, in a copy padded by the thickness so
// that the brush never needs cutting.
bool Thicken(FrameBuffer& box, int32_t thickness, MemoryAllocator* memory) {
  int32_t s = 0;
  const std::vector<uint8_t> brush = DiscBrush(thickness, &s);
  const int32_t t = thickness;
  FrameBuffer padded;
  if (!padded.Allocate(box.width + 2 * t, box.height + 2 * t, 1, memory, PixelFormat8Gray, false)) {
    return false;
  }
  Fill(padded, 255);
  if (!CopyFrameRect(box, {0, 0, box.width, box.height}, padded, t, t)) return false;
  const int32_t half = s >> 1;
  for (int32_t y = 0; y < box.height; ++y) {
    const uint8_t* row = box.Row<const uint8_t>(y);
    for (int32_t x = 0; x < box.width; ++x) {
      if (row[x] == 255) continue;
      for (int32_t j = 0; j < s; ++j) {
        uint8_t* out = padded.Row<uint8_t>(y + t - half + j) + (x + t - half);
        const uint8_t* b = brush.data() + static_cast<ptrdiff_t>(j) * s;
        for (int32_t i = 0; i < s; ++i)
          out[i] = static_cast<uint8_t>(std::max(0, out[i] - b[i]));
      }
    }
  }
  return CopyFrameRect(padded, {t, t, box.width, box.height}, box, 0, 0);
}

}  // namespace

void DrawThinLine(FrameBuffer& mask, int32_t x0, int32_t y0, int32_t x1, int32_t y1) {
  const int32_t dx = x1 - x0;
  const int32_t dy = y1 - y0;
  const int32_t n = std::max(std::abs(dx), std::abs(dy));
  if (n == 0) {
    Darken(mask, x0, y0, 128);
    return;
  }
  const bool alongX = std::abs(dx) >= std::abs(dy);
  for (int32_t i = 0; i <= n; ++i) {
    // Position along the minor axis, and the major coordinate of this step.
    const double minor =
        alongX ? y0 + static_cast<double>(dy) * i / n : x0 + static_cast<double>(dx) * i / n;
    const int32_t major = alongX ? x0 + (dx > 0 ? i : -i) : y0 + (dy > 0 ? i : -i);
    const double base = std::floor(minor);
    const double f = minor - base;
    int32_t first = 0;
    int32_t second = 0;
    if (i == 0 || i == n) {
      first = static_cast<int32_t>(255.0 - (1.0 - f) * 127.5);
      second = static_cast<int32_t>(255.0 - f * 127.5);
    } else {
      first = static_cast<int32_t>(f * 255.0);
      second = 255 - first;
    }
    const auto b = static_cast<int32_t>(base);
    if (alongX) {
      Darken(mask, major, b, first);
      Darken(mask, major, b + 1, second);
    } else {
      Darken(mask, b, major, first);
      Darken(mask, b + 1, major, second);
    }
  }
}

void DrawQuarterArc(FrameBuffer& mask, int32_t cx, int32_t cy, int32_t r, int32_t w, int32_t h,
                    bool stretch) {
  if (r < 1) return;
  const auto place = [&](int64_t px, int64_t py) -> Point {
    if (!stretch) return {static_cast<int32_t>(px), static_cast<int32_t>(py)};
    return {static_cast<int32_t>(px * w / r), static_cast<int32_t>(py * h / r)};
  };
  const auto inside = [&](Point p) {
    return p.x >= 0 && p.y >= 0 && p.x < mask.width && p.y < mask.height;
  };
  Point last[2] = {};
  bool have[2] = {false, false};
  int32_t farRow = -1;
  int32_t farColumn = -1;
  const auto visit = [&](int octant, Point p) {
    if (!inside(p)) return;
    if (have[octant] && p.x == last[octant].x && p.y == last[octant].y) return;
    if (have[octant]) DrawThinLine(mask, last[octant].x, last[octant].y, p.x, p.y);
    last[octant] = p;
    have[octant] = true;
    if (p.y > farRow || (p.y == farRow && p.x > farColumn)) {
      farRow = p.y;
      farColumn = p.x;
    }
  };
  int32_t i = 0;
  int32_t y = r;
  int32_t d = 3 - 2 * r;
  while (y >= i) {
    Point a = place(cx - i, cy + y);
    // The first octant's end touches the far row, one past the mask.
    if (a.y >= mask.height) a.y = mask.height - 1;
    visit(0, a);
    visit(1, place(cx - y, cy + i));
    if (d >= 0) {
      d += 4 * (i - y) + 10;
      --y;
    } else {
      d += 4 * i + 6;
    }
    ++i;
  }
  if (have[0] && have[1]) DrawThinLine(mask, last[0].x, last[0].y, last[1].x, last[1].y);
  if (farRow >= 0) {
    uint8_t* row = mask.Row<uint8_t>(farRow);
    std::fill(row + farColumn, row + mask.width, uint8_t{0});
  }
}

void DrawBand(FrameBuffer& mask, bool vertical, int32_t at, int32_t thickness, int32_t from,
              int32_t to) {
  const int32_t across = vertical ? mask.width : mask.height;
  const int32_t along = vertical ? mask.height : mask.width;
  const int32_t start = std::max(0, at - (thickness >> 1));
  const int32_t end = std::min(across, start + thickness);
  from = std::max(0, from);
  to = std::min(along, to);
  for (int32_t k = from; k < to; ++k) {
    for (int32_t c = start; c < end; ++c) {
      if (vertical) {
        mask.Row<uint8_t>(k)[c] = 0;
      } else {
        mask.Row<uint8_t>(c)[k] = 0;
      }
    }
  }
}

std::vector<uint8_t> DiscBrush(int32_t thickness, int32_t* size) {
  const int32_t s = thickness | 1;
  *size = s;
  // The disc, in a copy with a border of two zeros for the filter's taps.
  const int32_t p = s + 4;
  std::vector<int32_t> padded(static_cast<size_t>(p) * p, 0);
  const double c = s >> 1;
  const double r2 = (s * 0.5) * (s * 0.5);
  for (int32_t y = 0; y < s; ++y) {
    for (int32_t x = 0; x < s; ++x) {
      if ((x - c) * (x - c) + (y - c) * (y - c) <= r2)
        padded[static_cast<size_t>(y + 2) * p + (x + 2)] = 255;
    }
  }
  constexpr int32_t kTaps[5] = {1, 4, 6, 4, 1};
  std::vector<uint8_t> brush(static_cast<size_t>(s) * s);
  for (int32_t y = 0; y < s; ++y) {
    for (int32_t x = 0; x < s; ++x) {
      int32_t sum = 0;
      for (int32_t j = 0; j < 5; ++j) {
        for (int32_t i = 0; i < 5; ++i)
          sum += kTaps[j] * kTaps[i] * padded[static_cast<size_t>(y + j) * p + (x + i)];
      }
      brush[static_cast<size_t>(y) * s + x] = static_cast<uint8_t>((sum + 128) >> 8);
    }
  }
  return brush;
}

GoldenSteps GoldenStepsOf(int32_t bw, int32_t bh) {
  GoldenSteps g{};
  g.x1 = Golden(bw);
  g.y1 = Golden(bh);
  g.x2 =
      static_cast<int32_t>(static_cast<float>(bw) - static_cast<float>(bw - g.x1) * kGoldenRatio);
  g.y2 =
      static_cast<int32_t>(static_cast<float>(bh) - static_cast<float>(bh - g.y1) * kGoldenRatio);
  g.x3 = static_cast<int32_t>(static_cast<float>(g.x2 - g.x1) * kGoldenRatio +
                              static_cast<float>(g.x1));
  g.y3 = static_cast<int32_t>(static_cast<float>(g.y2 - g.y1) * kGoldenRatio +
                              static_cast<float>(g.y1));
  return g;
}

bool DrawGuideShape(FrameBuffer& box, GuideShape shape, int32_t thickness,
                    MemoryAllocator* memory) {
  const int32_t bw = box.width;
  const int32_t bh = box.height;
  const int32_t t = std::max(1, thickness);
  switch (shape) {
    case GuideShape::kRuleOfThirds:
      for (int32_t i = 1; i <= 2; ++i) {
        // The last band stays whole inside the box.
        const int32_t h = t >> 1;
        DrawBand(box, false, std::min(i * (bh / 3) - h, bh - t) + h, t, 0, bw);
        DrawBand(box, true, std::min(i * (bw / 3) - h, bw - t) + h, t, 0, bh);
      }
      return true;
    case GuideShape::kGoldenSection:
      DrawBand(box, true, Golden(bw), t, 0, bh);
      DrawBand(box, true, GoldenRest(bw), t, 0, bh);
      DrawBand(box, false, Golden(bh), t, 0, bw);
      DrawBand(box, false, GoldenRest(bh), t, 0, bw);
      return true;
    case GuideShape::kSpiralSections: {
      const GoldenSteps g = GoldenStepsOf(bw, bh);
      DrawBand(box, true, g.x1, t, 0, bh);
      DrawBand(box, false, g.y1, t, g.x1, bw);
      DrawBand(box, true, g.x2, t, g.y1, bh + 1);
      DrawBand(box, false, g.y2, t, g.x1, g.x2);
      DrawBand(box, true, g.x3, t, g.y1, g.y2);
      DrawBand(box, false, g.y3, t, g.x3, g.x2);
      return true;
    }
    case GuideShape::kGoldenSpiral:
      if (!DrawSpiral(box, memory)) return false;
      return t < 2 || Thicken(box, t, memory);
    case GuideShape::kGoldenTriangles:
      return DrawStraight(box, {0, bh}, {bw, 0}, t, memory) &&
             DrawStraight(box, {0, 0}, {GoldenRest(bw), bh}, t, memory) &&
             DrawStraight(box, {Golden(bw), 0}, {bw, bh}, t, memory);
    case GuideShape::kDiagonals:
      return DrawStraight(box, {0, bh}, {bw, 0}, t, memory) &&
             DrawStraight(box, {0, 0}, {bw, bh}, t, memory);
  }
  return true;
}

}  // namespace vitrella
