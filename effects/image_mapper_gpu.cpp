// Image Mapper on the GPU: the same four stages, but what passes between them are maps of
// coordinates (u, v, 0, 1) in unit coordinates of the picture, with the marker 10 where no
// strip drew; the picture is sampled through them, once after the bent edges and once after
// the corners. Unlike the CPU path, the strips run to W and H rather than W - 1 and H - 1
// and always cover the whole frame, the crop rectangle is handed to the texture stage as
// fractions of the allocated texture, the slanted edges are not smoothed, a shape is
// tested by its own cross products and outlined with lines of one pixel, an edge blur up
// to 0.00001 does nothing, and the blur's rounds pass through the host's output target.
#include <GL/gl.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

#include "effects/image_mapper.h"
#include "gpu/gl_names.h"
#include "gpu/gpu_frame_objects.h"
#include "vitrella/pixel_format.h"

namespace vitrella {
namespace {

constexpr ProgramPair kFillProgram{kProgramQuadVertex, kProgramImageMapperFill};
constexpr ProgramPair kStripProgram{kProgramQuadVertex, kProgramImageMapperStrip};
constexpr ProgramPair kLookupProgram{kProgramQuadVertex, kProgramImageMapperLookup};
constexpr ProgramPair kBlurRowsProgram{kProgramQuadVertex, kProgramImageMapperBlurRows};
constexpr ProgramPair kBlurColumnsProgram{kProgramQuadVertex, kProgramImageMapperBlurColumns};

constexpr float kMarker = 10.0f;
constexpr double kPi = 3.14159265358979323846;

using Corners = std::array<std::array<double, 2>, 4>;

// Inverts a 4 x 4 matrix by Gauss-Jordan elimination with partial pivoting; a singular
// matrix leaves what the elimination reached, which is not looked at.
void Invert(double m[4][4], double inverse[4][4]) {
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 4; ++j)
      inverse[i][j] = i == j ? 1.0 : 0.0;
  }
  for (int col = 0; col < 4; ++col) {
    int pivot = col;
    for (int r = col + 1; r < 4; ++r) {
      if (std::fabs(m[r][col]) > std::fabs(m[pivot][col])) pivot = r;
    }
    std::swap(m[col], m[pivot]);
    std::swap(inverse[col], inverse[pivot]);
    const double d = m[col][col];
    if (d == 0.0) continue;
    for (int j = 0; j < 4; ++j) {
      m[col][j] /= d;
      inverse[col][j] /= d;
    }
    for (int r = 0; r < 4; ++r) {
      if (r == col) continue;
      const double f = m[r][col];
      for (int j = 0; j < 4; ++j) {
        m[r][j] -= f * m[col][j];
        inverse[r][j] -= f * inverse[col][j];
      }
    }
  }
}

// Sets the strip program's uniforms for a rectangle (corners in the order of the
// quadrilateral's) and the quadrilateral it maps onto; answers the bounding box.
std::array<float, 4> SetStrip(ProgramBundle& strip, const Corners& rect, const Corners& quad) {
  double m[4][4];
  for (int i = 0; i < 4; ++i) {
    const double u = rect[i][0];
    const double v = rect[i][1];
    m[i][0] = u * v;
    m[i][1] = u;
    m[i][2] = v;
    m[i][3] = 1.0;
  }
  double inverse[4][4];
  Invert(m, inverse);
  double x[4] = {};
  double y[4] = {};
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 4; ++j) {
      x[i] += inverse[i][j] * quad[j][0];
      y[i] += inverse[i][j] * quad[j][1];
    }
  }
  const auto f = [](double v) { return static_cast<float>(v); };
  strip.SetVec4("xTransform", f(x[0]), f(x[1]), f(x[2]), f(x[3]));
  strip.SetVec4("yTransform", f(y[0]), f(y[1]), f(y[2]), f(y[3]));
  double lo[2] = {rect[0][0], rect[0][1]};
  double hi[2] = {rect[0][0], rect[0][1]};
  double qlo[2] = {quad[0][0], quad[0][1]};
  double qhi[2] = {quad[0][0], quad[0][1]};
  for (int i = 1; i < 4; ++i) {
    for (int a = 0; a < 2; ++a) {
      lo[a] = std::min(lo[a], rect[i][a]);
      hi[a] = std::max(hi[a], rect[i][a]);
      qlo[a] = std::min(qlo[a], quad[i][a]);
      qhi[a] = std::max(qhi[a], quad[i][a]);
    }
  }
  strip.SetVec2("srcRectLT", f(lo[0]), f(lo[1]));
  strip.SetVec2("srcRectRB", f(hi[0]), f(hi[1]));
  strip.SetVec2("dstRectLT", f(qlo[0]), f(qlo[1]));
  strip.SetVec2("dstRectSIZE", f(qhi[0] - qlo[0]), f(qhi[1] - qlo[1]));
  static constexpr const char* kQuadNames[4] = {"dstQuad[0]", "dstQuad[1]", "dstQuad[2]",
                                                "dstQuad[3]"};
  for (int i = 0; i < 4; ++i)
    strip.SetVec2(kQuadNames[i], f(quad[i][0]), f(quad[i][1]));
  return {f(qlo[0]), f(qlo[1]), f(qhi[0]), f(qhi[1])};
}

// Whether the four cross products of consecutive edges are all strictly positive.
bool ConvexForward(const Corners& q) {
  for (int i = 0; i < 4; ++i) {
    const auto& a = q[i];
    const auto& b = q[(i + 1) % 4];
    const auto& c = q[(i + 2) % 4];
    const double cross = (b[0] - a[0]) * (c[1] - b[1]) - (b[1] - a[1]) * (c[0] - b[0]);
    if (!(cross > 0.0)) return false;
  }
  return true;
}

int32_t Trunc(double v) {
  return std::isfinite(v) ? static_cast<int32_t>(std::clamp(v, -1e9, 1e9)) : 0;
}

// The fill and strip passes, with their programs made once for the frame.
struct Pass {
  CImageMapper& gpu;
  ProgramBundle& fill;
  ProgramBundle& strip;

  void Fill(GPUTextureRef& target) {
    gpu.SetRenderTarget(&target, false);
    gpu.BeginPass(fill);
    fill.SetVec4("Color", kMarker, kMarker, kMarker, kMarker);
    gpu.DrawPlainQuad();
  }
  void Strip(const GPUTextureRef& input, const Corners& rect, const Corners& quad) {
    gpu.BeginPass(strip);
    const std::array<float, 4> box = SetStrip(strip, rect, quad);
    if (box[2] <= box[0] || box[3] <= box[1]) return;
    gpu.DrawQuad(&input, false, box.data());
  }
};

}  // namespace

const ProgramPair kImageMapperSetupPrograms[2] = {kLookupProgram, kStripProgram};

bool CImageMapper::RenderGPUFrame(IEffectHost* host, const GPUTextureRef* source,
                                  const GPUTextureRef* /*secondSource*/, GPUTextureRef* destination,
                                  const RenderInfo* info) {
  if (source == nullptr || destination == nullptr || info == nullptr) return false;
  const ImageMapperValues v = ReadImageMapper(host, source->flipped != 0);
  const int32_t w = source->width;
  const int32_t h = source->height;
  const auto wd = static_cast<double>(w);
  const auto hd = static_cast<double>(h);

  GpuFrameObjects objects(*this);
  GPUTextureRef& result = objects.Target(w, h, source->format);
  if (!objects.made()) return false;
  SetupView(wd, hd);
  // Strips draw over the fill and over each other in one target: no depth test between.
  if (context() != nullptr) context()->Disable(gl::kDepthTest);

  Corners q{};
  for (int i = 0; i < 4; ++i) {
    q[i][0] = v.corners[i][0] + v.sx;
    q[i][1] = v.corners[i][1] + v.sy;
  }
  if (!ConvexForward(q)) {
    SetRenderTarget(&result, false);
    ClearTarget(0.0f, 0.0f, 0.0f, 0.0f);
    EndPass();
    glLineWidth(1.0f);
    glBegin(GL_LINES);
    for (int i = 0; i < 4; ++i) {
      const auto& a = q[i];
      const auto& b = q[(i + 1) % 4];
      glVertex2d(a[0] * wd - wd * 0.5, a[1] * hd - hd * 0.5);
      glVertex2d(b[0] * wd - wd * 0.5, b[1] * hd - hd * 0.5);
    }
    glEnd();
  } else if (w >= 16 && h >= 16) {
    const int32_t mapFormat = IsAlphaFirst(source->format) || source->format == kGPUFormatSwapped
                                  ? PixelFormat32FARGB
                                  : PixelFormat32FBGRA;
    GPUTextureRef& m1 = objects.Target(w, h, mapFormat);
    GPUTextureRef& m2 = objects.Target(w, h, mapFormat);
    GPUTextureRef& picture = objects.Target(w, h, source->format);
    Pass pass{*this, objects.Program(kFillProgram), objects.Program(kStripProgram)};
    ProgramBundle& lookup = objects.Program(kLookupProgram);
    ProgramBundle& rows = objects.Program(kBlurRowsProgram);
    ProgramBundle& columns = objects.Program(kBlurColumnsProgram);
    if (objects.made()) {
      // The crop as fractions of the allocated texture, moved in by the margins.
      const CropMargins margins = CropMarginsOf(w, h, v.crop, v.aspect);
      const double aw = std::max(1, source->allocatedWidth);
      const double ah = std::max(1, source->allocatedHeight);
      double l = source->left / aw;
      double t = source->top / ah;
      double r = (source->left + w) / aw;
      double b = (source->top + h) / ah;
      const double dx = margins.cx / wd * (r - l);
      const double dy = margins.cy / hd * (b - t);
      l += dx;
      r -= dx;
      t += dy;
      b -= dy;
      const float crop[4] = {static_cast<float>(l), static_cast<float>(t), static_cast<float>(r),
                             static_cast<float>(b)};

      m1.texture->SetFilter(gl::kLinear);
      m2.texture->SetFilter(gl::kLinear);
      SetRenderTarget(&m1, false);
      ClearTarget(0.0f, 0.0f, 0.0f, 0.0f);

      // Bends of the rows' ends, strips of 8 columns over the whole height.
      const auto depth = [](float c, int32_t extent) {
        return Trunc(static_cast<float>(extent) * c * 0.333333f);
      };
      const int32_t n0 = depth(v.curves.c0, h);
      const int32_t n1 = depth(v.curves.c1, h);
      const double b0 = v.curves.c0 >= 0.0f ? n0 : 0.0;
      const double b1 = v.curves.c1 >= 0.0f ? -n1 : 0.0;
      const auto k = static_cast<double>(static_cast<float>(kPi) / static_cast<float>(w));
      const auto top = [&](int32_t x) {
        return v.curves.c0 != 0.0f ? b0 - std::sin(k * x) * n0 : 0.0;
      };
      const auto bottom = [&](int32_t x) {
        return v.curves.c1 != 0.0f ? hd + b1 + std::sin(k * x) * n1 : hd;
      };
      pass.Fill(m2);
      for (int32_t x0 = 0; x0 < w; x0 += kMapperStrip) {
        const int32_t x1 = std::min(x0 + kMapperStrip, w);
        const double u0 = x0 / wd;
        const double u1 = x1 / wd;
        pass.Strip(m1, {{{u0, 0.0}, {u1, 0.0}, {u1, 1.0}, {u0, 1.0}}},
                   {{{u0, top(x0) / hd},
                     {u1, top(x1) / hd},
                     {u1, bottom(x1) / hd},
                     {u0, bottom(x0) / hd}}});
      }

      // Bends of the columns' ends, strips of 8 rows over the whole width.
      const int32_t m0 = depth(v.curves.left, w);
      const int32_t mr = depth(v.curves.right, w);
      const double d0 = v.curves.left >= 0.0f ? m0 : 0.0;
      const double d1 = v.curves.right >= 0.0f ? -mr : 0.0;
      const auto s = [&](int32_t y) { return std::sin(kPi * y / hd); };
      const auto left = [&](int32_t y) { return v.curves.left != 0.0f ? d0 - s(y) * m0 : 0.0; };
      const auto right = [&](int32_t y) {
        return v.curves.right != 0.0f ? wd + d1 + s(y) * mr : wd;
      };
      pass.Fill(m1);
      for (int32_t y0 = 0; y0 < h; y0 += kMapperStrip) {
        const int32_t y1 = std::min(y0 + kMapperStrip, h);
        const double v0 = y0 / hd;
        const double v1 = y1 / hd;
        pass.Strip(m2, {{{0.0, v0}, {1.0, v0}, {1.0, v1}, {0.0, v1}}},
                   {{{left(y0) / wd, v0},
                     {right(y0) / wd, v0},
                     {right(y1) / wd, v1},
                     {left(y1) / wd, v1}}});
      }

      // The picture through the edge map.
      source->texture->SetFilter(gl::kLinear);
      SetRenderTarget(&picture, false);
      BeginPass(lookup);
      lookup.SetInt("SwapChannelsSrc0", SwapFlag(source->format));
      lookup.SetTextureStage(0, *source, crop);
      DrawQuad2(source, &m1);

      if (v.blur > 0.00001f) {
        const int32_t kb = std::max(3, Trunc(static_cast<float>(w) * v.blur * 0.49));
        const int32_t kv = info->fieldMode != kFieldModeFrame ? std::max(3, kb / 2) : kb;
        for (const float threshold : {253.0f / 255.0f, 0.0f}) {
          SetRenderTarget(destination, false);
          BeginPass(rows);
          rows.SetInt("size", kb / 2);
          DrawQuad(&picture, false, nullptr);
          SetRenderTarget(&picture, false);
          BeginPass(columns);
          columns.SetInt("size", kv / 2);
          columns.SetFloat("fTreshold", threshold);
          DrawQuad(destination, false, nullptr);
        }
      }

      // The corners: one strip from the whole picture onto the quadrilateral.
      SetRenderTarget(&m1, false);
      ClearTarget(0.0f, 0.0f, 0.0f, 0.0f);
      pass.Fill(m2);
      pass.Strip(
          m1, {{{0.0, 0.0}, {1.0, 0.0}, {1.0, 1.0}, {0.0, 1.0}}},
          {{{q[0][0], q[0][1]}, {q[1][0], q[1][1]}, {q[2][0], q[2][1]}, {q[3][0], q[3][1]}}});
      picture.texture->SetFilter(gl::kLinear);
      SetRenderTarget(&result, false);
      BeginPass(lookup);
      lookup.SetInt("SwapChannelsSrc0", 0);
      DrawQuad2(&picture, &m2);
      source->texture->SetFilter(gl::kNearest);
      picture.texture->SetFilter(gl::kNearest);
    }
  }
  result.flipped = source->flipped;
  SetRenderTarget(nullptr, false);
  FinishFrame(&result, source, destination);
  return true;
}

}  // namespace vitrella
