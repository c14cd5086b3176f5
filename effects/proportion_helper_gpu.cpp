// Proportion Helper's frame call on the GPU. The effect refuses the GPU path, so a host
// that asks first never comes here; one that calls anyway gets a rough sketch of the
// guide: white lines on black over the whole frame, from Shape and Thickness alone, with
// no picture under them.
#include <GL/gl.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "core/effect_base.h"
#include "effects/proportion_guides.h"
#include "effects/proportion_helper.h"
#include "gpu/gl_names.h"
#include "gpu/gpu_frame_objects.h"

namespace vitrella {
namespace {

constexpr ChoiceId kShape{0, "Shape"};
constexpr SliderId kThickness{6, "Thickness"};

constexpr float kRest = 0.381966f;  // the golden ratio's complement

struct Segment {
  float x0, y0, x1, y1;
};

// The sketch's lines in unit coordinates of the frame, after its outline.
std::vector<Segment> SketchLines(int32_t shape) {
  const float g = kGoldenRatio;
  std::vector<Segment> lines = {{0, 0, 0, 1}, {0, 1, 1, 1}, {1, 1, 1, 0}, {1, 0, 0, 0}};
  switch (shape) {
    case 0:
      lines.insert(lines.end(), {{0, 0.3333f, 1, 0.3333f},
                                 {0, 0.6666f, 1, 0.6666f},
                                 {0.3333f, 0, 0.3333f, 1},
                                 {0.6666f, 0, 0.6666f, 1}});
      break;
    case 1:
      lines.insert(lines.end(),
                   {{0, g, 1, g}, {0, kRest, 1, kRest}, {g, 0, g, 1}, {kRest, 0, kRest, 1}});
      break;
    case 2: {
      // One arc of 20 points about (g, 0), from (0, 0) to (g, 1).
      const float a0 = std::atan2(0.0f - 0.0f, 0.0f - g);
      const float a1 = std::atan2(1.0f - 0.0f, g - g);
      float sweep = a1 - a0;
      while (sweep <= 0.0f)
        sweep += 6.283184f;
      const float r0 = g;
      const float r1 = 1.0f;
      float px = 0.0f;
      float py = 0.0f;
      for (int i = 1; i < 20; ++i) {
        const float f = static_cast<float>(i) / 19.0f;
        const float a = a0 + sweep * f;
        const float r = r0 + (r1 - r0) * f;
        const float x = g + r * std::cos(a);
        const float y = r * std::sin(a);
        lines.push_back({px, py, x, y});
        px = x;
        py = y;
      }
      break;
    }
    case 3: {
      float l = 0, u = 0, r = 1, b = 1;
      for (int i = 0; i < 3; ++i) {
        if (i % 2 == 0) {
          l += (r - l) * g;
          lines.push_back({l, u, l, b});
          u += (b - u) * g;
          lines.push_back({l, u, r, u});
        } else {
          r -= (r - l) * g;
          lines.push_back({r, u, r, b});
          b -= (b - u) * g;
          lines.push_back({l, b, r, b});
        }
      }
      break;
    }
    case 4:
      lines.insert(lines.end(), {{1, 0, 0, 1}, {g, 0, 1, 1}, {0, 0, kRest, 1}});
      break;
    case 5:
      lines.insert(lines.end(), {{0, 0, 1, 1}, {1, 0, 0, 1}});
      break;
    default:
      break;
  }
  return lines;
}

}  // namespace

bool PropHelper::RenderGPUFrame(IEffectHost* host, const GPUTextureRef* source,
                                const GPUTextureRef* /*secondSource*/, GPUTextureRef* destination,
                                const RenderInfo* /*info*/) {
  if (source == nullptr || destination == nullptr) return false;
  const ParamReader params(host);
  const int32_t shape = params.Read(kShape);
  const float thickness = params.Read(kThickness);

  GpuFrameObjects objects(*this);
  GPUTextureRef& mask = objects.Target(source->width, source->height, source->format);
  if (!objects.made()) return false;
  SetupView(10.0, 10.0);
  SetRenderTarget(&mask, false);
  ClearTarget(0.0f, 0.0f, 0.0f, 1.0f);
  if (context() != nullptr) context()->Disable(gl::kDepthTest);
  const float widest =
      static_cast<float>(std::max(source->width, source->height)) * thickness * 0.033f;
  const float width = std::isfinite(widest) ? std::clamp(std::trunc(widest), 1.0f, 64.0f) : 1.0f;
  glLineWidth(width);
  glColor4f(1.0f, 1.0f, 1.0f, 1.0f);
  // The view spans 10 units about the centre.
  glBegin(GL_LINES);
  for (const Segment& s : SketchLines(shape)) {
    glVertex2f(s.x0 * 10.0f - 5.0f, s.y0 * 10.0f - 5.0f);
    glVertex2f(s.x1 * 10.0f - 5.0f, s.y1 * 10.0f - 5.0f);
  }
  glEnd();
  FinishFrame(&mask, source, destination);
  return true;
}

}  // namespace vitrella
