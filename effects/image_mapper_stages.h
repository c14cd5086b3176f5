// The four CPU stages of Image Mapper, in the order the render runs them: crop, bend the
// edges in strips, soften the alpha inwards, map to the four corners. All work in memory
// rows (row 0 the lowest address); the effect turns its parameters into that orientation.
#pragma once

#include <cstdint>

#include "core/frame_buffer.h"
#include "kernels/projective.h"

namespace vitrella {

// The strip width of the bent edges: it bounds how far a straight strip strays from the
// sine.
inline constexpr int32_t kMapperStrip = 8;

// The whole pixels the crop takes from each side: Crop from both axes, Aspect Ratio from
// one, each limited to leave at least two pixels.
struct CropMargins {
  int32_t cx = 0;
  int32_t cy = 0;
};
CropMargins CropMarginsOf(int32_t width, int32_t height, float crop, float aspect);

// The rectangle from (cx, cy) to (width - cx, height - cy) of src, resized by cubic
// interpolation over the whole width x height of dst. Four-channel bytes or floats.
[[nodiscard]] bool CropStage(const FrameBuffer& src, FrameBuffer& dst, CropMargins margins);

// The four edge curves, -1 to 1, in memory orientation: c0 bends the edge at row 0, c1 the
// edge at the last row, left and right the columns' ends.
struct EdgeCurves {
  float c0 = 0.0f;
  float c1 = 0.0f;
  float left = 0.0f;
  float right = 0.0f;
};

// Bends the edges of a into b (both of one four-channel format, of at least 16 x 16):
// first the rows' ends in strips of 8 columns, then the columns' ends in strips of 8 rows,
// each strip warped to a quadrilateral whose ends follow half a sine. A positive curve
// pulls an edge's ends inwards by up to a third of the frame, a negative one its middle.
// Uncovered pixels are transparent black. False for bad frames or a failed allocation.
[[nodiscard]] bool EdgeStage(const FrameBuffer& a, FrameBuffer& b, EdgeCurves curves,
                             MemoryAllocator* memory);

// Whether the curves bend no edge by a whole pixel on a width x height picture: the edge
// stage then gives the picture back as it was.
bool EdgesStayStraight(EdgeCurves curves, int32_t width, int32_t height);

// Softens the alpha channel of s inwards: a box of k = trunc(width * blur * 0.49), at
// least 3 (a field's rows take half of it, at least 3), then the values below 253 / 255
// cleared, then the box again. The shape loses about half a kernel and gains a soft edge
// within its old outline.
[[nodiscard]] bool BlurStage(FrameBuffer& s, float blur, bool field, MemoryAllocator* memory);

// Maps the whole of s onto the quadrilateral p0..p3 of dst (cleared first), pixel corners
// (0, 0), (W - 1, 0), (W - 1, H - 1), (0, H - 1) going to p0..p3. A quadrilateral that the
// warp refuses (not convex) shows its outline in opaque white instead. False only for bad
// frames.
[[nodiscard]] bool CornerStage(const FrameBuffer& s, FrameBuffer& dst, const kernels::Quad corners);

// Whether the corners are those of the whole width x height picture: the corner stage then
// gives it back as it was.
bool CornersOfTheFrame(const kernels::Quad corners, int32_t width, int32_t height);

// The outline of a quadrilateral, corners truncated to whole pixels, in opaque white.
void DrawQuadOutline(FrameBuffer& frame, const kernels::Quad corners);

}  // namespace vitrella
