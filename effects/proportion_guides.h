// The composition guides of Proportion Helper, drawn into one-byte masks in which 255 is
// no guide and 0 is the guide at full strength: thin anti-aliased lines, quarter arcs,
// bands, thick bars, the disc brush that thickens the spiral, and the six shapes.
#pragma once

#include <cstdint>
#include <vector>

#include "core/frame_buffer.h"

namespace vitrella {

// The golden ratio's smaller part as the CPU guides take it.
inline constexpr float kGoldenRatio = 0.618034f;

enum class GuideShape : int32_t {
  kRuleOfThirds = 0,
  kGoldenSection = 1,
  kGoldenSpiral = 2,
  kSpiralSections = 3,
  kGoldenTriangles = 4,
  kDiagonals = 5,
};

// A line one pixel wide between two whole points: each step along the longer axis shares
// the line between the two pixels across it by its fractional position, and the two end
// steps are half as strong. Pixels outside the mask are skipped; a pixel keeps the darker
// of its value and the line's.
void DrawThinLine(FrameBuffer& mask, int32_t x0, int32_t y0, int32_t x1, int32_t y1);

// The quarter of the circle about (cx, cy) of radius r from (cx, cy + r) to (cx - r, cy),
// by the midpoint walk, its points stretched by w / r across and h / r down when
// `stretch` is set; the end row is closed to the mask's edge.
void DrawQuarterArc(FrameBuffer& mask, int32_t cx, int32_t cy, int32_t r, int32_t w, int32_t h,
                    bool stretch);

// A band of `thickness` filled with 0 across the mask at position `at` (its start moved back
// by thickness >> 1 and kept within the mask), running from `from` to `to` along it.
void DrawBand(FrameBuffer& mask, bool vertical, int32_t at, int32_t thickness, int32_t from,
              int32_t to);

// The disc brush for a thickness above 1: s x s bytes, s = thickness | 1, 255 inside the
// disc of radius s / 2 and 0 outside, smoothed by the 5 x 5 binomial filter.
std::vector<uint8_t> DiscBrush(int32_t thickness, int32_t* size);

// The three golden divisions of a box, used by both spiral shapes.
struct GoldenSteps {
  int32_t x1, y1, x2, y2, x3, y3;
};
GoldenSteps GoldenStepsOf(int32_t bw, int32_t bh);

// Draws the shape into the whole of `box` (filled with 255 by the caller) with lines of
// `thickness` pixels; 1 is the thin mode. False on a failed allocation or rotation.
[[nodiscard]] bool DrawGuideShape(FrameBuffer& box, GuideShape shape, int32_t thickness,
                                  MemoryAllocator* memory);

}  // namespace vitrella
