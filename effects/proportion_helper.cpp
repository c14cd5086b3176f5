#include "effects/proportion_helper.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/frame_buffer.h"
#include "core/frame_geometry.h"
#include "core/frame_ops.h"
#include "core/render_setup.h"
#include "core/strip_rotation.h"
#include "effects/proportion_guides.h"

namespace vitrella {
namespace {

constexpr const char* kShapes[] = {"Rule of Thirds",  "Golden Section",   "Golden Spiral",
                                   "Spiral Sections", "Golden Triangles", "Diagonals"};

constexpr ParamDef kParams[] = {
    ChoiceParam("Shape", kShapes, 0, {0, 0, 174, 20}, "Provides range of composition guidelines "),
    CheckParam("Flip Horizontal", false, {198, 0, 114, 10}, "Flips the shape horizontally"),
    CheckParam("Flip Vertical", false, {198, 30, 114, 10}, "Flips the shape vertically"),
    PointParam("Center", 0.5f, 0.5f, {0, 70, 180, 30}, "Sets proportion shape's position"),
    SliderParam("Scale", 0, 100, 1.0f, {198, 70, 48, 30}, "Adjusts dimensions of shape"),
    SliderParam("Angle", 0, 180, 0.0f, {264, 70, 48, 30}, "Rotates the shape"),
    SliderParam("Thickness", 0, 100, 0.175f, {330, 70, 48, 30}, "Makes shape thicker"),
    CheckParam("Disable", false, {318, 30, 64, 10}, "Disable"),
};

constexpr ChoiceId kShape{0, "Shape"};
constexpr CheckId kFlipHorizontal{1, "Flip Horizontal"};
constexpr CheckId kFlipVertical{2, "Flip Vertical"};
constexpr PointId kCenter{3, "Center"};
constexpr SliderId kScale{4, "Scale"};
constexpr SliderId kAngle{5, "Angle"};
constexpr SliderId kThickness{6, "Thickness"};
constexpr CheckId kDisable{7, "Disable"};
static_assert(NamesMatch(kParams, kShape, kFlipHorizontal, kFlipVertical, kCenter, kScale, kAngle,
                         kThickness, kDisable));

// Each row: Shape, Flip Horizontal, Flip Vertical, Center, Scale, Angle, Thickness,
// Disable.
// clang-format off
constexpr PresetDef kPresets[] = {
    {"Diagonals",
     {ChoiceValue(5), kOff, kOff, PointValue(0.5001f, 0.4999f), SliderValue(1.0f), SliderValue(0.0001f), SliderValue(0.0501f), kOff}},
    {"Golden Section",
     {ChoiceValue(1), kOff, kOff, PointValue(0.5001f, 0.4999f), SliderValue(1.0f), SliderValue(0.0001f), SliderValue(0.0501f), kOff}},
    {"Golden Spiral",
     {ChoiceValue(2), kOff, kOff, PointValue(0.5001f, 0.4999f), SliderValue(1.0f), SliderValue(0.0001f), SliderValue(0.0501f), kOff}},
    {"Golden Triangles",
     {ChoiceValue(4), kOff, kOff, PointValue(0.5001f, 0.4999f), SliderValue(1.0f), SliderValue(0.0001f), SliderValue(0.0501f), kOff}},
    {"Reset to None",
     {ChoiceValue(0), kOff, kOff, PointValue(0.5001f, 0.4999f), SliderValue(1.0f), SliderValue(0.0f), SliderValue(0.0f), kOff}},
    {"Rule of Thirds",
     {ChoiceValue(0), kOff, kOff, PointValue(0.5001f, 0.4999f), SliderValue(1.0f), SliderValue(0.0001f), SliderValue(0.0501f), kOff}},
    {"Spiral Sections",
     {ChoiceValue(3), kOff, kOff, PointValue(0.5001f, 0.4999f), SliderValue(1.0f), SliderValue(0.0001f), SliderValue(0.0501f), kOff}},
};
// clang-format on

static_assert(TableIsWellFormed(kParams, kPresets));
static_assert(std::size(kParams) == 8 && std::size(kPresets) == 7);

constexpr EffectTable kTable{"Proportion Helper", kTraitsPlain, kParams, kPresets};

// Truncation that a host's wild value cannot make undefined.
int32_t Trunc(double v) {
  constexpr double kLimit = 1 << 28;
  return std::isnan(v) ? 0 : static_cast<int32_t>(std::clamp(v, -kLimit, kLimit));
}

struct Values {
  GuideShape shape;
  bool flipH, flipV;
  float x, y;  // y from the top
  float scale, thickness, angle;
  bool disable;
};

Values ReadValues(IEffectHost* host) {
  const ParamReader params(host);
  const ParamReader::Point c = params.Read(kCenter);
  const int32_t shape = std::clamp(params.Read(kShape), 0, 5);
  return {static_cast<GuideShape>(shape),
          params.Read(kFlipHorizontal),
          params.Read(kFlipVertical),
          c.x,
          c.y,
          params.Read(kScale),
          params.Read(kThickness),
          params.Read(kAngle),
          params.Read(kDisable)};
}

// Everything the render works out before it allocates.
struct Plan {
  int32_t width, height, rows;  // W, H and the mask's rows: twice H for a field
  bool field, narrow;
  float aspect;
  int32_t canvasW, canvasH;
  int32_t t;  // line thickness in pixels; 1 is the thin mode
  int32_t bw, bh;
  int32_t px, py;
  int32_t angle;  // whole degrees
  bool flipH, flipV;
};

Plan MakePlan(const Values& v, int32_t width, int32_t height, const RenderInfo& info,
              bool flipped) {
  Plan p{};
  p.width = width;
  p.height = height;
  p.field = info.fieldMode != kFieldModeFrame;
  p.rows = p.field ? 2 * height : height;
  const bool known = (info.infoFlags & kInfoPixelAspectValid) != 0 && info.pixelAspect > 0.0 &&
                     std::isfinite(info.pixelAspect);
  const float aspect = known ? static_cast<float>(info.pixelAspect) : 1.0f;
  p.aspect = aspect;
  p.narrow = aspect <= 1.0f;
  float y = 1.0f - v.y;
  if (flipped) y = 1.0f - y;
  p.angle = Trunc(v.angle * 180.0f);
  p.flipH = v.flipH;
  p.flipV = v.flipV;
  if (flipped) {
    p.flipH = !p.flipH;
    p.angle = 180 - p.angle;
  }
  const auto w = static_cast<float>(width);
  const auto h = static_cast<float>(height);
  const auto hf = static_cast<float>(p.rows);
  const float cw = p.narrow ? w / aspect : w;
  const float ch = p.narrow ? hf : hf * aspect;
  // A wild aspect could ask for any canvas; the guide is never drawn larger than 16 times
  // the frame.
  const float most = 16.0f * std::max(w, hf);
  p.canvasW = std::max(1, Trunc(std::min(cw, most)));
  p.canvasH = std::max(1, Trunc(std::min(ch, most)));
  p.t = Trunc(std::max(static_cast<float>(p.canvasW), static_cast<float>(p.canvasH)) *
              (v.thickness * 0.033f));
  if (p.t < 2) p.t = 1;
  p.t = std::min(p.t, std::max(p.canvasW, p.canvasH));
  const float scale = std::clamp(v.scale, 0.0f, 16.0f);
  p.bw = Trunc(p.narrow ? w * scale / aspect : w * scale);
  p.bh = Trunc(p.narrow ? h * scale : h * scale * aspect);
  if (p.bw < 3) p.bw = 2;
  if (p.bh < 3) p.bh = 2;
  p.bw = std::min(p.bw, p.canvasW * 2 + 2);
  p.bh = std::min(p.bh, p.canvasH * 2 + 2);
  if (p.field) p.bh *= 2;
  p.px = Trunc(p.narrow ? w * v.x / aspect : w * v.x);
  p.py = Trunc(p.narrow ? hf * y : hf * y * aspect);
  return p;
}

void Fill(FrameBuffer& mask, uint8_t value) {
  for (int32_t y = 0; y < mask.height; ++y)
    std::fill_n(mask.Row<uint8_t>(y), mask.width, value);
}

void Mirror(FrameBuffer& box, bool rows, bool columns) {
  if (rows) {
    for (int32_t y = 0; y < box.height / 2; ++y)
      std::swap_ranges(box.Row<uint8_t>(y), box.Row<uint8_t>(y) + box.width,
                       box.Row<uint8_t>(box.height - 1 - y));
  }
  if (columns) {
    for (int32_t y = 0; y < box.height; ++y)
      std::reverse(box.Row<uint8_t>(y), box.Row<uint8_t>(y) + box.width);
  }
}

void Frame(FrameBuffer& box) {
  std::fill_n(box.Row<uint8_t>(0), box.width, uint8_t{0});
  std::fill_n(box.Row<uint8_t>(box.height - 1), box.width, uint8_t{0});
  for (int32_t y = 0; y < box.height; ++y) {
    box.Row<uint8_t>(y)[0] = 0;
    box.Row<uint8_t>(y)[box.width - 1] = 0;
  }
}

// The box onto the canvas, turned by the plan's angle about its middle, which lands where
// (px, py) puts it. A turn of 0 is a plain copy, and a half turn (what a flipped frame
// makes of 0) the copy of the box reversed both ways, on the same pixels.
bool PlaceBox(FrameBuffer& box, FrameBuffer& canvas, const Plan& p) {
  const int32_t hw = box.width / 2;
  const int32_t hh = box.height / 2;
  if (p.angle == 180) Mirror(box, true, true);
  if (p.angle == 0 || p.angle == 180) {
    int32_t x = p.px - hw;
    int32_t y = p.py - hh;
    FrameRect rect{0, 0, box.width, box.height};
    if (x < 0) {
      rect.x = -x;
      rect.width += x;
      x = 0;
    }
    if (y < 0) {
      rect.y = -y;
      rect.height += y;
      y = 0;
    }
    if (rect.width < 1 || rect.height < 1 || x >= canvas.width || y >= canvas.height) return true;
    return CopyFrameRect(box, rect, canvas, x, y);
  }
  constexpr double kDegrees = 3.14159265358979323846 / 180.0;
  const double s = std::sin(p.angle * kDegrees);
  const double c = std::cos(p.angle * kDegrees);
  // The box turns about its middle, which stays where the unturned box has it, so that a
  // half turn covers the same pixels. Box pixel (u, v) goes to (sx + u c + v s, sy - u s
  // + v c).
  const double cu = (box.width - 1) * 0.5;
  const double cv = (box.height - 1) * 0.5;
  const double mx = p.px - hw + cu;
  const double my = p.py - hh + cv;
  const double sx = mx - (cu * c + cv * s);
  const double sy = my - (-cu * s + cv * c);
  return StripRotated(
      RotateStrip(box, canvas, static_cast<float>(p.angle), sx, sy, kStripLinearSmooth));
}

// The guide's mask of W x rows: 255 where there is none.
bool DrawMask(const Values& v, const Plan& p, MemoryAllocator& memory, FrameBuffer& mask) {
  FrameBuffer box;
  if (!box.Allocate(p.bw, p.bh, 1, &memory, PixelFormat8Gray, false)) return false;
  Fill(box, 255);
  if (!DrawGuideShape(box, v.shape, p.t, &memory)) return false;
  Mirror(box, p.flipV, p.flipH);
  Frame(box);
  if (!mask.Allocate(p.width, p.rows, 1, &memory, PixelFormat8Gray, false)) return false;
  // Square pixels draw straight into the mask; others through a square canvas.
  const bool square = p.canvasW == p.width && p.canvasH == p.rows;
  FrameBuffer canvas;
  if (!square && !canvas.Allocate(p.canvasW, p.canvasH, 1, &memory, PixelFormat8Gray, false)) {
    return false;
  }
  FrameBuffer& target = square ? mask : canvas;
  Fill(target, 255);
  if (!PlaceBox(box, target, p)) return false;
  if (square) return true;
  const double fx = p.narrow ? p.aspect : 1.0;
  const double fy = p.narrow ? 1.0 : 1.0 / p.aspect;
  return ResizeRect(canvas, {0, 0, canvas.width, canvas.height}, mask, fx, fy,
                    kernels::kInterLinear);
}

// The picture in its own negative where the mask holds a guide: 8 bits mix by (255 - g)
// in fixed point, floats by (1 - g / 255); alpha becomes at least the guide's strength.
template <typename T>
void Composite(const FrameBuffer& src, FrameBuffer& dst, const FrameBuffer& mask, int32_t alpha,
               int32_t firstRow, int32_t rowStep) {
  const int32_t width = std::min(src.width, dst.width);
  const int32_t height = std::min(src.height, dst.height);
  for (int32_t y = 0; y < height; ++y) {
    const T* in = src.Row<const T>(y);
    T* out = dst.Row<T>(y);
    const int32_t my = firstRow + y * rowStep;
    const uint8_t* g = mask.Row<const uint8_t>(std::min(my, mask.height - 1));
    std::copy(in, in + static_cast<ptrdiff_t>(width) * 4, out);
    int32_t x = 0;
    while (x < width) {
      // Whole runs of clear mask are already copied: skip them eight at a time.
      if (x + 8 <= width) {
        uint64_t word = 0;
        std::memcpy(&word, g + x, 8);
        if (word == ~uint64_t{0}) {
          x += 8;
          continue;
        }
      }
      const int32_t m = g[x];
      if (m != 255) {
        const T* pi = in + 4 * x;
        T* po = out + 4 * x;
        if constexpr (sizeof(T) == 1) {
          const int32_t k = 255 - m;
          for (int c = 0; c < 4; ++c) {
            if (c == alpha) {
              po[c] = static_cast<T>(std::max<int32_t>(k, pi[c]));
            } else {
              po[c] = static_cast<T>(((255 - pi[c]) * k + m * pi[c]) >> 8);
            }
          }
        } else {
          const float mf = static_cast<float>(m) / 255.0f;
          const float n = 1.0f - mf;
          for (int c = 0; c < 4; ++c) {
            po[c] = c == alpha ? std::max(n, pi[c]) : (1.0f - pi[c]) * n + mf * pi[c];
          }
        }
      }
      ++x;
    }
  }
}

template <typename T>
bool RenderFrame(RenderSetup& setup, const Values& v) {
  const FrameBuffer& src = setup.src();
  FrameBuffer& dst = setup.dst();
  if (src.format != dst.format) return false;
  const Plan p = MakePlan(v, setup.width(), setup.height(), setup.info(), src.flipped != 0);
  FrameBuffer mask;
  if (!DrawMask(v, p, setup.memory(), mask)) return false;
  const int32_t first = p.field && setup.info().fieldMode == kFieldModeSecondField ? 1 : 0;
  Composite<T>(src, dst, mask, setup.srcLayout().alpha, first, p.field ? 2 : 1);
  return true;
}

}  // namespace

PropHelper::PropHelper() : EffectBase(kTable) {}

bool PropHelper::Render(IEffectHost* host, const HostFrame* source, uintptr_t /*unused*/,
                        HostFrame* destination, const RenderInfo* info) {
  RenderSetup setup(host, source, destination, info);
  if (!setup) return false;
  const Values v = ReadValues(host);
  if (v.disable) return CopyFrame(setup.src(), setup.dst());
  return BySampleType(setup.srcLayout().isFloat,
                      [&]<typename T>(Samples<T>) { return RenderFrame<T>(setup, v); });
}

bool PropHelper::SetupGPUFrame(IEffectHost* /*host*/, GPUSetupInfo* /*info*/, uintptr_t /*word*/) {
  return false;
}

}  // namespace vitrella
