// Split Screen on the GPU: the picture zoomed and moved in one pass, the line and the edge
// drawn in a second from the profiles, which the CPU makes and loads as a texture. Unlike
// the CPU path, it takes no account of fields or of the pixel aspect, turns the angle
// only for a flipped source, leaves the shift unlimited, and draws the line as thin as
// its pixels come out, even when that is none.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "effects/split_profiles.h"
#include "effects/split_screen.h"
#include "gpu/gl_names.h"
#include "gpu/gpu_frame_objects.h"
#include "vitrella/pixel_format.h"

namespace vitrella {
namespace {

constexpr ProgramPair kZoomProgram{kProgramQuadVertex, kProgramSplitScreenZoom};
constexpr ProgramPair kEdgeProgram{kProgramQuadVertex, kProgramSplitScreenEdge};

// The profiles as a texture of n x 2 float texels: row 0 from U, row 1 from V, each texel
// (value, value, value, 1). An empty profile still makes one texel, which the program
// never reads.
std::vector<float> PackProfiles(const SplitProfiles<float>& p, int32_t width) {
  std::vector<float> texels(static_cast<size_t>(width) * 2 * 4, 0.0f);
  const auto put = [&](int32_t row, const std::vector<float>& values) {
    for (size_t i = 0; i < values.size(); ++i) {
      float* texel = texels.data() + (static_cast<size_t>(row) * width + i) * 4;
      texel[0] = texel[1] = texel[2] = values[i];
      texel[3] = 1.0f;
    }
  };
  put(0, p.colour);
  put(1, p.alpha);
  return texels;
}

}  // namespace

bool CSplitScreen::RenderGPUFrame(IEffectHost* host, const GPUTextureRef* source,
                                  const GPUTextureRef* /*secondSource*/, GPUTextureRef* destination,
                                  const RenderInfo* /*info*/) {
  if (source == nullptr || destination == nullptr || source->texture == nullptr ||
      destination->texture == nullptr) {
    return false;
  }
  const SplitScreenValues v = ReadSplitScreen(host);
  const int32_t width = std::min(source->width, destination->width);
  const int32_t height = std::min(source->height, destination->height);
  if (width < 1 || height < 1) return false;
  const auto w = static_cast<float>(width);
  const auto h = static_cast<float>(height);

  const auto q = static_cast<float>(std::min(width, height) >> 2);
  const float lineWidth = q * v.lineWidth;
  const float feather = q * v.feather;
  // Wild values from a host stay within what a texture can hold.
  const auto pixels = [&](float x) {
    return std::isnan(x) ? 0 : static_cast<int32_t>(std::clamp(x, 0.0f, 4096.0f));
  };
  const int32_t l = pixels(lineWidth);
  const int32_t f = pixels(feather);
  const SplitProfiles<float> profiles =
      MakeFloatSplitProfiles(f, l, SplitLineOpacity(q, v.lineWidth, l));
  const int32_t n = std::max(1, f + l);
  const std::vector<float> texels = PackProfiles(profiles, n);

  float t = v.angle * 360.0f;
  if (source->flipped != 0) t = 360.0f - t;
  const float yUp = 1.0f - v.centerY;
  float s = v.shiftX - 0.5f;
  float u = (1.0f - v.shiftY) - 0.5f;
  if (v.lock) {
    s += v.centerX - 0.5f;
    u += yUp - 0.5f;
  }

  GpuFrameObjects objects(*this);
  GPUTextureRef& t1 = objects.Target(width, height, source->format);
  GPUTextureRef& profile = objects.Target(n, 2, PixelFormat32FBGRA, texels.data(),
                                          n * 4 * static_cast<int32_t>(sizeof(float)));
  ProgramBundle& zoom = objects.Program(kZoomProgram);
  ProgramBundle& edge = objects.Program(kEdgeProgram);
  if (!objects.made()) return false;

  SetupView(w, h);
  source->texture->SetFilter(gl::kLinear);
  destination->texture->SetFilter(gl::kLinear);

  // Pass 1: the picture's place is (s - c, u - c) to (s + c + 1, u + c + 1) of the target,
  // c = (z - 1) / 2; the rest stays clear, with alpha 0.
  const float z = v.crop * 4.0f + 1.0f;
  const float c = (z - 1.0f) * 0.5f;
  const float rect[4] = {s - c, u - c, c + s + 1.0f, c + u + 1.0f};
  SetRenderTarget(destination, false);
  ClearTarget(0.0f, 0.0f, 0.0f, 0.0f);
  BeginPass(zoom);
  zoom.SetInt("SwapChannelsSrc", SwapFlag(source->format));
  zoom.SetFloat("fZoom", z);
  zoom.SetVec2("TextureSize", static_cast<float>(source->width),
               static_cast<float>(source->height));
  DrawQuad(source, false, rect);

  // Pass 2: the line's colour and the edge from the pixel's distance to the line.
  const float psi = (-t - 90.0f) * 0.017453292f;
  SetRenderTarget(&t1, false);
  BeginPass(edge);
  edge.SetInt("SwapChannelsSrc", SwapFlag(source->format));
  edge.SetVec3("LineABC", std::sin(psi), -std::cos(psi),
               std::cos(psi) * h * yUp - std::sin(psi) * w * v.centerX);
  edge.SetFloat("fFeather", feather);
  edge.SetFloat("fLineWidth", lineWidth);
  const auto byte = [&](int shift) {
    return static_cast<float>((v.lineColor >> shift) & 0xFF) * 0.003921569f;
  };
  edge.SetVec3("Color", byte(0), byte(8), byte(16));
  edge.SetVec2("TextureSize", static_cast<float>(t1.width), static_cast<float>(t1.height));
  DrawQuad2(destination, &profile);

  source->texture->SetFilter(gl::kNearest);
  destination->texture->SetFilter(gl::kNearest);
  // What the output step answers is not looked at: the frame was drawn.
  FinishFrame(&t1, source, destination);
  return true;
}

}  // namespace vitrella
